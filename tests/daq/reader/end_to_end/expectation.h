// What a reading has to deliver, computed from the answer key in the simplest way: all blocks of the
// channels are laid out by event, and slow channels stay from where they were first seen.
#ifndef RAVO_TEST_EXPECTATION_H
#define RAVO_TEST_EXPECTATION_H

#include <gtest/gtest.h>
#include <stdlib.h>

#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "simulated_files.h"

namespace ravo::test {

/// One event: of each channel, in order, the block that is delivered, or null.
using expected_event = std::vector<const known_block*>;

template <class generation>
std::vector<expected_event> expected_events(const std::vector<std::string>& channels) {
  const simulated_files& files = two_runs<generation>();
  std::map<std::uint32_t, expected_event> events;
  for (std::size_t i = 0; i < channels.size(); ++i)
    for (const known_block& block : files.blocks(channels[i]))
      events.try_emplace(block.id.event_number, channels.size()).first->second[i] = &block;
  std::vector<expected_event> in_order;
  std::vector<const known_block*> held(channels.size());
  for (auto& [number, event] : events) {
    for (std::size_t i = 0; i < channels.size(); ++i) {
      if (event[i] && event[i]->dtype == generation::update) held[i] = event[i];
      if (!event[i]) event[i] = held[i];
    }
    in_order.push_back(std::move(event));
  }
  return in_order;
}

/// The subheader of an entry's block.
template <class generation>
const auto* head_of(const ravo_channel_entry_long& entry) {
  return reinterpret_cast<const typename generation::records::subhead*>(entry.sbchdata[0].chhd);
}

/// Fails the test unless the entry is the block: identifier, server, type, length and every byte.
template <class generation>
void expect_block(const known_block& expected, const std::string& name,
                  const ravo_channel_entry_long& entry) {
  EXPECT_EQ(entry.event_id.event_number, expected.id.event_number);
  EXPECT_EQ(entry.event_id.time.timeup, expected.id.time.timeup);
  EXPECT_EQ(entry.event_id.time.timelow, expected.id.time.timelow);
  const auto* event = reinterpret_cast<const ravo_eventheader*>(entry.sbchdata[0].evhd);
  const auto* server =
      reinterpret_cast<const typename generation::records::server_block_head*>(entry.sbchdata[0].sbhd);
  const auto* head = head_of<generation>(entry);
  ASSERT_NE(event, nullptr);
  ASSERT_NE(server, nullptr);
  ASSERT_NE(head, nullptr);
  EXPECT_EQ(event->event_number, expected.id.event_number);
  EXPECT_STREQ(server->server, expected.server.c_str());
  EXPECT_STREQ(head->chname, name.c_str());
  EXPECT_EQ(head->dtype & 0xffff, expected.dtype);
  EXPECT_EQ(head->error, 0);
  ASSERT_EQ(head->ldata, static_cast<int>(sizeof *head + expected.payload.size()));
  EXPECT_EQ(entry.sbchdata[0].data, entry.sbchdata[0].chhd + sizeof *head);
  EXPECT_EQ(std::memcmp(head + 1, expected.payload.data(), expected.payload.size()), 0)
      << name << ", event " << expected.id.event_number << ": the payload differs";
}

/// Starts a reader of the channels over all files.
template <class generation>
void start(typename generation::reader& reader, const std::vector<std::string>& channels, int mode) {
  // The files were written a moment ago; a reader of the current generation would take them for unfinished.
  setenv("RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME", "1", 1);
  std::vector<std::string> paths = two_runs<generation>().files(), names = channels;
  std::vector<char*> path_texts;
  for (std::string& path : paths) path_texts.push_back(path.data());
  std::vector<daq_channel_entry> entries(names.size());
  std::vector<daq_channel_entry*> entry_pointers;
  for (std::size_t i = 0; i < names.size(); ++i) {
    entries[i].name = names[i].data();
    entry_pointers.push_back(&entries[i]);
  }
  ASSERT_EQ(reader.init(&path_texts, &entry_pointers), RAVO_DAQ_READER_OK);
  ASSERT_EQ(reader.set_synch_mode(mode), RAVO_DAQ_READER_OK);
  // The machine's ten events in a second, whatever the generation's defaults are.
  const ravo_time_id step{1, {0, 100000}};
  const time_stamp tolerance{0, 50000};
  ASSERT_EQ(reader.set_period(&step), RAVO_DAQ_READER_OK);
  ASSERT_EQ(reader.set_time_diff(&tolerance), RAVO_DAQ_READER_OK);
  ASSERT_EQ(reader.start(), RAVO_DAQ_READER_OK);
}

}  // namespace ravo::test

#endif
