// Each channel of a simulated file through a channel reader of its own, with 1 and with 10 workers,
// against the answer key.
#include <gtest/gtest.h>

#include "expectation.h"

namespace {

using namespace ravo::test;

template <class generation>
class EndToEndWorkers : public testing::Test {};
TYPED_TEST_SUITE(EndToEndWorkers, generations, generation_name);

// Starts the reader and waits until its channel is decoded.
template <class Reader>
void decode(Reader& reader) {
  pthread_mutex_t* mutex = nullptr;
  pthread_cond_t* condition = nullptr;
  int* flag = nullptr;
  ASSERT_EQ(reader.start(&mutex, &condition, &flag), RAVO_DAQ_READ_CHAN_OK);
  pthread_mutex_lock(mutex);
  while (*flag == 0) pthread_cond_wait(condition, mutex);
  pthread_mutex_unlock(mutex);
}

template <class generation>
void expect_channel(typename generation::loader& tables, const std::string& channel, int workers,
                    const std::vector<known_block>& all) {
  std::vector<const known_block*> expected;
  for (const known_block& block : all)
    if (block.file == tables.get_file_name()) expected.push_back(&block);
  std::string name = channel;
  typename generation::read_chan reader(&tables, name.data(), -1, nullptr);
  ASSERT_EQ(reader.set_number_of_threads(workers), 0);
  ASSERT_NO_FATAL_FAILURE(decode(reader));
  EXPECT_TRUE(reader.is_done());
  ASSERT_EQ(reader.out_total, static_cast<int>(expected.size()));
  for (const known_block* block : expected) {
    ravo_channel_entry_long* entry = nullptr;
    ASSERT_EQ(reader.get_chan_data(&block->id, &entry, RAVO_DAQ_READ_CHAN_EVENT_CUR),
              RAVO_DAQ_READ_CHAN_OK);
    expect_block<generation>(*block, channel, *entry);
    if (testing::Test::HasFailure()) return;
  }
  reader.clean();
}

TYPED_TEST(EndToEndWorkers, DecodeEveryChannelOfEveryFileAsItWasPutIn) {
  const simulated_files& files = two_runs<TypeParam>();
  for (const int workers : {1, 10})
    for (const std::string& file : files.files()) {
      SCOPED_TRACE(file);
      typename TypeParam::loader tables;
      ASSERT_EQ(tables.get_all_tables(file.c_str(), 0, nullptr), 0);
      for (const std::string& channel : files.channels()) {
        SCOPED_TRACE(channel);
        expect_channel<TypeParam>(tables, channel, workers, files.blocks(channel));
        if (this->HasFailure()) return;
      }
      tables.clean_up();
    }
}

}  // namespace
