// Small raw files for the slicer's tests: each test says which events a file has and which channels take
// part in each; the payloads are as small as they can be. Also a slicer set up over such files.
#ifndef RAVO_TEST_SLICER_STREAMS_H
#define RAVO_TEST_SLICER_STREAMS_H

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

#include "temporary_folder.h"
#include "writers.h"

namespace ravo::test {

/// 2023-11-14 22:13:20 UTC in microseconds; the tests count from here.
inline constexpr std::int64_t noon = 1700000000LL * 1000000;

inline time_stamp stamp(std::int64_t microseconds) {
  return {static_cast<std::uint32_t>(microseconds / 1000000),
          static_cast<std::uint32_t>(microseconds % 1000000)};
}

/// An event by its number and its microseconds after noon.
inline ravo_time_id event_id(std::uint32_t number, std::int64_t after_noon) {
  return {number, stamp(noon + after_noon)};
}

struct stream_event {
  std::uint32_t number;
  std::int64_t after_noon;  // microseconds
  std::vector<std::string> channels;
};

/// Channels whose names begin with "UPD" carry update blocks.
struct stream_file {
  std::vector<std::string> declared;  // the channels of the file's dictionary
  std::vector<stream_event> events;
};

inline bool is_update_channel(const std::string& name) { return name.rfind("UPD", 0) == 0; }

inline void must(const raw_writer& writer, int status) {
  if (status < 0) throw std::runtime_error(std::to_string(status) + ": " + writer.get_last_error());
}

template <class generation>
void give_data(raw_writer& writer, int channel, const std::string& name) {
  if (is_update_channel(name)) {
    typename generation::records::update_block update{};
    std::snprintf(update.upd_prop, sizeof update.upd_prop, "%s", name.c_str());
    update.upd_ch_time = stamp(noon);
    must(writer, writer.add_data(channel, &update, sizeof update));
    return;
  }
  std::string spectrum = spectrum_start<generation>(1, 1);
  const float value = 1;
  spectrum.append(reinterpret_cast<const char*>(&value), sizeof value);
  must(writer, writer.add_data(channel, spectrum.data(), spectrum.size()));
}

/// Writes the file as number `index` of a run and returns its path.
template <class generation>
std::string write_stream_file(const temporary_folder& folder, int index, const stream_file& file) {
  writer_of<generation> writer;
  ravo_daq_writer_settings settings;
  settings.folder = folder.path().string();
  settings.first_file = index;
  must(writer, writer.open(settings));
  for (const std::string& name : file.declared) {
    ravo_daq_writer_channel channel;
    channel.name = name;
    channel.dtype = is_update_channel(name) ? generation::update : generation::single;
    channel.compression = ravo_compression::none;
    must(writer, writer.add_channel(channel));
  }
  for (const stream_event& event : file.events) {
    ravo_daq_writer_event head;
    head.event_number = event.number;
    head.time = stamp(noon + event.after_noon);
    must(writer, writer.begin_event(head));
    if (!event.channels.empty()) must(writer, writer.begin_server_block({"SERVER", head.time, 0, 0, 0}));
    for (std::size_t i = 0; i < file.declared.size(); ++i)
      for (const std::string& name : event.channels)
        if (name == file.declared[i]) give_data<generation>(writer, static_cast<int>(i), name);
    must(writer, writer.end_event());
  }
  must(writer, writer.close());
  if (writer.get_files().size() != 1) throw std::runtime_error("one file expected");
  return writer.get_files().front();
}

/// Files of one stream, written in order; `broken()` puts a file in between that no loader takes.
template <class generation>
class stream {
 public:
  stream& file(const stream_file& content) {
    paths_.push_back(write_stream_file<generation>(folder_, static_cast<int>(paths_.size()) + 1, content));
    return *this;
  }
  stream& broken() {
    const unsigned char words[] = "this is no raw file, but it is long enough to have a tail";
    paths_.push_back(folder_.write("broken_" + std::to_string(paths_.size()) + ".raw", words));
    return *this;
  }
  /// A file of events `first` to `last`, a tenth of a second apart, in all of which all channels take part.
  stream& plain_file(const std::vector<std::string>& channels, std::uint32_t first, std::uint32_t last) {
    stream_file content{channels, {}};
    for (std::uint32_t number = first; number <= last; ++number)
      content.events.push_back({number, number * 100000LL, channels});
    return file(content);
  }
  const std::vector<std::string>& paths() const { return paths_; }

 private:
  temporary_folder folder_;
  std::vector<std::string> paths_;
};

/// Hands files and channels to the slicer's init(), which takes lists of pointers.
template <class Slicer>
int init(Slicer& slicer, std::vector<std::string> files, const std::vector<std::string>& channels) {
  using param = std::remove_pointer_t<typename decltype(slicer.chans)::value_type>;
  std::vector<char*> file_pointers;
  for (std::string& file : files) file_pointers.push_back(file.data());
  std::vector<param> params(channels.size());
  std::vector<param*> channel_pointers;
  for (std::size_t i = 0; i < channels.size(); ++i) {
    std::snprintf(params[i].name, sizeof params[i].name, "%s", channels[i].c_str());
    params[i].subchan = -1;
    channel_pointers.push_back(&params[i]);
  }
  return slicer.init(&file_pointers, &channel_pointers, 0);
}

/// The channel that an entry belongs to: the blocks of both generations begin with the name.
inline std::string channel_of(const ravo_channel_entry_long& entry) {
  return reinterpret_cast<const char*>(entry.sbchdata[0].chhd);
}

/// The result of a get_data(), for one comparison: "status event: channel@event ...".
inline std::string text_of(const ravo_time_id& id) {
  const long long after_noon = (id.time.timeup * 1000000LL + id.time.timelow) - noon;
  return std::to_string(id.event_number) + "+" +
         (id.time.timeup == 0 ? "none" : std::to_string(after_noon));
}

inline std::string text_of(int status, const ravo_time_id& current,
                           const std::vector<ravo_channel_entry_long*>& entries) {
  std::string text = std::to_string(status) + " " + text_of(current) + ":";
  for (const ravo_channel_entry_long* entry : entries)
    text += " " + channel_of(*entry) + "@" + text_of(entry->event_id);
  return text;
}

/// One get_data() in words.
template <class Slicer>
std::string get(Slicer& slicer, int direction, const ravo_time_id* id = nullptr) {
  std::vector<ravo_channel_entry_long*> entries;
  const int status = slicer.get_data(id, &entries, direction);
  return text_of(status, slicer.current_event_id, entries);
}

}  // namespace ravo::test

#endif
