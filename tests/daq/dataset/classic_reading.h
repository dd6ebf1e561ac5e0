// What the classic reader delivers of the same files and channels, event by event: the oracle of the
// dataset layer. It reads through the public interface of the readers and keeps copies.
#ifndef RAVO_TEST_CLASSIC_READING_H
#define RAVO_TEST_CLASSIC_READING_H

#include <gtest/gtest.h>
#include <stdlib.h>

#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "captured_output.h"
#include "ravo_daq_slicer.h"
#include "ravo_daq_slicer_2010.h"
#include "ravo_dataset.h"

namespace ravo::test {

struct classic_value {
  ravo_time_id id;
  int type = 0;
  std::vector<std::byte> bytes;
};
/// One event: what each channel that has it delivers, by the position of the channel in the request.
using classic_event = std::map<std::size_t, classic_value>;

/// Reads through the slicer of a generation, so that slow channels have their own events only.
template <class Slicer, class Param>
std::vector<classic_event> read_classic(const std::vector<std::string>& files,
                                        const std::vector<std::string>& channels, int mode) {
  constexpr bool is_older = std::is_same_v<Slicer, ravo_daq_slicer>;
  using Subhead = std::conditional_t<is_older, ravo_serv_block_subhead, ravo_serv_block_subhead_2010>;
  captured_output silence;
  std::vector<std::string> paths = files;
  std::vector<char*> file_list;
  for (std::string& path : paths) file_list.push_back(path.data());
  std::vector<Param> params(channels.size());
  std::vector<Param*> list;
  for (std::size_t i = 0; i < channels.size(); ++i) {
    std::memset(&params[i], 0, sizeof params[i]);
    std::memcpy(params[i].name, channels[i].data(), channels[i].size());
    params[i].subchan = -1;
    list.push_back(&params[i]);
  }
  Slicer slicer;
  EXPECT_EQ(slicer.set_synch_mode(mode), RAVO_DAQ_SLICER_OK);
  // By time the slicers step by their period and skip what lies between; the older one's spans two
  // pulses.
  const ravo_time_id step{1, {0, 100000}};
  const time_stamp tolerance{0, 50000};
  EXPECT_EQ(slicer.set_event_step(&step), RAVO_DAQ_SLICER_OK);
  EXPECT_EQ(slicer.set_time_diff(&tolerance), RAVO_DAQ_SLICER_OK);
  EXPECT_EQ(slicer.init(&file_list, &list, 0), RAVO_DAQ_SLICER_OK);
  EXPECT_EQ(slicer.start(), RAVO_DAQ_SLICER_OK);
  std::vector<classic_event> events;
  std::vector<ravo_channel_entry_long*> entries;
  while (slicer.get_data(nullptr, &entries, RAVO_DAQ_READ_CHAN_EVENT_NEXT) == RAVO_DAQ_SLICER_OK) {
    classic_event event;
    for (const ravo_channel_entry_long* entry : entries) {
      // The marker of the event header gives the generation of an event, if it is one of ours.
      const auto* header = reinterpret_cast<const ravo_eventheader*>(entry->sbchdata[0].evhd);
      const bool is_known = (header->pattern == RAVO_EVENT_HEADER_PATTERN) == is_older;
      const auto* head = reinterpret_cast<const Subhead*>(entry->sbchdata[0].chhd);
      const std::string name = head->chname;
      const auto* data = reinterpret_cast<const std::byte*>(head + 1);
      const std::vector<std::byte> bytes(data, data + head->ldata - sizeof *head);
      if (is_known) {
        const value seen = view_of_block(*entry);
        EXPECT_TRUE(seen.type() == head->dtype && std::ranges::equal(seen.bytes(), bytes));
      }
      const auto channel =
          static_cast<std::size_t>(std::find(channels.begin(), channels.end(), name) - channels.begin());
      event[channel] = {entry->event_id, head->dtype, bytes};
    }
    if (event.empty()) break;  // an event without a channel: the slicer stands still
    events.push_back(std::move(event));
  }
  return events;
}

inline std::vector<classic_event> read_classic(ravo_file_generation generation,
                                               const std::vector<std::string>& files,
                                               const std::vector<std::string>& channels, int mode) {
  return generation == ravo_file_generation::current
             ? read_classic<ravo_daq_slicer_2010, ravo_daq_chan_param_2010>(files, channels, mode)
             : read_classic<ravo_daq_slicer, ravo_daq_chan_param>(files, channels, mode);
}

/// The numbers of one channel, or of one member of it, at the first event of a file, as a slicer delivers
/// them.
template <class Slicer, class Param>
std::vector<double> classic_numbers(std::string path, const std::string& channel, int member,
                                    std::vector<double> (*numbers_of)(const value&)) {
  captured_output silence;
  std::vector<char*> files{path.data()};
  Param param{};
  std::memcpy(param.name, channel.data(), channel.size());
  param.subchan = member;
  std::vector<Param*> channels{&param};
  Slicer slicer;
  EXPECT_EQ(slicer.init(&files, &channels, 0), RAVO_DAQ_SLICER_OK);
  EXPECT_EQ(slicer.start(), RAVO_DAQ_SLICER_OK);
  std::vector<ravo_channel_entry_long*> entries;
  if (slicer.get_data(nullptr, &entries, RAVO_DAQ_READ_CHAN_EVENT_FIRST) != RAVO_DAQ_SLICER_OK ||
      entries.empty())
    return {};
  return numbers_of(view_of_block(*entries[0]));
}

}  // namespace ravo::test

#endif
