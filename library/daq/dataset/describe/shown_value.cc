#include "describe/shown_value.h"

#include <algorithm>
#include <iterator>

#include "ravo_dataset/member_names.h"
#include "read/item.h"
#include "read/record_names.h"

namespace ravo::detail {
namespace {

std::vector<std::string> names_of_records(const item& list, const byte_view& payload) {
  std::vector<std::string> names;
  for (std::size_t i = 0; i < list.elements; ++i) names.emplace_back(record_name(list, payload, i));
  return names;
}

/// `member`: the only one that is asked for; -1: all.
std::vector<std::string> names_of_members(const shown_value& value, int member) {
  if (member >= 0) return {member_name(value.type, member)};
  std::size_t count = value.kind == value_kind::roi ? 2 : 1;
  for (const dimension_size& dimension : value.dimensions)
    if (dimension.dimension == column_dimension::member) count = dimension.size;
  std::vector<std::string> names;
  for (std::size_t i = 0; i < count; ++i) names.push_back(member_name(value.type, static_cast<int>(i)));
  return names;
}

shown_value value_of(const found_block& found, const item& value, const byte_view& payload, int member) {
  shown_value shown;
  shown.type = found.stored_type & 0xffff;
  shown.kind = value.kind;
  shown.element = value.element;
  shown.axis = {value.start, value.increment, value.groups_increment, value.y_start};
  if (value.kind != value_kind::text) shown.dimensions = dimensions_of(value.kind, value.shape);
  const bool has_records = value.kind == value_kind::name_value && (member < 0 || value.elements != 0);
  shown.members = has_records ? names_of_records(value, payload) : names_of_members(shown, member);
  return shown;
}

std::string joined(const std::vector<std::string>& names) {
  constexpr std::size_t most_names = 20;
  std::string text;
  for (std::size_t i = 0; i < std::min(names.size(), most_names); ++i)
    text += (i == 0 ? "" : ", ") + names[i];
  if (names.size() > most_names) text += " and " + std::to_string(names.size() - most_names) + " more";
  return text;
}

}  // namespace

std::string shown_value::shape_text() const {
  std::string text = element_name(element);
  for (const dimension_size& dimension : dimensions)
    if (dimension.dimension != column_dimension::byte)
      text +=
          std::string(", ") + dimension_name(dimension.dimension) + " " + std::to_string(dimension.size);
  return text;
}

std::optional<shown_value> read_shown_value(dataset_state& state, const segment& part, std::size_t channel,
                                            const entry& where, block_memory& memory) {
  const int member = state.channels[channel].member;
  std::optional<shown_value> shown;
  block_scan scan(state, channel, memory);
  scan.read_all(part, {where}, [&](std::size_t, const block_source_file&, const found_block& found) {
    value_status status = value_status::ok;
    const auto payload = inflate(found, memory, status);
    if (!payload) return;
    if (const auto value = find_item(found.stored_type, *payload, member))
      shown = value_of(found, *value, *payload, member);
  });
  return shown;
}

std::pair<std::string, std::string> different_names(std::vector<std::string> before,
                                                    std::vector<std::string> after) {
  std::sort(before.begin(), before.end());
  std::sort(after.begin(), after.end());
  std::vector<std::string> gone, added;
  std::set_difference(before.begin(), before.end(), after.begin(), after.end(), std::back_inserter(gone));
  std::set_difference(after.begin(), after.end(), before.begin(), before.end(), std::back_inserter(added));
  return {joined(gone), joined(added)};
}

}  // namespace ravo::detail
