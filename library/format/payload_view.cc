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

parsed_payload parse_current(spectrum_parts parts, const data_type& type, const byte_view& data) {
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

  parts.members = count(members);
  parts.samples = count(samples);
  parts.groups = count(groups);
  if (mean != 0) parts.means = sizeof(head);
  if (statistics != 0) parts.statistics = sizeof(head) + all * mean;
  parts.values = sizeof(head) + all * (mean + statistics);
  parts.axis = {.start = number(data, offsetof(head, start)),
                .increment = number(data, offsetof(head, inc)),
                .groups_increment = number(data, offsetof(head, groups_inc))};
  return {.parts = parts};
}

parsed_payload parse_older(spectrum_parts parts, const data_type& type, const byte_view& data) {
  using head = ravo_spect_head;
  if (data.size() < sizeof(head)) return refused(RAVO_DATA_WRONG_LENGTH);
  const std::int32_t members = word(data, offsetof(head, members));
  const std::int32_t samples = word(data, offsetof(head, samples));
  if (members != type.members || samples < 0) return refused(RAVO_DATA_WRONG_VALUE);
  const size all = static_cast<size>(members);
  if (sizeof(head) + (1 + static_cast<size>(samples)) * sizeof(float) * all != data.size())
    return refused(RAVO_DATA_WRONG_LENGTH);

  parts.members = count(members);
  parts.samples = count(samples);
  parts.means = sizeof(head);
  parts.values = sizeof(head) + all * sizeof(float);
  parts.axis = {.start = number(data, offsetof(head, start)),
                .increment = number(data, offsetof(head, inc))};
  return {.parts = parts};
}

std::optional<image_parts> parse_plain_head(image_parts parts, const byte_view& data) {
  using head = ravo_image_frame_head;
  if (data.size() < sizeof(head)) return std::nullopt;
  // Each word of the size holds two numbers, the word of the pixel three.
  const std::uint32_t width = count(word(data, offsetof(head, w)));
  const std::uint32_t height = count(word(data, offsetof(head, h)));
  const std::uint32_t pixel = count(word(data, offsetof(head, bpp)));
  parts.compression = word(data, offsetof(head, compr));
  parts.width = static_cast<std::int32_t>(width & 0xffff);
  parts.height = static_cast<std::int32_t>(height & 0xffff);
  parts.stated_bytes_per_pixel = static_cast<std::int32_t>(pixel & 0xf);
  parts.frame = count(word(data, offsetof(head, frame)));
  parts.event = count(word(data, offsetof(head, event_nm)));
  parts.x_start = static_cast<std::int32_t>(width >> 16);
  parts.y_start = static_cast<std::int32_t>(height >> 16);
  parts.x_increment = static_cast<std::int32_t>(pixel >> 18);
  parts.y_increment = static_cast<std::int32_t>(pixel >> 4 & 0x3fff);
  parts.length = word(data, offsetof(head, length));
  return parts;
}

std::optional<image_parts> parse_extended_head(image_parts parts, const byte_view& data) {
  using head = ravo_image_ext_frame_head;
  if (data.size() < sizeof(head)) return std::nullopt;
  parts.width = word(data, offsetof(head, aoi_width));
  parts.height = word(data, offsetof(head, aoi_height));
  parts.stated_bytes_per_pixel = word(data, offsetof(head, bpp));
  parts.frame = count(word(data, offsetof(head, frame)));
  parts.event = count(word(data, offsetof(head, event)));
  parts.x_start = word(data, offsetof(head, x_start));
  parts.y_start = word(data, offsetof(head, y_start));
  parts.x_increment = word(data, offsetof(head, hbin));
  parts.y_increment = word(data, offsetof(head, vbin));
  parts.effective_bits = word(data, offsetof(head, ebitpp));
  parts.length = word(data, offsetof(head, length));
  return parts;
}

std::optional<image_parts> parse_head(const image_parts& layout, const byte_view& data) {
  return layout.is_extended ? parse_extended_head(layout, data) : parse_plain_head(layout, data);
}

// One function for each kind of parts: what a payload of its layout holds, or why it cannot be one.

parsed_payload parse(const spectrum_parts& layout, const data_type& type, const byte_view& data,
                     text_rule) {
  return layout.generation == type_generation::current ? parse_current(layout, type, data)
                                                       : parse_older(layout, type, data);
}

