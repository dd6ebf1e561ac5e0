#include "expectation.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <cstring>
#include <map>

namespace ravo::test {

std::vector<expected_event> expected_events(const simulated_files& files,
                                            const std::vector<std::string>& channels) {
  std::map<std::uint32_t, expected_event> events;
  for (std::size_t i = 0; i < channels.size(); ++i)
    for (const known_block& block : files.blocks(channels[i]))
      events.try_emplace(block.id.event_number, channels.size()).first->second[i] = &block;
  std::vector<expected_event> in_order;
  std::vector<const known_block*> held(channels.size());
  for (auto& [number, event] : events) {
    for (std::size_t i = 0; i < channels.size(); ++i) {
      if (event[i] && event[i]->dtype == RAVO_UPD_BLOCK_2010) held[i] = event[i];
      if (!event[i]) event[i] = held[i];
    }
    in_order.push_back(std::move(event));
  }
  return in_order;
}

void expect_block(const known_block& expected, const std::string& name,
                  const ravo_channel_entry_long& entry) {
  EXPECT_EQ(entry.event_id.event_number, expected.id.event_number);
  EXPECT_EQ(entry.event_id.time.timeup, expected.id.time.timeup);
  EXPECT_EQ(entry.event_id.time.timelow, expected.id.time.timelow);
  const auto* event = reinterpret_cast<const ravo_eventheader*>(entry.sbchdata[0].evhd);
  const auto* server = reinterpret_cast<const ravo_serv_block_head_2010*>(entry.sbchdata[0].sbhd);
  const auto* head = reinterpret_cast<const ravo_serv_block_subhead_2010*>(entry.sbchdata[0].chhd);
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

void set_up(ravo_daq_reader_2010& reader, const std::vector<std::string>& files,
            const std::vector<std::string>& channels, int mode) {
  // The files were written a moment ago; a reader would take them for unfinished.
  setenv("RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME", "1", 1);
  std::vector<std::string> paths = files, names = channels;
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
}

}  // namespace ravo::test
