// Chooses the channel and the event of a file that are damaged: always the same ones, and only suitable
// ones.
#ifndef RAVO_SIMULATOR_FAULT_CHOICE_H
#define RAVO_SIMULATOR_FAULT_CHOICE_H

#include "faults/faults.h"

namespace ravo::simulator {

enum class stored { plain, zlib, lzo, compressed, anyhow };

/// How a block is stored.
stored how_stored(const raw_image& image, const image_entry& entry);
/// The first channel with at least `events` events that is stored in
/// this way and has one of these data types (an empty list: any).
image_channel& choose_channel(raw_image& image, stored how, std::vector<std::uint32_t> types = {},
                              std::size_t events = 3);
/// Spectra of both generations, except those whose blocks state their number of members.
extern const std::vector<std::uint32_t> spectrum_types;

/// A channel of environment readings, and its entry in the
/// environment dictionary: key, then index. `place` counts from 0.
struct environment_channel {
  const image_channel& channel;
  std::uint32_t at;
};
environment_channel choose_environment(const raw_image& image, std::size_t place = 0);

/// An event in the middle of a channel or of a type, with one on either side.
template <class List>
std::size_t middle(const List& list) {
  return list.size() / 2;
}

/// The type of events with beam.
image_type& beam_events(raw_image& image);

/// The number of the event whose header is at the offset.
inline std::uint32_t number_of(const raw_image& image, std::uint32_t header) {
  return image.word(header + header_number);
}

}  // namespace ravo::simulator

#endif
