// What the table operations of both generations yield from a good file whose bytes are written by hand.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "loaded_tables.h"
#include "ravo_evutl_optional.h"

namespace {

using namespace ravo::test;

template <class generation>
class ReferenceTable : public testing::Test {};
TYPED_TEST_SUITE(ReferenceTable, generations, generation_name);

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

TYPED_TEST(ReferenceTable, IsFoundFromTheLastFourBytes) {
  const small_file small = build_small_file<TypeParam>();
  const open_file<TypeParam> file(small.content);
  const auto reference = file.reference();
  ASSERT_EQ(reference.status, 0);
  EXPECT_EQ(reference.content->pattern, TypeParam::reference_marker);
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

// The reference table is followed by several pages of other bytes, then the tail.
TYPED_TEST(ReferenceTable, MayLieOutsideTheTailsPage) {
  small_file small = build_small_file<TypeParam>();
  small.content.resize(small.tail()).fill(20000, 0xee).u32(small.reference);
  const open_file<TypeParam> file(small.content);
  const auto reference = file.reference();
  ASSERT_EQ(reference.status, 0);
  EXPECT_EQ(reference.content->cdt_ref, small.dictionary);
}

TYPED_TEST(ReferenceTable, MayCrossIntoTheTailsPage) {
  small_file small = build_small_file<TypeParam>();
  bytes moved;
  const std::uint32_t where = 4096 - 84;
  moved.append(small.content).fill(where - small.content.size());
  for (std::size_t i = 0; i < 168; i += 4) moved.u32(small.content.word(small.reference + i));
  moved.u32(where);
  const open_file<TypeParam> file(moved);
  const auto reference = file.reference();
  ASSERT_EQ(reference.status, 0);
  EXPECT_EQ(reference.content->chanb_ref, small.bpm_basket);
}

TYPED_TEST(Tables, EventIndexHoldsEveryEvent) {
  this->open();
  const auto index = this->file().event_index(this->reference());
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
  EXPECT_EQ(entry->event_info()[1].offset, this->small.event_headers + 44);
}

TYPED_TEST(Tables, EventIndexMayHaveSeveralTypesInAnyOrder) {
  this->replace_index({31, 0, 5});
  this->small.content.set_u32(this->small.reference + 12 + 4 * 5,
                              this->small.content.word(this->small.reference + 8) + 8 + 64);
  this->open();
  const auto index = this->file().event_index(this->reference());
  ASSERT_EQ(index.status, 0);
  ASSERT_EQ(index.content->nevent_types, 3);
  const auto* entry = index.content->event_index_entry();
  EXPECT_EQ(entry->event_type, 31);
  EXPECT_EQ(entry->next()->event_type, 0);
  EXPECT_EQ(entry->next()->next()->event_type, 5);
}

TYPED_TEST(Tables, ChannelDictionaryKeepsNamesAsText) {
  this->open();
  const auto dictionary = this->file().dictionary(this->reference());
  ASSERT_EQ(dictionary.status, 0);
  EXPECT_EQ(dictionary.content->length, static_cast<int>(8 + 2 * TypeParam::dictionary_entry));
  const auto* entries = dictionary.content->channel_entry();
  EXPECT_EQ(entries[0].key, 11u);
  EXPECT_STREQ(entries[0].chan_name, "LINAC/BPM1");
  EXPECT_EQ(entries[0].ev_mask, 2u);
  EXPECT_EQ(entries[0].count, 2);
  EXPECT_STREQ(entries[1].chan_name, "LINAC/NOTE");
  EXPECT_EQ(entries[1].dtype_mask, 1u << 23);
}

TYPED_TEST(Tables, PointersHaveARowForEveryChannelOfTheDictionary) {
  this->open();
  const auto pointers = this->file().pointers(this->reference());
  ASSERT_EQ(pointers.status, 0);
  EXPECT_EQ(pointers.content->maxev, 2);
  EXPECT_EQ(pointers.content->length, 12 + 4 * 16);
  const auto* entries = pointers.content->chptr();
  EXPECT_EQ(entries[0].evhd, this->small.event_headers + 8);
  EXPECT_EQ(entries[1].sbhd, this->small.server_blocks + 8 + TypeParam::server_block);
  EXPECT_EQ(entries[1].chhd, this->small.bpm_block[1]);
  EXPECT_EQ(entries[2].chhd, this->small.note_block);
  EXPECT_EQ(entries[2].data, this->small.note_block + TypeParam::subhead);
  EXPECT_EQ(entries[3].evhd, 0u);
}

TYPED_TEST(Tables, PointersByListFollowTheListAndLeaveAbsentNamesEmpty) {
  this->open();
  const auto dictionary = this->file().dictionary(this->reference());
  const auto pointers = this->file().pointers_by_list(
      this->reference(), *dictionary.content, {"LINAC/NOTE", "NOWHERE", "LINAC/BPM1", "LINAC/NOTE"});
  ASSERT_EQ(pointers.status, 0);
  EXPECT_EQ(pointers.content->pattern, RAVO_EVENT_CHAN_POINTERS_PATTERN);
  EXPECT_EQ(pointers.content->maxev, 2);
  EXPECT_EQ(pointers.content->length, 12 + 4 * 2 * 16);
  const auto* entries = pointers.content->chptr();
  EXPECT_EQ(entries[0].chhd, this->small.note_block);
  for (int i = 2; i < 4; ++i)
    EXPECT_EQ(entries[i].evhd | entries[i].sbhd | entries[i].chhd | entries[i].data, 0u);
  EXPECT_EQ(entries[4].chhd, this->small.bpm_block[0]);
  EXPECT_EQ(entries[5].chhd, this->small.bpm_block[1]);
  EXPECT_EQ(entries[6].chhd, this->small.note_block);
}

TYPED_TEST(Tables, PointersByListAreNotFoundWhenNoNameIsInTheDictionary) {
  this->open();
  const auto dictionary = this->file().dictionary(this->reference());
  EXPECT_EQ(this->file().pointers_by_list(this->reference(), *dictionary.content, {"NOWHERE", ""}).status,
            -5);
  EXPECT_EQ(this->file().pointers_by_list(this->reference(), *dictionary.content, {}).status, -5);
}

TYPED_TEST(Tables, PointersByListTakeANullNameAsAbsent) {
  this->open();
  const auto dictionary = this->file().dictionary(this->reference());
  std::string name = "LINAC/BPM1";
  const std::vector<char*> names = {nullptr, name.data()};
  ravo_event_chan_pointers_table* result = nullptr;
  ASSERT_EQ(TypeParam::get_pointers_by_list(this->file().length(), &this->reference(), this->file().fd(),
                                            &names, dictionary.content.get(), &result),
            0);
  const table<ravo_event_chan_pointers_table> owner(result);
  EXPECT_EQ(result->chptr()[0].chhd, 0u);
  EXPECT_EQ(result->chptr()[2].chhd, this->small.bpm_block[0]);
}

// The row that is not asked for may even be missing from what can be read.
TYPED_TEST(Tables, PointersByListReadOnlyTheListedRows) {
  this->small.content.resize(this->small.tail());
  const std::uint32_t rows = static_cast<std::uint32_t>(this->small.content.size());
  const std::uint32_t maxev = 1000;
  this->small.content.u32(0xecbecbf3).u32(12 + 2 * maxev * 16).u32(maxev).fill(2 * maxev * 16, 0x11);
  this->small.content.set_u32(this->small.reference + 144, rows).u32(this->small.reference);
  this->open();
  const auto dictionary = this->file().dictionary(this->reference());
  // The file shrinks behind the reader's back: row 0 is still there, row 1 is not.
  ASSERT_EQ(ftruncate(this->file().fd(), rows + 12 + maxev * 16), 0);
  bytes tail;
  tail.u32(this->small.reference);
  ASSERT_EQ(pwrite(this->file().fd(), tail.data(), 4, this->file().length() - 4), 4);
  ASSERT_EQ(this->file().pointers_by_list(this->reference(), *dictionary.content, {"LINAC/BPM1"}).status,
            0);
}

TYPED_TEST(Tables, EnvironmentDictionaryHoldsKeyAndIndex) {
  this->open();
  const auto environment = this->file().environment(this->reference());
  ASSERT_EQ(environment.status, 0);
  EXPECT_EQ(environment.content->length, 16);
  EXPECT_EQ(environment.content->dictionary_entry()[0].key, 13u);
  EXPECT_EQ(environment.content->dictionary_entry()[0].index, 4);
}

TYPED_TEST(Tables, DescriptionsAreTheTextFollowedByAZero) {
  this->open();
  const auto descriptions = this->file().descriptions(this->reference());
  ASSERT_EQ(descriptions.status, 0);
  EXPECT_EQ(descriptions.content->length, static_cast<int>(8 + descriptions_like(TypeParam{}).size()));
  EXPECT_STREQ(descriptions.content->xml(), std::string(descriptions_like(TypeParam{})).c_str());
}

TYPED_TEST(Tables, ChannelIsFoundByItsWholeName) {
  this->open();
  const auto dictionary = this->file().dictionary(this->reference());
  typename TypeParam::dictionary_entry_record* entry = nullptr;
  EXPECT_EQ(TypeParam::find_channel(dictionary.content.get(), "LINAC/NOTE", &entry), 1);
  ASSERT_NE(entry, nullptr);
  EXPECT_EQ(entry, dictionary.content->channel_entry() + 1);
  EXPECT_LT(TypeParam::find_channel(dictionary.content.get(), "LINAC", &entry), 0);
  EXPECT_EQ(entry, nullptr);
  EXPECT_LT(TypeParam::find_channel(dictionary.content.get(), nullptr, &entry), 0);
  EXPECT_LT(TypeParam::find_channel(nullptr, "LINAC/NOTE", &entry), 0);
  EXPECT_EQ(TypeParam::find_channel(dictionary.content.get(), "LINAC/BPM1", nullptr), 0);
}

// A channel may be configured and never have had data; its row is empty.
TYPED_TEST(Tables, AcceptAChannelWithoutEvents) {
  this->small.content.set_i32(this->small.dictionary + 8 + 2 * TypeParam::dictionary_entry - 4, 0);
  this->open();
  EXPECT_EQ(this->file().dictionary(this->reference()).content->channel_entry()[1].count, 0);
  EXPECT_EQ(this->file().pointers(this->reference()).status, 0);
}

TEST(EventHeader, IsKnownByTheMarkerOfItsGeneration) {
  const unsigned char current[36] = {0xff, 0xee, 0xf3, 0xf3}, older[36] = {0xff, 0xee, 0xff, 0xee},
                      none[36] = {};
  EXPECT_TRUE(ravo_is_event_header_2010(current));
  EXPECT_FALSE(ravo_is_event_header_2010(older));
  EXPECT_FALSE(ravo_is_event_header_2010(none));
  EXPECT_FALSE(ravo_is_event_header_2010(nullptr));
  EXPECT_TRUE(ravo_is_event_header(older));
  EXPECT_FALSE(ravo_is_event_header(current));
  EXPECT_FALSE(ravo_is_event_header(none));
  EXPECT_FALSE(ravo_is_event_header(nullptr));
}

}  // namespace
