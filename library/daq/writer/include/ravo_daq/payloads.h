// The data of a block from plain values: what raw_writer::add_data takes for a channel of each kind. The
// data type says which generation's layout is made; the layouts are in ravo_payload.h. Values that do not
// fit the type, the shape or a field throw std::invalid_argument, which says what does not fit.
#ifndef RAVO_DAQ_PAYLOADS_H
#define RAVO_DAQ_PAYLOADS_H

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "ravo_export.h"
#include "ravo_raw_format.h"

namespace ravo {

/// The data of one block, in host order.
using payload_bytes = std::vector<unsigned char>;

/// What a front end has computed of a spectrum's samples. Blocks of the older generation always have means.
enum class spectrum_summary {
  none,
  means,                 ///< of each member
  means_and_statistics,  ///< and mean, root mean square, least and greatest value of each member
};

/// How the values of a spectrum are arranged, and what their axis is. A scalar is one member of one sample.
struct spectrum_form {
  std::int32_t members = 1;
  std::int32_t groups = 1;  ///< in the older generation always 1
  std::int32_t samples = 1;
  float start = 0;       ///< axis value of the first sample of each group
  float inc = 1;         ///< axis distance of neighbouring samples
  float groups_inc = 0;  ///< axis distance of neighbouring groups
  spectrum_summary summary = spectrum_summary::none;
};

/// A spectrum of members x groups x samples values in this order.
RAVO_EXPORT payload_bytes spectrum_payload(RAVO_SUBBLOCK_TYPE dtype, const spectrum_form& form,
                                           std::span<const float> values);

/// The two profiles of a region of interest, which begins at (x_start, y_start).
RAVO_EXPORT payload_bytes profile_payload(std::int32_t x_start, std::int32_t y_start,
                                          std::span<const float> x, std::span<const float> y);

/// The head of a camera frame. Plain frames (RAVO_BLOCK_IMAGE) have the members down to `event`.
struct frame_form {
  std::int32_t width = 0;  ///< of the pixels
  std::int32_t height = 0;
  std::int32_t x_start = 0;  ///< where the pixels are on the sensor
  std::int32_t y_start = 0;
  std::int32_t x_inc = 1;
  std::int32_t y_inc = 1;
  std::uint32_t frame = 0;        ///< frame number
  std::uint32_t event = 0;        ///< event number
  std::int32_t sensor_width = 0;  ///< 0: up to the end of the pixels
  std::int32_t sensor_height = 0;
  std::int32_t effective_bits = 0;  ///< of a pixel; 0: all
  float scale_x = 1;
  float scale_y = 1;
  float rotation = 0;  ///< degrees
};

/// A frame of height x width pixels, row by row. The pixels take as many bytes as their type.
RAVO_EXPORT payload_bytes frame_payload(RAVO_SUBBLOCK_TYPE dtype, const frame_form& form,
                                        std::span<const std::uint8_t> pixels);
RAVO_EXPORT payload_bytes frame_payload(RAVO_SUBBLOCK_TYPE dtype, const frame_form& form,
                                        std::span<const std::uint16_t> pixels);
RAVO_EXPORT payload_bytes frame_payload(RAVO_SUBBLOCK_TYPE dtype, const frame_form& form,
                                        std::span<const std::uint32_t> pixels);

/// An update of a slow channel, or the begin or end of a run. A `property` that is longer than its field is
/// cut.
RAVO_EXPORT payload_bytes update_payload(RAVO_SUBBLOCK_TYPE dtype, std::string_view property,
                                         time_stamp time, float value, std::int32_t status = 0);

/// A reading of an environment channel, with its index in the environment dictionary.
RAVO_EXPORT payload_bytes environment_payload(std::int32_t index, time_stamp time, float value,
                                              std::int32_t status = 0);

struct named_value {
  std::string name;  ///< at most 79 bytes
  float value = 0;
};

/// A list of names and values. `comment`: at most 79 bytes.
RAVO_EXPORT payload_bytes name_value_payload(std::span<const named_value> values, std::int32_t id = 0,
                                             std::string_view comment = {});

/// A text, which holds no zero byte.
RAVO_EXPORT payload_bytes text_payload(std::string_view text);

/// What the file says about a channel. Texts that are longer than their fields throw.
struct channel_words {
  std::string description = {};  ///< at most 255 bytes
  std::string units = {};        ///< at most 15 bytes; of several members "mm, mm, nC"
  std::string axis = {};         ///< at most 63 bytes; empty: there is no axis
  std::string axis_units = {};   ///< at most 15 bytes
  std::string server = {};       ///< at most 255 bytes
  std::string subsystem = {};    ///< at most 63 bytes
};

/// A channel's description as ravo_daq_writer_channel takes it; it owns its parts.
class writer_description {
 public:
  /// `name` is the channel's, `key` its key in the dictionary.
  RAVO_EXPORT writer_description(std::string_view name, RAVO_SUBBLOCK_TYPE dtype, RAVO_EVTYPE event_type,
                                 std::int32_t key, const channel_words& words);
  RAVO_EXPORT ~writer_description();
  writer_description(const writer_description&) = delete;
  writer_description& operator=(const writer_description&) = delete;

  const chan_descr_2010* get() const { return &description_; }

 private:
  chan_descr_2010 description_{};
  dim_descr axis_{};
};

}  // namespace ravo

#endif
