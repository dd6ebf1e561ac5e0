// The table operations on a file whose bytes are written by hand: what they yield from a good file,
// and by which status they refuse each kind of damage.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

#include "open_file.h"
#include "small_file.h"

namespace {

using namespace ravo::test;

TEST(PageOffset, IsThePageAtOrBelowTheOffset) {
  const long page = sysconf(_SC_PAGESIZE);
  long rem = -1;
  EXPECT_EQ(ravo_get_page_offset(10 * page, 3 * page + 17, &rem), 3 * page);
  EXPECT_EQ(rem, 17);
  EXPECT_EQ(ravo_get_page_offset(10 * page, 3 * page, &rem), 3 * page);
  EXPECT_EQ(rem, 0);
  EXPECT_EQ(ravo_get_page_offset(10 * page, page - 1, &rem), 0);
  EXPECT_EQ(rem, page - 1);
}

TEST(ReferenceTable, IsFoundFromTheLastFourBytes) {
  const small_file small = build_small_file();
  const open_file file(small.content);
  const auto reference = file.reference();
  ASSERT_EQ(reference.status, 0);
  EXPECT_EQ(reference.content->pattern, 0xfefafaf3u);
  EXPECT_EQ(reference.content->length, 168);
  EXPECT_EQ(reference.content->eit_pos_ref, small.event_index);
  EXPECT_EQ(reference.content->eite_pos_ref[0], 0u);
  EXPECT_EQ(reference.content->eite_pos_ref[1], small.normal_entry);
  EXPECT_EQ(reference.content->cdt_ref, small.dictionary);
  EXPECT_EQ(reference.content->ecp_ref, small.pointers);
  EXPECT_EQ(reference.content->eidt_ref, small.environment);
  EXPECT_EQ(reference.content->xcd_ref, small.descriptions);
  EXPECT_EQ(reference.content->evhdb_ref, small.event_headers);
  EXPECT_EQ(reference.content->srvbb_ref, small.server_blocks);
  EXPECT_EQ(reference.content->chanb_ref, small.bpm_basket);
}

// Behind the reference table come several pages of other bytes, then the tail.
TEST(ReferenceTable, MayLieOutsideTheTailsPage) {
  small_file small = build_small_file();
  small.content.resize(small.tail()).fill(20000, 0xee).u32(small.reference);
  const open_file file(small.content);
  const auto reference = file.reference();
  ASSERT_EQ(reference.status, 0);
  EXPECT_EQ(reference.content->cdt_ref, small.dictionary);
}

TEST(ReferenceTable, MayCrossIntoTheTailsPage) {
  small_file small = build_small_file();
  bytes moved;
  const std::uint32_t where = 4096 - 84;
  moved.append(small.content).fill(where - small.content.size());
  for (std::size_t i = 0; i < 168; i += 4) moved.u32(small.content.word(small.reference + i));
  moved.u32(where);
  const open_file file(moved);
  const auto reference = file.reference();
  ASSERT_EQ(reference.status, 0);
  EXPECT_EQ(reference.content->chanb_ref, small.bpm_basket);
}

struct reference_damage {
  const char* what;
  std::function<void(small_file&)> apply;
  int status;
};

TEST(ReferenceTable, IsRefusedWhenTheTailOrTheTableIsWrong) {
  const reference_damage cases[] = {
      {"tail 0", [](small_file& f) { f.content.set_u32(f.tail(), 0); }, RAVO_TABLE_ABSENT},
      {"tail behind the file", [](small_file& f) { f.content.set_u32(f.tail(), f.tail() + 4); },
       RAVO_TABLE_OUT_OF_FILE},
      {"tail at itself", [](small_file& f) { f.content.set_u32(f.tail(), f.tail()); },
       RAVO_TABLE_OUT_OF_FILE},
      {"table into the tail", [](small_file& f) { f.content.set_u32(f.tail(), f.tail() - 167); },
       RAVO_TABLE_OUT_OF_FILE},
      {"tail all ones", [](small_file& f) { f.content.set_u32(f.tail(), 0xffffffff); },
       RAVO_TABLE_OUT_OF_FILE},
      {"tail at another table", [](small_file& f) { f.content.set_u32(f.tail(), f.dictionary); },
       RAVO_TABLE_WRONG_PATTERN},
      {"pattern", [](small_file& f) { f.content.set_u32(f.reference, 0xfefafaf2); },
       RAVO_TABLE_WRONG_PATTERN},
      {"length 164", [](small_file& f) { f.content.set_u32(f.reference + 4, 164); },
       RAVO_TABLE_WRONG_LENGTH},
      {"length -1", [](small_file& f) { f.content.set_i32(f.reference + 4, -1); }, RAVO_TABLE_WRONG_LENGTH},
      {"reference to itself", [](small_file& f) { f.content.set_u32(f.reference + 140, f.reference); },
       RAVO_TABLE_OVERLAP},
      {"reference into itself",
       [](small_file& f) { f.content.set_u32(f.reference + 156, f.reference + 167); }, RAVO_TABLE_OVERLAP},
  };
  for (const reference_damage& damage : cases) {
    small_file small = build_small_file();
    damage.apply(small);
    const open_file file(small.content);
    const auto reference = file.reference();
    EXPECT_EQ(reference.status, damage.status) << damage.what;
    EXPECT_EQ(reference.content, nullptr) << damage.what;
  }
}

TEST(ReferenceTable, IsRefusedInAFileOfLessThanFourBytes) {
  bytes content;
  for (int length = 0; length < 4; ++length) {
    const open_file file(content);
    EXPECT_EQ(file.reference().status, RAVO_TABLE_TOO_SHORT) << length;
    content.fill(1);
  }
}

TEST(ReferenceTable, IsRefusedWithoutArguments) {
  ravo_file_reference_table_2010* table = nullptr;
  const unsigned char tail[4] = {};
  EXPECT_EQ(get_ravo_file_reference_table_m_2010(nullptr, 4, 4, -1, &table), RAVO_TABLE_INVALID_ARGUMENT);
  EXPECT_EQ(get_ravo_file_reference_table_m_2010(tail, 4, 4, -1, nullptr), RAVO_TABLE_INVALID_ARGUMENT);
  EXPECT_EQ(get_ravo_file_reference_table_m_2010(tail, 4, 3, -1, &table), RAVO_TABLE_INVALID_ARGUMENT);
}

// Loads the reference table of a file that is known to have a good one.
class Tables : public testing::Test {
 protected:
  void open() {
    file_ = std::make_unique<open_file>(small.content);
    auto loaded = file_->reference();
    ASSERT_EQ(loaded.status, 0);
    reference_ = std::move(loaded.content);
  }
  const open_file& file() { return *file_; }
  const ravo_file_reference_table_2010& reference() { return *reference_; }

