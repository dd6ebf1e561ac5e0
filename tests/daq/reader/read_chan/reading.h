// One raw file put together by hand, loaded, and channel readers on it.
#ifndef RAVO_TEST_READING_H
#define RAVO_TEST_READING_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "captured_output.h"
#include "handmade_file.h"
#include "ravo_daq_read_chan_2010.h"
#include "temporary_folder.h"

namespace ravo::test {

/// `count` events at 10 Hz from number 100 on.
inline std::vector<handmade_event> ten_hertz(unsigned count) {
  std::vector<handmade_event> events;
  for (unsigned i = 0; i < count; ++i) events.push_back({100 + i, 1700000000 + i / 10, i % 10 * 100000});
  return events;
}

/// A file with one channel "CHAN" that has a float, 0.5 x event position, in every event.
inline handmade_file one_channel_file(unsigned count) {
  handmade_file file;
  file.events = ten_hertz(count);
  handmade_channel channel("CHAN");
  for (std::size_t i = 0; i < count; ++i) channel.blocks.push_back(scalar(i, 0.5f * static_cast<float>(i)));
  file.channels.push_back(channel);
  return file;
}

class reading {
 public:
  using damage = std::function<void(handmade_file&, bytes&)>;

  explicit reading(handmade_file file, const damage& spoil = {}) {
    bytes content = file.build();
    if (spoil) spoil(file, content);
    path_ = folder_.write("example.raw", content.vector());
    loader.get_all_tables(path_.c_str(), 0, nullptr);
  }

  std::unique_ptr<ravo_daq_read_chan_2010> reader(const char* name = "CHAN", int subchannel = -1) {
    auto made = std::make_unique<ravo_daq_read_chan_2010>(&loader, name, subchannel, nullptr);
    const time_stamp tolerance{0, 50000};
    const ravo_time_id step{1, {0, 100000}};
    made->set_time_diff(&tolerance);
    made->set_step(&step);
    return made;
  }

  const std::string& path() const { return path_; }

  ravo_file_get_tables_2010 loader{0};

 private:
  temporary_folder folder_;
  std::string path_;
};

/// Starts a reader and waits for its signal as a master does; the status of start().
inline int start_and_wait(ravo_daq_read_chan_2010& reader) {
  pthread_mutex_t* mutex = nullptr;
  pthread_cond_t* condition = nullptr;
  int* flag = nullptr;
  const int status = reader.start(&mutex, &condition, &flag);
  pthread_mutex_lock(mutex);
  while (*flag == 0) pthread_cond_wait(condition, mutex);
  *flag = 0;
  pthread_mutex_unlock(mutex);
  return status;
}

inline const ravo_serv_block_subhead_2010* block_of(const ravo_channel_entry_long& entry) {
  return reinterpret_cast<const ravo_serv_block_subhead_2010*>(entry.sbchdata[0].chhd);
}

/// The floats of a decoded spectrum without means and statistics.
inline std::vector<float> samples_of(const ravo_channel_entry_long& entry) {
  const auto* block = block_of(entry);
  std::vector<float> samples((static_cast<std::size_t>(block->ldata) - 268 - 32) / 4);
  std::memcpy(samples.data(), reinterpret_cast<const char*>(entry.sbchdata[0].data) + 32, samples.size() * 4);
  return samples;
}

struct answer {
  int status = 0;
  ravo_channel_entry_long* entry = nullptr;
  unsigned number() const { return entry == nullptr ? 0 : entry->event_id.event_number; }
};

inline answer ask(ravo_daq_read_chan_2010& reader, int type) {
  answer result;
  result.status = reader.get_chan_data(nullptr, &result.entry, type);
  return result;
}

inline answer ask(ravo_daq_read_chan_2010& reader, const ravo_time_id& id, int type) {
  answer result;
  result.status = reader.get_chan_data(&id, &result.entry, type);
  return result;
}

inline constexpr int first = RAVO_DAQ_READ_CHAN_EVENT_FIRST;
inline constexpr int previous = RAVO_DAQ_READ_CHAN_EVENT_PREV;
inline constexpr int current = RAVO_DAQ_READ_CHAN_EVENT_CUR;
inline constexpr int next = RAVO_DAQ_READ_CHAN_EVENT_NEXT;
inline constexpr int last = RAVO_DAQ_READ_CHAN_EVENT_LAST;

}  // namespace ravo::test

#endif
