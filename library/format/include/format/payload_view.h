// Where the parts of a block's data are: the one place that knows the byte layout of the payloads of
// ravo_payload.h, in either byte order. It decides whether data can be what their type says; conversion,
// cutting, printing, columns and the tool visit the parts that it finds. It reads counts, never values.
#ifndef RAVO_FORMAT_PAYLOAD_VIEW_H
#define RAVO_FORMAT_PAYLOAD_VIEW_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <variant>

#include "format/byte_view.h"
#include "ravo_data_types.h"
#include "ravo_evutl_status.h"
#include "ravo_payload.h"

namespace ravo {

// Every position below is an offset into the payload; the part at that position lies wholly inside it.

struct payload_axis {
  float start = 0;             ///< value at the first sample of each group
  float increment = 1;         ///< distance of neighbouring samples
  float groups_increment = 0;  ///< distance of neighbouring groups
};

/// One member of a spectrum, or one profile of a region of interest.
struct member_parts {
  std::uint32_t samples = 0;  ///< of a group
  std::uint32_t groups = 1;
  std::size_t values = 0;      ///< the first one: group after group
  std::size_t mean = 0;        ///< 0: it has no mean
  std::size_t statistics = 0;  ///< 0: it has no statistics
  payload_axis axis = {};

  std::size_t count() const { return std::size_t{samples} * groups; }
  std::size_t size() const { return count() * sizeof(float); }
};

/// A spectrum of either generation: a head, the means, the statistics, the values.
struct spectrum_parts {
  type_generation generation = type_generation::current;  ///< of its layout
  std::size_t head_size = 0;
  std::uint32_t members = 0;
  std::uint32_t samples = 0;
  std::uint32_t groups = 1;
  std::size_t means = 0;       ///< one per member; 0: there are no means
  std::size_t statistics = 0;  ///< one per member; 0: there are no statistics
  std::size_t values = 0;      ///< member after member
  payload_axis axis = {};

  std::size_t values_of_member() const { return std::size_t{samples} * groups; }
  /// A member; `index` is less than `members`.
  member_parts member(std::size_t index) const;
};

/// A region of interest: two profiles, along x and along y.
struct roi_parts {
  static constexpr std::uint32_t members = 2;
  std::uint32_t width = 0;   ///< values of member 0
  std::uint32_t height = 0;  ///< values of member 1
  float x_start = 0;         ///< axis value of the first of each
  float y_start = 0;
  std::size_t values = 0;

  /// A profile; `index` is less than `members`.
  member_parts member(std::size_t index) const;
};

/// A camera frame, plain or extended.
struct image_parts {
  static constexpr std::int32_t most_bytes_of_number = 4;

  bool is_extended = false;
  std::int32_t compression = 0;  ///< as the camera states it; 0: none
  std::int32_t width = 0;        ///< of what was sent; negative in some extended frames
  std::int32_t height = 0;       ///< the same
  std::int32_t stated_bytes_per_pixel = 0;
  std::uint32_t frame = 0;
  std::uint32_t event = 0;
  std::int32_t x_start = 0;  ///< where on the sensor the first pixel lies
  std::int32_t y_start = 0;
  std::int32_t x_increment = 0;  ///< sensor pixels from one pixel to the next; 0: not stated
  std::int32_t y_increment = 0;
  std::int32_t effective_bits = 0;  ///< of a pixel; 0: not stated
  std::size_t pixels = 0;
  std::int32_t length = 0;  ///< bytes of pixels; there may be other bytes after them

  std::int32_t bytes_per_pixel() const { return stated_bytes_per_pixel < 1 ? 1 : stated_bytes_per_pixel; }
  bool is_compressed() const { return compression != 0; }
  /// Whether there are bytes for every pixel, and no others.
  bool has_every_pixel() const;
  /// Whether its pixels are numbers; otherwise they are bytes as the camera sent them.
  bool is_picture() const {
    return !is_compressed() && bytes_per_pixel() <= most_bytes_of_number && has_every_pixel();
  }
};

/// A comment, and records of a name and a number.
struct name_value_parts {
  static constexpr std::size_t comment = offsetof(ravo_name_value_block, comment);
  static constexpr std::size_t comment_size = sizeof(ravo_name_value_block::comment);
  static constexpr std::size_t name_size = sizeof(ravo_name_value_channel::name);

  std::int32_t id = 0;
  std::uint32_t count = 0;
  std::size_t records = 0;

