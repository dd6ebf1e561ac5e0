// Requests by run or by period, without file names: has the reader of the files' generation choose them and
// tells, from what the reader put down about each, which were chosen and why, or why none was.
#ifndef RAVO_TOOL_FILE_REQUEST_H
#define RAVO_TOOL_FILE_REQUEST_H

#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "common/output.h"
#include "common/request_options.h"
#include "ravo_daq_reader.h"
#include "ravo_daq_reader_2010.h"

namespace ravo::tool {

/// What files are asked for.
struct file_request {
  std::string experiment;
  std::string stream;
  std::string catalogue;  ///< directory of the run catalogue
  /// Directory of the raw files, or several joined by ":". Not set: where the catalogue says they are, or
  /// else the reader's own.
  std::optional<std::string> data;
  std::optional<run_range> runs;
  std::optional<time_stamp> from;
  std::optional<time_stamp> to;  ///< of a request without runs: always set, like `from`

  /// "run 7", "runs 7 to 9" or "2025-...Z to 2025-...Z".
  std::string text() const;
};

/// What the reader put down, in its order.
using file_decisions = std::vector<file_decision>;

/// The reader of either generation.
using any_reader = std::variant<ravo_daq_reader_2010, ravo_daq_reader>;

/// The files that a reader holds.
std::vector<std::string> files_of(const any_reader& reader);

/// Puts the reader of the generation of the request's first file into `reader` and initialises it by the
/// request, without channels; what it decided goes to `decisions`. Throws data_failure that says what was
/// looked at when no file is found.
void choose_files(any_reader& reader, const file_request& request, int debug, file_decisions& decisions,
                  output& out);

/// What would become of each file if the request were read; no file is read for it. Throws as choose_files.
file_decisions decide_files(const file_request& request, int debug, output& out);

/// Why files of both generations are not read by one request, and what to do; names one file of each.
std::string explain_two_generations(const std::string& older, const std::string& current);
/// Throws that as data_failure when such files would be read.
void check_generation(const file_decisions& decisions);

/// Prints where the answer came from and what became of each file, by the times of the files. Files of the
/// older generation are marked.
void print_decisions(const file_request& request, const file_decisions& decisions, output& out);
/// The same as one JSON object a file.
void print_decisions_json(const file_decisions& decisions, output& out);

/// Files of the list that do not bear the stream's name: a directory is searched by run, time and
/// experiment only.
std::size_t count_other_streams(const std::vector<std::string>& files, const std::string& stream);
/// Says on standard error how many they are, if any.
void tell_other_streams(const std::vector<std::string>& files, const std::string& stream);

}  // namespace ravo::tool

#endif
