#include "common/fault_options.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <map>
#include <string>

#include "common/failure.h"
#include "common/json_lines.h"
#include "common/names.h"
#include "common/whole_file.h"

namespace ravo::tool {
namespace {

constexpr const char* word_for_list = "list";
constexpr const char* key_suffix = ".expected.json";

std::string unknown_kind(const std::string& kind) {
  std::vector<std::string> names;
  for (const simulator::fault_kind& one : simulator::fault_kinds()) names.push_back(one.name);
  const std::vector<std::string> near = near_names(kind, names);
  return fmt::format(
      "--fault: there is no kind '{}'; {}", kind,
      near.empty() ? "`ravo simulate --fault list` lists them" : "did you mean " + join_or(near) + "?");
}

simulator::fault_request read_fault(const std::string& text, int files) {
  const auto at = text.find('@');
  simulator::fault_request fault{text.substr(0, at)};
  if (!simulator::find_fault(fault.kind)) throw usage_failure(unknown_kind(fault.kind));
  if (at == std::string::npos) return fault;
  const char* begin = text.data() + at + 1;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(begin, end, fault.file);
  if (error != std::errc() || stop != end || fault.file < 1 || fault.file > files)
    throw usage_failure(
        fmt::format("--fault: '{}': after the '@' comes the number of a file, from 1 to {}", text, files));
  return fault;
}

json members_of(const simulator::expected_finding& what) {
  const auto or_null = [](const auto& value) { return value ? json(*value) : json(); };
  return {{"kind", what.kind},
          {"channel", what.channel.empty() ? json() : json(what.channel)},
          {"event", or_null(what.event)},
          {"offset", or_null(what.offset)},
          {"count", what.count}};
}

}  // namespace

bool asks_for_list(const std::vector<std::string>& texts) {
  return std::find(texts.begin(), texts.end(), word_for_list) != texts.end();
}

void list_faults(bool as_json, output& out) {
  for (const simulator::fault_kind& one : simulator::fault_kinds())
    out.print(as_json ? json_line({{"fault", one.name}, {"what", one.what}})
                      : fmt::format("{:<26} {}\n", one.name, one.what));
}

std::vector<simulator::fault_request> read_faults(const std::vector<std::string>& texts, int files) {
  std::vector<simulator::fault_request> faults;
  for (const std::string& text : texts) {
    const simulator::fault_request fault = read_fault(text, files);
    for (const simulator::fault_request& other : faults)
      if (other.file == fault.file)
        throw usage_failure(fmt::format("--fault: file {} would be damaged twice: {} and {}", fault.file,
                                        other.kind, fault.kind));
    faults.push_back(fault);
  }
  return faults;
}

namespace {

// Removes the keys of earlier files of these names, which would be taken for those of the new files.
void remove_old_keys(const std::vector<std::string>& files, const std::string& folder) {
  for (const std::string& file : files) remove_file(file + key_suffix);
  remove_file(folder + "/all" + key_suffix);
}

}  // namespace

void write_expectations(const std::vector<simulator::expectation>& expected,
                        const std::vector<std::string>& files, const std::string& folder) {
  remove_old_keys(files, folder);
  // A file can have several findings: its own damage, and that the file before it is missing.
  std::map<std::string, std::string> lines;
  for (const simulator::expectation& one : expected) {
    std::string& text = lines[(one.file.empty() ? folder + "/all" : one.file) + key_suffix];
    for (const simulator::expected_finding& what : one.findings)
      if (const std::string line = json_line(members_of(what)); text.find(line) == std::string::npos)
        text += line;
  }
  for (const auto& [path, text] : lines) {
    whole_file file(path);
    file.append(text);
    file.publish();
  }
}

}  // namespace ravo::tool
