// Small raw files for the slicer's tests: each test says which events a file has and which channels take
// part in each; the payloads are as small as they can be. Also a slicer set up over such files.
#ifndef RAVO_TEST_SLICER_STREAMS_H
#define RAVO_TEST_SLICER_STREAMS_H

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

#include "ravo_daq_slicer_2010.h"
#include "ravo_daq_writer_2010.h"
#include "ravo_payload.h"
#include "temporary_folder.h"

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

inline void must(const ravo_daq_writer_2010& writer, int status) {
  if (status < 0) throw std::runtime_error(std::to_string(status) + ": " + writer.get_last_error());
}

inline void give_data(ravo_daq_writer_2010& writer, int channel, const std::string& name) {
  if (is_update_channel(name)) {
    ravo_upd_data_block_2010 update{};
    std::snprintf(update.upd_prop, sizeof update.upd_prop, "%s", name.c_str());
    update.upd_ch_time = stamp(noon);
    must(writer, writer.add_data(channel, &update, sizeof update));
    return;
  }
  struct {
    ravo_spect_head_2010 head{1, 1, 1, 0, 1, 0, 0, 0};
    float value = 1;
  } spectrum;
  must(writer, writer.add_data(channel, &spectrum, sizeof spectrum));
}

/// Writes the file as number `index` of a run and returns its path.
inline std::string write_stream_file(const temporary_folder& folder, int index, const stream_file& file) {
  ravo_daq_writer_2010 writer;
  ravo_daq_writer_settings settings;
  settings.folder = folder.path().string();
  settings.first_file = index;
  must(writer, writer.open(settings));
  for (const std::string& name : file.declared) {
    ravo_daq_writer_channel channel;
    channel.name = name;
    channel.dtype = is_update_channel(name) ? RAVO_UPD_BLOCK_2010 : RAVO_BLOCK_1CHAN_2010;
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
        if (name == file.declared[i]) give_data(writer, static_cast<int>(i), name);
    must(writer, writer.end_event());
  }
  must(writer, writer.close());
  if (writer.get_files().size() != 1) throw std::runtime_error("one file expected");
  return writer.get_files().front();
}

/// Files of one stream, written in order; `broken()` puts a file in between that no loader takes.
class stream {
 public:
  stream& file(const stream_file& content) {
    paths_.push_back(write_stream_file(folder_, static_cast<int>(paths_.size()) + 1, content));
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

/// What init() takes: lists of pointers, and the texts and records behind them.
class request {
 public:
  request(const std::vector<std::string>& files, const std::vector<std::string>& channels)
      : files_(files), channels_(channels.size()) {
    for (std::string& file : files_) file_pointers.push_back(file.data());
    for (std::size_t i = 0; i < channels.size(); ++i) {
      std::snprintf(channels_[i].name, sizeof channels_[i].name, "%s", channels[i].c_str());
      channels_[i].subchan = -1;
      channel_pointers.push_back(&channels_[i]);
    }
  }

  std::vector<char*> file_pointers;
  std::vector<ravo_daq_chan_param_2010*> channel_pointers;

 private:
  std::vector<std::string> files_;
  std::vector<ravo_daq_chan_param_2010> channels_;
};

inline int init(ravo_daq_slicer_2010& slicer, const std::vector<std::string>& files,
                const std::vector<std::string>& channels) {
  const request asked(files, channels);
  return slicer.init(&asked.file_pointers, &asked.channel_pointers, 0);
}

/// The channel that an entry belongs to.
inline std::string channel_of(const ravo_channel_entry_long& entry) {
  return reinterpret_cast<const ravo_serv_block_subhead_2010*>(entry.sbchdata[0].chhd)->chname;
}

/// What a get_data() gave, for one comparison: "status event: channel@event ...".
inline std::string told(const ravo_time_id& id) {
  const long long after_noon = (id.time.timeup * 1000000LL + id.time.timelow) - noon;
  return std::to_string(id.event_number) + "+" +
         (id.time.timeup == 0 ? "none" : std::to_string(after_noon));
}

inline std::string told(int status, const ravo_time_id& current,
                        const std::vector<ravo_channel_entry_long*>& entries) {
  std::string text = std::to_string(status) + " " + told(current) + ":";
  for (const ravo_channel_entry_long* entry : entries)
    text += " " + channel_of(*entry) + "@" + told(entry->event_id);
  return text;
}

/// One get_data() in words.
inline std::string get(ravo_daq_slicer_2010& slicer, int direction, const ravo_time_id* id = nullptr) {
  std::vector<ravo_channel_entry_long*> entries;
  const int status = slicer.get_data(id, &entries, direction);
  return told(status, slicer.current_event_id, entries);
}

/// Waits until the table-loading thread has loaded `files` files.
inline void wait_until_loaded(ravo_daq_slicer_2010& slicer, int files) {
  pthread_mutex_lock(&slicer.tmx);
  while (slicer.task.next_file < files && slicer.task.status == 0)
    pthread_cond_wait(&slicer.tcond, &slicer.tmx);
  pthread_mutex_unlock(&slicer.tmx);
}

}  // namespace ravo::test

#endif
