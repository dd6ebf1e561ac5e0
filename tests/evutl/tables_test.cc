// What the table operations yield from a good file whose bytes are written by hand.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "loaded_tables.h"

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

TEST_F(Tables, EventIndexMayHaveSeveralTypesInAnyOrder) {
  replace_index({31, 0, 5});
  small.content.set_u32(small.reference + 12 + 4 * 5, small.content.word(small.reference + 8) + 8 + 64);
  open();
  const auto index = file().event_index(reference());
  ASSERT_EQ(index.status, 0);
  ASSERT_EQ(index.content->nevent_types, 3);
  const auto* entry = index.content->event_index_entry();
  EXPECT_EQ(entry->event_type, 31);
  EXPECT_EQ(entry->next()->event_type, 0);
  EXPECT_EQ(entry->next()->next()->event_type, 5);
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

// A channel may be configured and never have had data; its row is empty.
TEST_F(Tables, AcceptAChannelWithoutEvents) {
  small.content.set_i32(small.dictionary + 8 + 272 + 268, 0);
  open();
  EXPECT_EQ(file().dictionary(reference()).content->channel_entry()[1].count, 0);
  EXPECT_EQ(file().pointers(reference()).status, 0);
}

}  // namespace
