#include "frames.h"

#include <bitset>
#include <functional>
#include <string_view>
#include <utility>

#include "format/payload_view.h"

namespace ravo::checks {
namespace {

// A hot pixel or two on black, or what a threshold left over, may repeat; noise does not.
constexpr std::size_t fewest_values = 16;

bool has_many_values(std::span<const unsigned char> bytes) {
  std::bitset<256> seen;
  for (const unsigned char byte : bytes) seen.set(byte);
  return seen.count() >= fewest_values;
}

// Whether the pixels exist and have as many bytes as the picture needs. An
// extended frame has to state the size of a pixel, and no camera has larger ones.
bool is_plain_picture(const image_parts& image, const byte_view& data) {
  constexpr std::int32_t largest_pixel = 8;
  const std::int32_t pixel = image.stated_bytes_per_pixel;
  if (image.is_compressed() || (image.is_extended && (pixel <= 0 || pixel > largest_pixel))) return false;
  return image.length > 0 && image.has_every_pixel() &&
         data.holds(image.pixels, static_cast<std::size_t>(image.length));
}

}  // namespace

std::optional<frame> find_frame(int dtype, std::span<const unsigned char> data) {
  const data_type* type = find_data_type(dtype);
  if (type == nullptr || type->code != dtype) return std::nullopt;
  const byte_view view(data.data(), data.size(), word_order::host);
  const std::optional<image_parts> image = parse_image_head(*type, view);
  if (!image) return std::nullopt;
  if (!is_plain_picture(*image, view)) return frame{image->event, {}};
  return frame{image->event, data.subspan(image->pixels, static_cast<std::size_t>(image->length))};
}

bool frame_repeats::is_repeat(std::span<const unsigned char> pixels) {
  const std::size_t before = std::exchange(
      hash_, std::hash<std::string_view>()({reinterpret_cast<const char*>(pixels.data()), pixels.size()}));
  const std::size_t size_before = std::exchange(size_, pixels.size());
  return hash_ == before && size_ == size_before && has_many_values(pixels);
}

}  // namespace ravo::checks
