// Raw files of either generation, written with channels of many kinds, and the answer key: what each block
// has to be when it is delivered. The blocks are made here, in host order, from numbers; the key knows
// nothing of how they lie in the files.
#ifndef RAVO_TEST_ANSWER_KEY_H
#define RAVO_TEST_ANSWER_KEY_H

#include <cstdint>
#include <cstring>
#include <map>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "temporary_folder.h"
#include "writers.h"

namespace ravo::test {

using host_bytes = std::vector<unsigned char>;

template <class Record>
void append(host_bytes& to, const Record& record) {
  const auto* first = reinterpret_cast<const unsigned char*>(&record);
  to.insert(to.end(), first, first + sizeof record);
}

inline void copy_text(char* to, const std::string& text) { std::memcpy(to, text.data(), text.size()); }

/// The value of a sample: different for each channel, event, member and position.
inline float sample_of(int channel, std::uint32_t event, int member, int sample) {
  return static_cast<float>(channel * 1000 + static_cast<int>(event % 97) * 10 + member) +
         static_cast<float>(sample % 13) / 16;
}

template <class generation>
class answer_key {
 public:
  /// A block that is in the files, as it has to be delivered.
  struct block {
    ravo_time_id id;
    int dtype = 0;
    host_bytes payload;
    std::size_t file = 0;  // position in files()
  };
  struct channel {
    std::string name;
    RAVO_SUBBLOCK_TYPE dtype;
    ravo_compression compression;
    int members;          // of a spectrum; else 0
    std::uint32_t every;  // events of which it is in one
    std::vector<block> blocks;
    bool is_slow() const { return members == 0 && dtype != RAVO_BLOCK_NAME_VALUE_STRING; }
  };

  static constexpr std::uint32_t first_event = 5000;
  static constexpr std::uint32_t events_in_file = 30;
  static constexpr std::uint32_t count_of_files = 3;
  static constexpr int samples = 40;
  /// Events in a second, one every period that a reader steps by as a default.
  static constexpr std::uint32_t rate = generation::default_rate;

  answer_key() {
    add_spectra("BPM", generation::bpm, 3);
    add_spectra("RF", generation::rf, 2);
    add_spectra("SINGLE", generation::single, 1);
    channels_.push_back({"HALF", generation::single, ravo_compression::zlib, 1, 2, {}});
    channels_.push_back({"TEXT", RAVO_BLOCK_NAME_VALUE_STRING, ravo_compression::lzo1x, 0, 3, {}});
    channels_.push_back({"UPDATE", generation::update, ravo_compression::none, 0, 7, {}});
    channels_.push_back({"ENV", RAVO_ENV_BLOCK, ravo_compression::none, 0, 5, {}});
    channels_.push_back({"BEGIN", generation::begin_of_run, ravo_compression::none, 0, 10, {}});
    channels_.push_back({"END", generation::end_of_run, ravo_compression::none, 0, 15, {}});
    write();
  }

  const std::vector<std::string>& files() const { return files_; }
  const std::vector<channel>& channels() const { return channels_; }
  const channel& of(const std::string& name) const {
    for (const channel& one : channels_)
      if (one.name == name) return one;
    throw std::out_of_range(name);
  }

  static const answer_key& get() {
    static const answer_key key;
    return key;
  }

 private:
  void add_spectra(const std::string& kind, RAVO_SUBBLOCK_TYPE dtype, int members) {
    channels_.push_back({kind + "/PLAIN", dtype, ravo_compression::none, members, 1, {}});
    channels_.push_back({kind + "/ZLIB", dtype, ravo_compression::zlib, members, 1, {}});
    channels_.push_back({kind + "/LZO", dtype, ravo_compression::lzo1x, members, 1, {}});
  }

  static void check(const raw_writer& writer, int status) {
    if (status < 0) throw std::runtime_error(writer.get_last_error());
  }

  void write() {
    ravo_daq_writer_settings settings;
    settings.folder = folder_.path().string();
    settings.max_events = events_in_file;
    writer_of<generation> writer;
    check(writer, writer.open(settings));
    for (const channel& one : channels_) {
      ravo_daq_writer_channel declared;
      declared.name = one.name;
      declared.dtype = one.dtype;
      declared.compression = one.compression;
      if (one.dtype == RAVO_ENV_BLOCK) declared.env_index = 4;
      check(writer, writer.add_channel(declared));
    }
    for (std::uint32_t n = 0; n < events_in_file * count_of_files; ++n) write_event(writer, n);
    check(writer, writer.close());
    files_ = writer.get_files();
  }

  void write_event(raw_writer& writer, std::uint32_t n) {
    ravo_daq_writer_event event;
    event.event_number = first_event + n;
    event.time = {1700000000 + n / rate, n % rate * (1000000 / rate)};
    event.tmask = 6;
    check(writer, writer.begin_event(event));
    check(writer, writer.begin_server_block({"SERVER", event.time, 11, 3, 0}));
    for (std::size_t i = 0; i < channels_.size(); ++i) {
      channel& one = channels_[i];
      if (n % one.every != 0) continue;
      host_bytes put_in = payload_of(static_cast<int>(i), event);
      check(writer, writer.add_data(static_cast<int>(i), put_in.data(), put_in.size()));
      block known{{event.event_number, event.time}, one.dtype, put_in, n / events_in_file};
      if (one.is_slow()) {
        known.dtype = generation::update;
        if (one.dtype == RAVO_ENV_BLOCK) known.payload = update_block(one.name, event, static_cast<int>(i));
      }
      one.blocks.push_back(std::move(known));
    }
    check(writer, writer.end_event());
  }

