// The picture that a camera takes of the beam spot: pixels row by row.
#ifndef RAVO_SIMULATOR_SCREEN_H
#define RAVO_SIMULATOR_SCREEN_H

#include <vector>

#include "machine.h"
#include "noise.h"

namespace ravo::simulator {

struct screen {
  int width;
  int height;
  int bits;  ///< of a pixel
};

/// `Pixel`: std::uint8_t or std::uint16_t.
template <class Pixel>
std::vector<Pixel> take_picture(const screen& picture, const pulse_state& state, noise& numbers);

}  // namespace ravo::simulator

#endif
