#include "drawing/raster.h"

#include "drawing/small_font.h"

namespace ravo::drawing {
namespace {

constexpr int scale = 2;
constexpr int advance = (letter_width + 1) * scale;
static_assert(raster::text_height == letter_height * scale);

}  // namespace

raster::raster(int width, int height, colour ground) : width_(width), height_(height) {
  bytes_.resize(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 3);
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x) set(x, y, ground);
}

std::size_t raster::index(int x, int y) const {
  return 3 * (static_cast<std::size_t>(y) * static_cast<std::size_t>(width_) + static_cast<std::size_t>(x));
}

colour raster::at(int x, int y) const {
  const std::size_t i = index(x, y);
  return {bytes_[i], bytes_[i + 1], bytes_[i + 2]};
}

void raster::set(int x, int y, colour ink) {
  if (x < 0 || y < 0 || x >= width_ || y >= height_) return;
  const std::size_t i = index(x, y);
  bytes_[i] = ink.red;
  bytes_[i + 1] = ink.green;
  bytes_[i + 2] = ink.blue;
}

void raster::line(place from, place to, colour ink) {
  walk_line(from, to, [&](place dot) { set(dot.x, dot.y, ink); });
}

void raster::text(place at, std::string_view words, colour ink) {
  for (const char letter : words) {
    const letter_rows rows = rows_of(letter);
    for (int y = 0; y < letter_height * scale; ++y)
      for (int x = 0; x < letter_width * scale; ++x)
        if (rows[static_cast<std::size_t>(y / scale)] >> (letter_width - 1 - x / scale) & 1u)
          set(at.x + x, at.y + y, ink);
    at.x += advance;
  }
}

int raster::text_width(std::string_view words) {
  return words.empty() ? 0 : static_cast<int>(words.size()) * advance - scale;
}

}  // namespace ravo::drawing