parsed_payload parse(roi_parts parts, const data_type&, const byte_view& data, text_rule) {
  using head = ravo_roi_head;
  if (data.size() < sizeof(head)) return refused(RAVO_DATA_WRONG_LENGTH);
  const std::int32_t width = word(data, offsetof(head, width));
  const std::int32_t height = word(data, offsetof(head, height));
  if (width < 0 || height < 0) return refused(RAVO_DATA_WRONG_VALUE);
  const size values = static_cast<size>(width) + static_cast<size>(height);
  if (sizeof(head) + values * sizeof(float) != data.size()) return refused(RAVO_DATA_WRONG_LENGTH);
  parts.width = count(width);
  parts.height = count(height);
  parts.x_start = static_cast<float>(word(data, offsetof(head, x_start)));
  parts.y_start = static_cast<float>(word(data, offsetof(head, y_start)));
  return {.parts = parts};
}

// Pixels need not fill what is left, but there must be as many as the head says.
parsed_payload parse(const image_parts& layout, const data_type&, const byte_view& data, text_rule) {
  const std::optional<image_parts> image = parse_head(layout, data);
  if (!image) return refused(RAVO_DATA_WRONG_LENGTH);
  if (image->length < 0) return refused(RAVO_DATA_WRONG_VALUE);
  if (!data.holds(image->pixels, count(image->length))) return refused(RAVO_DATA_WRONG_LENGTH);
  return {.parts = *image};
}

parsed_payload parse(const name_value_parts& layout, const data_type&, const byte_view& data,
                     text_rule texts) {
  if (data.size() < layout.records) return refused(RAVO_DATA_WRONG_LENGTH);
  const std::optional<name_value_parts> parts = parse_name_value_head(data);
  if (!parts) return refused(RAVO_DATA_WRONG_VALUE);
  if (parts->size() != data.size()) return refused(RAVO_DATA_WRONG_LENGTH);
  if (texts == text_rule::any) return {.parts = *parts};
  if (!data.has_text(parts->comment, parts->comment_size)) return refused(RAVO_DATA_WRONG_VALUE);
  for (std::size_t record = 0; record < parts->count; ++record)
    if (!data.has_text(parts->name(record), parts->name_size)) return refused(RAVO_DATA_WRONG_VALUE);
  return {.parts = *parts};
}

parsed_payload parse(const update_parts& parts, const data_type&, const byte_view& data, text_rule texts) {
  if (data.size() != parts.size) return refused(RAVO_DATA_WRONG_LENGTH);
  if (texts == text_rule::terminated && parts.name_size != 0 && !data.has_text(0, parts.name_size))
    return refused(RAVO_DATA_WRONG_VALUE);
  return {.parts = parts};
}

parsed_payload parse(const text_part&, const data_type&, const byte_view& data, text_rule texts) {
  if (texts == text_rule::terminated && !data.has_text(0, data.size()))
    return refused(RAVO_DATA_WRONG_VALUE);
  const auto* const text = reinterpret_cast<const char*>(data.data());
  return {.parts = text_part{data.size() == 0 ? 0 : strnlen(text, data.size())}};
}

parsed_payload parse(records_part parts, const data_type&, const byte_view& data, text_rule) {
  if (data.size() % parts.record_size != 0) return refused(RAVO_DATA_WRONG_LENGTH);
  parts.count = data.size() / parts.record_size;
  return {.parts = parts};
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
  const std::optional<image_parts> layout = layout_as<image_parts>(type.shape);
  return layout ? parse_head(*layout, data) : std::nullopt;
}

std::optional<name_value_parts> parse_name_value_head(const byte_view& data) {
  using head = ravo_name_value_block;
  name_value_parts parts = *layout_as<name_value_parts>(payload_shape::name_value);
  if (data.size() < parts.records) return std::nullopt;
  const std::int32_t records = word(data, offsetof(head, ndata));
  if (records < 0) return std::nullopt;
  parts.id = word(data, offsetof(head, id));
  parts.count = count(records);
  return parts;
}

parsed_payload parse_payload(const data_type& type, const byte_view& data, text_rule texts) {
  const std::optional<payload_parts> layout = layout_of(type.shape);
  if (!layout) return refused(RAVO_DATA_UNKNOWN_TYPE);
  return std::visit([&](const auto& parts) { return parse(parts, type, data, texts); }, *layout);
}

}  // namespace ravo
