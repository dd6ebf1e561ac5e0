#include "ravo_daq/payloads.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <type_traits>

#include "ravo_data_types.h"
#include "ravo_payload.h"

namespace ravo {
namespace {

[[noreturn]] void refuse(const std::string& why) { throw std::invalid_argument(why); }

template <class Record>
  requires std::is_trivially_copyable_v<Record>
void append(payload_bytes& to, const Record& record) {
  const std::size_t at = to.size();
  to.resize(at + sizeof record);
  std::memcpy(to.data() + at, &record, sizeof record);
}

void append(payload_bytes& to, std::span<const float> values) {
  const std::size_t at = to.size();
  to.resize(at + values.size_bytes());
  if (!values.empty()) std::memcpy(to.data() + at, values.data(), values.size_bytes());
}

// The text and a closing zero, in a field that is all zero.
template <std::size_t Size>
void put(char (&field)[Size], std::string_view text, const char* what) {
  if (text.size() >= Size)
    refuse(std::string(what) + " is longer than " + std::to_string(Size - 1) +
           " bytes: " + std::string(text));
  if (text.find('\0') != std::string_view::npos) refuse(std::string(what) + " holds a zero byte");
  text.copy(field, Size - 1);
}

const data_type& row_of(RAVO_SUBBLOCK_TYPE dtype) {
  const data_type* row = find_data_type(dtype);
  if (!row) refuse("there is no data type " + std::to_string(static_cast<int>(dtype)));
  return *row;
}

[[noreturn]] void refuse_type(RAVO_SUBBLOCK_TYPE dtype, const char* wanted) {
  refuse(std::string(row_of(dtype).name) + " is not a type of " + wanted);
}

std::int32_t length_of(std::size_t count, const char* what) {
  if (count > static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max()))
    refuse(std::string(what) + " are too many: " + std::to_string(count));
  return static_cast<std::int32_t>(count);
}

// ---- spectra

void check(const data_type& type, const spectrum_form& form, std::size_t values) {
  if (form.members < 1 || form.members > RAVO_SPECT_MOST_MEMBERS || form.groups < 1 || form.samples < 0)
    refuse("a spectrum has 1 to " + std::to_string(RAVO_SPECT_MOST_MEMBERS) +
           " members and at least one group");
  if (type.code != RAVO_BLOCK_GENERIC_SPECT && form.members != type.members)
    refuse(std::string(type.name) + " has " + std::to_string(type.members) + " members, not " +
           std::to_string(form.members));
  // 3 x 31 bits do not fit into 64, 2 x 31 bits and 16 do not either.
  const std::uint64_t of_member =
      static_cast<std::uint64_t>(form.groups) * static_cast<std::uint64_t>(form.samples);
  const auto members = static_cast<std::uint64_t>(form.members);
  if (values % members != 0 || values / members != of_member)
    refuse(std::to_string(values) + " values are not " + std::to_string(form.members) + " x " +
           std::to_string(form.groups) + " x " + std::to_string(form.samples));
}

ravo_spect_statistics_2010 statistics_of(std::span<const float> values) {
  ravo_spect_statistics_2010 statistics{};
  if (values.empty()) return statistics;
  double sum = 0, squares = 0;
  for (const float value : values) {
    sum += static_cast<double>(value);
    squares += static_cast<double>(value) * static_cast<double>(value);
  }
  const auto count = static_cast<double>(values.size());
  const auto [least, most] = std::minmax_element(values.begin(), values.end());
  statistics.mask = 0xf;
  statistics.val[0] = static_cast<float>(sum / count);
  statistics.val[1] = static_cast<float>(std::sqrt(squares / count));
  statistics.val[2] = *least;
  statistics.val[3] = *most;
  return statistics;
}

void append_summary(payload_bytes& to, spectrum_summary summary, std::size_t members,
                    std::span<const float> values) {
  if (summary == spectrum_summary::none) return;
  const std::size_t of_member = values.size() / members;
  std::vector<ravo_spect_statistics_2010> all;
  for (std::size_t member = 0; member < members; ++member)
    all.push_back(statistics_of(values.subspan(member * of_member, of_member)));
  for (const ravo_spect_statistics_2010& one : all) append(to, one.val[0]);
  if (summary == spectrum_summary::means_and_statistics)
    for (const ravo_spect_statistics_2010& one : all) append(to, one);
}

std::uint32_t flags_of(spectrum_summary summary) {
  switch (summary) {
    case spectrum_summary::none:
      return 0;
    case spectrum_summary::means:
      return RAVO_SPECT_HAS_MEANS;
    case spectrum_summary::means_and_statistics:
      return RAVO_SPECT_HAS_MEANS | RAVO_SPECT_HAS_STATISTICS;
  }
  return 0;
}

// ---- frames

template <class Pixel>
void append_pixels(payload_bytes& to, std::span<const Pixel> pixels) {
  const std::size_t at = to.size();
  to.resize(at + pixels.size_bytes());
  unsigned char* byte = to.data() + at;
  // The most significant byte of a pixel comes first, whatever the machine.
  for (const Pixel pixel : pixels)
    for (int shift = 8 * static_cast<int>(sizeof(Pixel) - 1); shift >= 0; shift -= 8)
      *byte++ = static_cast<unsigned char>(pixel >> shift);
}

ravo_image_frame_head plain_head(const frame_form& form, std::uint32_t pixel_bytes, std::int32_t length) {
  const auto field = [](std::int32_t value, std::uint32_t bits, const char* what) {
    if (value < 0 || static_cast<std::uint32_t>(value) >= 1u << bits)
      refuse("a plain frame has no room for a " + std::string(what) + " of " + std::to_string(value));
    return static_cast<std::uint32_t>(value);
  };
  ravo_image_frame_head head{};
  head.w = field(form.width, 16, "width") | field(form.x_start, 16, "x start") << 16;
  head.h = field(form.height, 16, "height") | field(form.y_start, 16, "y start") << 16;
  head.bpp =
      pixel_bytes | field(form.y_inc, 14, "y increment") << 4 | field(form.x_inc, 14, "x increment") << 18;
  head.frame = form.frame;
  head.event_nm = form.event;
  head.length = length;
  return head;
}

ravo_image_ext_frame_head extended_head(const frame_form& form, std::int32_t pixel_bytes,
                                        std::int32_t length) {
  ravo_image_ext_frame_head head{};
  head.width = form.sensor_width > 0 ? form.sensor_width : form.x_start + form.width;
  head.height = form.sensor_height > 0 ? form.sensor_height : form.y_start + form.height;
  head.aoi_width = form.width;
  head.aoi_height = form.height;
  head.x_start = form.x_start;
  head.y_start = form.y_start;
  head.bpp = pixel_bytes;
  head.ebitpp = form.effective_bits > 0 ? form.effective_bits : 8 * pixel_bytes;
  head.hbin = form.x_inc;
  head.vbin = form.y_inc;
  head.frame = form.frame;
  head.event = form.event;
  head.scale_x = form.scale_x;
  head.scale_y = form.scale_y;
  head.image_rotation = form.rotation;
  head.length = length;
  return head;
}

template <class Pixel>
payload_bytes frame_of(RAVO_SUBBLOCK_TYPE dtype, const frame_form& form, std::span<const Pixel> pixels) {
  constexpr std::int32_t most = 1 << 24;
  for (const std::int32_t part : {form.width, form.height, form.x_start, form.y_start})
    if (part < 0 || part > most)
      refuse("a frame's sizes and places are from 0 to " + std::to_string(most) + ", not " +
             std::to_string(part));
  const auto wanted = static_cast<std::uint64_t>(form.width) * static_cast<std::uint64_t>(form.height);
  if (pixels.size() != wanted)
    refuse(std::to_string(pixels.size()) + " pixels are not " + std::to_string(form.height) + " x " +
           std::to_string(form.width));
  const std::int32_t length = length_of(pixels.size_bytes(), "the bytes of the pixels");
  payload_bytes block;
  switch (row_of(dtype).shape) {
    case payload_shape::image:
      append(block, plain_head(form, sizeof(Pixel), length));
      break;
    case payload_shape::image_ext:
      append(block, extended_head(form, sizeof(Pixel), length));
      break;
    default:
      refuse_type(dtype, "camera frames");
  }
  append_pixels(block, pixels);
  return block;
}

template <class Update>
payload_bytes update_of(std::string_view property, time_stamp time, float value, std::int32_t status) {
  Update update{};
  property.copy(update.upd_prop, sizeof update.upd_prop - 1);
  update.upd_ch_status = status;
  update.upd_ch_time = time;
  update.upd_ch_data = value;
  payload_bytes block;
  append(block, update);
  return block;
}

}  // namespace

