// Files that the simulator wrote in the older generation, channel by channel through the older channel
// reader against the answer key.
#include <gtest/gtest.h>

#include <cstring>

#include "ravo_daq_read_chan.h"
#include "simulated_files.h"

namespace {

using namespace ravo::test;

const simulated_files& older_run() {
  static const simulated_files files([] {
    ravo::simulator::settings what;
    what.seed = 11;
    what.files = 2;
    what.events = 30;
    what.counts = {3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3};
    what.generation = ravo_file_generation::older;
    return what;
  }());
  return files;
}

void expect_entry(const known_block& expected, const ravo_channel_entry_long& entry) {
  const auto* server = reinterpret_cast<const ravo_serv_block_head*>(entry.sbchdata[0].sbhd);
  const auto* head = reinterpret_cast<const ravo_serv_block_subhead*>(entry.sbchdata[0].chhd);
  ASSERT_NE(head, nullptr);
  EXPECT_STREQ(server->server, expected.server.c_str());
  EXPECT_EQ(entry.event_id.time.timelow, expected.id.time.timelow);
  EXPECT_EQ(head->dtype, expected.dtype);
  ASSERT_EQ(head->ldata, static_cast<int>(sizeof *head + expected.payload.size()));
  EXPECT_EQ(std::memcmp(head + 1, expected.payload.data(), expected.payload.size()), 0);
}

TEST(OlderSimulation, EveryBlockComesOutAsItWasPutIn) {
  const simulated_files& files = older_run();
  std::size_t compared = 0;
  for (const std::string& file : files.files()) {
    ravo_file_get_tables tables;
    ASSERT_EQ(tables.get_all_tables(file.c_str(), 0, nullptr), 0);
    for (const std::string& channel : files.channels()) {
      SCOPED_TRACE(channel);
      ravo_daq_read_chan reader(&tables, channel.c_str(), -1, nullptr);
      pthread_mutex_t* mutex = nullptr;
      pthread_cond_t* condition = nullptr;
      int* flag = nullptr;
      ASSERT_EQ(reader.start(&mutex, &condition, &flag), 0);
      pthread_mutex_lock(mutex);
      while (*flag == 0) pthread_cond_wait(condition, mutex);
      pthread_mutex_unlock(mutex);
      for (const known_block& block : files.blocks(channel)) {
        if (block.file != file) continue;
        ravo_channel_entry_long* entry = nullptr;
        ASSERT_EQ(reader.get_chan_data(&block.id, &entry, RAVO_DAQ_READ_CHAN_EVENT_CUR), 0);
        expect_entry(block, *entry);
        if (HasFailure()) return;
        ++compared;
      }
    }
  }
  EXPECT_GT(compared, 1000u);
}

TEST(OlderSimulation, HoldsTypesOfTheOlderGeneration) {
  const simulated_files& files = older_run();
  EXPECT_EQ(files.blocks("LINAC/BPM/001").at(0).stored_dtype, RAVO_BLOCK_BPM);
  EXPECT_EQ(files.blocks("LINAC/TOROID/001").at(0).stored_dtype, RAVO_BLOCK_TOROID);
  EXPECT_EQ(files.blocks("LINAC/RF/001").at(0).stored_dtype, RAVO_BLOCK_RF_250K);
  EXPECT_EQ(files.blocks("LINAC/ENERGY/001").at(0).stored_dtype, RAVO_BLOCK_ENERGY);
  EXPECT_EQ(files.blocks("LINAC/RUN/BEGIN").at(0).stored_dtype, RAVO_BOR_BLOCK);
  EXPECT_EQ(files.blocks("LINAC/RUN/BEGIN").at(0).dtype, RAVO_UPD_BLOCK);
  EXPECT_EQ(files.blocks("LINAC/TEMPERATURE/001").at(0).dtype, RAVO_UPD_BLOCK);
}

}  // namespace
