// Prints the data of a decoded block by their type: what they hold, how much of it, and the first
// values. Data that are not what their type says are shown as bytes.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <limits>
#include <string>

#include "format/payload_layout.h"
#include "format/print_text.h"
#include "ravo_evutl.h"
#include "ravo_payload.h"

namespace {

using ravo::byte_view;

// Enough to recognise data by, few enough to stay on a screen.
constexpr std::size_t shown_values = 8;
constexpr std::size_t shown_members = 32;
constexpr std::size_t shown_records = 32;
constexpr std::size_t shown_bytes = 64;

// Reads a record that check_payload has found to be inside the data.
template <class T>
T record_at(const byte_view& data, std::size_t offset = 0) {
  T record;
  std::memcpy(&record, data.data() + offset, sizeof record);
  return record;
}

void print_left_out(std::size_t all, std::size_t shown, const char* what) {
  if (all > shown) std::printf("  ... %zu more %s\n", all - shown, what);
}

void print_bytes(const byte_view& data) {
  const std::size_t count = std::min(data.size(), shown_bytes);
  for (std::size_t i = 0; i < count; ++i)
    std::printf("%s%02x%s", i % 16 == 0 ? "  " : " ", data.data()[i],
                i % 16 == 15 || i + 1 == count ? "\n" : "");
  print_left_out(data.size(), count, "bytes");
}

void print_values(const byte_view& values) {
  const std::size_t count = values.size() / 4;
  double smallest = std::numeric_limits<double>::infinity(), largest = -smallest, sum = 0;
  for (std::size_t i = 0; i < count; ++i) {
    const double value = static_cast<double>(*values.at<float>(i * 4));
    smallest = std::min(smallest, value);
    largest = std::max(largest, value);
    sum += value;
  }
  std::printf("%zu values", count);
  if (count > 0)
    std::printf("  min %g  max %g  mean %g  first", smallest, largest, sum / static_cast<double>(count));
  for (std::size_t i = 0; i < std::min(count, shown_values); ++i)
    std::printf(" %g", static_cast<double>(*values.at<float>(i * 4)));
  std::printf(count > shown_values ? " ...\n" : "\n");
}

std::string member_name(const ravo::data_type& type, std::size_t member) {
  if (type.code != RAVO_BLOCK_GENERIC_SPECT && member < type.member_names.size())
    return std::string(type.member_names[member]);
  return "CH" + std::to_string(member);
}

void print_statistics(const ravo_spect_statistics_2010& statistics) {
  std::printf("      statistics, mask 0x%x:", statistics.mask);
  for (unsigned bit = 0; bit < 32; ++bit)
    if (statistics.mask & (1u << bit))
      std::printf(" [%u] %g", bit, static_cast<double>(statistics.val[bit]));
  std::printf("\n");
}

void print_spectrum(const ravo::data_type& type, const byte_view& data) {
  const auto head = record_at<ravo_spect_head_2010>(data);
  std::printf("  spectrum: %d members of %d groups of %d samples\n", head.members, head.groups,
              head.samples);
  std::printf("  axis (%s): start %g  increment %g  group increment %g\n", std::string(type.axis).c_str(),
              static_cast<double>(head.start), static_cast<double>(head.inc),
              static_cast<double>(head.groups_inc));
  const std::size_t members = static_cast<std::size_t>(head.members);
  const std::size_t mean = head.flags & RAVO_SPECT_HAS_MEANS ? sizeof(float) : 0;
  const std::size_t statistics =
      head.flags & RAVO_SPECT_HAS_STATISTICS ? sizeof(ravo_spect_statistics_2010) : 0;
  const std::size_t values =
      static_cast<std::size_t>(head.samples) * static_cast<std::size_t>(head.groups) * sizeof(float);
  const std::size_t statistics_offset = sizeof head + members * mean;
  const std::size_t values_offset = statistics_offset + members * statistics;
  for (std::size_t i = 0; i < std::min(members, shown_members); ++i) {
    std::printf("  [%zu] %s: ", i, member_name(type, i).c_str());
    if (mean) std::printf("mean %g  ", static_cast<double>(*data.at<float>(sizeof head + i * mean)));
    print_values(*data.sub(values_offset + i * values, values));
    if (statistics)
      print_statistics(record_at<ravo_spect_statistics_2010>(data, statistics_offset + i * statistics));
  }
  print_left_out(members, shown_members, "members");
}

void print_spectrum_older(const ravo::data_type& type, const byte_view& data) {
  const auto head = record_at<ravo_spect_head>(data);
  std::printf("  spectrum: %d members of %d samples\n", head.members, head.samples);
  std::printf("  axis (%s): start %g  increment %g\n", std::string(type.axis).c_str(),
              static_cast<double>(head.start), static_cast<double>(head.inc));
  const std::size_t members = static_cast<std::size_t>(head.members);
  const std::size_t values = static_cast<std::size_t>(head.samples) * sizeof(float);
  const std::size_t values_offset = sizeof head + members * sizeof(float);
  for (std::size_t i = 0; i < members; ++i) {
    std::printf("  [%zu] %s: mean %g  ", i, member_name(type, i).c_str(),
                static_cast<double>(*data.at<float>(sizeof head + i * sizeof(float))));
    print_values(*data.sub(values_offset + i * values, values));
  }
}

void print_roi(const ravo::data_type& type, const byte_view& data) {
  const auto head = record_at<ravo_roi_head>(data);
  std::printf("  region of interest: %d x %d pixels at (%d, %d)\n", head.width, head.height, head.x_start,
              head.y_start);
  const std::size_t x_bytes = static_cast<std::size_t>(head.width) * sizeof(float);
  const std::size_t y_bytes = static_cast<std::size_t>(head.height) * sizeof(float);
  std::printf("  [0] %s: ", member_name(type, 0).c_str());
  print_values(*data.sub(sizeof head, x_bytes));
  std::printf("  [1] %s: ", member_name(type, 1).c_str());
  print_values(*data.sub(sizeof head + x_bytes, y_bytes));
}

void print_image(const byte_view& data) {
  const auto head = record_at<ravo_image_frame_head>(data);
  std::printf("  image: %u x %u pixels at (%u, %u)  bytes per pixel %u  increments %u x %u\n",
              head.w & 0xffff, head.h & 0xffff, head.w >> 16, head.h >> 16,
              head.bpp & 0xf ? head.bpp & 0xf : 1, head.bpp >> 18, (head.bpp >> 4) & 0x3fff);
  std::printf("  frame %u  event %u  compression %d  pixel bytes %d\n", head.frame, head.event_nm,
              head.compr, head.length);
  print_bytes(*data.sub(sizeof head, static_cast<std::size_t>(head.length)));
}

void print_image_ext(const byte_view& data) {
  const auto head = record_at<ravo_image_ext_frame_head>(data);
  std::printf("  image: area %d x %d pixels at (%d, %d) of a sensor of %d x %d\n", head.aoi_width,
              head.aoi_height, head.x_start, head.y_start, head.width, head.height);
  std::printf("  bytes per pixel %d  effective bits %d  binning %d x %d  formats: source %d image %d\n",
              head.bpp, head.ebitpp, head.hbin, head.vbin, head.source_format, head.image_format);
  std::printf("  scale %g x %g  rotation %g  flags 0x%x\n", static_cast<double>(head.scale_x),
              static_cast<double>(head.scale_y), static_cast<double>(head.image_rotation),
              static_cast<unsigned>(head.image_flags));
  std::printf("  frame %u  event %u  pixel bytes %d\n", head.frame, head.event, head.length);
  print_bytes(*data.sub(sizeof head, static_cast<std::size_t>(head.length)));
}

void print_name_value(const byte_view& data) {
  const auto head = record_at<ravo_name_value_block>(data);
  std::printf("  name-value block %d: %d records, comment \"%s\"\n", head.id, head.ndata,
              ravo::printable(head.comment, sizeof head.comment).c_str());
  const std::size_t records = static_cast<std::size_t>(head.ndata);
  for (std::size_t i = 0; i < std::min(records, shown_records); ++i) {
    const std::size_t offset = sizeof head + i * sizeof(ravo_name_value_channel);
    const auto record = record_at<ravo_name_value_channel>(data, offset);
    std::printf("  [%zu] %s = %g\n", i, ravo::printable(record.name, sizeof record.name).c_str(),
                static_cast<double>(record.value));
  }
  print_left_out(records, shown_records, "records");
}

void print_text(const byte_view& data) {
  const char* text = reinterpret_cast<const char*>(data.data());
  std::printf("  text: \"%s\"\n", ravo::printable(text, data.size()).c_str());
}

void print_reading(const std::string& what, std::int32_t status, const time_stamp& time, float value) {
  std::printf("  %s: value %g  status 0x%x  time %s\n", what.c_str(), static_cast<double>(value),
              static_cast<unsigned>(status), ravo::time_and_words_text(time).c_str());
}

// Both generations; the older one's name is shorter and everything behind it is the same.
void print_update(const byte_view& data) {
  constexpr std::size_t behind_name =
      sizeof(ravo_upd_data_block_2010) - offsetof(ravo_upd_data_block_2010, upd_ch_status);
  static_assert(sizeof(ravo_upd_data_block) - offsetof(ravo_upd_data_block, upd_ch_status) == behind_name);
  const std::size_t name = data.size() - behind_name;
  const std::string property = ravo::printable(reinterpret_cast<const char*>(data.data()), name);
  print_reading("update of \"" + property + "\"", *data.at<std::int32_t>(name),
                record_at<time_stamp>(data, name + 4), *data.at<float>(name + 12));
}

void print_environment(const byte_view& data) {
  const auto reading = record_at<ravo_env_data_block_2010>(data);
  print_reading("environment channel " + std::to_string(reading.env_ch_idx), reading.env_ch_status,
                reading.env_ch_time, reading.env_ch_data);
}

void print_env_dictionary(const byte_view& data) {
  const std::size_t records = data.size() / sizeof(ravo_env_dictionary_entry_2010);
  std::printf("  environment dictionary: %zu entries\n", records);
  for (std::size_t i = 0; i < std::min(records, shown_records); ++i) {
    const std::size_t offset = i * sizeof(ravo_env_dictionary_entry_2010);
    const auto entry = record_at<ravo_env_dictionary_entry_2010>(data, offset);
    std::printf("  [%zu] key %u  index %d\n", i, entry.key, entry.index);
  }
  print_left_out(records, shown_records, "entries");
}

void print_payload(const ravo::data_type& type, const byte_view& data) {
  using enum ravo::payload_shape;
  switch (type.shape) {
    case none:
      break;
    case update:
    case update_older:
      print_update(data);
      break;
    case environment:
      print_environment(data);
      break;
    case env_dictionary:
      print_env_dictionary(data);
      break;
    case spectrum:
      print_spectrum(type, data);
      break;
    case spectrum_older:
      print_spectrum_older(type, data);
      break;
    case image:
      print_image(data);
      break;
    case image_ext:
      print_image_ext(data);
      break;
    case roi:
      print_roi(type, data);
      break;
    case name_value:
      print_name_value(data);
      break;
    case text:
      print_text(data);
      break;
  }
}

// Both generations; the subheader that is printed before the data tells them apart.
template <class subhead>
void print_block(const subhead* block, void (*print_subhead)(const subhead*)) try {
  print_subhead(block);
  if (!block) return;
  subhead head;
  std::memcpy(&head, block, sizeof head);
  if (head.ldata < static_cast<std::int32_t>(sizeof head)) {
    std::printf("  data: none, the length is less than the subheader's %zu bytes\n", sizeof head);
    return;
  }
  const byte_view data(reinterpret_cast<const unsigned char*>(block) + sizeof head,
                       static_cast<std::size_t>(head.ldata) - sizeof head, ravo::word_order::host);
  if (head.error & RAVO_CHAN_ZIP_FLAG) {
    std::printf("  data: %zu bytes, still compressed\n", data.size());
    print_bytes(data);
    return;
  }
  const ravo::data_type* type = ravo::find_data_type(head.dtype);
  ravo::word_map words;
  const int status = type ? ravo::check_payload(*type, data, words) : RAVO_DATA_UNKNOWN_TYPE;
  if (status != RAVO_DATA_OK) {
    std::printf("  data: %zu bytes, not readable: %s\n", data.size(), ravo_evutl_status_text(status));
    print_bytes(data);
    return;
  }
  print_payload(*type, data);
} catch (...) {
}

}  // namespace

void print_data_type_2010(const ravo_serv_block_subhead_2010* block) {
  print_block(block, &dump_event_chanhead_2010);
}
void print_data_type(const ravo_serv_block_subhead* block) { print_block(block, &dump_event_chanhead); }
