// A value of the dataset in the form in which it is printed and drawn.
#ifndef RAVO_TOOL_SHOW_SHOWN_CHANNEL_H
#define RAVO_TOOL_SHOW_SHOWN_CHANNEL_H

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <variant>
#include <vector>

#include "drawing/curve.h"
#include "drawing/grey_picture.h"
#include "ravo_core_records.h"

namespace ravo::tool {

/// One member of a spectrum, or one profile of a region of interest.
struct shown_member {
  int index = 0;
  std::string name;
  std::string unit;
  float start = 0, step = 0, group_step = 0;
  std::size_t samples = 0;  ///< of each group
  std::vector<float> values;
  std::optional<float> mean;        ///< as the front end computed it
  std::map<int, float> statistics;  ///< of the front end, by number

  std::size_t groups() const { return samples == 0 ? 0 : values.size() / samples; }
  drawing::curve curve() const {
    return {double{start}, double{step}, double{group_step}, samples, values};
  }
};

struct shown_spectrum {
  std::string axis;  ///< the quantity that start and step count
  std::vector<shown_member> members;
};

struct shown_image {
  int bytes_per_pixel = 1;
  std::uint32_t frame = 0;
  int x_start = 0, y_start = 0;
  int x_step = 1, y_step = 1;  ///< pixels of the sensor from one to the next
  int effective_bits = 0;      ///< of a pixel; 0: not known
  drawing::grey_picture picture;
  std::span<const std::uint8_t> pixels;  ///< those of the value: the high byte of each first
};

struct shown_slow_value {
  std::string property;
  float value = 0;
  int status = 0;
  time_stamp time{};
};

struct shown_pairs {
  int id = 0;
  std::string comment;
  std::vector<std::pair<std::string, float>> records;
};

struct shown_text {
  std::string text;
};

/// The block contradicts its type, or its type is unknown.
struct shown_bytes {};

struct shown_channel {
  std::string name;
  std::string units;  ///< of the channel's description; one for all members, or one each
  std::string description;
  int dtype = 0;
  int error = 0;
  std::size_t bytes = 0;         ///< of data
  ravo_time_id recorded_with{};  ///< the event that the data are from
  bool is_held = false;          ///< a slow value from an earlier event
  std::string problem;           ///< why there are only bytes, if known
  std::variant<shown_bytes, shown_spectrum, shown_image, shown_slow_value, shown_pairs, shown_text> data;
};

}  // namespace ravo::tool

#endif
