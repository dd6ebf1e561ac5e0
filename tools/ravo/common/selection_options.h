// What is to be read, as the verbs that stand on the dataset layer are told: files, folders and the words
// of a selection's text, and options that say the same as such words. Makes the selection of it; which
// files a run or a period has is found elsewhere (dataset_session.h).
#ifndef RAVO_TOOL_SELECTION_OPTIONS_H
#define RAVO_TOOL_SELECTION_OPTIONS_H

#include <CLI/CLI.hpp>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "ravo_dataset/selection.h"

namespace ravo::tool {

/// The command line's part, as it was typed.
struct selection_arguments {
  std::vector<std::string> words;  ///< files, folders, and words of a selection
  std::vector<std::string> channels;
  std::optional<std::string> runs, experiment, stream, catalogue, data;
  std::optional<std::string> request_option;  ///< one of those five that was given, for messages
  std::optional<std::string> from, to;
  std::string zone = "UTC";
  std::optional<std::uint32_t> first_event, last_event, step, limit;
  std::optional<std::string> mode;
  std::optional<double> tolerance_ms;
  std::optional<std::string> slow, max_age, join;
};

/// A selection, and how it was asked for.
struct asked_selection {
  selection wanted;
  bool has_text = false;       ///< words of a selection were among the arguments
  bool has_tolerance = false;  ///< the tolerance is what was asked for, also where that is the usual one
};

/// Declares the options; `arguments` has to live as long as the command.
void add_selection_options(CLI::App& command, selection_arguments& arguments);

/// The selection that the arguments say; options go before words of the text. Throws usage_failure. A
/// selection of a period has an end: now, when none is given.
asked_selection selection_of(const selection_arguments& arguments);

/// How selections are written, for --help.
extern const char* const selection_help;

/// How much may be missing, and what a reading may take of the machine.
struct limit_arguments {
  bool is_strict = false;
  std::optional<std::string> largest_missing_share;
  std::optional<std::string> memory;
  std::optional<std::string> largest_block;
  unsigned threads = 0;
};

void add_limit_options(CLI::App& command, limit_arguments& arguments);

/// A share from 0 to 1, or with "%" from 0 to 100. Throws usage_failure.
double share_option(const char* option, const std::string& text);
/// A number of bytes, with k, M or G (of 1024) behind it or not. Throws usage_failure.
std::size_t size_option(const char* option, const std::string& text);

}  // namespace ravo::tool

#endif
