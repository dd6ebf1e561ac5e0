// Short ways to drive the writer in its tests: settings for a folder, channels, whole events.
#ifndef RAVO_TEST_WRITER_WRITING_H
#define RAVO_TEST_WRITER_WRITING_H

#include <algorithm>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "generations.h"
#include "payloads.h"
#include "ravo_daq_writer.h"
#include "ravo_daq_writer_2010.h"
#include "temporary_folder.h"

namespace ravo::test {

inline constexpr std::uint32_t noon = 1700000000;  // 2023-11-14 22:13:20 UTC

inline ravo_daq_writer_settings settings_in(const temporary_folder& folder) {
  ravo_daq_writer_settings settings;
  settings.folder = folder.path().string();
  return settings;
}

inline ravo_daq_writer_channel channel_of(const std::string& name, RAVO_SUBBLOCK_TYPE dtype,
                                          ravo_compression compression = ravo_compression::none) {
  ravo_daq_writer_channel channel;
  channel.name = name;
  channel.dtype = dtype;
  channel.compression = compression;
  return channel;
}

inline ravo_daq_writer_event event_of(std::uint32_t number, std::uint32_t seconds,
                                      std::uint32_t microseconds = 0, RAVO_EVTYPE type = RAVO_EV_NORMAL) {
  ravo_daq_writer_event event;
  event.event_number = number;
  event.event_type = type;
  event.time = {seconds, microseconds};
  return event;
}

/// Throws the writer's own text when a step of a test's preparation is refused.
inline void must(raw_writer& writer, int status) {
  if (status < 0) throw std::runtime_error(std::to_string(status) + ": " + writer.get_last_error());
}

inline int give(raw_writer& writer, int channel, const payload& data, std::int32_t error = 0) {
  return writer.add_data(channel, data.host().data(), data.host().size(), error);
}

/// A whole event with one server block; the status of end_event.
inline int give_event(raw_writer& writer, const ravo_daq_writer_event& event,
                      const std::vector<std::pair<int, payload>>& data) {
  must(writer, writer.begin_event(event));
  if (!data.empty()) must(writer, writer.begin_server_block({"SERVER", event.time, 0, 0, 0}));
  for (const auto& [channel, content] : data) must(writer, give(writer, channel, content));
  return writer.end_event();
}

/// Names of all that the folder holds, hidden files too, in order.
inline std::vector<std::string> names_in(const std::filesystem::path& folder) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder))
    names.push_back(entry.path().filename().string());
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace ravo::test

#endif
