#include "common/type_names.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <charconv>

#include "common/failure.h"
#include "common/names.h"
#include "ravo_data_types.h"
#include "ravo_evutl.h"

namespace ravo::tool {
namespace {

constexpr std::string_view event_prefix = "RAVO_EV_";
constexpr std::string_view data_prefix = "RAVO_";

std::string without_prefix(std::string_view name, std::string_view prefix) {
  return std::string(name.starts_with(prefix) ? name.substr(prefix.size()) : name);
}

}  // namespace

std::string event_type_name(int type) {
  if (type < 0 || type >= RAVO_EV_EVMAX) return std::to_string(type);
  return without_prefix(event_name_itoa(type), event_prefix);
}

std::vector<std::string> event_type_names(std::uint32_t mask) {
  std::vector<std::string> types;
  for (int type = 0; type < RAVO_EV_EVMAX; ++type)
    if (mask >> type & 1u) types.push_back(event_type_name(type));
  return types;
}

int event_type_of(const std::string& text) {
  int number = -1;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error == std::errc() && end == text.data() + text.size() && number >= 0 && number < RAVO_EV_EVMAX)
    return number;
  std::string name = text;
  std::transform(name.begin(), name.end(), name.begin(), [](char letter) {
    return static_cast<char>(std::toupper(static_cast<unsigned char>(letter)));
  });
  name = without_prefix(name, event_prefix);
  const std::vector<std::string> names = event_type_names(0xFFFFFFFFu);
  const auto found = std::find(names.begin(), names.end(), name);
  if (found != names.end()) return static_cast<int>(found - names.begin());
  // Numbers with similar digits have nothing in common.
  const bool is_number = !text.empty() && std::isdigit(static_cast<unsigned char>(text.front()));
  const std::vector<std::string> near = is_number ? std::vector<std::string>() : near_names(name, names);
  throw usage_failure(fmt::format("--type: there is no event type '{}'; {}", text,
                                  near.empty() ? "NORMAL is one, or a number from 0 to 31"
                                               : fmt::format("did you mean {}?", join_or(near))));
}

std::string data_type_name(int dtype) {
  const data_type* type = find_data_type(dtype);
  return type ? without_prefix(type->name, data_prefix) : std::to_string(dtype & 0xffff);
}

}  // namespace ravo::tool
