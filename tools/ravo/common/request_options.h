// Options for runs, times and a time zone, which several verbs have:
// reads their texts, and names the option if its text is wrong.
#ifndef RAVO_TOOL_REQUEST_OPTIONS_H
#define RAVO_TOOL_REQUEST_OPTIONS_H

#include <string>

#include "ravo_dataset/time_grammar.h"

namespace ravo::tool {

struct run_range {
  int first;
  int last;
};

/// "1207" or "1207-1210". Throws usage_failure, also for absurdly many runs.
run_range runs_option(const std::string& text);
/// The zone of --tz; throws usage_failure.
time_zone zone_option(const std::string& name);
/// The time of an option; throws usage_failure.
time_stamp time_option(const char* option, const std::string& text, const time_context& context);

/// The grammar of times in a few lines, for --help.
extern const char* const time_help;

}  // namespace ravo::tool

#endif
