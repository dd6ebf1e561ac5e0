#include "read/item.h"

#include <cstring>

#include "ravo_data_types.h"
#include "ravo_evutl.h"
#include "ravo_payload.h"

namespace ravo::datasets {
namespace {

using size = std::uint64_t;
using maybe_item = std::optional<item>;

std::int32_t word(const byte_view& data, std::size_t offset) { return *data.at<std::int32_t>(offset); }
float number(const byte_view& data, std::size_t offset) { return *data.at<float>(offset); }
std::uint32_t count(std::int32_t value) { return static_cast<std::uint32_t>(value); }

/// Cuts the wanted member out of a spectrum whose values begin at `at`.
maybe_item choose_member(item whole, std::int32_t members, int member) {
  const std::size_t each = std::size_t{whole.shape[1]} * whole.shape[2];
  if (member >= members) return std::nullopt;
  whole.shape[0] = member < 0 ? count(members) : 1;
  whole.elements = whole.shape[0] * each;
  if (member > 0) whole.at += static_cast<std::size_t>(member) * each * 4;
  return whole;
}

maybe_item find_spectrum(const data_type& type, const byte_view& data, int member) {
  if (data.size() < sizeof(ravo_spect_head_2010)) return std::nullopt;
  const std::int32_t members = word(data, offsetof(ravo_spect_head_2010, members));
  const std::int32_t samples = word(data, offsetof(ravo_spect_head_2010, samples));
  const std::int32_t groups = word(data, offsetof(ravo_spect_head_2010, groups));
  const auto flags = count(word(data, offsetof(ravo_spect_head_2010, flags)));
  const bool any_members = type.code == RAVO_BLOCK_GENERIC_SPECT;
  if (any_members ? members < 1 || members > RAVO_SPECT_MOST_MEMBERS : members != type.members)
    return std::nullopt;
  if (samples < 0 || groups < 1 || (flags & ~(RAVO_SPECT_HAS_MEANS | RAVO_SPECT_HAS_STATISTICS)) != 0)
    return std::nullopt;
  const size behind_head = data.size() - sizeof(ravo_spect_head_2010);
  const size values = static_cast<size>(samples) * static_cast<size>(groups);
  if (values > behind_head / 4) return std::nullopt;
  size extras = 0;
  if ((flags & RAVO_SPECT_HAS_MEANS) != 0) extras += 4;
  if ((flags & RAVO_SPECT_HAS_STATISTICS) != 0) extras += sizeof(ravo_spect_statistics_2010);
  if ((values * 4 + extras) * static_cast<size>(members) != behind_head) return std::nullopt;
  item found;
  found.kind = value_kind::spectrum;
  found.shape = {1, count(groups), count(samples)};
  found.at = sizeof(ravo_spect_head_2010) + extras * static_cast<size>(members);
  found.start = number(data, offsetof(ravo_spect_head_2010, start));
  found.increment = number(data, offsetof(ravo_spect_head_2010, inc));
  found.groups_increment = number(data, offsetof(ravo_spect_head_2010, groups_inc));
  return choose_member(found, members, member);
}

maybe_item find_older_spectrum(const data_type& type, const byte_view& data, int member) {
  if (data.size() < sizeof(ravo_spect_head)) return std::nullopt;
  const std::int32_t members = word(data, offsetof(ravo_spect_head, members));
  const std::int32_t samples = word(data, offsetof(ravo_spect_head, samples));
  if (members != type.members || samples < 0) return std::nullopt;
  const size each = 4 + 4 * static_cast<size>(samples);
  if (sizeof(ravo_spect_head) + each * static_cast<size>(members) != data.size()) return std::nullopt;
  item found;
  found.kind = value_kind::spectrum;
  found.shape = {1, 1, count(samples)};
  found.at = sizeof(ravo_spect_head) + 4 * static_cast<size>(members);
  found.start = number(data, offsetof(ravo_spect_head, start));
  found.increment = number(data, offsetof(ravo_spect_head, inc));
  return choose_member(found, members, member);
}

maybe_item find_roi(const byte_view& data, int member) {
  if (data.size() < sizeof(ravo_roi_head) || member > 1) return std::nullopt;
  const std::int32_t width = word(data, offsetof(ravo_roi_head, width));
  const std::int32_t height = word(data, offsetof(ravo_roi_head, height));
  if (width < 0 || height < 0) return std::nullopt;
  if (sizeof(ravo_roi_head) + 4 * (static_cast<size>(width) + static_cast<size>(height)) != data.size())
    return std::nullopt;
  const auto x_start = static_cast<float>(word(data, offsetof(ravo_roi_head, x_start)));
  const auto y_start = static_cast<float>(word(data, offsetof(ravo_roi_head, y_start)));
  item found;
  found.at = sizeof(ravo_roi_head);
  if (member < 0) {
    found.kind = value_kind::roi;
    found.shape = {2, count(width), count(height)};
    found.elements = std::size_t{count(width)} + count(height);
    found.start = x_start;
    found.y_start = y_start;
    return found;
  }
  found.kind = value_kind::spectrum;  // as it is cut out
  found.elements = count(member == 0 ? width : height);
  found.shape = {1, 1, static_cast<std::uint32_t>(found.elements)};
  found.start = member == 0 ? x_start : y_start;
  if (member == 1) found.at += std::size_t{count(width)} * 4;
  return found;
}

maybe_item find_pixels(const byte_view& data, std::size_t head, std::int32_t length, size width,
                       size height, size pixel_bytes, bool compressed, int member) {
  if (length < 0 || static_cast<size>(length) > data.size() - head || member > 0) return std::nullopt;
  item found;
  found.kind = value_kind::image;
  // Only a picture has a place for every pixel; anything else is what the camera sent, byte by byte.
  if (compressed || pixel_bytes < 1 || pixel_bytes > image_view::most_bytes_per_pixel || height == 0 ||
      width * height * pixel_bytes != static_cast<size>(length)) {
    found.element = element_type::uint8;
    found.elements = static_cast<std::size_t>(length);
    found.shape = {1, 0, static_cast<std::uint32_t>(length)};
    found.at = head;
    return found;
  }
  found.element = pixel_bytes == 1   ? element_type::uint8
                  : pixel_bytes == 2 ? element_type::uint16
                                     : element_type::uint32;
  found.shape = {1, static_cast<std::uint32_t>(height), static_cast<std::uint32_t>(width)};
  found.elements = width * height;
  found.pixel_bytes = pixel_bytes;
  found.at = head;
  return found;
}

maybe_item find_image(const byte_view& data, int member) {
  if (data.size() < sizeof(ravo_image_frame_head)) return std::nullopt;
  const auto part = [&](std::size_t offset) { return count(word(data, offset)); };
  const std::uint32_t bpp = part(offsetof(ravo_image_frame_head, bpp)) & 0xf;
  return find_pixels(
      data, sizeof(ravo_image_frame_head), word(data, offsetof(ravo_image_frame_head, length)),
      part(offsetof(ravo_image_frame_head, w)) & 0xffff, part(offsetof(ravo_image_frame_head, h)) & 0xffff,
      bpp == 0 ? 1 : bpp, part(offsetof(ravo_image_frame_head, compr)) != 0, member);
}

maybe_item find_ext_image(const byte_view& data, int member) {
  if (data.size() < sizeof(ravo_image_ext_frame_head)) return std::nullopt;
  const std::int32_t width = word(data, offsetof(ravo_image_ext_frame_head, aoi_width));
  const std::int32_t height = word(data, offsetof(ravo_image_ext_frame_head, aoi_height));
  const std::int32_t bpp = word(data, offsetof(ravo_image_ext_frame_head, bpp));
  const bool is_odd = width < 0 || height < 0;
  return find_pixels(data, sizeof(ravo_image_ext_frame_head),
                     word(data, offsetof(ravo_image_ext_frame_head, length)), is_odd ? 0 : count(width),
                     is_odd ? 0 : count(height), bpp < 1 ? 1 : count(bpp), is_odd, member);
}

maybe_item find_name_values(const byte_view& data, int member) {
  if (data.size() < sizeof(ravo_name_value_block)) return std::nullopt;
  const std::int32_t records = word(data, offsetof(ravo_name_value_block, ndata));
  if (records < 0 || member >= records) return std::nullopt;
  const auto all = static_cast<size>(records);
  if (sizeof(ravo_name_value_block) + all * sizeof(ravo_name_value_channel) != data.size())
    return std::nullopt;
  if (!data.has_text(offsetof(ravo_name_value_block, comment), sizeof(ravo_name_value_block::comment)))
    return std::nullopt;
  for (size i = 0; i < all; ++i)
    if (!data.has_text(sizeof(ravo_name_value_block) + i * sizeof(ravo_name_value_channel),
                       sizeof(ravo_name_value_channel::name)))
      return std::nullopt;
  item found;
  found.kind = value_kind::name_value;
  found.elements = member < 0 ? all : 1;
  found.first_record = member < 0 ? 0 : static_cast<std::size_t>(member);
  found.shape = {static_cast<std::uint32_t>(found.elements), 1, 1};
  found.at = sizeof(ravo_name_value_block);
  return found;
}

maybe_item find_update(const byte_view& data, std::size_t name, int member) {
  if (data.size() != name + 16 || !data.has_text(0, name) || member > 0) return std::nullopt;
  item found;
  found.kind = value_kind::update;
  found.elements = 1;
  found.update_name = name;
  found.at = name + 12;
  return found;
}

maybe_item find_text(const byte_view& data, int member) {
  if (!data.has_text(0, data.size()) || member > 0) return std::nullopt;
  item found;
  found.kind = value_kind::text;
  found.element = element_type::uint8;
  found.elements = strnlen(reinterpret_cast<const char*>(data.data()), data.size());
  found.shape = {1, 1, static_cast<std::uint32_t>(found.elements)};
  return found;
}

/// Records that nothing here looks into: bytes, in words of the machine.
maybe_item find_records(const byte_view& data, std::size_t record, int member) {
  if (data.size() % record != 0 || member > 0) return std::nullopt;
  item found;
  found.kind = value_kind::other;
  found.element = element_type::uint8;
  found.elements = data.size();
  found.shape = {1, 1, static_cast<std::uint32_t>(found.elements)};
  return found;
}

}  // namespace

std::optional<item> find_item(std::int32_t dtype, const byte_view& payload, int member) {
  const data_type* type = find_data_type(dtype);
  if (type == nullptr) return std::nullopt;
  switch (type->shape) {
    case payload_shape::spectrum:
      return find_spectrum(*type, payload, member);
    case payload_shape::spectrum_older:
      return find_older_spectrum(*type, payload, member);
    case payload_shape::roi:
      return find_roi(payload, member);
    case payload_shape::image:
      return find_image(payload, member);
    case payload_shape::image_ext:
      return find_ext_image(payload, member);
    case payload_shape::name_value:
      return find_name_values(payload, member);
    case payload_shape::update:
      return find_update(payload, sizeof(ravo_upd_data_block_2010::upd_prop), member);
    case payload_shape::update_older:
      return find_update(payload, sizeof(ravo_upd_data_block::upd_prop), member);
    case payload_shape::environment: {
      // Index, status, time and value: what an update has behind its name, with the index in front.
      if (payload.size() != sizeof(ravo_env_data_block_2010) || member > 0) return std::nullopt;
      maybe_item found = item{};
      found->kind = value_kind::update;
      found->elements = 1;
      found->at = offsetof(ravo_env_data_block_2010, env_ch_data);
      return found;
    }
    case payload_shape::text:
      return find_text(payload, member);
    case payload_shape::env_dictionary:
      return find_records(payload, sizeof(ravo_env_dictionary_entry_2010), member);
    case payload_shape::none:
      break;
  }
  return std::nullopt;
}

namespace {

// Counts are values here: what bytes are written through might be a count anywhere else, and a loop that
// looks again every time is not done in parallel.
void store_pixels_of_two_bytes(const unsigned char* bytes, std::size_t count, std::byte* into) {
  for (std::size_t i = 0; i < count; ++i) {
    std::uint16_t pixel;
    std::memcpy(&pixel, bytes + 2 * i, 2);
    pixel = __builtin_bswap16(pixel);
    std::memcpy(into + 2 * i, &pixel, 2);
  }
}

void store_pixels_of_three_bytes(const unsigned char* bytes, std::size_t count, std::byte* into) {
  for (std::size_t i = 0; i < count; ++i, bytes += 3) {
    const std::uint32_t pixel =
        std::uint32_t{bytes[0]} << 16 | std::uint32_t{bytes[1]} << 8 | std::uint32_t{bytes[2]};
    std::memcpy(into + 4 * i, &pixel, 4);
  }
}

}  // namespace

void store_item(const item& from, const byte_view& payload, std::byte* into) {
  const unsigned char* bytes = payload.data() + from.at;
  if (from.kind == value_kind::other) {
    ravo_swap4(bytes, into, static_cast<int>(from.elements / 4));
    return;
  }
  switch (from.element) {
    case element_type::float32:
      ravo_swap4(bytes, into, static_cast<int>(from.elements));
      return;
    case element_type::uint8:
      if (from.elements != 0) std::memcpy(into, bytes, from.elements);
      return;
    case element_type::uint16:
      store_pixels_of_two_bytes(bytes, from.elements, into);
      return;
    case element_type::uint32:
      if (from.pixel_bytes == 4)
        ravo_swap4(bytes, into, static_cast<int>(from.elements));
      else
        store_pixels_of_three_bytes(bytes, from.elements, into);
      return;
  }
}

}  // namespace ravo::datasets
