// Camera frames of the selected channel: their parameters, their pixels, and the pixels copied as floats.
#include <algorithm>
#include <cstring>
#include <iostream>
#include <new>
#include <optional>

#include "ravo_daq_data.h"

namespace {

// A frame of either layout, as its head describes it.
struct frame_description {
  std::size_t head_size;
  std::int32_t number;
  std::int32_t compression;
  std::int32_t bytes_per_pixel;
  std::int32_t length;
  std::int32_t x_start, x_increment, nx;
  std::int32_t y_start, y_increment, ny;
  // The increments of a converted image: always 0 for a plain frame.
  std::int32_t x_axis_increment, y_axis_increment;
};

std::int32_t plain_bytes_per_pixel(const ravo_image_frame_head& head) {
  const std::uint32_t bytes = head.bpp & 0xf;
  return bytes ? static_cast<std::int32_t>(bytes) : 1;
}

frame_description describe(const ravo_image_frame_head& head) {
  const auto low = [](std::uint32_t word) { return static_cast<std::int32_t>(word & 0xffff); };
  const auto high = [](std::uint32_t word) { return static_cast<std::int32_t>(word >> 16); };
  return {.head_size = sizeof(ravo_image_block),
          .number = static_cast<std::int32_t>(head.frame),
          .compression = head.compr,
          .bytes_per_pixel = plain_bytes_per_pixel(head),
          .length = head.length,
          .x_start = high(head.w),
          .x_increment = static_cast<std::int32_t>(head.bpp >> 18),
          .nx = low(head.w),
          .y_start = high(head.h),
          .y_increment = static_cast<std::int32_t>(head.bpp >> 4 & 0x3fff),
          .ny = low(head.h),
          .x_axis_increment = 0,
          .y_axis_increment = 0};
}

frame_description describe(const ravo_image_ext_frame_head& head) {
  return {.head_size = sizeof(ravo_image_ext_block),
          .number = static_cast<std::int32_t>(head.frame),
          .compression = 0,
          .bytes_per_pixel = head.bpp,
          .length = head.length,
          .x_start = head.x_start,
          .x_increment = head.hbin,
          .nx = head.aoi_width,
          .y_start = head.y_start,
          .y_increment = head.vbin,
          .ny = head.aoi_height,
          .x_axis_increment = head.hbin,
          .y_axis_increment = head.vbin};
}

template <class block>
std::optional<frame_description> read_head(const char* data, std::size_t length) {
  if (length < sizeof(block)) return std::nullopt;
  block copy;
  std::memcpy(&copy, data, sizeof copy);
  return describe(copy.head);
}

std::optional<frame_description> read_frame(int dtype, const char* data, std::size_t length) {
  switch (dtype & 0xffff) {
    case RAVO_BLOCK_IMAGE:
      return read_head<ravo_image_block>(data, length);
    case RAVO_BLOCK_IMAGE_EXT:
      return read_head<ravo_image_ext_block>(data, length);
    default:
      return std::nullopt;
  }
}

bool is_frame(int dtype) {
  return (dtype & 0xffff) == RAVO_BLOCK_IMAGE || (dtype & 0xffff) == RAVO_BLOCK_IMAGE_EXT;
}

// Sizes of frames are 32-bit numbers; a product that wraps is noticed when the pixels are visited.
std::int32_t product(std::int32_t a, std::int32_t b) {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) * static_cast<std::uint32_t>(b));
}

