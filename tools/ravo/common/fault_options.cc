#include "common/fault_options.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <string>

#include "common/failure.h"
#include "common/names.h"
#include "shared/json_lines.h"

namespace ravo::tool {
namespace {

constexpr const char* word_for_list = "list";

bool is_kind(const std::string& name) {
  const std::vector<simulated_fault_kind> kinds = simulated_fault_kinds();
  return std::any_of(kinds.begin(), kinds.end(),
                     [&name](const simulated_fault_kind& one) { return name == one.name; });
}

std::string unknown_kind(const std::string& kind) {
  std::vector<std::string> names;
  for (const simulated_fault_kind& one : simulated_fault_kinds()) names.push_back(one.name);
  const std::vector<std::string> near = near_names(kind, names);
  return fmt::format(
      "--fault: there is no kind '{}'; {}", kind,
      near.empty() ? "`ravo simulate --fault list` lists them" : "did you mean " + join_or(near) + "?");
}

simulated_fault read_fault(const std::string& text, int files) {
  const auto at = text.find('@');
  simulated_fault fault{text.substr(0, at)};
  if (!is_kind(fault.kind)) throw usage_failure(unknown_kind(fault.kind));
  if (at == std::string::npos) return fault;
  const char* begin = text.data() + at + 1;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(begin, end, fault.file);
  if (error != std::errc() || stop != end || fault.file < 1 || fault.file > files)
    throw usage_failure(
        fmt::format("--fault: '{}': after the '@' comes the number of a file, from 1 to {}", text, files));
  return fault;
}

}  // namespace

bool asks_for_list(const std::vector<std::string>& texts) {
  return std::find(texts.begin(), texts.end(), word_for_list) != texts.end();
}

void list_faults(bool as_json, output& out) {
  for (const simulated_fault_kind& one : simulated_fault_kinds())
    out.print(as_json ? json_line({{"fault", one.name}, {"what", one.what}})
                      : fmt::format("{:<26} {}\n", one.name, one.what));
}

std::vector<simulated_fault> read_faults(const std::vector<std::string>& texts, int files) {
  std::vector<simulated_fault> faults;
  for (const std::string& text : texts) {
    const simulated_fault fault = read_fault(text, files);
    for (const simulated_fault& other : faults)
      if (other.file == fault.file)
        throw usage_failure(fmt::format("--fault: file {} would be damaged twice: {} and {}", fault.file,
                                        other.kind, fault.kind));
    faults.push_back(fault);
  }
  return faults;
}

}  // namespace ravo::tool
