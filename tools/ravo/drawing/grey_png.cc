#include "drawing/grey_png.h"

#include <png.h>

#include <stdexcept>

namespace ravo::drawing {
namespace {

// libpng allows 2 to the power of 31 at most along each side, and so do the counts of raw files.
std::string png_of(int width, int height, unsigned format, const void* pixels) {
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  image.width = static_cast<png_uint_32>(width);
  image.height = static_cast<png_uint_32>(height);
  image.format = format;
  png_alloc_size_t size = PNG_IMAGE_PNG_SIZE_MAX(image);
  std::string bytes(size, 0);
  if (png_image_write_to_memory(&image, bytes.data(), &size, 0, pixels, 0, nullptr) == 0)
    throw std::runtime_error(image.message);
  bytes.resize(size);
  return bytes;
}

}  // namespace

std::string grey_png(int width, int height, std::span<const std::uint8_t> pixels) {
  return png_of(width, height, PNG_FORMAT_GRAY, pixels.data());
}

// A camera counts light, so 16 bits are written as linear values: without a screen's gamma.
std::string grey_png(int width, int height, std::span<const std::uint16_t> pixels) {
  return png_of(width, height, PNG_FORMAT_LINEAR_Y, pixels.data());
}

}  // namespace ravo::drawing