// Copies the pixels into the array, column by column. At the first pixel that is outside the frame, prints
// where it is and returns false.
bool convert_pixels(const frame_description& frame, const unsigned char* pixels, float* values) {
  if (frame.ny < 1) return true;  // columns without pixels, of which there may be two billion
  const std::int64_t width = frame.nx;
  const std::int32_t size = product(frame.nx, frame.ny);
  for (std::int32_t x = 0; x < frame.nx; ++x) {
    for (std::int32_t y = 0; y < frame.ny; ++y) {
      const std::int64_t index = y * width + x;
      const std::int64_t offset = index * frame.bytes_per_pixel;
      if (offset < 0 || offset + frame.bytes_per_pixel > frame.length) {
        std::cerr << "*** error: idx2 " << offset << " len " << frame.length << " ix " << x << " iy " << y
                  << " bpp " << frame.bytes_per_pixel << std::endl;
        return false;
      }
      std::uint32_t word = 0;
      for (std::int32_t byte = 0; byte < frame.bytes_per_pixel; ++byte)
        word = word << 8 | pixels[offset + byte];
      if (index >= size) {
        std::cerr << "*** error: idx1 " << index << " size " << size << " ix " << x << " iy " << y << " nx "
                  << frame.nx << " ny " << frame.ny << std::endl;
        return false;
      }
      values[index] += static_cast<float>(word);
    }
  }
  return true;
}

// As many elements as there are pixels, but no more than the pixel bytes can fill.
std::size_t elements_of(const frame_description& frame) {
  const std::int64_t pixels = std::int64_t{frame.nx} * frame.ny;
  return static_cast<std::size_t>(std::clamp<std::int64_t>(pixels, 0, frame.length));
}

template <class value>
void deliver(value* output, value given) {
  if (output) *output = given;
}

}  // namespace

int ravo_daq_getdata::GetImagePar(int* nframe, int* compr, int* bpp, int* len) {
  if (!Data) return -2;
  if (!is_frame(DataType)) return -1;
  const auto frame = read_frame(DataType, Data, data_length());
  if (!frame) return -2;
  deliver(nframe, frame->number);
  deliver(compr, frame->compression);
  deliver(bpp, frame->bytes_per_pixel);
  deliver(len, frame->length);
  return 0;
}

int ravo_daq_getdata::GetImageSize(int* xstart, int* xinc, int* nx, int* ystart, int* yinc, int* ny) {
  if (!Data) return -2;
  if (!is_frame(DataType)) return -1;
  const auto frame = read_frame(DataType, Data, data_length());
  if (!frame) return -2;
  deliver(xstart, frame->x_start);
  deliver(xinc, frame->x_increment);
  deliver(nx, frame->nx);
  deliver(ystart, frame->y_start);
  deliver(yinc, frame->y_increment);
  deliver(ny, frame->ny);
  return frame->length;
}

ravo_image_ext_frame_head* ravo_daq_getdata::GetImageHeader() {
  if ((DataType & 0xffff) != RAVO_BLOCK_IMAGE_EXT || data_length() < sizeof(ravo_image_ext_frame_head))
    return nullptr;
  return reinterpret_cast<ravo_image_ext_frame_head*>(Data);
}

char* ravo_daq_getdata::GetImage() {
  const auto frame = read_frame(DataType, Data, data_length());
  if (!frame) return nullptr;
  if (frame->length > 0 && static_cast<std::size_t>(frame->length) > data_length() - frame->head_size)
    return nullptr;
  return Data + frame->head_size;
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
  if (product(product(frame->ny, frame->nx), frame->bytes_per_pixel) != frame->length) return nullptr;
  const std::size_t elements = elements_of(*frame);
  if (!keep_image(elements)) return nullptr;
  if (!convert_pixels(*frame, reinterpret_cast<const unsigned char*>(pixels), ImageFloat)) return nullptr;
  ImageNy = frame->ny;
  ImageNx = frame->nx;
  ImageXstart = static_cast<float>(frame->x_start);
  ImageXinc = static_cast<float>(frame->x_axis_increment);
  ImageYstart = static_cast<float>(frame->y_start);
  ImageYinc = static_cast<float>(frame->y_axis_increment);
  return ImageFloat;
}

float ravo_daq_getdata::GetImageVal(int x, int y) const {
  if (x < 0 || y < 0 || x >= ImageNx || y >= ImageNy) return 0;
  const std::size_t index =
      static_cast<std::size_t>(y) * static_cast<std::size_t>(ImageNx) + static_cast<std::size_t>(x);
  // The axes may be those of an earlier image, if the last image could not be converted.
  return ImageFloat && index < converted_values ? ImageFloat[index] : 0;
}
