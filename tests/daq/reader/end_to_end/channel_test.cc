// Each channel of a simulated file through a channel reader of its own, with 1 and with 10 workers,
// against the answer key.
#include <gtest/gtest.h>

#include <algorithm>

#include "expectation.h"
#include "ravo_daq_read_chan_2010.h"

namespace {

using namespace ravo::test;

class EndToEndWorkers : public testing::TestWithParam<int> {};

// Starts the reader and waits until its channel is decoded.
void decode(ravo_daq_read_chan_2010& reader) {
  pthread_mutex_t* mutex = nullptr;
  pthread_cond_t* condition = nullptr;
  int* flag = nullptr;
  ASSERT_EQ(reader.start(&mutex, &condition, &flag), RAVO_DAQ_READ_CHAN_OK);
  pthread_mutex_lock(mutex);
  while (*flag == 0) pthread_cond_wait(condition, mutex);
  pthread_mutex_unlock(mutex);
}

void expect_channel(ravo_file_get_tables_2010& tables, const std::string& channel, int workers,
                    const std::vector<known_block>& all) {
  std::vector<const known_block*> expected;
  for (const known_block& block : all)
    if (block.file == tables.get_file_name()) expected.push_back(&block);
  std::string name = channel;
  ravo_daq_read_chan_2010 reader(&tables, name.data(), -1, nullptr);
  ASSERT_EQ(reader.set_number_of_threads(workers), 0);
  ASSERT_NO_FATAL_FAILURE(decode(reader));
  EXPECT_TRUE(reader.is_done());
  ASSERT_EQ(reader.out_total, static_cast<int>(expected.size()));
  for (const known_block* block : expected) {
    ravo_channel_entry_long* entry = nullptr;
    ASSERT_EQ(reader.get_chan_data(&block->id, &entry, RAVO_DAQ_READ_CHAN_EVENT_CUR),
              RAVO_DAQ_READ_CHAN_OK);
    expect_block(*block, channel, *entry);
    if (testing::Test::HasFailure()) return;
  }
  reader.clean();
}

TEST_P(EndToEndWorkers, EveryChannelOfEveryFileIsDecodedAsItWasPutIn) {
  const simulated_files& files = two_runs();
  for (const std::string& file : files.files()) {
    SCOPED_TRACE(file);
    ravo_file_get_tables_2010 tables;
    ASSERT_EQ(tables.get_all_tables(file.c_str(), 0, nullptr), 0);
    for (const std::string& channel : files.channels()) {
      SCOPED_TRACE(channel);
      expect_channel(tables, channel, GetParam(), files.blocks(channel));
      if (HasFailure()) return;
    }
    tables.clean_up();
  }
}

INSTANTIATE_TEST_SUITE_P(Workers, EndToEndWorkers, testing::Values(1, 10),
                         testing::PrintToStringParamName());

}  // namespace
