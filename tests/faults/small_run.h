// A run of two files of four events, put together by hand, and ways to read all of it: by a reader, a
// slicer, a channel reader, a loader. Each way reports how far it came, and whether a value that it was
// given is wrong; what is missing is for the test to judge.
#ifndef RAVO_TEST_FAULTS_SMALL_RUN_H
#define RAVO_TEST_FAULTS_SMALL_RUN_H

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <bitset>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "generations.h"
#include "handmade_file.h"
#include "ravo_daq_data.h"
#include "ravo_daq_reader.h"
#include "ravo_daq_reader_2010.h"
#include "temporary_folder.h"

namespace ravo::test {

/// While it lives, nothing that is printed is seen.
class silence {
 public:
  silence() : silence(open("/dev/null", O_WRONLY | O_CLOEXEC)) {}
  ~silence() {
    std::fflush(stdout);
    for (int stream : {0, 1}) {
      dup2(kept_[stream], stream + 1);
      close(kept_[stream]);
    }
    close(file_);
  }
  silence(const silence&) = delete;
  silence& operator=(const silence&) = delete;

 protected:
  explicit silence(int file) : file_(file) {
    std::fflush(stdout);
    for (int stream : {0, 1}) {
      kept_[stream] = fcntl(stream + 1, F_DUPFD_CLOEXEC, 10);
      dup2(file_, stream + 1);
    }
  }
  const int file_;

 private:
  int kept_[2];
};

/// The same, and what was printed is known. For a short while: it is kept in memory.
class attentive_silence : public silence {
 public:
  attentive_silence() : silence(memfd_create("ravo_silence", MFD_CLOEXEC)) {}

  /// All that was printed so far, on both streams; addresses, which no two runs have in common, as "0x".
  std::string words() const {
    std::fflush(stdout);
    std::string all(static_cast<std::size_t>(lseek(file_, 0, SEEK_END)), '\0');
    if (pread(file_, all.data(), all.size(), 0) != static_cast<ssize_t>(all.size())) all.clear();
    for (std::size_t at = 0; (at = all.find("0x", at)) != std::string::npos;) {
      at += 2;
      const std::size_t end = all.find_first_not_of("0123456789abcdef", at);
      all.erase(at, end == std::string::npos ? end : end - at);
    }
    return all;
  }
};

/// Values of a small run: one bit for each event of each channel.
using values = std::bitset<32>;

/// What became of a reading. It asks for no memory, which may be out.
struct reading_outcome {
  int status = 0;      ///< of the step that refused, or of the last one
  values read;         ///< those that were right
  values other;        ///< those that were as rewritten() has them
  unsigned wrong = 0;  ///< how many were neither
  bool has_thrown = false;
};

template <class generation>
class small_run {
 public:
  static constexpr unsigned files = 2;
  static constexpr unsigned events_of_file = 4;
  static constexpr unsigned first_event = 100;

  small_run() {
    for (unsigned file = 0; file < files; ++file) {
      auto made = make(file);
      const std::string second = std::to_string(20 + file);
      contents_.push_back(made.build().vector());
      at_.push_back(made.at);
      names_.push_back("linac_main_run7_file" + std::to_string(file + 1) + "_20231114T2213" + second +
                       "Z.raw");
      paths_.push_back(folder_.file(names_.back()));
    }
    restore();
  }

  /// Puts the files back as they were made, a minute ago.
  void restore() const {
    for (unsigned file = 0; file < files; ++file) {
      std::filesystem::remove(paths_[file]);
      folder_.write(names_[file], contents_[file]);
      std::filesystem::last_write_time(
          paths_[file], std::filesystem::file_time_type::clock::now() - std::chrono::minutes(1));
    }
  }

