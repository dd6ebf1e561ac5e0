// A raw file of one event whose channels a test defines: their data, and their descriptions.
#ifndef RAVO_TEST_ONE_EVENT_FILE_H
#define RAVO_TEST_ONE_EVENT_FILE_H

#include <cstring>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "ravo_daq_writer_2010.h"
#include "ravo_payload.h"
#include "temporary_folder.h"

namespace ravo::test {

/// A channel's description in the file; empty fields are not described.
struct described {
  std::string units = {}, text = {}, axis = {}, axis_units = {};
};

struct made_channel {
  std::string name;
  RAVO_SUBBLOCK_TYPE dtype;
  std::vector<unsigned char> data;
  described words = {};
};

template <class Record>
void append(std::vector<unsigned char>& bytes, const Record& record) {
  const auto* begin = reinterpret_cast<const unsigned char*>(&record);
  bytes.insert(bytes.end(), begin, begin + sizeof record);
}

/// A spectrum block: member after member, group after group.
inline std::vector<unsigned char> spectrum_data(int members, int groups, float start, float step,
                                                float group_step, const std::vector<float>& values) {
  const int samples = static_cast<int>(values.size()) / members / groups;
  std::vector<unsigned char> bytes;
  append(bytes, ravo_spect_head_2010{members, samples, groups, start, step, group_step, 0, 0});
  for (const float value : values) append(bytes, value);
  return bytes;
}

/// The pixels of a frame, each with its most significant byte first.
inline std::vector<unsigned char> pixel_bytes(const std::vector<unsigned>& pixels, int bytes_per_pixel) {
  std::vector<unsigned char> bytes;
  for (const unsigned pixel : pixels)
    for (int i = bytes_per_pixel; i-- > 0;)
      bytes.push_back(i > 3 ? 0 : static_cast<unsigned char>(pixel >> 8 * i));
  return bytes;
}

/// A plain camera frame of a sensor's corner.
inline std::vector<unsigned char> frame_data(int width, const std::vector<unsigned>& pixels,
                                             int bytes_per_pixel) {
  const std::vector<unsigned char> all = pixel_bytes(pixels, bytes_per_pixel);
  ravo_image_frame_head head{};
  head.w = static_cast<std::uint32_t>(width);
  head.h = static_cast<std::uint32_t>(pixels.size() / static_cast<std::size_t>(width));
  head.bpp = static_cast<std::uint32_t>(bytes_per_pixel);
  head.length = static_cast<std::int32_t>(all.size());
  std::vector<unsigned char> bytes;
  append(bytes, head);
  bytes.insert(bytes.end(), all.begin(), all.end());
  return bytes;
}

/// An extended frame of an area of interest; the caller appends the pixels.
inline std::vector<unsigned char> extended_frame_data(ravo_image_ext_frame_head head,
                                                      const std::vector<unsigned>& pixels) {
  const std::vector<unsigned char> all = pixel_bytes(pixels, head.bpp);
  head.length = static_cast<std::int32_t>(all.size());
  std::vector<unsigned char> bytes;
  append(bytes, head);
  bytes.insert(bytes.end(), all.begin(), all.end());
  return bytes;
}

inline chan_descr_2010 description_of(const made_channel& channel, dim_descr& dimension) {
  const auto put = [](auto& field, std::string_view text) { text.copy(field, sizeof field - 1); };
  chan_descr_2010 description{};
  put(description.prop_name, channel.name);
  put(description.daq_name, channel.name);
  put(description.prop_desc, channel.words.text);
  put(description.units, channel.words.units);
  put(dimension.dim_name, channel.words.axis);
  put(dimension.units, channel.words.axis_units);
  if (!channel.words.axis.empty() || !channel.words.axis_units.empty())
    description.dims.push_back(&dimension);
  description.ndims = static_cast<std::int32_t>(description.dims.size());
  return description;
}

/// Event 77 at 2023-11-14T22:13:20.25Z with these channels; the file's path.
inline std::string write_one_event(const temporary_folder& folder,
                                   const std::vector<made_channel>& channels) {
  ravo_daq_writer_2010 writer;
  const auto check = [&writer](int status) {
    if (status < 0) throw std::runtime_error(writer.get_last_error());
  };
  ravo_daq_writer_settings settings;
  settings.folder = folder.path().string();
  check(writer.open(settings));
  for (const made_channel& channel : channels) {
    dim_descr dimension{};
    const chan_descr_2010 description = description_of(channel, dimension);
    ravo_daq_writer_channel declared;
    declared.name = channel.name;
    declared.dtype = channel.dtype;
    declared.compression = ravo_compression::none;
    declared.description = &description;
    check(writer.add_channel(declared));
  }
  ravo_daq_writer_event event;
  event.event_number = 77;
  event.time = {1700000000, 250000};
  check(writer.begin_event(event));
  check(writer.begin_server_block({"SERVER", event.time, 1, 0, 0}));
  for (std::size_t i = 0; i < channels.size(); ++i)
    check(writer.add_data(static_cast<int>(i), channels[i].data.data(), channels[i].data.size()));
  check(writer.end_event());
  check(writer.close());
  return writer.get_files().at(0);
}

}  // namespace ravo::test

#endif
