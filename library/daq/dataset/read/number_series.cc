#include "read/number_series.h"

#include "format/payload_view.h"
#include "ravo_data_types.h"
#include "read/record_names.h"

namespace ravo::detail {
namespace {

void visit_records(const item& list, const byte_view& payload,
                   const std::function<void(const series_run&)>& visit) {
  const name_value_parts places{.records = list.at};
  for (std::size_t i = 0; i < list.elements; ++i) {
    const float number = *payload.at<float>(places.value(list.first_record + i));
    visit({true,
           i,
           record_name(list, payload, i),
           {element_type::float32, reinterpret_cast<const std::byte*>(&number), 1}});
  }
}

/// How many series follow one another in a value, and how many numbers each has.
struct series_lengths {
  std::size_t series = 1;
  std::size_t first = 0;
  std::size_t others = 0;
};

series_lengths lengths_of(const item& value) {
  if (value.kind == value_kind::roi) return {2, value.shape[1], value.shape[2]};
  if (value.kind != value_kind::spectrum) return {1, value.elements, 0};
  const std::size_t each = std::size_t{value.shape[1]} * value.shape[2];
  return {value.shape[0], each, each};
}

}  // namespace

bool has_numbers(const item& value) {
  return value.kind != value_kind::text && value.kind != value_kind::other && !value.is_as_sent;
}

void visit_series(const item& value, const byte_view& payload, block_memory& memory,
                  const std::function<void(const series_run&)>& visit) {
  if (value.elements == 0) return;
  if (value.kind == value_kind::name_value) return visit_records(value, payload, visit);
  const std::size_t size = element_size(value.element);
  auto* const numbers = reinterpret_cast<std::byte*>(memory.fit_decoded(value.elements * size));
  store_item(value, payload, numbers);
  const series_lengths lengths = lengths_of(value);
  std::size_t at = 0;
  for (std::size_t i = 0; i < lengths.series; ++i) {
    const std::size_t count = i == 0 ? lengths.first : lengths.others;
    if (count != 0) visit({false, i, {}, {value.element, numbers + at * size, count}});
    at += count;
  }
}

std::string series_name(const series_run& run, const item& value, std::int32_t stored_type,
                        int asked_member) {
  if (run.is_record) return std::string(run.record);
  if (value.kind == value_kind::image) return "PIXELS";
  if (value.kind == value_kind::update) return "";
  const std::size_t member = asked_member >= 0 ? static_cast<std::size_t>(asked_member) : run.place;
  const data_type* const type = find_data_type(stored_type);
  const bool is_named = type != nullptr && type->code != RAVO_BLOCK_GENERIC_SPECT &&
                        member < static_cast<std::size_t>(type->members);
  return is_named ? std::string(type->member_names[member]) : "CH" + std::to_string(member);
}

}  // namespace ravo::detail
