// A value as a program sees it: views of one decoded block, in host order and without a copy. A view is
// valid as long as the event that it comes from, or a copy of that event, lives.
#ifndef RAVO_DATASET_VALUES_H
#define RAVO_DATASET_VALUES_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "ravo_core_records.h"
#include "ravo_dataset/status.h"
#include "ravo_export.h"
#include "ravo_payload.h"

namespace ravo {

/// A time as one number: microseconds since 1970, UTC. The microseconds of a damaged file may be more than
/// a second's; they count all the same.
constexpr std::int64_t microseconds_of(const time_stamp& time) {
  return std::int64_t{time.timeup} * 1'000'000 + time.timelow;
}
/// The same of each, such as the times of a column.
RAVO_EXPORT std::vector<std::int64_t> microseconds_of(std::span<const time_stamp> times);

namespace detail {
class value_access;
}

/// What kind of data a block holds.
enum class value_kind : std::uint8_t {
  none,        ///< there is no value
  spectrum,    ///< members of samples; a number is a spectrum of one sample
  roi,         ///< two profiles of a region of interest, as members 0 and 1
  image,       ///< a camera frame, plain or extended
  name_value,  ///< records of a name and a number
  text,
  update,  ///< a slow value: also environment readings and begin and end of run
  other,   ///< bytes only
};

/// A spectrum of either generation, or the profiles of a region of interest.
struct spectrum_view {
  std::size_t members = 0;
  std::size_t samples = 0;  ///< of a group; of a region of interest those of its member 0
  std::size_t groups = 1;
  float start = 0;  ///< axis value of the first sample of a group; of a region of interest of its member 0
  float y_start = 0;    ///< of a region of interest: axis value of the first sample of its member 1
  float increment = 1;  ///< axis distance of neighbouring samples
  float groups_increment = 0;
  std::span<const float> values;                           ///< member after member, group after group
  std::span<const float> means;                            ///< one a member, or none
  std::span<const ravo_spect_statistics_2010> statistics;  ///< one a member, or none

  /// The values of one member, group after group; empty when there is no such member.
  RAVO_EXPORT std::span<const float> member(std::size_t index) const;
};

/// A camera frame.
struct image_view {
  std::size_t width = 0;
  std::size_t height = 0;
  std::size_t bytes_per_pixel = 1;
  std::span<const std::uint8_t> pixels;  ///< row after row, the most significant byte of a pixel first
  /// A pixel of more bytes has no number here: its frame is the bytes that the camera sent.
  static constexpr std::size_t most_bytes_per_pixel = 4;
  /// Whether every pixel has a number; if not, `pixels` is what the camera sent, perhaps compressed.
  bool is_complete() const {
    return !is_compressed && bytes_per_pixel <= most_bytes_per_pixel &&
           pixels.size() == width * height * bytes_per_pixel;
  }
  bool is_compressed = false;
  std::uint32_t number = 0;  ///< of the frame, as the camera counts
  std::int32_t x_start = 0;  ///< where on the sensor the first pixel lies
  std::int32_t y_start = 0;
  std::int32_t x_increment = 0;  ///< pixels of the sensor from one to the next; 0: not known
  std::int32_t y_increment = 0;
  std::int32_t effective_bits = 0;                       ///< of a pixel; 0: not known
  const ravo_image_frame_head* frame = nullptr;          ///< of a plain frame
  const ravo_image_ext_frame_head* ext_frame = nullptr;  ///< of an extended frame
  /// A pixel of a complete frame. Throws access_error for a frame that is not, and for a place outside it.
  RAVO_EXPORT std::uint32_t pixel(std::size_t x, std::size_t y) const;
};

/// The records of a name-value block.
struct name_value_view {
  std::int32_t id = 0;
  std::string_view comment;
  std::span<const ravo_name_value_channel> records;
};

/// A slow value as the front end sent it.
struct update_view {
  float value = 0;
  std::int32_t status = 0;
  time_stamp time{};
  std::string_view property;
};

/// One channel's value at one event.
class value {
 public:
  value() = default;

  value_status status() const { return status_; }
  /// Whether there is data: ok, held or stale.
  bool has_value() const { return ravo::has_value(status_); }
  explicit operator bool() const { return has_value(); }
  /// The event that the value was recorded with: the event's own, except for held values.
  const ravo_time_id& recorded_with() const { return id_; }
  /// Whether it is another event's value, by the slow policy: held, stale, or held and damaged.
  bool is_held() const { return is_held_; }
  /// How much older than its event it is, in microseconds: 0 except for held values; negative if it is
  /// newer.
  std::int64_t age() const { return age_; }

  value_kind kind() const { return kind_; }
  /// The data type of the block as it is handed out: a RAVO_SUBBLOCK_TYPE.
  int type() const { return type_; }
  /// RAVO_SBLOCK_ERROR bits that the front end set.
  std::int32_t error_bits() const { return error_; }
  /// All data of the block in host order, as the channel's data type lays them out.
  std::span<const std::byte> bytes() const { return bytes_; }

  // Each of these is empty, or zero, if the value is of another kind.
  RAVO_EXPORT spectrum_view spectrum() const;
  RAVO_EXPORT image_view image() const;
  RAVO_EXPORT name_value_view name_values() const;
  RAVO_EXPORT update_view update() const;
  RAVO_EXPORT std::string_view text() const;
  /// The first number of a spectrum, region of interest, name-value block or update; NaN if there
  /// is none.
  RAVO_EXPORT double scalar() const;

 private:
  friend class detail::value_access;
  std::span<const std::byte> bytes_;
  ravo_time_id id_{};
  std::int64_t age_ = 0;
  std::int32_t type_ = 0;
  std::int32_t error_ = 0;
  value_status status_ = value_status::not_recorded;
  value_kind kind_ = value_kind::none;
  bool is_held_ = false;
};

/// A block of the classic readers (its subheader and data, of either generation) as a value, so that both
/// ways of reading can be compared.
RAVO_EXPORT value view_of_block(const ravo_channel_entry_long& entry);

}  // namespace ravo

#endif
