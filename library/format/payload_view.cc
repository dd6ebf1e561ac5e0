// The rules of each payload shape: which counts and lengths must agree, and what is where.
#include "format/payload_view.h"

#include <cstring>

namespace ravo {

namespace {

// Wide enough for every product below: of three factors, each checked against the length first.
using size = std::uint64_t;

parsed_payload refused(ravo_data_status status) { return {.status = status}; }

std::int32_t word(const byte_view& data, std::size_t offset) { return *data.at<std::int32_t>(offset); }
float number(const byte_view& data, std::size_t offset) { return *data.at<float>(offset); }
std::uint32_t count(std::int32_t value) { return static_cast<std::uint32_t>(value); }

parsed_payload parse_spectrum(const data_type& type, const byte_view& data) {
  using head = ravo_spect_head_2010;
  if (data.size() < sizeof(head)) return refused(RAVO_DATA_WRONG_LENGTH);
  const std::int32_t members = word(data, offsetof(head, members));
  const std::int32_t samples = word(data, offsetof(head, samples));
  const std::int32_t groups = word(data, offsetof(head, groups));
  const std::uint32_t flags = count(word(data, offsetof(head, flags)));
  const bool any_members = type.code == RAVO_BLOCK_GENERIC_SPECT;
  // Members may have no samples, so the length alone does not limit their number.
  if (any_members ? members < 1 || members > RAVO_SPECT_MOST_MEMBERS : members != type.members)
    return refused(RAVO_DATA_WRONG_VALUE);
  if (samples < 0 || groups < 1) return refused(RAVO_DATA_WRONG_VALUE);
  if (flags & ~(RAVO_SPECT_HAS_MEANS | RAVO_SPECT_HAS_STATISTICS)) return refused(RAVO_DATA_WRONG_VALUE);

  const size after_head = data.size() - sizeof(head);
  const size values = static_cast<size>(samples) * static_cast<size>(groups);
  if (values > after_head / sizeof(float)) return refused(RAVO_DATA_WRONG_LENGTH);
  const size mean = flags & RAVO_SPECT_HAS_MEANS ? sizeof(float) : 0;
  const size statistics = flags & RAVO_SPECT_HAS_STATISTICS ? sizeof(ravo_spect_statistics_2010) : 0;
  const size all = static_cast<size>(members);
  if ((values * sizeof(float) + mean + statistics) * all != after_head)
    return refused(RAVO_DATA_WRONG_LENGTH);

  return {.parts = spectrum_parts{.generation = type_generation::current,
                                  .head_size = sizeof(head),
                                  .members = count(members),
                                  .samples = count(samples),
                                  .groups = count(groups),
                                  .means = mean ? sizeof(head) : 0,
                                  .statistics = statistics ? sizeof(head) + all * mean : 0,
                                  .values = sizeof(head) + all * (mean + statistics),
                                  .axis = {.start = number(data, offsetof(head, start)),
                                           .increment = number(data, offsetof(head, inc)),
                                           .groups_increment = number(data, offsetof(head, groups_inc))}}};
}

parsed_payload parse_older_spectrum(const data_type& type, const byte_view& data) {
  using head = ravo_spect_head;
  if (data.size() < sizeof(head)) return refused(RAVO_DATA_WRONG_LENGTH);
  const std::int32_t members = word(data, offsetof(head, members));
  const std::int32_t samples = word(data, offsetof(head, samples));
  if (members != type.members || samples < 0) return refused(RAVO_DATA_WRONG_VALUE);
  const size all = static_cast<size>(members);
  if (sizeof(head) + (1 + static_cast<size>(samples)) * sizeof(float) * all != data.size())
    return refused(RAVO_DATA_WRONG_LENGTH);

  return {.parts = spectrum_parts{.generation = type_generation::older,
                                  .head_size = sizeof(head),
                                  .members = count(members),
                                  .samples = count(samples),
                                  .means = sizeof(head),
                                  .values = sizeof(head) + all * sizeof(float),
                                  .axis = {.start = number(data, offsetof(head, start)),
                                           .increment = number(data, offsetof(head, inc))}}};
}

parsed_payload parse_roi(const byte_view& data) {
  using head = ravo_roi_head;
  if (data.size() < sizeof(head)) return refused(RAVO_DATA_WRONG_LENGTH);
  const std::int32_t width = word(data, offsetof(head, width));
  const std::int32_t height = word(data, offsetof(head, height));
  if (width < 0 || height < 0) return refused(RAVO_DATA_WRONG_VALUE);
  const size values = static_cast<size>(width) + static_cast<size>(height);
  if (sizeof(head) + values * sizeof(float) != data.size()) return refused(RAVO_DATA_WRONG_LENGTH);
  return {.parts = roi_parts{.width = count(width),
                             .height = count(height),
                             .x_start = static_cast<float>(word(data, offsetof(head, x_start))),
                             .y_start = static_cast<float>(word(data, offsetof(head, y_start))),
                             .values = sizeof(head)}};
}

std::optional<image_parts> parse_plain_head(const byte_view& data) {
  using head = ravo_image_frame_head;
  if (data.size() < sizeof(head)) return std::nullopt;
  // Each word of the size holds two numbers, the word of the pixel three.
  const std::uint32_t width = count(word(data, offsetof(head, w)));
  const std::uint32_t height = count(word(data, offsetof(head, h)));
  const std::uint32_t pixel = count(word(data, offsetof(head, bpp)));
  return image_parts{.is_compressed = word(data, offsetof(head, compr)) != 0,
                     .width = static_cast<std::int32_t>(width & 0xffff),
                     .height = static_cast<std::int32_t>(height & 0xffff),
                     .stated_bytes_per_pixel = static_cast<std::int32_t>(pixel & 0xf),
                     .frame = count(word(data, offsetof(head, frame))),
                     .event = count(word(data, offsetof(head, event_nm))),
                     .x_start = static_cast<std::int32_t>(width >> 16),
                     .y_start = static_cast<std::int32_t>(height >> 16),
                     .x_increment = static_cast<std::int32_t>(pixel >> 18),
                     .y_increment = static_cast<std::int32_t>(pixel >> 4 & 0x3fff),
                     .pixels = sizeof(head),
                     .length = word(data, offsetof(head, length))};
}

std::optional<image_parts> parse_extended_head(const byte_view& data) {
  using head = ravo_image_ext_frame_head;
  if (data.size() < sizeof(head)) return std::nullopt;
  return image_parts{.is_extended = true,
                     .width = word(data, offsetof(head, aoi_width)),
                     .height = word(data, offsetof(head, aoi_height)),
                     .stated_bytes_per_pixel = word(data, offsetof(head, bpp)),
                     .frame = count(word(data, offsetof(head, frame))),
                     .event = count(word(data, offsetof(head, event))),
                     .x_start = word(data, offsetof(head, x_start)),
                     .y_start = word(data, offsetof(head, y_start)),
                     .x_increment = word(data, offsetof(head, hbin)),
                     .y_increment = word(data, offsetof(head, vbin)),
                     .effective_bits = word(data, offsetof(head, ebitpp)),
                     .pixels = sizeof(head),
                     .length = word(data, offsetof(head, length))};
}

// Pixels need not fill what is left, but there must be as many as the head says.
parsed_payload parse_image(const std::optional<image_parts>& image, const byte_view& data) {
  if (!image) return refused(RAVO_DATA_WRONG_LENGTH);
  if (image->length < 0) return refused(RAVO_DATA_WRONG_VALUE);
  if (!data.holds(image->pixels, count(image->length))) return refused(RAVO_DATA_WRONG_LENGTH);
  return {.parts = *image};
}

parsed_payload parse_name_value(const byte_view& data, text_rule texts) {
  using head = ravo_name_value_block;
  if (data.size() < sizeof(head)) return refused(RAVO_DATA_WRONG_LENGTH);
  const std::int32_t records = word(data, offsetof(head, ndata));
  if (records < 0) return refused(RAVO_DATA_WRONG_VALUE);
  if (sizeof(head) + static_cast<size>(records) * sizeof(ravo_name_value_channel) != data.size())
    return refused(RAVO_DATA_WRONG_LENGTH);

  const name_value_parts parts{
      .id = word(data, offsetof(head, id)), .count = count(records), .records = sizeof(head)};
  if (texts == text_rule::any) return {.parts = parts};
  if (!data.has_text(parts.comment, parts.comment_size)) return refused(RAVO_DATA_WRONG_VALUE);
  for (std::size_t record = 0; record < parts.count; ++record)
    if (!data.has_text(parts.name(record), parts.name_size)) return refused(RAVO_DATA_WRONG_VALUE);
  return {.parts = parts};
}

parsed_payload parse_reading(const update_parts& parts, const byte_view& data, text_rule texts) {
  if (data.size() != parts.size) return refused(RAVO_DATA_WRONG_LENGTH);
  if (texts == text_rule::terminated && parts.name_size != 0 && !data.has_text(0, parts.name_size))
    return refused(RAVO_DATA_WRONG_VALUE);
  return {.parts = parts};
}

parsed_payload parse_text(const byte_view& data, text_rule texts) {
  if (texts == text_rule::terminated && !data.has_text(0, data.size()))
    return refused(RAVO_DATA_WRONG_VALUE);
  const auto* const text = reinterpret_cast<const char*>(data.data());
  return {.parts = text_part{data.size() == 0 ? 0 : strnlen(text, data.size())}};
}

parsed_payload parse_records(const byte_view& data, std::size_t record_size) {
  if (data.size() % record_size != 0) return refused(RAVO_DATA_WRONG_LENGTH);
  return {.parts = records_part{record_size, data.size() / record_size}};
}

}  // namespace

member_parts spectrum_parts::member(std::size_t index) const {
  member_parts found{.samples = samples, .groups = groups, .axis = axis};
  found.values = values + index * found.size();
  if (means != 0) found.mean = means + index * sizeof(float);
  if (statistics != 0) found.statistics = statistics + index * sizeof(ravo_spect_statistics_2010);
  return found;
}

member_parts roi_parts::member(std::size_t index) const {
  if (index == 0) return {.samples = width, .values = values, .axis = {.start = x_start}};
  return {.samples = height, .values = values + width * sizeof(float), .axis = {.start = y_start}};
}

bool image_parts::has_every_pixel() const {
  if (width < 0 || height < 0 || length < 0) return false;
  const size places = static_cast<size>(width) * static_cast<size>(height);
  const size bytes = static_cast<size>(length);
  return places <= bytes && places * static_cast<size>(bytes_per_pixel()) == bytes;
}

std::optional<image_parts> parse_image_head(const data_type& type, const byte_view& data) {
  if (type.shape == payload_shape::image) return parse_plain_head(data);
  if (type.shape == payload_shape::image_ext) return parse_extended_head(data);
  return std::nullopt;
}

parsed_payload parse_payload(const data_type& type, const byte_view& data, text_rule texts) {
  switch (type.shape) {
    case payload_shape::none:
      break;
    case payload_shape::update:
    case payload_shape::update_older:
    case payload_shape::environment:
      return parse_reading(*find_reading(type.shape), data, texts);
    case payload_shape::env_dictionary:
      return parse_records(data, sizeof(ravo_env_dictionary_entry_2010));
    case payload_shape::spectrum:
      return parse_spectrum(type, data);
    case payload_shape::spectrum_older:
      return parse_older_spectrum(type, data);
    case payload_shape::image:
      return parse_image(parse_plain_head(data), data);
    case payload_shape::image_ext:
      return parse_image(parse_extended_head(data), data);
    case payload_shape::roi:
      return parse_roi(data);
    case payload_shape::name_value:
      return parse_name_value(data, texts);
    case payload_shape::text:
      return parse_text(data, texts);
  }
  return refused(RAVO_DATA_UNKNOWN_TYPE);
}

}  // namespace ravo
