#include "read/item.h"

#include <algorithm>
#include <cstring>

#include "ravo_dataset/errors.h"
#include "ravo_evutl.h"

namespace ravo::detail {
namespace {

using maybe_item = std::optional<item>;

/// Several members or, where `member` is not negative, one.
maybe_item find_in(const spectrum_parts& spectrum, int member) {
  const bool is_all = member < 0;
  const std::size_t first = is_all ? 0 : static_cast<std::size_t>(member);
  if (first >= spectrum.members) return std::nullopt;
  item found;
  found.kind = kind_of(spectrum);
  found.shape = {is_all ? spectrum.members : 1, spectrum.groups, spectrum.samples};
  found.elements = found.shape[0] * spectrum.values_of_member();
  found.at = spectrum.member(first).values;
  found.start = spectrum.axis.start;
  found.increment = spectrum.axis.increment;
  found.groups_increment = spectrum.axis.groups_increment;
  return found;
}

maybe_item find_in(const roi_parts& roi, int member) {
  item found;
  if (member < 0) {
    found.kind = kind_of(roi);
    found.shape = {roi.members, roi.width, roi.height};
    found.elements = std::size_t{roi.width} + roi.height;
    found.at = roi.values;
    found.start = roi.x_start;
    found.y_start = roi.y_start;
    return found;
  }
  if (static_cast<std::uint32_t>(member) >= roi.members) return std::nullopt;
  const member_parts profile = roi.member(static_cast<std::size_t>(member));
  found.kind = value_kind::spectrum;  // as it is cut out
  found.shape = {1, 1, profile.samples};
  found.elements = profile.count();
  found.at = profile.values;
  found.start = profile.axis.start;
  return found;
}

/// Only a picture has a place for every pixel; any other frame is the bytes that the camera sent.
maybe_item find_in(const image_parts& image, int member) {
  if (member > 0) return std::nullopt;
  static_assert(image_view::most_bytes_per_pixel == image_parts::most_bytes_of_number);
  item found;
  found.kind = kind_of(image);
  found.at = image.pixels;
  if (!image.is_picture() || image.height == 0) {
    found.element = element_type::uint8;
    found.elements = static_cast<std::size_t>(image.length);
    found.shape = {1, 0, static_cast<std::uint32_t>(image.length)};
    found.is_as_sent = true;
    return found;
  }
  found.pixel_bytes = static_cast<std::size_t>(image.bytes_per_pixel());
  found.element = found.pixel_bytes == 1   ? element_type::uint8
                  : found.pixel_bytes == 2 ? element_type::uint16
                                           : element_type::uint32;
  found.shape = {1, static_cast<std::uint32_t>(image.height), static_cast<std::uint32_t>(image.width)};
  found.elements = std::size_t{found.shape[1]} * found.shape[2];
  return found;
}

maybe_item find_in(const name_value_parts& list, int member) {
  const bool is_all = member < 0;
  if (!is_all && static_cast<std::uint32_t>(member) >= list.count) return std::nullopt;
  item found;
  found.kind = kind_of(list);
  found.elements = is_all ? list.count : 1;
  found.first_record = is_all ? 0 : static_cast<std::size_t>(member);
  found.shape = {static_cast<std::uint32_t>(found.elements), 1, 1};
  found.at = list.records;
  return found;
}

maybe_item find_in(const update_parts& reading, int member) {
  if (member > 0) return std::nullopt;
  item found;
  found.kind = kind_of(reading);
  found.elements = 1;
  found.update_name = reading.name_size;
  found.status = reading.status;
  found.time = reading.time;
  found.at = reading.value;
  return found;
}

/// Bytes from the beginning of the payload on.
maybe_item find_bytes(value_kind kind, std::size_t count, int member) {
  if (member > 0) return std::nullopt;
  item found;
  found.kind = kind;
  found.element = element_type::uint8;
  found.elements = count;
  found.shape = {1, 1, static_cast<std::uint32_t>(count)};
  return found;
}

maybe_item find_in(const text_part& text, int member) {
  return find_bytes(kind_of(text), text.length, member);
}

/// Records that are not parsed here: bytes, with words in host order.
maybe_item find_in(const records_part& records, int member) {
  return find_bytes(kind_of(records), records.count * records.record_size, member);
}

}  // namespace

std::optional<item> find_item(std::int32_t dtype, const byte_view& payload, int member) {
  const data_type* type = find_data_type(dtype);
  if (type == nullptr) return std::nullopt;
  const parsed_payload parsed = parse_payload(*type, payload);
  if (!parsed.is_good()) return std::nullopt;
  return std::visit([member](const auto& parts) { return find_in(parts, member); }, parsed.parts);
}

namespace {

/// Leaves a part of each run. `wanted` may reach beyond the run.
void cut_runs(item& whole, std::size_t runs, std::size_t length, item_range wanted, std::size_t each) {
  const std::size_t first = std::min(wanted.first, length);
  const std::size_t count = std::min(wanted.count, length - first);
  whole.at += first * each;
  whole.elements = runs * count;
  whole.runs = std::max<std::size_t>(runs, 1);
  whole.run_stride = length * each;
  whole.shape[2] = static_cast<std::uint32_t>(count);
}

}  // namespace

void cut_item(item& whole, const value_part& wanted) {
  if (wanted.samples && whole.kind == value_kind::spectrum) {
    const std::size_t first = std::min<std::size_t>(wanted.samples->first, whole.shape[2]);
    if (first != 0) whole.start += static_cast<float>(first) * whole.increment;
    cut_runs(whole, std::size_t{whole.shape[0]} * whole.shape[1], whole.shape[2], *wanted.samples,
             element_size(whole.element));
  }
  if (wanted.region && whole.kind == value_kind::image && !whole.is_as_sent) {
    const pixel_region& region = *wanted.region;
    const std::size_t first_row = std::min<std::size_t>(region.y, whole.shape[1]);
    const std::size_t rows = std::min<std::size_t>(region.height, whole.shape[1] - first_row);
    const std::size_t each = whole.pixel_bytes;
    whole.at += first_row * whole.shape[2] * each;
    whole.shape[1] = static_cast<std::uint32_t>(rows);
    cut_runs(whole, rows, whole.shape[2], {region.x, region.width}, each);
  }
}

std::optional<item> find_item(std::int32_t dtype, const byte_view& payload, const value_part& wanted) {
  auto found = find_item(dtype, payload, wanted.member);
  if (found) cut_item(*found, wanted);
  return found;
}

void check_part(const item& value, const value_part& wanted, const std::string& channel) {
  if (wanted.samples && value.kind != value_kind::spectrum)
    throw selection_error("The values of " + channel +
                          " are no spectra: there are no samples to choose from");
  if (wanted.region && (value.kind != value_kind::image || value.is_as_sent))
    throw selection_error("The values of " + channel + " are no pictures: there is no region to choose");
}

namespace {

// The counts are passed by value: a pointer to bytes might alias a count, and a loop that reads it again
// each time is not vectorised.
[[gnu::always_inline]] inline void reverse_pixels(const unsigned char* bytes, std::size_t count,
                                                  std::byte* into) {
  for (std::size_t i = 0; i < count; ++i) {
    std::uint16_t pixel;
    std::memcpy(&pixel, bytes + 2 * i, 2);
    pixel = __builtin_bswap16(pixel);
    std::memcpy(into + 2 * i, &pixel, 2);
  }
}

[[gnu::target("avx2")]] void reverse_pixels_with_avx2(const unsigned char* bytes, std::size_t count,
                                                      std::byte* into) {
  reverse_pixels(bytes, count, into);
}

void store_pixels_of_two_bytes(const unsigned char* bytes, std::size_t count, std::byte* into) {
  if (__builtin_cpu_supports("avx2") != 0)
    reverse_pixels_with_avx2(bytes, count, into);
  else
    reverse_pixels(bytes, count, into);
}

void store_pixels_of_three_bytes(const unsigned char* bytes, std::size_t count, std::byte* into) {
  for (std::size_t i = 0; i < count; ++i, bytes += 3) {
    const std::uint32_t pixel =
        std::uint32_t{bytes[0]} << 16 | std::uint32_t{bytes[1]} << 8 | std::uint32_t{bytes[2]};
    std::memcpy(into + 4 * i, &pixel, 4);
  }
}

/// Stores elements that lie back to back.
void store_run(const item& from, const unsigned char* bytes, std::size_t elements, std::byte* into) {
  if (from.kind == value_kind::other) {
    ravo_swap4(bytes, into, static_cast<int>(elements / 4));
    return;
  }
  switch (from.element) {
    case element_type::float32:
      ravo_swap4(bytes, into, static_cast<int>(elements));
      return;
    case element_type::uint8:
      if (elements != 0) std::memcpy(into, bytes, elements);
      return;
    case element_type::uint16:
      store_pixels_of_two_bytes(bytes, elements, into);
      return;
    case element_type::uint32:
      if (from.pixel_bytes == 4)
        ravo_swap4(bytes, into, static_cast<int>(elements));
      else
        store_pixels_of_three_bytes(bytes, elements, into);
      return;
  }
}

}  // namespace

void store_item(const item& from, const byte_view& payload, std::byte* into) {
  if (from.elements == 0) return;
  const std::size_t of_run = from.elements / from.runs;
  const unsigned char* bytes = payload.data() + from.at;
  for (std::size_t run = 0; run < from.runs; ++run, bytes += from.run_stride) {
    store_run(from, bytes, of_run, into);
    into += of_run * element_size(from.element);
  }
}

}  // namespace ravo::detail
