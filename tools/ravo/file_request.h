// Requests by run or by period, without file names: has the reader choose the files and tells, from what
// the reader put down about each, which were chosen and why, or why none was.
#ifndef RAVO_TOOL_FILE_REQUEST_H
#define RAVO_TOOL_FILE_REQUEST_H

#include <optional>
#include <string>
#include <vector>

#include "output.h"
#include "ravo_daq_reader_2010.h"
#include "request_options.h"

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

/// Initialises the reader by the request, without channels; what it decided goes to `decisions`, which must
/// live as long as the reader. Throws data_failure that says what was looked at when no file is found.
void choose_files(ravo_daq_reader_2010& reader, const file_request& request, file_decisions& decisions,
                  output& out);

/// What would become of each file if the request were read; no file is read for it. Throws as choose_files.
file_decisions decide_files(const file_request& request, int debug, output& out);

/// Prints where the answer came from and what became of each file, by the times of the files.
void print_decisions(const file_request& request, const file_decisions& decisions, output& out);
/// The same as one JSON object a file.
void print_decisions_json(const file_decisions& decisions, output& out);

/// Files of the list that do not bear the stream's name: a directory is searched by run, time and
/// experiment only.
std::size_t count_other_streams(const std::vector<char*>& files, const std::string& stream);

}  // namespace ravo::tool

#endif
