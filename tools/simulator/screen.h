// The picture that a camera takes of the beam spot: pixels row by row, the most significant byte of a
// pixel first.
#ifndef RAVO_SIMULATOR_SCREEN_H
#define RAVO_SIMULATOR_SCREEN_H

#include <vector>

#include "simulator/machine.h"
#include "simulator/noise.h"

namespace ravo::simulator {

struct screen {
  int width;
  int height;
  int bits;  ///< of a pixel; up to 8 take one byte, more take two
};

std::vector<unsigned char> take_picture(const screen& picture, const pulse_state& state, noise& numbers);

}  // namespace ravo::simulator

#endif
