#include "ravo_dataset/values.h"

#include <cstring>
#include <limits>
#include <optional>
#include <string>

#include "ravo_data_types.h"
#include "ravo_dataset/errors.h"
#include "read/value_access.h"

namespace ravo {
namespace {

value_kind kind_of(payload_shape shape) {
  switch (shape) {
    case payload_shape::spectrum:
    case payload_shape::spectrum_older:
      return value_kind::spectrum;
    case payload_shape::roi:
      return value_kind::roi;
    case payload_shape::image:
    case payload_shape::image_ext:
      return value_kind::image;
    case payload_shape::name_value:
      return value_kind::name_value;
    case payload_shape::text:
      return value_kind::text;
    case payload_shape::update:
    case payload_shape::update_older:
    case payload_shape::environment:
      return value_kind::update;
    default:
      return value_kind::other;
  }
}

payload_shape shape_of(int type) {
  const data_type* row = find_data_type(type);
  return row != nullptr ? row->shape : payload_shape::none;
}

using byte_span = std::span<const std::byte>;

template <class Record>
const Record* record_at(byte_span bytes, std::size_t offset = 0) {
  if (offset > bytes.size() || sizeof(Record) > bytes.size() - offset) return nullptr;
  return reinterpret_cast<const Record*>(bytes.data() + offset);
}

/// `count` records from an offset on; none when they do not all lie in the bytes.
template <class Record>
std::span<const Record> records_at(byte_span bytes, std::size_t offset, std::size_t count) {
  if (offset > bytes.size() || count > (bytes.size() - offset) / sizeof(Record)) return {};
  return {reinterpret_cast<const Record*>(bytes.data() + offset), count};
}

template <std::size_t size>
std::string_view text_of(const char (&field)[size]) {
  return {field, strnlen(field, size)};
}

std::size_t count_of(std::int32_t word) { return word > 0 ? static_cast<std::size_t>(word) : 0; }

spectrum_view current_spectrum(byte_span bytes) {
  const auto* head = record_at<ravo_spect_head_2010>(bytes);
  if (head == nullptr) return {};
  spectrum_view view;
  view.members = count_of(head->members);
  view.samples = count_of(head->samples);
  view.groups = count_of(head->groups);
  view.start = head->start;
  view.increment = head->inc;
  view.groups_increment = head->groups_inc;
  std::size_t at = sizeof *head;
  if ((head->flags & RAVO_SPECT_HAS_MEANS) != 0) {
    view.means = records_at<float>(bytes, at, view.members);
    at += view.means.size_bytes();
  }
  if ((head->flags & RAVO_SPECT_HAS_STATISTICS) != 0) {
    view.statistics = records_at<ravo_spect_statistics_2010>(bytes, at, view.members);
    at += view.statistics.size_bytes();
  }
  view.values = records_at<float>(bytes, at, view.members * view.samples * view.groups);
  return view;
}

spectrum_view older_spectrum(byte_span bytes) {
  const auto* head = record_at<ravo_spect_head>(bytes);
  if (head == nullptr) return {};
  spectrum_view view;
  view.members = count_of(head->members);
  view.samples = count_of(head->samples);
  view.start = head->start;
  view.increment = head->inc;
  view.means = records_at<float>(bytes, sizeof *head, view.members);
  view.values =
      records_at<float>(bytes, sizeof *head + view.means.size_bytes(), view.members * view.samples);
  return view;
}

spectrum_view region_of_interest(byte_span bytes) {
  const auto* head = record_at<ravo_roi_head>(bytes);
  if (head == nullptr) return {};
  spectrum_view view;
  view.members = 2;
  view.samples = count_of(head->width);
  view.start = static_cast<float>(head->x_start);
  view.y_start = static_cast<float>(head->y_start);
  view.values = records_at<float>(bytes, sizeof *head, view.samples + count_of(head->height));
  return view;
}

template <class Update>
update_view update_of(byte_span bytes) {
  const auto* block = record_at<Update>(bytes);
  if (block == nullptr) return {};
  return {block->upd_ch_data, block->upd_ch_status, block->upd_ch_time, text_of(block->upd_prop)};
}

update_view reading_of(byte_span bytes) {
  const auto* block = record_at<ravo_env_data_block_2010>(bytes);
  if (block == nullptr) return {};
  return {block->env_ch_data, block->env_ch_status, block->env_ch_time, {}};
}

std::span<const std::uint8_t> pixels_at(byte_span bytes, std::size_t offset, std::int32_t length) {
  return records_at<std::uint8_t>(bytes, offset, count_of(length));
}

}  // namespace

std::span<const float> spectrum_view::member(std::size_t index) const {
  if (index >= members) return {};
  const std::size_t each = samples * groups;
  // Only the profiles of a region of interest differ in length: the second is what the first leaves.
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
  std::uint32_t number = 0;
  const std::size_t at = (y * width + x) * bytes_per_pixel;
  for (std::size_t i = 0; i < bytes_per_pixel; ++i) number = number << 8 | pixels[at + i];
  return number;
}

spectrum_view value::spectrum() const {
  if (kind_ == value_kind::roi) return region_of_interest(bytes_);
  if (kind_ != value_kind::spectrum) return {};
  return shape_of(type_) == payload_shape::spectrum ? current_spectrum(bytes_) : older_spectrum(bytes_);
}

image_view value::image() const {
  image_view view;
  if (kind_ != value_kind::image) return view;
  if (shape_of(type_) == payload_shape::image) {
    const auto* head = record_at<ravo_image_frame_head>(bytes_);
    if (head == nullptr) return view;
    view.frame = head;
    view.width = head->w & 0xffff;
    view.height = head->h & 0xffff;
    view.bytes_per_pixel = (head->bpp & 0xf) != 0 ? head->bpp & 0xf : 1;
    view.is_compressed = head->compr != 0;
    view.pixels = pixels_at(bytes_, sizeof *head, head->length);
  } else if (const auto* head = record_at<ravo_image_ext_frame_head>(bytes_)) {
    view.ext_frame = head;
    view.width = count_of(head->aoi_width);
    view.height = count_of(head->aoi_height);
    view.bytes_per_pixel = head->bpp > 0 ? static_cast<std::size_t>(head->bpp) : 1;
    view.pixels = pixels_at(bytes_, sizeof *head, head->length);
  }
  return view;
}

name_value_view value::name_values() const {
  if (kind_ != value_kind::name_value) return {};
  const auto* head = record_at<ravo_name_value_block>(bytes_);
  if (head == nullptr) return {};
  return {head->id, text_of(head->comment),
          records_at<ravo_name_value_channel>(bytes_, sizeof *head, count_of(head->ndata))};
}

update_view value::update() const {
  if (kind_ != value_kind::update) return {};
  switch (shape_of(type_)) {
    case payload_shape::update:
      return update_of<ravo_upd_data_block_2010>(bytes_);
    case payload_shape::environment:
      return reading_of(bytes_);
    default:
      return update_of<ravo_upd_data_block>(bytes_);
  }
}

std::string_view value::text() const {
  if (kind_ != value_kind::text) return {};
  const auto* first = reinterpret_cast<const char*>(bytes_.data());
  return {first, strnlen(first, bytes_.size())};
}

double value::number() const {
  if (kind_ == value_kind::update) return update().value;
  if (kind_ == value_kind::name_value) {
    const auto records = name_values().records;
    if (!records.empty()) return records.front().value;
  }
  const auto values = spectrum().values;
  return values.empty() ? std::numeric_limits<double>::quiet_NaN() : values.front();
}

value value_access::make(value_status status, const ravo_time_id& id, std::int64_t age) {
  value made;
  made.status_ = status;
  made.id_ = id;
  made.age_ = age;
  return made;
}

value value_access::make(value_status status, const ravo_time_id& id, std::int64_t age, std::int32_t dtype,
                         std::int32_t error, std::span<const std::byte> bytes) {
  value made = make(status, id, age);
  made.type_ = dtype & 0xffff;
  made.error_ = error;
  made.bytes_ = bytes;
  made.kind_ = kind_of(shape_of(made.type_));
  return made;
}

namespace {

template <class Subhead>
value view_of(const ravo_channel_entry_long& entry) {
  const auto* head = reinterpret_cast<const Subhead*>(entry.sbchdata[0].chhd);
  if (head == nullptr || head->ldata < static_cast<std::int32_t>(sizeof *head))
    return value_access::make(value_status::not_recorded, entry.event_id);
  return value_access::make(
      value_status::ok, entry.event_id, 0, head->dtype, head->error,
      {reinterpret_cast<const std::byte*>(head + 1), static_cast<std::size_t>(head->ldata) - sizeof *head});
}

}  // namespace

// The readers put a block's data right after its subheader, whose size is that of its generation. The
// marker of the event header may be anything: it is out of the file.
value view_of_block(const ravo_channel_entry_long& entry) {
  const ravo_event_chan_ptr_long_entry& at = entry.sbchdata[0];
  const bool is_older = at.chhd != 0 && at.data - at.chhd == sizeof(ravo_serv_block_subhead);
  return is_older ? view_of<ravo_serv_block_subhead>(entry) : view_of<ravo_serv_block_subhead_2010>(entry);
}

}  // namespace ravo