  small_file small = build_small_file();

 private:
  std::unique_ptr<open_file> file_;
  table<ravo_file_reference_table_2010> reference_;
};

TEST_F(Tables, EventIndexHoldsEveryEvent) {
  open();
  const auto index = file().event_index(reference());
  ASSERT_EQ(index.status, 0);
  EXPECT_EQ(index.content->nevent_types, 1);
  const auto* entry = index.content->event_index_entry();
  EXPECT_EQ(entry->event_type, RAVO_EV_NORMAL);
  EXPECT_EQ(entry->event_time_last.timelow, 100000u);
  EXPECT_EQ(entry->event_number_first, 1000u);
  EXPECT_EQ(entry->event_number_last, 1001u);
  ASSERT_EQ(entry->length, 2);
  EXPECT_EQ(entry->event_info()[0].time.timeup, 1767225600u);
  EXPECT_EQ(entry->event_info()[1].event_number, 1001u);
  EXPECT_EQ(entry->event_info()[1].offset, small.event_headers + 44);
}

TEST_F(Tables, ChannelDictionaryKeepsNamesAsText) {
  open();
  const auto dictionary = file().dictionary(reference());
  ASSERT_EQ(dictionary.status, 0);
  EXPECT_EQ(dictionary.content->length, 8 + 2 * 272);
  const auto* entries = dictionary.content->channel_entry();
  EXPECT_EQ(entries[0].key, 11u);
  EXPECT_STREQ(entries[0].chan_name, "LINAC/BPM1");
  EXPECT_EQ(entries[0].ev_mask, 2u);
  EXPECT_EQ(entries[0].count, 2);
  EXPECT_STREQ(entries[1].chan_name, "LINAC/NOTE");
  EXPECT_EQ(entries[1].dtype_mask, 1u << 23);
}

TEST_F(Tables, PointersHaveARowForEveryChannelOfTheDictionary) {
  open();
  const auto pointers = file().pointers(reference());
  ASSERT_EQ(pointers.status, 0);
  EXPECT_EQ(pointers.content->maxev, 2);
  EXPECT_EQ(pointers.content->length, 12 + 4 * 16);
  const auto* entries = pointers.content->chptr();
  EXPECT_EQ(entries[0].evhd, small.event_headers + 8);
  EXPECT_EQ(entries[1].sbhd, small.server_blocks + 8 + 284);
  EXPECT_EQ(entries[1].chhd, small.bpm_block[1]);
  EXPECT_EQ(entries[2].chhd, small.note_block);
  EXPECT_EQ(entries[2].data, small.note_block + 268);
  EXPECT_EQ(entries[3].evhd, 0u);
}

TEST_F(Tables, PointersByListFollowTheListAndLeaveAbsentNamesEmpty) {
  open();
  const auto dictionary = file().dictionary(reference());
  const auto pointers = file().pointers_by_list(reference(), *dictionary.content,
                                                {"LINAC/NOTE", "NOWHERE", "LINAC/BPM1", "LINAC/NOTE"});
  ASSERT_EQ(pointers.status, 0);
  EXPECT_EQ(pointers.content->pattern, RAVO_EVENT_CHAN_POINTERS_PATTERN);
  EXPECT_EQ(pointers.content->maxev, 2);
  EXPECT_EQ(pointers.content->length, 12 + 4 * 2 * 16);
  const auto* entries = pointers.content->chptr();
  EXPECT_EQ(entries[0].chhd, small.note_block);
  for (int i = 2; i < 4; ++i)
    EXPECT_EQ(entries[i].evhd | entries[i].sbhd | entries[i].chhd | entries[i].data, 0u);
  EXPECT_EQ(entries[4].chhd, small.bpm_block[0]);
  EXPECT_EQ(entries[5].chhd, small.bpm_block[1]);
  EXPECT_EQ(entries[6].chhd, small.note_block);
}

TEST_F(Tables, PointersByListAreNotFoundWhenNoNameIsInTheDictionary) {
  open();
  const auto dictionary = file().dictionary(reference());
  EXPECT_EQ(file().pointers_by_list(reference(), *dictionary.content, {"NOWHERE", ""}).status, -5);
  EXPECT_EQ(file().pointers_by_list(reference(), *dictionary.content, {}).status, -5);
}

TEST_F(Tables, PointersByListTakeANullNameAsAbsent) {
  open();
  const auto dictionary = file().dictionary(reference());
  std::string name = "LINAC/BPM1";
  const std::vector<char*> names = {nullptr, name.data()};
  ravo_event_chan_pointers_table* result = nullptr;
  ASSERT_EQ(ravo_get_event_chan_pointers_table_by_list_m_2010(file().length(), &reference(), file().fd(),
                                                              &names, dictionary.content.get(), &result),
            0);
  const table<ravo_event_chan_pointers_table> owner(result);
  EXPECT_EQ(result->chptr()[0].chhd, 0u);
  EXPECT_EQ(result->chptr()[2].chhd, small.bpm_block[0]);
}

// The row that is not asked for may even be missing from what can be read.
TEST_F(Tables, PointersByListReadOnlyTheListedRows) {
  small.content.resize(small.tail());
  const std::uint32_t rows = static_cast<std::uint32_t>(small.content.size());
  const std::uint32_t maxev = 1000;
  small.content.u32(0xecbecbf3).u32(12 + 2 * maxev * 16).u32(maxev).fill(2 * maxev * 16, 0x11);
  small.content.set_u32(small.reference + 144, rows).u32(small.reference);
  open();
  const auto dictionary = file().dictionary(reference());
  // The file shrinks behind the reader's back: row 0 is still there, row 1 is not.
  ASSERT_EQ(ftruncate(file().fd(), rows + 12 + maxev * 16), 0);
  bytes tail;
  tail.u32(small.reference);
  ASSERT_EQ(pwrite(file().fd(), tail.data(), 4, file().length() - 4), 4);
  ASSERT_EQ(file().pointers_by_list(reference(), *dictionary.content, {"LINAC/BPM1"}).status, 0);
}

TEST_F(Tables, EnvironmentDictionaryHoldsKeyAndIndex) {
  open();
  const auto environment = file().environment(reference());
  ASSERT_EQ(environment.status, 0);
  EXPECT_EQ(environment.content->length, 16);
  EXPECT_EQ(environment.content->dictionary_entry()[0].key, 13u);
  EXPECT_EQ(environment.content->dictionary_entry()[0].index, 4);
}

TEST_F(Tables, DescriptionsAreTheTextWithAZeroBehindIt) {
  open();
  const auto descriptions = file().descriptions(reference());
  ASSERT_EQ(descriptions.status, 0);
  EXPECT_EQ(descriptions.content->length, static_cast<int>(8 + small_file_descriptions.size()));
  EXPECT_STREQ(descriptions.content->xml(), std::string(small_file_descriptions).c_str());
}

TEST_F(Tables, ChannelIsFoundByItsWholeName) {
  open();
  const auto dictionary = file().dictionary(reference());
  ravo_chan_dictionary_entry_2010* entry = nullptr;
  EXPECT_EQ(ravo_find_channel_by_name_2010(dictionary.content.get(), "LINAC/NOTE", &entry), 1);
  ASSERT_NE(entry, nullptr);
  EXPECT_EQ(entry, dictionary.content->channel_entry() + 1);
  EXPECT_LT(ravo_find_channel_by_name_2010(dictionary.content.get(), "LINAC", &entry), 0);
  EXPECT_EQ(entry, nullptr);
  EXPECT_LT(ravo_find_channel_by_name_2010(dictionary.content.get(), nullptr, &entry), 0);
  EXPECT_LT(ravo_find_channel_by_name_2010(nullptr, "LINAC/NOTE", &entry), 0);
  EXPECT_EQ(ravo_find_channel_by_name_2010(dictionary.content.get(), "LINAC/BPM1", nullptr), 0);
}

enum class which { index, dictionary, pointers, environment, descriptions };

struct table_damage {
  const char* what;
  which table;
  std::function<void(small_file&)> apply;
  int status;
};

// Damage that the reference table cannot know of: each operation has to find it in its own table.
TEST_F(Tables, AreRefusedWhenDamaged) {
  using f = small_file&;
  const table_damage cases[] = {
      {"no index", which::index, [](f s) { s.content.set_u32(s.reference + 8, 0); }, RAVO_TABLE_ABSENT},
      {"index behind the file", which::index, [](f s) { s.content.set_u32(s.reference + 8, 0x7ffffff0); },
       RAVO_TABLE_OUT_OF_FILE},
      {"index pattern", which::index, [](f s) { s.content.set_u32(s.event_index, 1); },
       RAVO_TABLE_WRONG_PATTERN},
      {"negative number of types", which::index, [](f s) { s.content.set_i32(s.event_index + 4, -1); },
       RAVO_TABLE_WRONG_LENGTH},
      {"33 types", which::index, [](f s) { s.content.set_i32(s.event_index + 4, 33); },
       RAVO_TABLE_WRONG_LENGTH},
      {"a type too many", which::index, [](f s) { s.content.set_i32(s.event_index + 4, 2); },
       RAVO_TABLE_WRONG_ENTRY},
      {"a type too few", which::index, [](f s) { s.content.set_i32(s.event_index + 4, 0); },
       RAVO_TABLE_WRONG_ENTRY},
      {"event type 32", which::index, [](f s) { s.content.set_i32(s.normal_entry, 32); },
       RAVO_TABLE_WRONG_ENTRY},
      {"event type -1", which::index, [](f s) { s.content.set_i32(s.normal_entry, -1); },
       RAVO_TABLE_WRONG_ENTRY},
      {"negative number of events", which::index, [](f s) { s.content.set_i32(s.normal_entry + 28, -2); },
       RAVO_TABLE_WRONG_LENGTH},
      {"more events than file", which::index,
       [](f s) { s.content.set_i32(s.normal_entry + 28, 0x7fffffff); }, RAVO_TABLE_OUT_OF_FILE},
      {"more events than room", which::index, [](f s) { s.content.set_i32(s.normal_entry + 28, 3); },
       RAVO_TABLE_OVERLAP},
      {"entry elsewhere", which::index,
       [](f s) { s.content.set_u32(s.reference + 16, s.normal_entry + 4); }, RAVO_TABLE_WRONG_ENTRY},
      {"entry of a type that is not there", which::index,
       [](f s) { s.content.set_u32(s.reference + 12 + 4 * 5, s.normal_entry); }, RAVO_TABLE_WRONG_ENTRY},

      {"no dictionary", which::dictionary, [](f s) { s.content.set_u32(s.reference + 140, 0); },
       RAVO_TABLE_ABSENT},
      {"dictionary in the tail", which::dictionary,
       [](f s) { s.content.set_u32(s.reference + 140, s.tail()); }, RAVO_TABLE_OUT_OF_FILE},
      {"dictionary at the pointers", which::dictionary,
       [](f s) { s.content.set_u32(s.reference + 140, s.pointers); }, RAVO_TABLE_WRONG_PATTERN},
      {"dictionary length -1", which::dictionary, [](f s) { s.content.set_i32(s.dictionary + 4, -1); },
       RAVO_TABLE_WRONG_LENGTH},
      {"dictionary length 7", which::dictionary, [](f s) { s.content.set_i32(s.dictionary + 4, 7); },
       RAVO_TABLE_WRONG_LENGTH},
      {"dictionary with half an entry", which::dictionary,
       [](f s) { s.content.set_i32(s.dictionary + 4, 8 + 136); }, RAVO_TABLE_WRONG_LENGTH},
      {"dictionary over the pointers", which::dictionary,
       [](f s) { s.content.set_i32(s.dictionary + 4, 8 + 3 * 272); }, RAVO_TABLE_OVERLAP},
      {"dictionary longer than the file", which::dictionary,
       [](f s) { s.content.set_i32(s.dictionary + 4, 8 + 272 * 100000); }, RAVO_TABLE_OUT_OF_FILE},
      {"channel name without an end", which::dictionary,
       [](f s) {
         for (std::size_t i = 0; i < 64; ++i) s.content.set_u32(s.dictionary + 12 + 4 * i, 0x41414141);
       },
       RAVO_TABLE_WRONG_ENTRY},
      {"negative count", which::dictionary, [](f s) { s.content.set_i32(s.dictionary + 8 + 268, -1); },
       RAVO_TABLE_WRONG_ENTRY},
      {"two tables at one place", which::dictionary,
       [](f s) { s.content.set_u32(s.reference + 152, s.dictionary); }, RAVO_TABLE_OVERLAP},
      {"a basket inside the dictionary", which::dictionary,
       [](f s) { s.content.set_u32(s.reference + 164, s.dictionary + 100); }, RAVO_TABLE_OVERLAP},

      {"no pointers", which::pointers, [](f s) { s.content.set_u32(s.reference + 144, 0); },
       RAVO_TABLE_ABSENT},
      {"pointer pattern", which::pointers, [](f s) { s.content.set_u32(s.pointers, 0); },
       RAVO_TABLE_WRONG_PATTERN},
      {"pointer length 8", which::pointers, [](f s) { s.content.set_i32(s.pointers + 4, 8); },
       RAVO_TABLE_WRONG_LENGTH},
      {"pointers for one channel", which::pointers,
       [](f s) { s.content.set_i32(s.pointers + 4, 12 + 2 * 16); }, RAVO_TABLE_WRONG_LENGTH},
      {"maxev -1", which::pointers, [](f s) { s.content.set_i32(s.pointers + 8, -1); },
       RAVO_TABLE_WRONG_LENGTH},
      {"maxev 1", which::pointers, [](f s) { s.content.set_i32(s.pointers + 8, 1); },
       RAVO_TABLE_WRONG_LENGTH},
      {"maxev too large", which::pointers, [](f s) { s.content.set_i32(s.pointers + 8, 0x7fffffff); },
       RAVO_TABLE_WRONG_LENGTH},
      {"count beyond the row", which::pointers, [](f s) { s.content.set_i32(s.dictionary + 8 + 268, 3); },
       RAVO_TABLE_WRONG_ENTRY},
      {"no dictionary for the pointers", which::pointers, [](f s) { s.content.set_u32(s.dictionary, 0); },
       RAVO_TABLE_WRONG_PATTERN},

      {"no environment", which::environment, [](f s) { s.content.set_u32(s.reference + 148, 0); },
       RAVO_TABLE_ABSENT},
      {"environment length 12", which::environment, [](f s) { s.content.set_i32(s.environment + 4, 12); },
       RAVO_TABLE_WRONG_LENGTH},
      {"environment over the descriptions", which::environment,
       [](f s) { s.content.set_i32(s.environment + 4, 24); }, RAVO_TABLE_OVERLAP},
      {"environment pattern", which::environment, [](f s) { s.content.set_u32(s.environment, 9); },
       RAVO_TABLE_WRONG_PATTERN},

      {"no descriptions", which::descriptions, [](f s) { s.content.set_u32(s.reference + 152, 0); },
       RAVO_TABLE_ABSENT},
      {"descriptions over the reference table", which::descriptions,
       [](f s) { s.content.set_u32(s.descriptions + 4, s.reference - s.descriptions + 1); },
       RAVO_TABLE_OVERLAP},
      {"descriptions into the tail", which::descriptions,
       [](f s) { s.content.set_u32(s.descriptions + 4, s.tail() - s.descriptions + 1); },
       RAVO_TABLE_OUT_OF_FILE},
  };
  for (const table_damage& damage : cases) {
    small = build_small_file();
    damage.apply(small);
    open();
    int status = 0;
    const void* content = nullptr;
    const auto keep = [&](const auto& loaded) {
      status = loaded.status;
      content = loaded.content.get();
    };
    switch (damage.table) {
      case which::index:
        keep(file().event_index(reference()));
        break;
      case which::dictionary:
        keep(file().dictionary(reference()));
        break;
      case which::pointers:
        keep(file().pointers(reference()));
        break;
      case which::environment:
        keep(file().environment(reference()));
        break;
      case which::descriptions:
        keep(file().descriptions(reference()));
        break;
    }
    EXPECT_EQ(status, damage.status) << damage.what;
    EXPECT_EQ(content, nullptr) << damage.what;
  }
}

TEST_F(Tables, PointersByListAreRefusedOnlyForTheListedChannelsCount) {
  small.content.set_i32(small.dictionary + 8 + 272 + 268, 3);
  open();
  const auto dictionary = file().dictionary(reference());
  ASSERT_EQ(dictionary.status, 0);
  EXPECT_EQ(file().pointers_by_list(reference(), *dictionary.content, {"LINAC/BPM1"}).status, 0);
  EXPECT_EQ(file().pointers_by_list(reference(), *dictionary.content, {"LINAC/NOTE"}).status,
            RAVO_TABLE_WRONG_ENTRY);
}

// A channel may be configured and never have had data; its row is empty.
TEST_F(Tables, AcceptAChannelWithoutEvents) {
  small.content.set_i32(small.dictionary + 8 + 272 + 268, 0);
  open();
  EXPECT_EQ(file().dictionary(reference()).content->channel_entry()[1].count, 0);
  EXPECT_EQ(file().pointers(reference()).status, 0);
}

TEST_F(Tables, AreRefusedWhenTheDescriptorCannotBeRead) {
  open();
  ravo_chan_dictionary_table_2010* dictionary = nullptr;
  EXPECT_EQ(ravo_get_channel_dictionary_table_m_2010(file().length(), &reference(), -1, &dictionary),
            RAVO_TABLE_UNREADABLE);
  EXPECT_EQ(dictionary, nullptr);
}

TEST_F(Tables, AreRefusedWithoutArguments) {
  open();
  ravo_event_index_table_2010* index = nullptr;
  EXPECT_EQ(ravo_get_event_index_table_m_2010(file().length(), nullptr, file().fd(), &index),
            RAVO_TABLE_INVALID_ARGUMENT);
  EXPECT_EQ(ravo_get_event_index_table_m_2010(-1, &reference(), file().fd(), &index),
            RAVO_TABLE_INVALID_ARGUMENT);
  EXPECT_EQ(ravo_get_event_index_table_m_2010(file().length(), &reference(), file().fd(), nullptr),
            RAVO_TABLE_INVALID_ARGUMENT);
  ravo_event_chan_pointers_table* pointers = nullptr;
  EXPECT_EQ(ravo_get_event_chan_pointers_table_by_list_m_2010(file().length(), &reference(), file().fd(),
                                                              nullptr, nullptr, &pointers),
            RAVO_TABLE_INVALID_ARGUMENT);
}

TEST(StatusText, NamesEveryStatusDifferently) {
  EXPECT_STREQ(ravo_evutl_status_text(0), "success");
  EXPECT_STREQ(ravo_evutl_status_text(RAVO_TABLE_OVERLAP), "the table overlaps another part of the file");
  EXPECT_STREQ(ravo_evutl_status_text(12345), "unknown status");
}

}  // namespace
