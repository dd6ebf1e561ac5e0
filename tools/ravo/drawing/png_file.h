// Pictures as PNG files.
#ifndef RAVO_DRAWING_PNG_FILE_H
#define RAVO_DRAWING_PNG_FILE_H

#include <cstdint>
#include <span>
#include <string>

#include "drawing/raster.h"

namespace ravo::drawing {

/// A picture in colour, 8 bits each. Throws std::runtime_error with the reason when the file cannot be
/// written; there is then no file.
void write_png(const std::string& path, const raster& picture);
/// Grey pixels, row after row, as they are: in 8 bits, or in 16.
void write_png(const std::string& path, int width, int height, std::span<const std::uint8_t> pixels);
void write_png(const std::string& path, int width, int height, std::span<const std::uint16_t> pixels);

}  // namespace ravo::drawing

#endif
