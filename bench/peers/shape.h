// What the channels of one comparison hold: the type and size of an event's value, how many channels and
// events there are, and the data themselves, which are a function of channel and event.
#ifndef RAVO_BENCH_PEERS_SHAPE_H
#define RAVO_BENCH_PEERS_SHAPE_H

#include <cstddef>
#include <string>
#include <vector>

#include "ravo_raw_format.h"

namespace ravo::bench {

struct shape {
  std::string name;
  RAVO_SUBBLOCK_TYPE dtype = RAVO_BLOCK_1CHAN_2010;
  std::size_t element = sizeof(float);  ///< bytes
  std::size_t height = 1;               ///< of an image; else 1
  std::size_t width = 1;                ///< of an image, or samples
  int channels = 0;
  int events = 0;

  bool is_image() const { return dtype == RAVO_BLOCK_IMAGE; }
  std::size_t elements() const { return height * width; }
  std::size_t value_bytes() const { return elements() * element; }
  /// Bytes of a block before its values.
  std::size_t head_bytes() const;
  std::size_t values() const {
    return static_cast<std::size_t>(channels) * static_cast<std::size_t>(events);
  }
  std::size_t bytes() const { return values() * value_bytes(); }
  std::string channel_name(int channel) const { return "PEERS/" + std::to_string(1000 + channel); }
};

/// How much is compared.
enum class extent { full, quick };

shape waveforms(int samples, int channels, int events);
/// Frames of 1392 x 1040 pixels.
shape images(int bits, int channels, int events);
/// The shapes that are compared.
std::vector<shape> all_shapes(extent how_much);

/// A block's data as writers of raw files take them.
std::vector<unsigned char> make_block(const shape& what, int channel, int event);
/// Only the values of such a block, in host order.
void values_of_block(const shape& what, const unsigned char* block, std::byte* into);

}  // namespace ravo::bench

#endif
