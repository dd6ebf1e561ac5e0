// What is to be read, as given to the verbs of the dataset layer: files, folders and
// the words of a selection's text, and options that mean the same as such words.
// Makes a selection of it; dataset_session.h finds which files a run or a period has.
#ifndef RAVO_TOOL_SELECTION_OPTIONS_H
#define RAVO_TOOL_SELECTION_OPTIONS_H

#include <CLI/CLI.hpp>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "ravo_dataset/selection.h"

namespace ravo::tool {

/// Arguments of the command line, as they were typed.
struct selection_arguments {
  std::vector<std::string> words;  ///< files, folders, and words of a selection
  std::vector<std::string> channels;
  std::optional<std::string> runs, experiment, stream, catalogue, data;
  std::optional<std::string> request_option;  ///< the one of these five that was given, for messages
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
  bool has_text = false;            ///< words of a selection were among the arguments
  bool has_tolerance = false;       ///< the tolerance was asked for, even if it is the usual one
  bool has_exact_channels = false;  ///< its channels are listed one by one, not as patterns
};

/// Declares the options; `arguments` has to live as long as the command.
void add_selection_options(CLI::App& command, selection_arguments& arguments);

/// The selection that the arguments describe; options take precedence over words of the text.
/// Throws usage_failure. A selection of a period always has an end: by default the present time.
asked_selection selection_of(const selection_arguments& arguments);

/// The syntax of selections, for --help.
extern const char* const selection_help;

/// How much may be missing, and how much of the machine a reading may use.
struct limit_arguments {
  bool is_strict = false;
  std::optional<std::string> largest_missing_share;
  std::optional<std::string> memory;
  std::optional<std::string> largest_block;
  unsigned threads = 0;
};

void add_limit_options(CLI::App& command, limit_arguments& arguments);

/// A fraction from 0 to 1, or with "%" from 0 to 100. Throws usage_failure.
double share_option(const char* option, const std::string& text);
/// A number of bytes, optionally followed by k, M or G (of 1024). Throws usage_failure.
std::size_t size_option(const char* option, const std::string& text);

}  // namespace ravo::tool

#endif
