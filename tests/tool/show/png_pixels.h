// A PNG file read back through libpng.
#ifndef RAVO_TEST_PNG_PIXELS_H
#define RAVO_TEST_PNG_PIXELS_H

#include <png.h>

#include <cstdint>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <vector>

namespace ravo::test {

struct png_pixels {
  unsigned width = 0, height = 0;
  int bits = 0;      ///< of each sample, as the file has them
  int channels = 0;  ///< 1: grey, 3: colour
  std::vector<unsigned> samples;

  unsigned at(unsigned x, unsigned y, unsigned channel = 0) const {
    return samples.at((y * width + x) * static_cast<unsigned>(channels) + channel);
  }
};

inline png_pixels read_png(const std::string& path) {
  std::FILE* file = std::fopen(path.c_str(), "rb");
  if (!file) throw std::runtime_error("cannot open " + path);
  const auto fail = [](png_structp, png_const_charp text) { throw std::runtime_error(text); };
  png_structp reading = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, fail, nullptr);
  png_infop info = png_create_info_struct(reading);
  png_init_io(reading, file);
  png_read_png(reading, info, PNG_TRANSFORM_IDENTITY, nullptr);
  png_pixels found{png_get_image_width(reading, info),
                   png_get_image_height(reading, info),
                   png_get_bit_depth(reading, info),
                   png_get_channels(reading, info),
                   {}};
  const png_bytepp rows = png_get_rows(reading, info);
  const std::size_t size = found.bits == 16 ? 2 : 1;
  for (unsigned y = 0; y < found.height; ++y)
    for (std::size_t i = 0; i < std::size_t{found.width} * static_cast<std::size_t>(found.channels) * size;
         i += size)
      found.samples.push_back(size == 2 ? rows[y][i] << 8 | rows[y][i + 1] : rows[y][i]);
  png_destroy_read_struct(&reading, &info, nullptr);
  std::fclose(file);
  return found;
}

}  // namespace ravo::test

#endif