  host_bytes payload_of(int i, const ravo_daq_writer_event& event) const {
    const channel& one = channels_[static_cast<std::size_t>(i)];
    host_bytes data;
    if (one.members > 0) {
      add_spectrum_head(data, one.members, i, event.event_number);
      for (int member = 0; member < one.members; ++member)
        for (int s = 0; s < samples; ++s) append(data, sample_of(i, event.event_number, member, s));
    } else if (one.dtype == RAVO_BLOCK_NAME_VALUE_STRING) {
      const std::string text = "event " + std::to_string(event.event_number) + std::string(60, '.');
      data.assign(text.begin(), text.end());
      data.push_back(0);
    } else if (one.dtype == RAVO_ENV_BLOCK) {
      append(data, ravo_env_data_block_2010{4, 2, event.time, sample_of(i, event.event_number, 0, 0)});
    } else {
      data = update_block("PROP." + one.name, event, i);
    }
    return data;
  }

  static void add_spectrum_head(host_bytes& data, int members, int i, std::uint32_t event) {
    typename generation::spectrum_head head{};
    head.members = members;
    head.samples = samples;
    head.start = 0.5f;
    head.inc = 0.25f;
    if constexpr (requires { head.groups; }) head.groups = 1;
    append(data, head);
    if constexpr (sizeof head == sizeof(ravo_spect_head))
      for (int member = 0; member < members; ++member) append(data, mean_of(i, event, member));
  }

 public:
  static float mean_of(int i, std::uint32_t event, int member) {
    return sample_of(i, event, member, 0) + 0.5f;
  }

  /// What `member` cut out of the channel's block is to be.
  block cut(const channel& whole, const block& from, int member) const {
    block part = from;
    const std::size_t head = sizeof(typename generation::spectrum_head);
    const bool has_means = head == sizeof(ravo_spect_head);
    const std::size_t means = has_means ? 4 * static_cast<std::size_t>(whole.members) : 0;
    const auto byte = [&](std::size_t offset) {
      return from.payload.begin() + static_cast<std::ptrdiff_t>(offset);
    };
    const auto m = static_cast<std::size_t>(member);
    part.payload.assign(byte(0), byte(head));
    const std::int32_t one = 1;
    std::memcpy(part.payload.data(), &one, 4);
    if (has_means) part.payload.insert(part.payload.end(), byte(head + 4 * m), byte(head + 4 * m + 4));
    const std::size_t values = 4 * samples;
    part.payload.insert(part.payload.end(), byte(head + means + m * values),
                        byte(head + means + (m + 1) * values));
    part.dtype = generation::single;
    return part;
  }

 private:
  static host_bytes update_block(const std::string& property, const ravo_daq_writer_event& event, int i) {
    typename generation::records::update_block update{};
    copy_text(update.upd_prop, property);
    update.upd_ch_status = 2;
    update.upd_ch_time = event.time;
    update.upd_ch_data = sample_of(i, event.event_number, 0, 0);
    host_bytes data;
    append(data, update);
    return data;
  }

  temporary_folder folder_;
  std::vector<channel> channels_;
  std::vector<std::string> files_;
};

/// Fails the test unless the entry is the block: identifier, headers, type, length and every byte.
template <class generation>
void expect_block(const typename answer_key<generation>::block& expected, const std::string& name,
                  const ravo_channel_entry_long& entry) {
  EXPECT_EQ(entry.event_id.event_number, expected.id.event_number);
  EXPECT_EQ(entry.event_id.time.timeup, expected.id.time.timeup);
  EXPECT_EQ(entry.event_id.time.timelow, expected.id.time.timelow);
  const auto* event = reinterpret_cast<const ravo_eventheader*>(entry.sbchdata[0].evhd);
  const auto* server =
      reinterpret_cast<const typename generation::records::server_block_head*>(entry.sbchdata[0].sbhd);
  const auto* head = reinterpret_cast<const typename generation::records::subhead*>(entry.sbchdata[0].chhd);
  ASSERT_NE(event, nullptr);
  ASSERT_NE(server, nullptr);
  ASSERT_NE(head, nullptr);
  EXPECT_EQ(event->pattern, generation::event_header_marker);
  EXPECT_EQ(event->event_number, expected.id.event_number);
  EXPECT_EQ(event->tmask, 6);
  EXPECT_STREQ(server->server, "SERVER");
  EXPECT_EQ(server->mpulse, 11);
  EXPECT_EQ(server->time.timeup, expected.id.time.timeup);
  EXPECT_STREQ(head->chname, name.c_str());
  EXPECT_EQ(head->dtype & 0xffff, expected.dtype);
  EXPECT_EQ(head->error, 0);
  ASSERT_EQ(head->ldata, static_cast<int>(generation::subhead + expected.payload.size()));
  EXPECT_EQ(entry.sbchdata[0].data, entry.sbchdata[0].chhd + generation::subhead);
  EXPECT_EQ(std::memcmp(reinterpret_cast<const void*>(entry.sbchdata[0].data), expected.payload.data(),
                        expected.payload.size()),
            0)
      << name << ", event " << expected.id.event_number << ": the payload differs";
}

}  // namespace ravo::test

#endif
