// A picture in grey, and its form on a terminal: as half blocks where there are colours, two
// pixels in each character cell, and as letters of increasing darkness where there are none.
#ifndef RAVO_DRAWING_GREY_PICTURE_H
#define RAVO_DRAWING_GREY_PICTURE_H

#include <cstddef>
#include <string>
#include <vector>

#include "drawing/ticks.h"

namespace ravo::drawing {

struct grey_picture {
  int width = 0;
  int height = 0;
  std::vector<float> pixels;  ///< row after row, width x height

  float at(int x, int y) const {
    return pixels[static_cast<std::size_t>(y) * static_cast<std::size_t>(width) +
                  static_cast<std::size_t>(x)];
  }
};

enum class colours { none, of_256, of_24_bits };

/// A smaller picture of the same shape that fits into width x height; each pixel is the
/// mean of the pixels that it replaces. A picture that already fits stays as it is.
grey_picture shrunk(const grey_picture& picture, int width, int height);

/// From the darkest to the brightest pixel.
interval brightness_of(const grey_picture& picture);

/// The lines of a terminal that show the picture, shrunk to
/// fit. The darkest pixel is black, the brightest white.
std::vector<std::string> terminal_picture(const grey_picture& picture, int columns, int rows, colours how);

}  // namespace ravo::drawing

#endif
