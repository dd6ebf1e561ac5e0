#include "verify/frames.h"

#include <bitset>
#include <cstring>
#include <functional>
#include <string_view>
#include <utility>

#include "ravo_payload.h"
#include "ravo_raw_codes.h"

namespace ravo::verify {
namespace {

// A hot pixel or two on black, or what a threshold left over, come twice; noise does not.
constexpr std::size_t fewest_values = 16;

bool has_many_values(std::span<const unsigned char> bytes) {
  std::bitset<256> seen;
  for (const unsigned char byte : bytes) seen.set(byte);
  return seen.count() >= fewest_values;
}

// The pixels behind a head, where they are as many bytes as the picture takes.
std::span<const unsigned char> plain_pixels(std::span<const unsigned char> behind_head, std::int32_t length,
                                            std::uint64_t width, std::uint64_t height,
                                            std::uint64_t bytes_per_pixel) {
  const std::uint64_t pixels = width * height;  // both have 16 bits, or were positive with 31
  const bool is_plain = length > 0 && static_cast<std::uint64_t>(length) <= behind_head.size() &&
                        pixels <= behind_head.size() &&
                        pixels * bytes_per_pixel == static_cast<std::uint64_t>(length);
  return is_plain ? behind_head.first(static_cast<std::size_t>(length)) : std::span<const unsigned char>();
}

template <class Head>
std::optional<Head> head_of(std::span<const unsigned char> data) {
  if (data.size() < sizeof(Head)) return std::nullopt;
  Head head;
  std::memcpy(&head, data.data(), sizeof head);
  return head;
}

std::optional<frame> plain_frame(std::span<const unsigned char> data) {
  const auto head = head_of<ravo_image_frame_head>(data);
  if (!head) return std::nullopt;
  if (head->compr != 0) return frame{head->event_nm, {}};
  const std::uint32_t stated = head->bpp & 0xfu;
  return frame{head->event_nm, plain_pixels(data.subspan(sizeof *head), head->length, head->w & 0xffffu,
                                            head->h & 0xffffu, stated == 0 ? 1 : stated)};
}

std::optional<frame> extended_frame(std::span<const unsigned char> data) {
  const auto head = head_of<ravo_image_ext_frame_head>(data);
  if (!head) return std::nullopt;
  if (head->aoi_width <= 0 || head->aoi_height <= 0 || head->bpp <= 0 || head->bpp > 8)
    return frame{head->event, {}};
  return frame{
      head->event,
      plain_pixels(data.subspan(sizeof *head), head->length, static_cast<std::uint64_t>(head->aoi_width),
                   static_cast<std::uint64_t>(head->aoi_height), static_cast<std::uint64_t>(head->bpp))};
}

}  // namespace

std::optional<frame> find_frame(int dtype, std::span<const unsigned char> data) {
  if (dtype == RAVO_BLOCK_IMAGE) return plain_frame(data);
  if (dtype == RAVO_BLOCK_IMAGE_EXT) return extended_frame(data);
  return std::nullopt;
}

bool frame_repeats::is_repeat(std::span<const unsigned char> pixels) {
  const std::size_t before = std::exchange(
      hash_, std::hash<std::string_view>()({reinterpret_cast<const char*>(pixels.data()), pixels.size()}));
  const std::size_t size_before = std::exchange(size_, pixels.size());
  return hash_ == before && size_ == size_before && has_many_values(pixels);
}

}  // namespace ravo::verify
