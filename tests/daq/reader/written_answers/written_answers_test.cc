// What was written into several files of either generation against what the channel reader and the reader
// hand out: every event, every channel, every byte.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>

#include "answer_key.h"

namespace {

using namespace ravo::test;

template <class generation>
class WrittenAnswers : public testing::Test {
 protected:
  using key_type = answer_key<generation>;
  using block = typename key_type::block;
  using channel = typename key_type::channel;

  static void SetUpTestSuite() {
    // The files were written a moment ago; the current reader would take them for unfinished.
    setenv("RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME", "1", 1);
  }

  // Each block of a channel of a file, through a channel reader of its own.
  void expect_channel(typename generation::loader& tables, std::size_t file, const channel& wanted,
                      int workers) {
    std::vector<const block*> expected;
    for (const block& one : wanted.blocks)
      if (one.file == file) expected.push_back(&one);
    typename generation::read_chan reader(&tables, wanted.name.c_str(), -1, nullptr);
    ASSERT_EQ(reader.set_number_of_threads(workers), 0);
    pthread_mutex_t* mutex = nullptr;
    pthread_cond_t* condition = nullptr;
    int* flag = nullptr;
    ASSERT_EQ(reader.start(&mutex, &condition, &flag), RAVO_DAQ_READ_CHAN_OK);
    pthread_mutex_lock(mutex);
    while (*flag == 0) pthread_cond_wait(condition, mutex);
    pthread_mutex_unlock(mutex);
    EXPECT_TRUE(reader.is_done());
    ASSERT_EQ(reader.out_total, static_cast<int>(expected.size()));
    for (const block* one : expected) {
      ravo_channel_entry_long* entry = nullptr;
      ASSERT_EQ(reader.get_chan_data(&one->id, &entry, RAVO_DAQ_READ_CHAN_EVENT_CUR),
                RAVO_DAQ_READ_CHAN_OK);
      expect_block<generation>(*one, wanted.name, *entry);
      if (this->HasFailure()) return;
    }
  }

  void expect_channels(int workers) {
    for (std::size_t file = 0; file < key.files().size(); ++file) {
      typename generation::loader tables;
      ASSERT_EQ(tables.get_all_tables(key.files()[file].c_str(), 0, nullptr), 0);
      for (const channel& one : key.channels()) {
        SCOPED_TRACE(one.name);
        expect_channel(tables, file, one, workers);
        if (this->HasFailure()) return;
      }
    }
  }

  static void set_up(typename generation::reader& reader, std::vector<std::string> names, int mode) {
    std::vector<std::string> paths = key.files();
    std::vector<char*> texts;
    for (std::string& path : paths) texts.push_back(path.data());
    std::vector<daq_channel_entry> entries(names.size());
    std::vector<daq_channel_entry*> pointers;
    for (std::size_t i = 0; i < names.size(); ++i) {
      entries[i].name = names[i].data();
      pointers.push_back(&entries[i]);
    }
    ASSERT_EQ(reader.init(&texts, &pointers), RAVO_DAQ_READER_OK);
    ASSERT_EQ(reader.set_synch_mode(mode), RAVO_DAQ_READER_OK);
    ASSERT_EQ(reader.start(), RAVO_DAQ_READER_OK);
  }

  // Event after event, slow channels staying from where they were first seen.
  void expect_events(int mode) {
    std::vector<std::string> names;
    for (const channel& one : key.channels()) names.push_back(one.name);
    typename generation::reader reader;
    ASSERT_NO_FATAL_FAILURE(set_up(reader, names, mode));
    std::vector<std::size_t> next(names.size());
    std::vector<const block*> held(names.size());
    std::vector<ravo_channel_entry_long*> entries;
    for (std::uint32_t n = 0; n < key_type::events_in_file * key_type::count_of_files; ++n) {
      SCOPED_TRACE("event " + std::to_string(n));
      ASSERT_EQ(reader.get_data(nullptr, &entries, RAVO_DAQ_READ_CHAN_EVENT_NEXT), RAVO_DAQ_READER_OK);
      std::size_t at = 0;
      for (std::size_t i = 0; i < names.size(); ++i) {
        const channel& one = key.channels()[i];
        const bool is_there =
            next[i] < one.blocks.size() && one.blocks[next[i]].id.event_number == key_type::first_event + n;
        const block* expected = is_there ? &one.blocks[next[i]++] : held[i];
        if (one.is_slow()) held[i] = expected;
        if (!expected) continue;
        ASSERT_LT(at, entries.size());
        expect_block<generation>(*expected, one.name, *entries[at++]);
        if (this->HasFailure()) return;
      }
      ASSERT_EQ(at, entries.size());
    }
    EXPECT_EQ(reader.get_data(nullptr, &entries, RAVO_DAQ_READ_CHAN_EVENT_NEXT),
              RAVO_DAQ_READER_OUT_OF_WINDOW);
  }

