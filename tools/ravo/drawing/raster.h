// A picture in colour to draw into: lines and short texts, dot by dot. What lies outside is left out.
#ifndef RAVO_DRAWING_RASTER_H
#define RAVO_DRAWING_RASTER_H

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "drawing/dots.h"

namespace ravo::drawing {

struct colour {
  std::uint8_t red, green, blue;
  bool operator==(const colour&) const = default;
};

class raster {
 public:
  raster(int width, int height, colour ground);

  int width() const { return width_; }
  int height() const { return height_; }
  colour at(int x, int y) const;
  /// Three bytes a dot, row after row.
  const std::vector<std::uint8_t>& bytes() const { return bytes_; }

  void set(int x, int y, colour ink);
  void line(place from, place to, colour ink);
  /// A text in letters of twice the font's size; `at` is its upper left corner.
  void text(place at, std::string_view words, colour ink);
  static int text_width(std::string_view words);
  static constexpr int text_height = 14;

 private:
  std::size_t index(int x, int y) const;

  int width_;
  int height_;
  std::vector<std::uint8_t> bytes_;
};

}  // namespace ravo::drawing

#endif
