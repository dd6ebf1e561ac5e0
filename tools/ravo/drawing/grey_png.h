// Grey pixels as the bytes of a PNG file, with their exact values.
#ifndef RAVO_DRAWING_GREY_PNG_H
#define RAVO_DRAWING_GREY_PNG_H

#include <cstdint>
#include <span>
#include <string>

namespace ravo::drawing {

/// Row after row. Throws std::runtime_error with the reason if there is no memory for the file.
std::string grey_png(int width, int height, std::span<const std::uint8_t> pixels);
std::string grey_png(int width, int height, std::span<const std::uint16_t> pixels);

}  // namespace ravo::drawing

#endif
