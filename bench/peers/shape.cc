#include "shape.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "bench_files.h"
#include "noise.h"
#include "ravo_payload.h"

namespace ravo::bench {
namespace {

// Channels see the same signal at different times.
int moment(int channel, int event) { return channel * 100'000 + event; }

/// A spot of light on a dark, noisy sensor: 8 bits of it, or 12 in two bytes.
std::vector<unsigned char> frame(const shape& what, int channel, int event) {
  ravo_image_frame_head head{};
  head.w = static_cast<std::uint32_t>(what.width);
  head.h = static_cast<std::uint32_t>(what.height);
  head.bpp = static_cast<std::uint32_t>(what.element);
  head.length = static_cast<std::int32_t>(what.value_bytes());
  std::vector<unsigned char> block(sizeof head + what.value_bytes());
  std::memcpy(block.data(), &head, sizeof head);
  simulator::noise numbers(3, 4, static_cast<std::uint64_t>(moment(channel, event)));
  const double most = what.element == 1 ? 255 : 4095;
  const double width = static_cast<double>(what.width), height = static_cast<double>(what.height);
  const double centre = width * (0.4 + 0.2 * numbers.uniform()), spread = 0.06 * width;
  std::vector<double> across(what.width);
  for (std::size_t x = 0; x < what.width; ++x)
    across[x] = std::exp(-0.5 * std::pow((static_cast<double>(x) - centre) / spread, 2));
  unsigned char* pixel = block.data() + sizeof head;
  for (std::size_t y = 0; y < what.height; ++y) {
    const double down = std::exp(-0.5 * std::pow((static_cast<double>(y) - 0.5 * height) / spread, 2));
    for (std::size_t x = 0; x < what.width; ++x) {
      const double light = 0.8 * most * across[x] * down + most * 0.02 + most * 0.004 * numbers.normal();
      const auto counts = static_cast<unsigned>(std::clamp(light, 0.0, most));
      if (what.element == 2) *pixel++ = static_cast<unsigned char>(counts >> 8);
      *pixel++ = static_cast<unsigned char>(counts);
    }
  }
  return block;
}

std::string with_commas(int number) {
  std::string text = std::to_string(number);
  for (std::size_t at = text.size(); at > 3;) text.insert(at -= 3, ",");
  return text;
}

}  // namespace

std::size_t shape::head_bytes() const {
  return is_image() ? sizeof(ravo_image_frame_head) : sizeof(ravo_spect_head_2010);
}

shape waveforms(int samples, int channels, int events) {
  shape made;
  made.name = samples == 1 ? "scalars" : with_commas(samples) + " floats";
  made.width = static_cast<std::size_t>(samples);
  made.channels = channels;
  made.events = events;
  return made;
}

shape images(int bits, int channels, int events) {
  shape made;
  made.name = "1392 x 1040, " + std::to_string(bits) + " bits";
  made.dtype = RAVO_BLOCK_IMAGE;
  made.element = static_cast<std::size_t>(bits) / 8;
  made.height = 1040;
  made.width = 1392;
  made.channels = channels;
  made.events = events;
  return made;
}

std::vector<shape> all_shapes(extent how_much) {
  if (how_much == extent::quick)
    return {waveforms(2048, 50, 60), waveforms(16384, 50, 8), images(8, 2, 10), images(16, 2, 6),
            waveforms(1, 50, 300)};
  return {waveforms(2048, 50, 300), waveforms(16384, 50, 40), images(8, 4, 20), images(16, 4, 12),
          waveforms(1, 50, 1500)};
}

std::vector<unsigned char> make_block(const shape& what, int channel, int event) {
  return what.is_image() ? frame(what, channel, event)
                         : waveform(static_cast<int>(what.width), moment(channel, event));
}

void values_of_block(const shape& what, const unsigned char* block, std::byte* into) {
  const unsigned char* values = block + what.head_bytes();
  if (what.element != 2) {
    std::memcpy(into, values, what.value_bytes());
    return;
  }
  // Pixels have their most significant byte first, in files and in memory.
  for (std::size_t i = 0; i < what.elements(); ++i) {
    const auto pixel = static_cast<std::uint16_t>(values[2 * i] << 8 | values[2 * i + 1]);
    std::memcpy(into + 2 * i, &pixel, sizeof pixel);
  }
}

}  // namespace ravo::bench
