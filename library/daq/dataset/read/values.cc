#include "ravo_dataset/values.h"

#include <cstring>
#include <limits>
#include <optional>
#include <string>
#include <variant>

#include "format/payload_view.h"
#include "ravo_dataset/errors.h"
#include "read/item.h"
#include "read/value_access.h"

namespace ravo {
namespace {

value_kind kind_of_type(int type) {
  const data_type* const row = find_data_type(type);
  const auto layout = row != nullptr ? layout_of(row->shape) : std::nullopt;
  return layout ? std::visit(detail::kind_of, *layout) : value_kind::other;
}

using byte_span = std::span<const std::byte>;

/// The parts of a value if it is of their kind. A text ends with its field, with or
/// without a zero.
template <class Parts>
std::optional<Parts> parts_of(const value& of) {
  const data_type* type = find_data_type(of.type());
  if (type == nullptr) return std::nullopt;
  const byte_view bytes(of.bytes().data(), of.bytes().size(), word_order::host);
  const parsed_payload payload = parse_payload(*type, bytes, text_rule::any);
  const Parts* const parts = payload.get<Parts>();
  return parts != nullptr ? std::optional(*parts) : std::nullopt;
}

template <class Record>
const Record* record_at(byte_span bytes, std::size_t offset = 0) {
  return reinterpret_cast<const Record*>(bytes.data() + offset);
}

template <class Record>
std::span<const Record> records_at(byte_span bytes, std::size_t offset, std::size_t count) {
  return {record_at<Record>(bytes, offset), count};
}

std::string_view text_at(byte_span bytes, std::size_t offset, std::size_t size) {
  const char* const text = record_at<char>(bytes, offset);
  return {text, strnlen(text, size)};
}

spectrum_view view_of(const spectrum_parts& parts, byte_span bytes) {
  spectrum_view view;
  view.members = parts.members;
  view.samples = parts.samples;
  view.groups = parts.groups;
  view.start = parts.axis.start;
  view.increment = parts.axis.increment;
  view.groups_increment = parts.axis.groups_increment;
  if (parts.means != 0) view.means = records_at<float>(bytes, parts.means, parts.members);
  if (parts.statistics != 0)
    view.statistics = records_at<ravo_spect_statistics_2010>(bytes, parts.statistics, parts.members);
  view.values = records_at<float>(bytes, parts.values, parts.members * parts.values_of_member());
  return view;
}

spectrum_view view_of(const roi_parts& parts, byte_span bytes) {
  spectrum_view view;
  view.members = parts.members;
  view.samples = parts.width;
  view.start = parts.x_start;
  view.y_start = parts.y_start;
  view.values = records_at<float>(bytes, parts.values, std::size_t{parts.width} + parts.height);
  return view;
}

}  // namespace

std::span<const float> spectrum_view::member(std::size_t index) const {
  if (index >= members) return {};
  const std::size_t each = samples * groups;
  // Only the profiles of a region of interest differ in length: the second is what follows the first.
  if (members == 2 && index == 1 && values.size() >= each) return values.subspan(each);
  if (each * (index + 1) > values.size()) return {};
  return values.subspan(index * each, each);
}

std::uint32_t image_view::pixel(std::size_t x, std::size_t y) const {
  if (!is_complete())
    throw access_error("The frame has no pixels as numbers: it is " +
                       (is_compressed ? std::string("compressed")
                        : bytes_per_pixel > most_bytes_per_pixel
                            ? "of " + std::to_string(bytes_per_pixel) + " bytes a pixel, more than " +
                                  std::to_string(most_bytes_per_pixel)
                            : std::string("not complete")) +
                       "; `pixels` is what the camera sent");
  if (x >= width || y >= height)
    throw access_error("The frame has " + std::to_string(width) + " x " + std::to_string(height) +
                       " pixels, and that at x = " + std::to_string(x) + ", y = " + std::to_string(y) +
                       " was asked for");
  std::uint32_t brightness = 0;
  const std::size_t at = (y * width + x) * bytes_per_pixel;
  for (std::size_t i = 0; i < bytes_per_pixel; ++i) brightness = brightness << 8 | pixels[at + i];
  return brightness;
}

spectrum_view value::spectrum() const {
  if (kind_ == value_kind::roi) {
    const auto roi = parts_of<roi_parts>(*this);
    return roi ? view_of(*roi, bytes_) : spectrum_view{};
  }
  if (kind_ != value_kind::spectrum) return {};
  const auto spectrum = parts_of<spectrum_parts>(*this);
  return spectrum ? view_of(*spectrum, bytes_) : spectrum_view{};
}

image_view value::image() const {
  image_view view;
  const auto parts = kind_ == value_kind::image ? parts_of<image_parts>(*this) : std::nullopt;
  if (!parts) return view;
  view.width = parts->width > 0 ? static_cast<std::size_t>(parts->width) : 0;
  view.height = parts->height > 0 ? static_cast<std::size_t>(parts->height) : 0;
  view.bytes_per_pixel = static_cast<std::size_t>(parts->bytes_per_pixel());
  view.is_compressed = parts->is_compressed();
  view.number = parts->frame;
  view.x_start = parts->x_start;
  view.y_start = parts->y_start;
  view.x_increment = parts->x_increment;
  view.y_increment = parts->y_increment;
  view.effective_bits = parts->effective_bits;
  view.pixels = records_at<std::uint8_t>(bytes_, parts->pixels, static_cast<std::size_t>(parts->length));
  if (parts->is_extended)
    view.ext_frame = record_at<ravo_image_ext_frame_head>(bytes_);
  else
    view.frame = record_at<ravo_image_frame_head>(bytes_);
  return view;
}

name_value_view value::name_values() const {
  const auto list = kind_ == value_kind::name_value ? parts_of<name_value_parts>(*this) : std::nullopt;
  if (!list) return {};
  return {list->id, text_at(bytes_, list->comment, list->comment_size),
          records_at<ravo_name_value_channel>(bytes_, list->records, list->count)};
}

update_view value::update() const {
  const auto reading = kind_ == value_kind::update ? parts_of<update_parts>(*this) : std::nullopt;
  if (!reading) return {};
  return {*record_at<float>(bytes_, reading->value), *record_at<std::int32_t>(bytes_, reading->status),
          *record_at<time_stamp>(bytes_, reading->time), text_at(bytes_, 0, reading->name_size)};
}

std::string_view value::text() const {
  const auto text = kind_ == value_kind::text ? parts_of<text_part>(*this) : std::nullopt;
  return text ? std::string_view(record_at<char>(bytes_), text->length) : std::string_view();
}

double value::scalar() const {
  if (kind_ == value_kind::update) return update().value;
  if (kind_ == value_kind::name_value) {
    const auto records = name_values().records;
    if (!records.empty()) return records.front().value;
  }
  const auto values = spectrum().values;
  return values.empty() ? std::numeric_limits<double>::quiet_NaN() : values.front();
}

value detail::value_access::make(value_status status, const ravo_time_id& id, std::int64_t age) {
  value made;
  made.status_ = status;
  made.id_ = id;
  made.age_ = age;
  return made;
}

value detail::value_access::make(value_status status, const ravo_time_id& id, std::int64_t age,
                                 std::int32_t dtype, std::int32_t error, std::span<const std::byte> bytes) {
  value made = make(status, id, age);
  made.type_ = dtype & 0xffff;
  made.error_ = error;
  made.bytes_ = bytes;
  made.kind_ = kind_of_type(made.type_);
  return made;
}

std::vector<std::int64_t> microseconds_of(std::span<const time_stamp> times) {
  std::vector<std::int64_t> all;
  all.reserve(times.size());
  for (const time_stamp& time : times) all.push_back(microseconds_of(time));
  return all;
}

namespace {

template <class Subhead>
value view_of(const ravo_channel_entry_long& entry) {
  const auto* head = reinterpret_cast<const Subhead*>(entry.sbchdata[0].chhd);
  if (head == nullptr || head->ldata < static_cast<std::int32_t>(sizeof *head))
    return detail::value_access::make(value_status::not_recorded, entry.event_id);
  return detail::value_access::make(
      value_status::ok, entry.event_id, 0, head->dtype, head->error,
      {reinterpret_cast<const std::byte*>(head + 1), static_cast<std::size_t>(head->ldata) - sizeof *head});
}

}  // namespace

// The readers place a block's data directly after its subheader, whose size depends on its generation. The
// marker of the event header may be anything: it comes from the file.
value view_of_block(const ravo_channel_entry_long& entry) {
  const ravo_event_chan_ptr_long_entry& at = entry.sbchdata[0];
  const bool is_older = at.chhd != 0 && at.data - at.chhd == sizeof(ravo_serv_block_subhead);
  return is_older ? view_of<ravo_serv_block_subhead>(entry) : view_of<ravo_serv_block_subhead_2010>(entry);
}

}  // namespace ravo
