// A readable summary of the data of one block: for a spectrum count, mean, least and greatest
// value of each member, for an image its size and brightness, for the rest the values themselves.
#ifndef RAVO_TOOL_BLOCK_SUMMARY_H
#define RAVO_TOOL_BLOCK_SUMMARY_H

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "common/number_summary.h"
#include "ravo_data_types.h"

namespace ravo::tool {

struct image_summary {
  int width;
  int height;
  int bytes_per_pixel;
  std::uint32_t frame;
  double mean;
  std::uint32_t max;
  std::uint32_t min = 0;
};

struct update_summary {
  std::string property;
  std::int32_t status;
  time_stamp time;
  float value;
};

struct named_value {
  std::string name;
  float value;
};

/// The data type's shape determines which parts are set.
struct block_summary {
  std::string dtype;                    ///< the data type's name, or its number
  std::vector<number_summary> members;  ///< spectra and profiles
  bool scalar = false;                  ///< every member is a scalar
  std::optional<image_summary> image;
  std::optional<std::size_t>
      camera_bytes;  ///< of a frame that is not a plain picture: bytes from the camera
  std::optional<update_summary> update;
  std::vector<named_value> pairs;
  std::optional<std::string> comment;  ///< of name-value pairs
  std::optional<std::string> text;
  bool consistent = true;  ///< false: the data are not what their type says
};

/// Summarises the data of a block in host order. `subchannel` and the high 16 bits of
/// `dtype`, the type that the subchannel was cut from, determine the member's name.
block_summary summarise(std::uint32_t dtype, int subchannel, std::span<const unsigned char> data);

}  // namespace ravo::tool

#endif