  const temporary_folder& folder() const { return folder_; }
  /// A folder that is empty at first, for what a test puts beside the files.
  const temporary_folder& other_folder() const { return other_folder_; }
  const std::string& path(unsigned file = 0) const { return paths_[file]; }
  const std::vector<unsigned char>& content(unsigned file = 0) const { return contents_[file]; }
  /// Where a piece of a file lies; see handmade_file.
  std::size_t at(const std::string& piece, unsigned file = 0) const { return at_[file].at(piece); }
  std::vector<char*> file_list() const {
    std::vector<char*> list;
    for (const std::string& path : paths_) list.push_back(const_cast<char*>(path.c_str()));
    return list;
  }
  static const std::vector<std::string>& channel_names() {
    static const std::vector<std::string> names{"ZLIB", "LZO", "PLAIN", "SLOW"};
    return names;
  }
  static float value_of(const std::string& channel, unsigned event) {
    return static_cast<float>(event) + 0.125f * static_cast<float>(channel.size());
  }
  /// The values of one channel.
  static values of_channel(const std::string& name) {
    values every;
    for (unsigned event = first_event; event < first_event + files * events_of_file; ++event)
      if (has_value(name, event)) every.set(bit_of(name, event));
    return every;
  }
  /// Another file of the same structure: the last value of PLAIN and that of SLOW are others.
  std::vector<unsigned char> rewritten(unsigned file) const {
    std::vector<unsigned char> other = contents_[file];
    for (const char* const channel : {"PLAIN", "SLOW"}) {
      const std::size_t basket = at(channel, file);
      const unsigned char* const length = other.data() + basket + 4;
      other[basket + (std::size_t{length[2]} << 8 | length[3]) - 1] ^= 0xff;
    }
    return other;
  }
  /// The bits of the values that rewritten() changes.
  static values rewritten_values(unsigned file) {
    values both;
    for (unsigned event = first_event; event < first_event + (file + 1) * events_of_file; ++event)
      for (const char* const channel : {"PLAIN", "SLOW"})
        if (has_value(channel, event)) {
          for (unsigned before = first_event; before < event; ++before)
            if (has_value(channel, before)) both.reset(bit_of(channel, before));
          both.set(bit_of(channel, event));
        }
    return both;
  }
  /// Every value of the first files.
  static values all(unsigned of_files = files) {
    values every;
    for (unsigned i = 0; i < of_files * events_of_file; ++i)
      for (const std::string& name : channel_names())
        if (has_value(name, first_event + i)) every.set(bit_of(name, first_event + i));
    return every;
  }
  static bool is_slow(unsigned event) { return event % 4 == 2; }
  static bool has_value(const std::string& channel, unsigned event) {
    return event >= first_event && event < first_event + files * events_of_file &&
           (channel == "SLOW") == is_slow(event);
  }
  using subhead = typename generation::records::subhead;
  /// The value of a decoded block: its last float.
  static float value_in(const subhead& block) {
    float value = 0;
    std::memcpy(&value, reinterpret_cast<const char*>(&block) + block.ldata - 4, sizeof value);
    return value;
  }
  /// Puts down the value of an entry.
  static void take(const ravo_channel_entry_long& entry, reading_outcome& outcome) {
    const auto* block = reinterpret_cast<const subhead*>(entry.sbchdata[0].chhd);
    if (block == nullptr) return;
    const std::string name = block->chname;
    const float value = value_in(*block);
    const unsigned event = entry.event_id.event_number;
    if (has_value(name, event) && value == value_of(name, event))
      outcome.read.set(bit_of(name, event));
    else if (has_value(name, event) && value == other_value(value_of(name, event)))
      outcome.other.set(bit_of(name, event));
    else
      ++outcome.wrong;
  }

 private:
  using layout = typename generation::layout;

  static float other_value(float value) {
    std::uint32_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    bits ^= 0xff;
    std::memcpy(&value, &bits, sizeof value);
    return value;
  }
  static std::size_t bit_of(const std::string& channel, unsigned event) {
    std::size_t index = 0;
    while (channel_names()[index] != channel) ++index;
    return index * files * events_of_file + event - first_event;
  }

  static handmade_file_of<layout> make(unsigned file) {
    handmade_file_of<layout> made;
    for (unsigned i = 0; i < events_of_file; ++i) {
      const unsigned tick = file * events_of_file + i;
      const unsigned number = first_event + tick;
      made.events.push_back({number, 1700000000 + tick / 10, tick % 10 * 100000,
                             is_slow(number) ? RAVO_EV_UPD : RAVO_EV_NORMAL});
    }
    for (const std::string& name : channel_names()) {
      handmade_channel channel(name);
      channel.dtype_mask = 0;
      if (name == "SLOW") channel.ev_mask = 1u << RAVO_EV_UPD;
      for (unsigned i = 0; i < events_of_file; ++i) {
        const unsigned number = first_event + file * events_of_file + i;
        if ((name == "SLOW") == is_slow(number)) channel.blocks.push_back(block(name, i, number));
      }
      made.channels.push_back(channel);
    }
    return made;
  }
  static handmade_block block(const std::string& name, std::size_t event, unsigned number) {
    const float value = value_of(name, number);
    if (name == "SLOW") {
      handmade_block update;
      update.event = event;
      update.dtype = layout::update_type;
      update.payload.text(name, layout::update_name).i32(0).u32(1700000000).u32(number).f32(value);
      return update;
    }
    handmade_block plain = scalar<layout>(event, value);
    return name == "PLAIN" ? plain : zipped(plain, name == "ZLIB" ? 1 : 2);
  }

  temporary_folder folder_;
  temporary_folder other_folder_;
  std::vector<std::vector<unsigned char>> contents_;
  std::vector<std::map<std::string, std::size_t>> at_;
  std::vector<std::string> names_;
  std::vector<std::string> paths_;
};

/// The channels of a small run as the reading layers ask for them.
template <class generation>
class wanted_channels {
 public:
  explicit wanted_channels(std::vector<std::string> names = small_run<generation>::channel_names())
      : names_(std::move(names)) {
    for (std::string& name : names_) {
      entries_.push_back({name.data(), {}});
      params_.emplace_back();
      std::strcpy(params_.back().name, name.c_str());
      params_.back().subchan = -1;
      texts_.push_back(name.data());
    }
    for (auto& entry : entries_) entry_list_.push_back(&entry);
    for (auto& param : params_) param_list_.push_back(&param);
  }
  const std::vector<daq_channel_entry*>* entries() const { return &entry_list_; }
  const std::vector<typename generation::records::chan_param*>* params() const { return &param_list_; }
  const std::vector<char*>* texts() const { return &texts_; }

 private:
  std::vector<std::string> names_;
  std::vector<daq_channel_entry> entries_;
  std::vector<typename generation::records::chan_param> params_;
  std::vector<daq_channel_entry*> entry_list_;
  std::vector<typename generation::records::chan_param*> param_list_;
  std::vector<char*> texts_;
};

}  // namespace ravo::test

#endif
