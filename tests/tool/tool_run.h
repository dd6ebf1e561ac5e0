// Runs of the tool, and the small simulated files that most of its tests use.
#ifndef RAVO_TEST_TOOL_RUN_H
#define RAVO_TEST_TOOL_RUN_H

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "process.h"
#include "temporary_folder.h"

namespace ravo::test {

/// Runs the tool with these arguments.
process_result run_tool(const std::vector<std::string>& arguments);

/// The tool's verbs, as its help lists them.
std::vector<std::string> verbs_of_the_tool();

/// The JSON objects of a text of JSON lines; throws for a line that is not valid.
std::vector<nlohmann::json> json_lines(const std::string& text);

/// The lines of a text of JSON lines without the last one, in which the verbs of the dataset layer
/// print the selection and the ledger. The classic reader has no such line: all of its lines.
std::string without_closing(const std::string& lines);
/// The JSON objects of those.
std::vector<nlohmann::json> event_lines(const std::string& text);
/// The closing object; throws if there is none.
nlohmann::json closing_of(const std::string& text);

/// The raw files in a folder, in the order of their names.
std::vector<std::string> raw_files(const std::filesystem::path& folder);

/// Two small files made by `ravo simulate`, with their answer key: forty events each, events 1000000 (the
/// run begins) to 1000081 (it ends), ten a second from 2025-03-01T08:00:00Z. Made once for all tests.
struct demo_data {
  explicit demo_data(const std::string& generation);
  temporary_folder folder;
  std::vector<std::string> files;
  std::vector<nlohmann::json> key;
};
const demo_data& demo();
/// The same machine in files of a generation, "current" or "older".
const demo_data& demo_of(const std::string& generation);

/// `ravo read` over the demo files with these arguments after the files.
process_result read_demo(const std::vector<std::string>& arguments, const demo_data& data = demo());

/// The event numbers of JSON lines of `ravo read`.
std::vector<unsigned> event_numbers(const std::string& lines);

}  // namespace ravo::test

#endif
