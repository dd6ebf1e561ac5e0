// Prints the data of a decoded block by their type: what they hold, how much of it, and the first
// values. Data that do not match their type are shown as bytes.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <limits>
#include <string>

#include "format/payload_view.h"
#include "format/print_text.h"
#include "ravo_evutl.h"
#include "ravo_payload.h"

namespace {

using namespace ravo;

// Enough to recognise data, few enough to fit on a screen.
constexpr std::size_t shown_values = 8;
constexpr std::size_t shown_members = 32;
constexpr std::size_t shown_records = 32;
constexpr std::size_t shown_bytes = 64;

// Reads a record that parse_payload has found to be inside the data.
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

std::string member_name(const data_type& type, std::size_t member) {
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

// A member's name, its mean and its values; its statistics on a separate line.
void print_member(const data_type& type, std::size_t index, const member_parts& member,
                  const byte_view& data) {
  std::printf("  [%zu] %s: ", index, member_name(type, index).c_str());
  if (member.mean) std::printf("mean %g  ", static_cast<double>(*data.at<float>(member.mean)));
  print_values(*data.sub(member.values, member.size()));
  if (member.statistics) print_statistics(record_at<ravo_spect_statistics_2010>(data, member.statistics));
}

void print_axis(const data_type& type, const spectrum_parts& spectrum) {
  std::printf("  axis (%s): start %g  increment %g", std::string(type.axis).c_str(),
              static_cast<double>(spectrum.axis.start), static_cast<double>(spectrum.axis.increment));
  if (spectrum.generation == type_generation::current)
    std::printf("  group increment %g", static_cast<double>(spectrum.axis.groups_increment));
  std::printf("\n");
}

void print_spectrum(const data_type& type, const spectrum_parts& spectrum, const byte_view& data) {
  std::printf("  spectrum: %u members of ", spectrum.members);
  if (spectrum.generation == type_generation::current) std::printf("%u groups of ", spectrum.groups);
  std::printf("%u samples\n", spectrum.samples);
  print_axis(type, spectrum);
  for (std::size_t i = 0; i < std::min<std::size_t>(spectrum.members, shown_members); ++i)
    print_member(type, i, spectrum.member(i), data);
  print_left_out(spectrum.members, shown_members, "members");
}

void print_roi(const data_type& type, const roi_parts& roi, const byte_view& data) {
  const auto head = record_at<ravo_roi_head>(data);
  std::printf("  region of interest: %u x %u pixels at (%d, %d)\n", roi.width, roi.height, head.x_start,
              head.y_start);
  for (std::size_t i = 0; i < roi.members; ++i) print_member(type, i, roi.member(i), data);
}

void print_plain_image(const image_parts& image) {
  std::printf("  image: %d x %d pixels at (%d, %d)  bytes per pixel %d  increments %d x %d\n", image.width,
              image.height, image.x_start, image.y_start, image.bytes_per_pixel(), image.x_increment,
              image.y_increment);
  std::printf("  frame %u  event %u  compression %d  pixel bytes %d\n", image.frame, image.event,
              image.compression, image.length);
}

void print_extended_image(const byte_view& data) {
  const auto head = record_at<ravo_image_ext_frame_head>(data);
  std::printf("  image: area %d x %d pixels at (%d, %d) of a sensor of %d x %d\n", head.aoi_width,
              head.aoi_height, head.x_start, head.y_start, head.width, head.height);
  std::printf("  bytes per pixel %d  effective bits %d  binning %d x %d  formats: source %d image %d\n",
              head.bpp, head.ebitpp, head.hbin, head.vbin, head.source_format, head.image_format);
  std::printf("  scale %g x %g  rotation %g  flags 0x%x\n", static_cast<double>(head.scale_x),
              static_cast<double>(head.scale_y), static_cast<double>(head.image_rotation),
              static_cast<unsigned>(head.image_flags));
  std::printf("  frame %u  event %u  pixel bytes %d\n", head.frame, head.event, head.length);
}

void print_image(const image_parts& image, const byte_view& data) {
  if (image.is_extended)
    print_extended_image(data);
  else
    print_plain_image(image);
  print_bytes(*data.sub(image.pixels, static_cast<std::size_t>(image.length)));
}

std::string text_at(const byte_view& data, std::size_t offset, std::size_t size) {
  return printable(reinterpret_cast<const char*>(data.data()) + offset, size);
}

void print_name_value(const name_value_parts& list, const byte_view& data) {
  std::printf("  name-value block %d: %u records, comment \"%s\"\n", list.id, list.count,
              text_at(data, list.comment, list.comment_size).c_str());
  for (std::size_t i = 0; i < std::min<std::size_t>(list.count, shown_records); ++i)
    std::printf("  [%zu] %s = %g\n", i, text_at(data, list.name(i), list.name_size).c_str(),
                static_cast<double>(*data.at<float>(list.value(i))));
  print_left_out(list.count, shown_records, "records");
}

void print_text(const byte_view& data) {
  std::printf("  text: \"%s\"\n", text_at(data, 0, data.size()).c_str());
}

void print_reading(const update_parts& reading, const byte_view& data) {
  const std::string what =
      reading.name_size != 0
          ? "update of \"" + text_at(data, 0, reading.name_size) + "\""
          : "environment channel " + std::to_string(record_at<ravo_env_data_block_2010>(data).env_ch_idx);
  std::printf("  %s: value %g  status 0x%x  time %s\n", what.c_str(),
              static_cast<double>(*data.at<float>(reading.value)), *data.at<std::uint32_t>(reading.status),
              time_and_words_text(record_at<time_stamp>(data, reading.time)).c_str());
}

void print_env_dictionary(const records_part& dictionary, const byte_view& data) {
  std::printf("  environment dictionary: %zu entries\n", dictionary.count);
  for (std::size_t i = 0; i < std::min(dictionary.count, shown_records); ++i) {
    const auto entry = record_at<ravo_env_dictionary_entry_2010>(data, i * dictionary.record_size);
    std::printf("  [%zu] key %u  index %d\n", i, entry.key, entry.index);
  }
  print_left_out(dictionary.count, shown_records, "entries");
}

void print_payload(const data_type& type, const payload_parts& parts, const byte_view& data) {
  std::visit(overloaded{[&](const spectrum_parts& spectrum) { print_spectrum(type, spectrum, data); },
                        [&](const roi_parts& roi) { print_roi(type, roi, data); },
                        [&](const image_parts& image) { print_image(image, data); },
                        [&](const name_value_parts& list) { print_name_value(list, data); },
                        [&](const update_parts& reading) { print_reading(reading, data); },
                        [&](const text_part&) { print_text(data); },
                        [&](const records_part& records) { print_env_dictionary(records, data); }},
             parts);
}

// For both generations; the subheader that is printed before the data shows which it is.
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
                       static_cast<std::size_t>(head.ldata) - sizeof head, word_order::host);
  if (head.error & RAVO_CHAN_ZIP_FLAG) {
    std::printf("  data: %zu bytes, still compressed\n", data.size());
    print_bytes(data);
    return;
  }
  const data_type* type = find_data_type(head.dtype);
  const parsed_payload payload =
      type ? parse_payload(*type, data) : parsed_payload{.status = RAVO_DATA_UNKNOWN_TYPE};
  if (!payload.is_good()) {
    std::printf("  data: %zu bytes, not readable: %s\n", data.size(),
                ravo_evutl_status_text(payload.status));
    print_bytes(data);
    return;
  }
  print_payload(*type, payload.parts, data);
} catch (...) {
}

}  // namespace

void print_data_type_2010(const ravo_serv_block_subhead_2010* block) {
  print_block(block, &dump_event_chanhead_2010);
}
void print_data_type(const ravo_serv_block_subhead* block) { print_block(block, &dump_event_chanhead); }