payload_bytes spectrum_payload(RAVO_SUBBLOCK_TYPE dtype, const spectrum_form& form,
                               std::span<const float> values) {
  const data_type& type = row_of(dtype);
  if (type.shape != payload_shape::spectrum && type.shape != payload_shape::spectrum_older)
    refuse_type(dtype, "spectra");
  check(type, form, values.size());
  const auto members = static_cast<std::size_t>(form.members);
  payload_bytes block;
  if (type.shape == payload_shape::spectrum_older) {
    if (form.groups != 1 || form.summary == spectrum_summary::means_and_statistics)
      refuse("a spectrum of the older generation has one group and no statistics");
    append(block, ravo_spect_head{form.members, form.samples, form.start, form.inc});
    append_summary(block, spectrum_summary::means, members, values);
  } else {
    append(block, ravo_spect_head_2010{form.members, form.samples, form.groups, form.start, form.inc,
                                       form.groups_inc, flags_of(form.summary), 0});
    append_summary(block, form.summary, members, values);
  }
  append(block, values);
  return block;
}

payload_bytes profile_payload(std::int32_t x_start, std::int32_t y_start, std::span<const float> x,
                              std::span<const float> y) {
  payload_bytes block;
  append(block, ravo_roi_head{x_start, y_start, length_of(x.size(), "the values along x"),
                              length_of(y.size(), "the values along y")});
  append(block, x);
  append(block, y);
  return block;
}