  std::size_t name(std::size_t record) const { return records + record * sizeof(ravo_name_value_channel); }
  std::size_t value(std::size_t record) const { return name(record) + name_size; }
  std::size_t size() const { return name(count); }  ///< of all
};

/// A slow value: a property's name, status, time and value; or, instead of a name, the channel's index.
struct update_parts {
  std::size_t name_size = 0;  ///< bytes of the name, which comes first; 0: an index comes first
  std::size_t status = 0;
  std::size_t time = 0;  ///< a time_stamp: two words
  std::size_t value = 0;
  std::size_t size = 0;  ///< of all
};

/// One text.
struct text_part {
  std::size_t length = 0;  ///< up to its zero
};

/// Records of words whose content nothing here interprets.
struct records_part {
  std::size_t record_size = 0;
  std::size_t count = 0;
};

using payload_parts = std::variant<spectrum_parts, roi_parts, image_parts, name_value_parts, update_parts,
                                   text_part, records_part>;

/// The result of parsing a payload.
struct parsed_payload {
  ravo_data_status status = RAVO_DATA_OK;  ///< otherwise why the data cannot be what their type says
  payload_parts parts = {};                ///< without meaning unless the status is RAVO_DATA_OK

  bool is_good() const { return status == RAVO_DATA_OK; }
  /// The parts if they are of one kind, or null.
  template <class Parts>
  const Parts* get() const {
    return is_good() ? std::get_if<Parts>(&parts) : nullptr;
  }
};

/// Whether texts must have their terminating zero. Callers that cut a text at the end of its field anyway
/// pass `any`, which saves scanning each name.
enum class text_rule { terminated, any };

/// Finds the parts of a payload of a type.
parsed_payload parse_payload(const data_type& type, const byte_view& data,
                             text_rule texts = text_rule::terminated);

/// What the head of a frame says, even if its pixels are missing; `nullopt` if the head is incomplete or
/// the type is not a camera's.
std::optional<image_parts> parse_image_head(const data_type& type, const byte_view& data);

/// What the head of a list of names and values says, whatever the length of the data is; `nullopt` if the
/// head is incomplete or its count is negative.
std::optional<name_value_parts> parse_name_value_head(const byte_view& data);

template <class Update>
inline constexpr update_parts update_layout{.name_size = sizeof(Update::upd_prop),
                                            .status = offsetof(Update, upd_ch_status),
                                            .time = offsetof(Update, upd_ch_time),
                                            .value = offsetof(Update, upd_ch_data),
                                            .size = sizeof(Update)};

inline constexpr update_parts environment_layout{
    .status = offsetof(ravo_env_data_block_2010, env_ch_status),
    .time = offsetof(ravo_env_data_block_2010, env_ch_time),
    .value = offsetof(ravo_env_data_block_2010, env_ch_data),
    .size = sizeof(ravo_env_data_block_2010)};

/// The parts of a payload as far as its shape alone decides them: which kind they are, and where the first
/// of them begins. The counts are 0. `nullopt` for the shape of a marker.
constexpr std::optional<payload_parts> layout_of(payload_shape shape) {
  switch (shape) {
    case payload_shape::none:
      break;
    case payload_shape::update:
      return update_layout<ravo_upd_data_block_2010>;
    case payload_shape::update_older:
      return update_layout<ravo_upd_data_block>;
    case payload_shape::environment:
      return environment_layout;
    case payload_shape::env_dictionary:
      return records_part{.record_size = sizeof(ravo_env_dictionary_entry_2010)};
    case payload_shape::spectrum:
      return spectrum_parts{.generation = type_generation::current,
                            .head_size = sizeof(ravo_spect_head_2010)};
    case payload_shape::spectrum_older:
      return spectrum_parts{.generation = type_generation::older, .head_size = sizeof(ravo_spect_head)};
    case payload_shape::image:
      return image_parts{.pixels = sizeof(ravo_image_frame_head)};
    case payload_shape::image_ext:
      return image_parts{.is_extended = true, .pixels = sizeof(ravo_image_ext_frame_head)};
    case payload_shape::roi:
      return roi_parts{.values = sizeof(ravo_roi_head)};
    case payload_shape::name_value:
      return name_value_parts{.records = sizeof(ravo_name_value_block)};
    case payload_shape::text:
      return text_part{};
  }
  return std::nullopt;
}

/// The layout of a shape if its parts are of one kind.
template <class Parts>
constexpr std::optional<Parts> layout_as(payload_shape shape) {
  const std::optional<payload_parts> layout = layout_of(shape);
  const Parts* const parts = layout ? std::get_if<Parts>(&*layout) : nullptr;
  return parts != nullptr ? std::optional(*parts) : std::nullopt;
}

/// Where the parts of a slow value are, whose layout depends on its shape only; `nullopt` for other shapes.
constexpr std::optional<update_parts> find_reading(payload_shape shape) {
  return layout_as<update_parts>(shape);
}

/// Whether a shape is that of slow values.
constexpr bool is_reading(payload_shape shape) { return find_reading(shape).has_value(); }

/// Whether a shape is that of spectra, of either generation.
constexpr bool is_spectrum(payload_shape shape) { return layout_as<spectrum_parts>(shape).has_value(); }

/// A visitor of payload_parts made from one function per kind.
template <class... Functions>
struct overloaded : Functions... {
  using Functions::operator()...;
};
template <class... Functions>
overloaded(Functions...) -> overloaded<Functions...>;

}  // namespace ravo

#endif
