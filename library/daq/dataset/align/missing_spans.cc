#include "align/missing_spans.h"

#include <algorithm>
#include <limits>
#include <map>
#include <optional>
#include <set>
#include <string_view>

#include "format/file_name_parts.h"
#include "ravo_evutl.h"

namespace ravo::detail {
namespace {

std::optional<std::int64_t> time_in_name(std::string_view path) {
  time_stamp time{};
  if (get_time_from_file_name(std::string(last_component(path)).c_str(), &time) != 0) return std::nullopt;
  return in_microseconds(time);
}

/// What the names of a stream's files have in common.
std::string stream_in_name(std::string_view path) {
  const std::string_view name = last_component(path);
  return std::string(name.substr(0, name.find("_run")));
}

}  // namespace

std::vector<time_gap> missing_spans(const std::vector<refused_file>& missing,
                                    const std::vector<std::string>& found) {
  constexpr std::int64_t limit = std::numeric_limits<std::int64_t>::max() / 4;
  std::vector<time_gap> gaps;
  if (missing.empty()) return gaps;
  std::map<std::string, std::set<std::int64_t>> begins;
  const auto note = [&begins](const std::string& path) {
    if (const auto time = time_in_name(path)) begins[stream_in_name(path)].insert(*time);
  };
  std::for_each(found.begin(), found.end(), note);
  for (const refused_file& one : missing) note(one.path);
  for (const refused_file& one : missing) {
    const auto time = time_in_name(one.path);
    if (!time) {
      gaps.push_back({-limit, limit});
      continue;
    }
    const auto& of_stream = begins[stream_in_name(one.path)];
    const auto next = of_stream.upper_bound(*time);
    gaps.push_back({*time, next == of_stream.end() ? limit : *next});
  }
  return gaps;
}

}  // namespace ravo::detail
