// The verbs of the tool: each has a file of its own that declares its
// part of the command line and the function to run when it is chosen.
#ifndef RAVO_TOOL_VERB_H
#define RAVO_TOOL_VERB_H

#include <CLI/CLI.hpp>
#include <functional>

#include "common/output.h"

namespace ravo::tool {

struct verb {
  CLI::App* command;
  std::function<void(output&)> run;  ///< throws what failure.h declares
};

verb simulate_verb(CLI::App& tool);
verb info_verb(CLI::App& tool);
verb channels_verb(CLI::App& tool);
verb index_verb(CLI::App& tool);
verb headers_verb(CLI::App& tool);
verb descr_verb(CLI::App& tool);
verb read_verb(CLI::App& tool);
verb plan_verb(CLI::App& tool);
verb digest_verb(CLI::App& tool);
verb stat_verb(CLI::App& tool);
verb show_verb(CLI::App& tool);
verb catalog_verb(CLI::App& tool);
verb convert_verb(CLI::App& tool);
verb verify_verb(CLI::App& tool);

}  // namespace ravo::tool

#endif
