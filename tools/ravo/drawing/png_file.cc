#include "drawing/png_file.h"

#include <png.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <stdexcept>

namespace ravo::drawing {
namespace {

// libpng asks for 2 to the power of 31 at most along each side, and so do the counts of raw files.
void write(const std::string& path, int width, int height, unsigned format, const void* pixels) {
  // Opened here and not by libpng, which would not say why it cannot be.
  std::FILE* file = std::fopen(path.c_str(), "wb");
  if (!file) throw std::runtime_error(path + ": " + std::strerror(errno));
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  image.width = static_cast<png_uint_32>(width);
  image.height = static_cast<png_uint_32>(height);
  image.format = format;
  const bool is_made = png_image_write_to_stdio(&image, file, 0, pixels, 0, nullptr) != 0;
  errno = 0;
  const bool is_written = std::ferror(file) == 0;
  const bool is_closed = std::fclose(file) == 0;
  if (is_made && is_written && is_closed) return;
  const std::string reason = !is_made     ? image.message
                             : errno != 0 ? std::strerror(errno)
                                          : "cannot be written";
  std::remove(path.c_str());
  throw std::runtime_error(path + ": " + reason);
}

}  // namespace

void write_png(const std::string& path, const raster& picture) {
  write(path, picture.width(), picture.height(), PNG_FORMAT_RGB, picture.bytes().data());
}

void write_png(const std::string& path, int width, int height, std::span<const std::uint8_t> pixels) {
  write(path, width, height, PNG_FORMAT_GRAY, pixels.data());
}

// A camera counts light, and 16 bits are written as what counts light: without a screen's gamma.
void write_png(const std::string& path, int width, int height, std::span<const std::uint16_t> pixels) {
  write(path, width, height, PNG_FORMAT_LINEAR_Y, pixels.data());
}

}  // namespace ravo::drawing
