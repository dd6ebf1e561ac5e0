// The ways in which the matrix reads a mutant: the loader, a reader for each channel, the slicer over the
// mutant between good files, and the tool's `info` and `verify`. Each returns what it received, byte
// by byte.
#ifndef RAVO_TEST_MATRIX_WAYS_H
#define RAVO_TEST_MATRIX_WAYS_H

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "small_file.h"
#include "start_and_wait.h"

namespace ravo::test {

/// An entry as a reader hands it out: the bytes of its event header, server block head and block.
struct handed_entry {
  std::string bytes;
  ravo_time_id event;
};

template <class generation>
handed_entry take_entry(const ravo_channel_entry_long& entry) {
  using layout = typename generation::layout;
  const auto piece = [](std::uint64_t address, std::size_t size) {
    return std::string(reinterpret_cast<const char*>(address), size);
  };
  const auto& where = entry.sbchdata[0];
  handed_entry taken{{}, entry.event_id};
  taken.bytes = piece(where.evhd, 36) + piece(where.sbhd, layout::server_block);
  if (where.chhd == 0) return taken;
  std::int32_t length = 0;
  std::memcpy(&length, reinterpret_cast<const char*>(where.chhd) + layout::subhead - 4, sizeof length);
  taken.bytes += piece(where.chhd, static_cast<std::size_t>(length));
  return taken;
}

/// The outcome of a way of reading.
struct reading {
  int status = 0;
  /// By channel, and after all channels those whose blocks have a name that no channel has.
  std::vector<std::vector<handed_entry>> entries;
  std::string problem;      ///< something that must not happen with any file
  bool goes_round = false;  ///< more events came than there are
};

/// Everything that each channel's reader decodes, and what it answers to a question for each event by
/// number.
template <class generation>
class channel_readers {
 public:
  reading read(const char* path) {
    reading result;
    const auto& names = small_file<generation>::channel_names();
    result.entries.resize(names.size() + 1);
    result.status = loader_.get_all_tables(path, 0, nullptr);
    if (result.status != 0) return result;
    for (std::size_t i = 0; i < names.size(); ++i) read_channel(names[i], result, result.entries[i]);
    loader_.clean_up();
    return result;
  }

 private:
  void read_channel(const std::string& name, reading& result, std::vector<handed_entry>& entries) {
    typename generation::read_chan reader(&loader_, name.c_str(), -1, nullptr);
    const int status = start_and_wait(reader);
    if (status != 0 && status != RAVO_DAQ_READ_CHAN_NOT_FOUND && status != RAVO_DAQ_READ_CHAN_INTERN_ERROR)
      result.problem = "a channel reader's start answers " + std::to_string(status);
    if (status != 0) return;
    for (int i = 0; i < reader.out_total; ++i)
      if (reader.out[i].event_id.event_number != RAVO_EVENT_NUMBER_UNDECODED)
        entries.push_back(take_entry<generation>(reader.out[i]));
    ask_for_events(reader, result);
  }

  // A request by number returns that event, or nothing.
  static void ask_for_events(typename generation::read_chan& reader, reading& result) {
    for (unsigned number = 100; number < 112; ++number) {
      const ravo_time_id event{number, {}};
      ravo_channel_entry_long* entry = nullptr;
      const int status = reader.get_chan_data(&event, &entry, RAVO_DAQ_READ_CHAN_EVENT_CUR);
      if (status == 0 && entry->event_id.event_number != number)
        result.problem = "an event is handed out for another";
      const bool is_known = status == RAVO_DAQ_READ_CHAN_NO_DATA ||
                            status == RAVO_DAQ_READ_CHAN_OUT_OF_WINDOW ||
                            status == RAVO_DAQ_READ_CHAN_INV_PARAM || status == RAVO_DAQ_READ_CHAN_NOT_INIT;
      if (status != 0 && !is_known) result.problem = "get_chan_data answers " + std::to_string(status);
    }
  }

  typename generation::loader loader_{0};
};

/// How many events of a channel are decoded.
template <class generation>
std::size_t count_entries(const char* path, const char* channel) {
  typename generation::loader loader(0);
  if (loader.get_all_tables(path, 0, nullptr) != 0) return 0;
  typename generation::read_chan reader(&loader, channel, -1, nullptr);
  if (start_and_wait(reader) != 0) return 0;
  std::size_t count = 0;
  for (int i = 0; i < reader.out_total; ++i)
    count += reader.out[i].event_id.event_number != RAVO_EVENT_NUMBER_UNDECODED;
  return count;
}

/// The tables with their descriptions.
template <class generation>
int load_with_descriptions(const char* path) {
  typename generation::loader loader(1);
  return loader.get_all_tables(path, 1, nullptr);
}

/// Everything that the slicer lines up over some files.
template <class generation>
reading slice(const std::vector<char*>& files, ravo_daq_slicer_synch_mode mode) {
  constexpr int most_steps = 60;  // far more than the files have events
  reading result;
  const auto& names = small_file<generation>::channel_names();
  result.entries.resize(names.size() + 1);
  std::vector<typename generation::records::chan_param> params(names.size());
  std::vector<typename generation::records::chan_param*> wanted;
  for (std::size_t i = 0; i < names.size(); ++i) {
    std::strcpy(params[i].name, names[i].c_str());
    params[i].subchan = -1;
    wanted.push_back(&params[i]);
  }
  typename generation::slicer slicer;
  slicer.set_synch_mode(mode);
  const ravo_time_id step{1, {0, 100000}};  // as the events of the small files follow one another
  slicer.set_event_step(&step);
  result.status = slicer.init(&files, &wanted, 0);
  if (result.status == 0) result.status = slicer.start();
  std::vector<ravo_channel_entry_long*> entries;
  int events = 0;
  for (; result.status == 0 && events < most_steps; ++events) {
    result.status = slicer.get_data(nullptr, &entries, events == 0 ? 0 : 1);
    if (result.status != 0) break;
    for (const ravo_channel_entry_long* entry : entries) {
      // A result identifies its channel only by the name in the block.
      const char* const name = reinterpret_cast<const char*>(entry->sbchdata[0].chhd);
      const auto known = std::find(names.begin(), names.end(), name == nullptr ? "" : name);
      result.entries[static_cast<std::size_t>(known - names.begin())].push_back(
          take_entry<generation>(*entry));
    }
  }
  slicer.clean_up();
  result.goes_round = events == most_steps;
  return result;
}

/// What `verify` finds, a line each.
std::vector<std::string> verify_lines(const std::string& path);

/// What `info` says of a file on standard output; or why it refuses it.
struct info_answer {
  bool is_refused = false;
  std::string why;
};
info_answer info_about(const std::string& path);

}  // namespace ravo::test

#endif