  inline static const key_type& key = key_type::get();
};

TYPED_TEST_SUITE(WrittenAnswers, generations, generation_name);

TYPED_TEST(WrittenAnswers, LieInThreeFiles) {
  EXPECT_EQ(this->key.files().size(), 3u);
  for (const auto& one : this->key.channels()) EXPECT_FALSE(one.blocks.empty()) << one.name;
}

TYPED_TEST(WrittenAnswers, ComeOutOfOneWorker) { this->expect_channels(1); }
TYPED_TEST(WrittenAnswers, ComeOutOfTenWorkers) { this->expect_channels(10); }
TYPED_TEST(WrittenAnswers, ComeOutAlignedByEventNumber) {
  this->expect_events(RAVO_DAQ_SLICER_SYNCH_MODE_EVID);
}
TYPED_TEST(WrittenAnswers, ComeOutAlignedByTime) { this->expect_events(RAVO_DAQ_SLICER_SYNCH_MODE_TIME); }

TYPED_TEST(WrittenAnswers, AMemberIsCutOutOfEveryBlockWhateverItsCompression) {
  for (const char* name : {"BPM/PLAIN", "BPM/ZLIB", "BPM/LZO", "RF/ZLIB"}) {
    const auto& whole = this->key.of(name);
    for (int member = 0; member < whole.members; ++member) {
      const std::string text = std::string(name) + ":" + std::to_string(member);
      SCOPED_TRACE(text);
      typename TypeParam::reader reader;
      ASSERT_NO_FATAL_FAILURE(this->set_up(reader, {text}, RAVO_DAQ_SLICER_SYNCH_MODE_EVID));
      std::vector<ravo_channel_entry_long*> entries;
      for (const auto& from : whole.blocks) {
        ASSERT_EQ(reader.get_data(nullptr, &entries, RAVO_DAQ_READ_CHAN_EVENT_NEXT), RAVO_DAQ_READER_OK);
        ASSERT_EQ(entries.size(), 1u);
        expect_block<TypeParam>(this->key.cut(whole, from, member), text, *entries[0]);
        const auto* head =
            reinterpret_cast<const typename TypeParam::records::subhead*>(entries[0]->sbchdata[0].chhd);
        EXPECT_EQ(head->dtype >> 16, whole.dtype);
        if (this->HasFailure()) return;
      }
    }
  }
}

// A plain block of one member is not cut, so it keeps its name, and no request for NAME:0 matches it.
TYPED_TEST(WrittenAnswers, ThePlainBlockOfASingleMemberIsNotDeliveredAsASubchannel) {
  std::vector<ravo_channel_entry_long*> entries;
  for (const auto& [name, delivered] : {std::pair("SINGLE/PLAIN:0", 0u), std::pair("SINGLE/ZLIB:0", 1u)}) {
    typename TypeParam::reader reader;
    ASSERT_NO_FATAL_FAILURE(this->set_up(reader, {name}, RAVO_DAQ_SLICER_SYNCH_MODE_EVID));
    ASSERT_EQ(reader.get_data(nullptr, &entries, RAVO_DAQ_READ_CHAN_EVENT_NEXT), RAVO_DAQ_READER_OK);
    EXPECT_EQ(entries.size(), delivered) << name;
  }
}

// Begin- and end-of-run blocks and environment readings all go upward as updates.
TYPED_TEST(WrittenAnswers, SlowBlocksReachTheCallerAsUpdates) {
  const int size = static_cast<int>(TypeParam::subhead + TypeParam::update_name + 16);
  for (const char* name : {"UPDATE", "ENV", "BEGIN", "END"}) {
    typename TypeParam::reader reader;
    ASSERT_NO_FATAL_FAILURE(this->set_up(reader, {name}, RAVO_DAQ_SLICER_SYNCH_MODE_EVID));
    std::vector<ravo_channel_entry_long*> entries;
    ASSERT_EQ(reader.get_data(nullptr, &entries, RAVO_DAQ_READ_CHAN_EVENT_NEXT), RAVO_DAQ_READER_OK);
    ASSERT_EQ(entries.size(), 1u);
    const auto* head =
        reinterpret_cast<const typename TypeParam::records::subhead*>(entries[0]->sbchdata[0].chhd);
    EXPECT_EQ(head->dtype, TypeParam::update_type) << name;
    EXPECT_EQ(head->ldata, size) << name;
  }
  if (std::is_same_v<TypeParam, older_generation>) {
    EXPECT_EQ(size, 140);
  }
}

TYPED_TEST(WrittenAnswers, AFileOfTheOtherGenerationIsRefused) {
  using other =
      std::conditional_t<std::is_same_v<TypeParam, older_generation>, current_generation, older_generation>;
  typename other::loader loader;
  EXPECT_EQ(loader.get_all_tables(this->key.files()[0].c_str(), 0, nullptr), 2);
  typename other::reader reader;
  std::string path = this->key.files()[0];
  const std::vector<char*> files{path.data()};
  EXPECT_EQ(reader.init(&files, nullptr), RAVO_DAQ_READER_BAD_FILE_FORMAT);
}

}  // namespace
