// The memory that loading a table takes, which is reported before it is loaded.
#include <gtest/gtest.h>

#include <utility>

#include "loaded_tables.h"
#include "ravo_evutl_optional.h"
#include "ravo_evutl_status.h"

namespace {

using namespace ravo::test;

template <class generation>
class TableMemory : public Tables<generation> {
 protected:
  /// The bytes that are reported, or minus the status.
  long of(ravo_table_kind table) {
    unsigned long bytes = 1;
    const int status = ravo_get_table_memory(static_cast<long>(this->small.content.size()),
                                             &this->reference(), this->file().fd(), table, &bytes);
    EXPECT_TRUE(status == 0 || bytes == 0);
    return status == 0 ? static_cast<long>(bytes) : -status;
  }
};
TYPED_TEST_SUITE(TableMemory, generations, generation_name);

// Two channels, two events of one type, one row of two pointers for each channel.
TYPED_TEST(TableMemory, IsThatOfTheTableAsTheFileHasIt) {
  this->open();
  const long dictionary = 8 + 2 * static_cast<long>(TypeParam::dictionary_entry);
  const long pointers = 12 + 2 * 2 * 16;
  EXPECT_EQ(this->of(RAVO_TABLE_OF_CHANNELS), dictionary);
  EXPECT_EQ(this->of(RAVO_TABLE_OF_EVENTS), 8 + 32 + 2 * 16);
  EXPECT_EQ(this->of(RAVO_TABLE_OF_POINTERS), pointers + dictionary);
  EXPECT_EQ(this->of(RAVO_ROW_OF_POINTERS), 2 * 16);
  EXPECT_EQ(this->of(RAVO_TABLE_OF_ENVIRONMENT),
            static_cast<long>(this->small.content.word(this->small.environment + 4)));
  EXPECT_EQ(this->of(RAVO_TABLE_OF_DESCRIPTIONS),
            static_cast<long>(this->small.content.word(this->small.descriptions + 4)) + 1);
}

TYPED_TEST(TableMemory, IsNotSaidOfATableThatIsRefused) {
  const std::pair<ravo_table_kind, std::uint32_t> tables[] = {
      {RAVO_TABLE_OF_CHANNELS, this->small.dictionary},
      {RAVO_TABLE_OF_EVENTS, this->small.event_index},
      {RAVO_TABLE_OF_POINTERS, this->small.pointers},
      {RAVO_ROW_OF_POINTERS, this->small.pointers},
      {RAVO_TABLE_OF_ENVIRONMENT, this->small.environment},
      {RAVO_TABLE_OF_DESCRIPTIONS, this->small.descriptions}};
  for (const auto& [table, at] : tables) {
    const std::uint32_t marker = this->small.content.word(at);
    this->small.content.set_u32(at, 0x12345678);
    this->open();
    EXPECT_EQ(this->of(table), -RAVO_TABLE_WRONG_PATTERN) << table;
    this->small.content.set_u32(at, marker);
  }
  this->small.content.set_i32(this->small.pointers + 8, 5);  // longer rows than the table has room for
  this->open();
  EXPECT_EQ(this->of(RAVO_ROW_OF_POINTERS), -RAVO_TABLE_WRONG_LENGTH);
}

TYPED_TEST(TableMemory, RefusesWhatIsNoTable) {
  this->open();
  EXPECT_EQ(this->of(static_cast<ravo_table_kind>(17)), -RAVO_TABLE_INVALID_ARGUMENT);
  EXPECT_EQ(ravo_get_table_memory(10, nullptr, this->file().fd(), RAVO_TABLE_OF_EVENTS, nullptr),
            RAVO_TABLE_INVALID_ARGUMENT);
}

}  // namespace
