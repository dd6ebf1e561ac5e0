#include "tool_run.h"

#include <algorithm>
#include <regex>
#include <sstream>
#include <stdexcept>

namespace ravo::test {

process_result run_tool(const std::vector<std::string>& arguments) {
  std::vector<std::string> all = {RAVO_TOOL};
  all.insert(all.end(), arguments.begin(), arguments.end());
  return run_process(all);
}

std::vector<std::string> verbs_of_the_tool() {
  const std::string help = run_tool({"--help"}).out;
  const std::size_t list = help.find("Subcommands:\n");
  std::vector<std::string> names;
  const std::string lines = help.substr(list, help.find("\n\n", list) - list);
  const std::regex name("\n  ([a-z]+) ");
  for (std::sregex_iterator one(lines.begin(), lines.end(), name), end; one != end; ++one)
    names.push_back((*one)[1]);
  return names;
}

std::vector<nlohmann::json> json_lines(const std::string& text) {
  std::vector<nlohmann::json> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(nlohmann::json::parse(line));
  return lines;
}

namespace {

// The begin of the closing object; the end of the text if there is none.
std::size_t closing_place(const std::string& lines) {
  if (lines.size() < 2) return lines.size();
  const auto end_before = lines.rfind('\n', lines.size() - 2);
  const std::size_t last = end_before == std::string::npos ? 0 : end_before + 1;
  return lines.compare(last, 13, "{\"selection\":") == 0 ? last : lines.size();
}

}  // namespace

std::string without_closing(const std::string& lines) { return lines.substr(0, closing_place(lines)); }

std::vector<nlohmann::json> event_lines(const std::string& text) {
  return json_lines(without_closing(text));
}

nlohmann::json closing_of(const std::string& text) {
  return nlohmann::json::parse(text.substr(closing_place(text)));
}

std::vector<std::string> raw_files(const std::filesystem::path& folder) {
  std::vector<std::string> files;
  for (const auto& entry : std::filesystem::directory_iterator(folder))
    if (entry.path().extension() == ".raw") files.push_back(entry.path().string());
  std::sort(files.begin(), files.end());
  return files;
}

demo_data::demo_data(const std::string& generation) {
  const std::string key_file = folder.file("key.jsonl");
  const process_result made =
      run_tool({"simulate", folder.path().string(), "--files", "2", "--events", "40", "--channels", "30",
                "--answer-key", key_file, "--generation", generation});
  if (made.exit_code != 0) throw std::runtime_error("ravo simulate: " + made.err);
  files = raw_files(folder.path());
  const std::vector<unsigned char> bytes = read_file(key_file);
  key = json_lines(std::string(bytes.begin(), bytes.end()));
}

const demo_data& demo() {
  static const demo_data data("current");
  return data;
}

const demo_data& demo_of(const std::string& generation) {
  if (generation == "current") return demo();
  static const demo_data data("older");
  return data;
}

process_result read_demo(const std::vector<std::string>& arguments, const demo_data& data) {
  std::vector<std::string> all = {"read"};
  all.insert(all.end(), data.files.begin(), data.files.end());
  all.insert(all.end(), arguments.begin(), arguments.end());
  return run_tool(all);
}

std::vector<unsigned> event_numbers(const std::string& lines) {
  std::vector<unsigned> numbers;
  for (const auto& line : event_lines(lines)) numbers.push_back(line.at("event"));
  return numbers;
}

}  // namespace ravo::test
