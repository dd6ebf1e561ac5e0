// A run of three files, written call by call from data that are there beforehand, so that a fault meets
// nothing but the writer; and what the run has to look like.
#ifndef RAVO_TEST_FAULTS_WRITTEN_IN_PIECES_H
#define RAVO_TEST_FAULTS_WRITTEN_IN_PIECES_H

#include <gtest/gtest.h>

#include <map>

#include "../daq/writer/writing.h"
#include "generations.h"

namespace ravo::test {

template <class generation>
class run_to_write {
 public:
  static constexpr std::uint32_t events = 15;
  static constexpr std::uint32_t events_of_file = 5;

  run_to_write() {
    for (std::uint32_t i = 0; i < events; ++i) {
      payloads_.push_back({noisy_spectrum<typename generation::layout>(100, i),
                           smooth_spectrum<typename generation::layout>(50, static_cast<float>(i))});
      events_.push_back(event_of(i + 1, noon + i));
    }
    for (int i = 0; i < 2; ++i)
      channels_.push_back(channel_of(i == 0 ? "A" : "B", generation::single,
                                     i == 0 ? ravo_compression::none : ravo_compression::zlib));
    description_.nbits = 1;
    description_.bits.push_back(&bit_);
    channels_[0].description = &description_;
  }

  /// The settings that begin with a file; enough is given that blocks are spooled every few events.
  static ravo_daq_writer_settings settings(const temporary_folder& folder, std::uint32_t first_file = 0) {
    ravo_daq_writer_settings set = settings_in(folder);
    set.max_events = events_of_file;
    set.buffer_bytes = 1200;
    set.first_file = static_cast<int>(first_file) + 1;
    return set;
  }

  /// Writes the files from one on. Each call that is refused is repeated, at most `patience` times in all;
  /// the last status. `refusals` counts them.
  int write(typename generation::writer& writer, const ravo_daq_writer_settings& set,
            std::uint32_t first_file = 0, int patience = 0, int* refusals = nullptr) const {
    int left = patience;
    const auto patiently = [&](auto&& call) {
      for (;;) {
        const int status = call();
        if (status >= 0) return status;
        has_text_ = has_text_ && writer.get_last_error()[0] != '\0';
        if (refusals != nullptr) ++*refusals;
        if (left-- == 0) return status;
      }
    };
    int status = patiently([&] { return writer.open(set); });
    for (const auto& channel : channels_)
      if (status >= 0) status = patiently([&] { return writer.add_channel(channel); });
    for (std::uint32_t i = first_file * events_of_file; status >= 0 && i < events; ++i) {
      status = patiently([&] { return writer.begin_event(events_[i]); });
      if (status >= 0) status = patiently([&] { return writer.begin_server_block(server_); });
      for (int channel = 0; status >= 0 && channel < 2; ++channel) {
        const auto& bytes = payloads_[i][static_cast<std::size_t>(channel)].host();
        status = patiently([&] { return writer.add_data(channel, bytes.data(), bytes.size()); });
      }
      if (status >= 0) status = patiently([&] { return writer.end_event(); });
    }
    if (status >= 0) status = patiently([&] { return writer.close(); });
    return status;
  }
  void write_undisturbed(const temporary_folder& folder, std::uint32_t first_file = 0) const {
    typename generation::writer writer;
    must(writer, write(writer, settings(folder, first_file), first_file));
  }
  /// Whether every refusal so far came with a text.
  bool has_text() const { return has_text_; }

 private:
  std::vector<std::vector<payload>> payloads_;
  std::vector<ravo_daq_writer_event> events_;
  std::vector<ravo_daq_writer_channel> channels_;
  chan_descr_2010 description_{};
  bit_descr bit_{};
  ravo_daq_writer_server_block server_{"SERVER", {noon, 0}, 0, 0, 0};
  mutable bool has_text_ = true;
};

/// The bytes of every file that may be seen, by name; the number of those that may not goes to `hidden`.
inline std::map<std::string, std::vector<unsigned char>> visible_files(const temporary_folder& folder,
                                                                       std::size_t* hidden = nullptr) {
  std::map<std::string, std::vector<unsigned char>> files;
  for (const std::string& name : names_in(folder.path())) {
    if (name.front() != '.')
      files[name] = read_file(folder.file(name));
    else if (hidden != nullptr)
      ++*hidden;
  }
  return files;
}

}  // namespace ravo::test

#endif
