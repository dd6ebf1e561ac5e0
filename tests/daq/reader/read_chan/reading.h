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
#include "generations.h"
#include "handmade_file.h"
#include "ravo_daq_read_chan.h"
#include "ravo_daq_read_chan_2010.h"
#include "start_and_wait.h"
#include "temporary_folder.h"

namespace ravo::test {

/// `count` events at 10 Hz from number 100 on.
inline std::vector<handmade_event> ten_hertz(unsigned count) {
  std::vector<handmade_event> events;
  for (unsigned i = 0; i < count; ++i) events.push_back({100 + i, 1700000000 + i / 10, i % 10 * 100000});
  return events;
}

template <class generation>
class reading_of {
 public:
  using file_type = handmade_file_of<typename generation::layout>;
  using read_chan = typename generation::read_chan;
  using damage = std::function<void(file_type&, bytes&)>;

  explicit reading_of(file_type file, const damage& spoil = {}) {
    bytes content = file.build();
    if (spoil) spoil(file, content);
    path_ = folder_.write("example.raw", content.vector());
    loader.get_all_tables(path_.c_str(), 0, nullptr);
  }

  std::unique_ptr<read_chan> reader(const char* name = "CHAN", int subchannel = -1) {
    auto made = std::make_unique<read_chan>(&loader, name, subchannel, nullptr);
    const time_stamp tolerance{0, 50000};
    const ravo_time_id step{1, {0, 100000}};
    made->set_time_diff(&tolerance);
    made->set_step(&step);
    return made;
  }

  const std::string& path() const { return path_; }

  typename generation::loader loader{0};

 private:
  temporary_folder folder_;
  std::string path_;
};

/// What the tests of one generation share: its classes, files of it, and views of what was decoded.
template <class generation>
struct channel_reading {
  using file_type = handmade_file_of<typename generation::layout>;
  using reading = reading_of<generation>;
  using read_chan = typename generation::read_chan;
  using loader_type = typename generation::loader;
  using subhead_type = typename generation::records::subhead;

  static constexpr int subhead = static_cast<int>(generation::subhead);
  static constexpr int spectrum_head = static_cast<int>(sizeof(typename generation::spectrum_head));
  /// Bytes of a spectrum of one sample, and of a decoded update.
  static constexpr int scalar_size = spectrum_head + (generation::has_means ? 4 : 0) + 4;
  static constexpr int update_size = subhead + static_cast<int>(generation::update_name) + 16;

  static handmade_block scalar(std::size_t event, float value) {
    return test::scalar<typename generation::layout>(event, value);
  }
  /// A file with one channel "CHAN" that has a float, 0.5 x event position, in every event.
  static file_type one_channel_file(unsigned count) {
    file_type file;
    file.events = ten_hertz(count);
    handmade_channel channel("CHAN");
    for (std::size_t i = 0; i < count; ++i)
      channel.blocks.push_back(scalar(i, 0.5f * static_cast<float>(i)));
    file.channels.push_back(channel);
    return file;
  }

  static const subhead_type* block_of(const ravo_channel_entry_long& entry) {
    return reinterpret_cast<const subhead_type*>(entry.sbchdata[0].chhd);
  }
  /// The samples of a decoded spectrum without statistics.
  static std::vector<float> samples_of(const ravo_channel_entry_long& entry) {
    const auto* data = reinterpret_cast<const char*>(entry.sbchdata[0].data);
    std::int32_t members = 0;
    std::memcpy(&members, data, sizeof members);
    const int head = spectrum_head + (generation::has_means ? members * 4 : 0);
    std::vector<float> samples(static_cast<std::size_t>(block_of(entry)->ldata - subhead - head) / 4);
    std::memcpy(samples.data(), data + head, samples.size() * 4);
    return samples;
  }
};

/// A fixture without a file of its own.
template <class generation>
class channel_reader_test : public testing::Test, protected channel_reading<generation> {};

/// Waits until the last worker has left, so that nothing is printed or read behind the caller's back.
template <class read_chan>
void wait_until_workers_left(read_chan& reader) {
  pthread_mutex_lock(&reader.mx);
  while (reader.running > 0) pthread_cond_wait(&reader.idle, &reader.mx);
  pthread_mutex_unlock(&reader.mx);
}

struct answer {
  int status = 0;
  ravo_channel_entry_long* entry = nullptr;
  unsigned number() const { return entry == nullptr ? 0 : entry->event_id.event_number; }
};

template <class read_chan>
answer ask(read_chan& reader, int type) {
  answer result;
  result.status = reader.get_chan_data(nullptr, &result.entry, type);
  return result;
}

template <class read_chan>
answer ask(read_chan& reader, const ravo_time_id& id, int type) {
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