payload_bytes frame_payload(RAVO_SUBBLOCK_TYPE dtype, const frame_form& form,
                            std::span<const std::uint8_t> pixels) {
  return frame_of(dtype, form, pixels);
}
payload_bytes frame_payload(RAVO_SUBBLOCK_TYPE dtype, const frame_form& form,
                            std::span<const std::uint16_t> pixels) {
  return frame_of(dtype, form, pixels);
}
payload_bytes frame_payload(RAVO_SUBBLOCK_TYPE dtype, const frame_form& form,
                            std::span<const std::uint32_t> pixels) {
  return frame_of(dtype, form, pixels);
}

payload_bytes update_payload(RAVO_SUBBLOCK_TYPE dtype, std::string_view property, time_stamp time,
                             float value, std::int32_t status) {
  const payload_shape shape = row_of(dtype).shape;
  if (shape == payload_shape::update)
    return update_of<ravo_upd_data_block_2010>(property, time, value, status);
  if (shape == payload_shape::update_older)
    return update_of<ravo_upd_data_block>(property, time, value, status);
  refuse_type(dtype, "updates");
}

payload_bytes environment_payload(std::int32_t index, time_stamp time, float value, std::int32_t status) {
  payload_bytes block;
  append(block, ravo_env_data_block_2010{index, status, time, value});
  return block;
}

payload_bytes name_value_payload(std::span<const named_value> values, std::int32_t id,
                                 std::string_view comment) {
  ravo_name_value_block head{};
  head.id = id;
  put(head.comment, comment, "the comment");
  head.ndata = length_of(values.size(), "the names and values");
  payload_bytes block;
  append(block, head);
  for (const auto& [name, value] : values) {
    ravo_name_value_channel pair{};
    put(pair.name, name, "the name of a value");
    pair.value = value;
    append(block, pair);
  }
  return block;
}

payload_bytes text_payload(std::string_view text) {
  if (text.find('\0') != std::string_view::npos) refuse("the text holds a zero byte");
  payload_bytes block(text.begin(), text.end());
  block.resize((text.size() / 4 + 1) * 4, 0);  // the closing zero, and whole words
  return block;
}

writer_description::writer_description(std::string_view name, RAVO_SUBBLOCK_TYPE dtype,
                                       RAVO_EVTYPE event_type, std::int32_t key,
                                       const channel_words& words) {
  description_.stream = 1;
  description_.ev_type = 1u << event_type;
  description_.dtype = static_cast<std::uint32_t>(dtype);
  description_.db_key = key;
  put(description_.prop_name, name, "the channel's name");
  put(description_.daq_name, name, "the channel's name");
  put(description_.prop_desc, words.description, "the description");
  put(description_.units, words.units, "the units");
  put(description_.sb_name, words.server, "the server's name");
  put(description_.subsystem, words.subsystem, "the subsystem's name");
  if (words.axis.empty()) return;
  put(axis_.dim_name, words.axis, "the axis' name");
  put(axis_.dim_desc, words.axis, "the axis' name");
  put(axis_.units, words.axis_units, "the axis' units");
  description_.dims.push_back(&axis_);
  description_.ndims = 1;
}

// The axis is a member: nothing of the list is freed.
writer_description::~writer_description() = default;

}  // namespace ravo
