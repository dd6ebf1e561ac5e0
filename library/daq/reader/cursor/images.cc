// Camera frames of the selected channel: their parameters, their pixels, and the pixels copied as floats.
#include <algorithm>
#include <iostream>
#include <new>
#include <optional>

#include "arguments.h"
#include "cursor/selected_block.h"
#include "format/payload_view.h"
#include "ravo_daq_data.h"

using ravo::deliver;

namespace {

// The head of a frame of either layout; `nullopt` for other types, and if the head is incomplete.
std::optional<ravo::image_parts> read_frame(int dtype, const char* data, std::size_t length) {
  const ravo::data_type* const type = ravo::find_data_type(dtype);
  if (type == nullptr) return std::nullopt;
  return ravo::parse_image_head(*type, ravo::byte_view(data, length, ravo::word_order::host));
}

// An extended frame that states no bytes per pixel, or a negative number, is taken at its word.
std::int32_t bytes_per_pixel(const ravo::image_parts& frame) {
  return frame.is_extended ? frame.stated_bytes_per_pixel : frame.bytes_per_pixel();
}

// Sizes of frames are 32-bit numbers; a product that wraps is noticed when the pixels are visited.
std::int32_t product(std::int32_t a, std::int32_t b) {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) * static_cast<std::uint32_t>(b));
}

// Copies the pixels into the array, column by column. At the first pixel that is outside the frame, prints
// where it is and returns false.
bool convert_pixels(const ravo::image_parts& frame, const unsigned char* pixels, float* values) {
  if (frame.height < 1) return true;  // columns without pixels, of which there may be two billion
  const std::int64_t width = frame.width;
  const std::int32_t bpp = bytes_per_pixel(frame);
  const std::int32_t size = product(frame.width, frame.height);
  for (std::int32_t x = 0; x < frame.width; ++x) {
    for (std::int32_t y = 0; y < frame.height; ++y) {
      const std::int64_t index = y * width + x;
      const std::int64_t offset = index * bpp;
      if (offset < 0 || offset + bpp > frame.length) {
        std::cerr << "*** error: idx2 " << offset << " len " << frame.length << " ix " << x << " iy " << y
                  << " bpp " << bpp << std::endl;
        return false;
      }
      std::uint32_t word = 0;
      for (std::int32_t byte = 0; byte < bpp; ++byte) word = word << 8 | pixels[offset + byte];
      if (index >= size) {
        std::cerr << "*** error: idx1 " << index << " size " << size << " ix " << x << " iy " << y << " nx "
                  << frame.width << " ny " << frame.height << std::endl;
        return false;
      }
      values[index] += static_cast<float>(word);
    }
  }
  return true;
}

// As many elements as there are pixels, but no more than the pixel bytes can fill.
std::size_t elements_of(const ravo::image_parts& frame) {
  const std::int64_t pixels = std::int64_t{frame.width} * frame.height;
  return static_cast<std::size_t>(std::clamp<std::int64_t>(pixels, 0, frame.length));
}

}  // namespace

int ravo_daq_getdata::GetImagePar(int* nframe, int* compr, int* bpp, int* len) {
  if (!Data) return -2;
  if (!ravo::is_image_type(DataType & 0xffff)) return -1;
  const auto frame = read_frame(DataType, Data, data_length());
  if (!frame) return -2;
  deliver(nframe, frame->frame);
  deliver(compr, frame->compression);
  deliver(bpp, bytes_per_pixel(*frame));
  deliver(len, frame->length);
  return 0;
}

int ravo_daq_getdata::GetImageSize(int* xstart, int* xinc, int* nx, int* ystart, int* yinc, int* ny) {
  if (!Data) return -2;
  if (!ravo::is_image_type(DataType & 0xffff)) return -1;
  const auto frame = read_frame(DataType, Data, data_length());
  if (!frame) return -2;
  deliver(xstart, frame->x_start);
  deliver(xinc, frame->x_increment);
  deliver(nx, frame->width);
  deliver(ystart, frame->y_start);
  deliver(yinc, frame->y_increment);
  deliver(ny, frame->height);
  return frame->length;
}

ravo_image_ext_frame_head* ravo_daq_getdata::GetImageHeader() {
  const auto frame = read_frame(DataType, Data, data_length());
  return frame && frame->is_extended ? reinterpret_cast<ravo_image_ext_frame_head*>(Data) : nullptr;
}

char* ravo_daq_getdata::GetImage() {
  const auto frame = read_frame(DataType, Data, data_length());
  if (!frame) return nullptr;
  if (frame->length > 0 && static_cast<std::size_t>(frame->length) > data_length() - frame->pixels)
    return nullptr;
  return Data + frame->pixels;
}

bool ravo_daq_getdata::keep_image(std::size_t elements) try {
  converted_images.push_back(std::make_unique<float[]>(elements));
  ImageFloat = converted_images.back().get();
  converted_values = elements;
  return true;
} catch (const std::bad_alloc&) {
  return false;
}

float* ravo_daq_getdata::ConvertImage() {
  const auto frame = read_frame(DataType, Data, data_length());
  const char* const pixels = GetImage();
  if (!frame || !pixels || frame->length < 1) return nullptr;
  if (product(product(frame->height, frame->width), bytes_per_pixel(*frame)) != frame->length)
    return nullptr;
  const std::size_t elements = elements_of(*frame);
  if (!keep_image(elements)) return nullptr;
  if (!convert_pixels(*frame, reinterpret_cast<const unsigned char*>(pixels), ImageFloat)) return nullptr;
  ImageNy = frame->height;
  ImageNx = frame->width;
  ImageXstart = static_cast<float>(frame->x_start);
  // Those of a plain frame are only in GetImageSize().
  ImageXinc = static_cast<float>(frame->is_extended ? frame->x_increment : 0);
  ImageYstart = static_cast<float>(frame->y_start);
  ImageYinc = static_cast<float>(frame->is_extended ? frame->y_increment : 0);
  return ImageFloat;
}

float ravo_daq_getdata::GetImageVal(int x, int y) const {
  if (x < 0 || y < 0 || x >= ImageNx || y >= ImageNy) return 0;
  const std::size_t index =
      static_cast<std::size_t>(y) * static_cast<std::size_t>(ImageNx) + static_cast<std::size_t>(x);
  // The axes may be those of an earlier image, if the last image could not be converted.
  return ImageFloat && index < converted_values ? ImageFloat[index] : 0;
}
