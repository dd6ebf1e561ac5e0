// By which status the table operations refuse each kind of damage, and wrong arguments.
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "loaded_tables.h"

namespace {

using namespace ravo::test;

template <class generation>
class ReferenceTableRefusals : public testing::Test {};
TYPED_TEST_SUITE(ReferenceTableRefusals, generations, generation_name);

struct reference_damage {
  const char* what;
  std::function<void(small_file&)> apply;
  int status;
};

TYPED_TEST(ReferenceTableRefusals, IsRefusedWhenTheTailOrTheTableIsWrong) {
  const reference_damage cases[] = {
      {"tail 0", [](small_file& f) { f.content.set_u32(f.tail(), 0); }, RAVO_TABLE_ABSENT},
      {"tail after the file", [](small_file& f) { f.content.set_u32(f.tail(), f.tail() + 4); },
       RAVO_TABLE_OUT_OF_FILE},
      {"tail at itself", [](small_file& f) { f.content.set_u32(f.tail(), f.tail()); },
       RAVO_TABLE_OUT_OF_FILE},
      {"table into the tail", [](small_file& f) { f.content.set_u32(f.tail(), f.tail() - 167); },
       RAVO_TABLE_OUT_OF_FILE},
      {"tail all ones", [](small_file& f) { f.content.set_u32(f.tail(), 0xffffffff); },
       RAVO_TABLE_OUT_OF_FILE},
      {"tail at another table", [](small_file& f) { f.content.set_u32(f.tail(), f.dictionary); },
       RAVO_TABLE_WRONG_PATTERN},
      {"the other generation's pattern",
       [](small_file& f) {
         f.content.set_u32(f.reference, 0xfefafaf3u ^ 0xfeafeaf3u ^ TypeParam::reference_marker);
       },
       RAVO_TABLE_WRONG_PATTERN},
      {"pattern", [](small_file& f) { f.content.set_u32(f.reference, TypeParam::reference_marker - 1); },
       RAVO_TABLE_WRONG_PATTERN},
      {"length 164", [](small_file& f) { f.content.set_u32(f.reference + 4, 164); },
       RAVO_TABLE_WRONG_LENGTH},
      {"length -1", [](small_file& f) { f.content.set_i32(f.reference + 4, -1); }, RAVO_TABLE_WRONG_LENGTH},
      {"reference to itself", [](small_file& f) { f.content.set_u32(f.reference + 140, f.reference); },
       RAVO_TABLE_OVERLAP},
      {"index inside the reference table",
       [](small_file& f) { f.content.set_u32(f.reference + 8, f.reference + 8); }, RAVO_TABLE_OVERLAP},
      {"index entry inside the reference table",
       [](small_file& f) { f.content.set_u32(f.reference + 12, f.reference + 4); }, RAVO_TABLE_OVERLAP},
      {"reference into itself",
       [](small_file& f) { f.content.set_u32(f.reference + 156, f.reference + 167); }, RAVO_TABLE_OVERLAP},
  };
  for (const reference_damage& damage : cases) {
    small_file small = build_small_file<TypeParam>();
    damage.apply(small);
    const open_file<TypeParam> file(small.content);
    const auto reference = file.reference();
    EXPECT_EQ(reference.status, damage.status) << damage.what;
    EXPECT_EQ(reference.content, nullptr) << damage.what;
  }
}

TYPED_TEST(ReferenceTableRefusals, IsRefusedInAFileOfLessThanFourBytes) {
  bytes content;
  for (int length = 0; length < 4; ++length) {
    const open_file<TypeParam> file(content);
    EXPECT_EQ(file.reference().status, RAVO_TABLE_TOO_SHORT) << length;
    content.fill(1);
  }
}

TYPED_TEST(ReferenceTableRefusals, IsRefusedWithoutArguments) {
  ravo_file_reference_table* table = nullptr;
  const unsigned char tail[4] = {};
  EXPECT_EQ(TypeParam::get_reference(nullptr, 4, 4, -1, &table), RAVO_TABLE_INVALID_ARGUMENT);
  EXPECT_EQ(TypeParam::get_reference(tail, 4, 4, -1, nullptr), RAVO_TABLE_INVALID_ARGUMENT);
  EXPECT_EQ(TypeParam::get_reference(tail, 4, 3, -1, &table), RAVO_TABLE_INVALID_ARGUMENT);
}

enum class which { index, dictionary, pointers, environment, descriptions };

struct table_damage {
  const char* what;
  which table;
  std::function<void(small_file&)> apply;
  int status;
};

// Damage that the reference table cannot show: each operation has to find it in its own table.
TYPED_TEST(Tables, AreRefusedWhenDamaged) {
  using f = small_file&;
  const table_damage cases[] = {
      {"no index", which::index, [](f s) { s.content.set_u32(s.reference + 8, 0); }, RAVO_TABLE_ABSENT},
      {"index after the file", which::index, [](f s) { s.content.set_u32(s.reference + 8, 0x7ffffff0); },
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
       [](f s) { s.content.set_i32(s.dictionary + 4, 8 + TypeParam::dictionary_entry / 2); },
       RAVO_TABLE_WRONG_LENGTH},
      {"dictionary over the pointers", which::dictionary,
       [](f s) { s.content.set_i32(s.dictionary + 4, 8 + 3 * TypeParam::dictionary_entry); },
       RAVO_TABLE_OVERLAP},
      {"dictionary longer than the file", which::dictionary,
       [](f s) { s.content.set_i32(s.dictionary + 4, 8 + 100000 * TypeParam::dictionary_entry); },
       RAVO_TABLE_OUT_OF_FILE},
      {"channel name without an end", which::dictionary,
       [](f s) {
         for (std::size_t i = 0; i < 64; ++i) s.content.set_u32(s.dictionary + 12 + 4 * i, 0x41414141);
       },
       RAVO_TABLE_WRONG_ENTRY},
      {"negative count", which::dictionary,
       [](f s) { s.content.set_i32(s.dictionary + 8 + TypeParam::dictionary_entry - 4, -1); },
       RAVO_TABLE_WRONG_ENTRY},
      {"two tables at one place", which::dictionary,
       [](f s) { s.content.set_u32(s.reference + 152, s.dictionary); }, RAVO_TABLE_OVERLAP},
      {"a basket inside the dictionary", which::dictionary,
       [](f s) { s.content.set_u32(s.reference + 164, s.dictionary + 100); }, RAVO_TABLE_OVERLAP},

      {"a basket on the dictionary's last byte", which::dictionary,
       [](f s) { s.content.set_u32(s.reference + 164, s.pointers - 1); }, RAVO_TABLE_OVERLAP},

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
      {"count beyond the row", which::pointers,
       [](f s) { s.content.set_i32(s.dictionary + 8 + TypeParam::dictionary_entry - 4, 3); },
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
    this->small = build_small_file<TypeParam>();
    damage.apply(this->small);
    this->open();
    int status = 0;
    const void* content = nullptr;
    const auto keep = [&](const auto& loaded) {
      status = loaded.status;
      content = loaded.content.get();
    };
    switch (damage.table) {
      case which::index:
        keep(this->file().event_index(this->reference()));
        break;
      case which::dictionary:
        keep(this->file().dictionary(this->reference()));
        break;
      case which::pointers:
        keep(this->file().pointers(this->reference()));
        break;
      case which::environment:
        keep(this->file().environment(this->reference()));
        break;
      case which::descriptions:
        keep(this->file().descriptions(this->reference()));
        break;
    }
    EXPECT_EQ(status, damage.status) << damage.what;
    EXPECT_EQ(content, nullptr) << damage.what;
  }
}

TYPED_TEST(Tables, PointersByListAreRefusedOnlyForTheListedChannelsCount) {
  this->small.content.set_i32(this->small.dictionary + 8 + 2 * TypeParam::dictionary_entry - 4, 3);
  this->open();
  const auto dictionary = this->file().dictionary(this->reference());
  ASSERT_EQ(dictionary.status, 0);
  EXPECT_EQ(this->file().pointers_by_list(this->reference(), *dictionary.content, {"LINAC/BPM1"}).status,
            0);
  EXPECT_EQ(this->file().pointers_by_list(this->reference(), *dictionary.content, {"LINAC/NOTE"}).status,
            RAVO_TABLE_WRONG_ENTRY);
}

TYPED_TEST(Tables, AreRefusedWhenTheDescriptorCannotBeRead) {
  this->open();
  typename TypeParam::dictionary_table* dictionary = nullptr;
  EXPECT_EQ(TypeParam::get_dictionary(this->file().length(), &this->reference(), -1, &dictionary),
            RAVO_TABLE_UNREADABLE);
  EXPECT_EQ(dictionary, nullptr);
}

TYPED_TEST(Tables, AreRefusedWithoutArguments) {
  this->open();
  ravo_event_index_table* index = nullptr;
  EXPECT_EQ(TypeParam::get_event_index(this->file().length(), nullptr, this->file().fd(), &index),
            RAVO_TABLE_INVALID_ARGUMENT);
  EXPECT_EQ(TypeParam::get_event_index(-1, &this->reference(), this->file().fd(), &index),
            RAVO_TABLE_INVALID_ARGUMENT);
  EXPECT_EQ(
      TypeParam::get_event_index(this->file().length(), &this->reference(), this->file().fd(), nullptr),
      RAVO_TABLE_INVALID_ARGUMENT);
  ravo_event_chan_pointers_table* pointers = nullptr;
  EXPECT_EQ(TypeParam::get_pointers_by_list(this->file().length(), &this->reference(), this->file().fd(),
                                            nullptr, nullptr, &pointers),
            RAVO_TABLE_INVALID_ARGUMENT);
}

TYPED_TEST(Tables, EventIndexIsRefusedWithATypeTwice) {
  this->replace_index({7, 8, 7});
  this->open();
  EXPECT_EQ(this->file().event_index(this->reference()).status, RAVO_TABLE_WRONG_ENTRY);
}

// Without channels only the file's length limits a row.
TYPED_TEST(Tables, PointersAreRefusedWithAnAbsurdRowAlsoWithoutChannels) {
  const std::pair<std::int32_t, int> cases[] = {{0, RAVO_TABLE_OK},
                                                {1, RAVO_TABLE_OK},
                                                {-1, RAVO_TABLE_WRONG_LENGTH},
                                                {0x7fffffff, RAVO_TABLE_WRONG_LENGTH}};
  for (const auto& [maxev, status] : cases) {
    this->small.content.set_i32(this->small.dictionary + 4, 8).set_i32(this->small.pointers + 4, 12);
    this->small.content.set_i32(this->small.pointers + 8, maxev);
    this->open();
    EXPECT_EQ(this->file().pointers(this->reference()).status, status) << maxev;
    const auto dictionary = this->file().dictionary(this->reference());
    EXPECT_EQ(this->file().pointers_by_list(this->reference(), *dictionary.content, {"LINAC/BPM1"}).status,
              -5);
  }
}

// The length of the table in memory is a signed word too; asking for a channel again and again ends there.
TYPED_TEST(Tables, PointersByListAreRefusedWhenTheirLengthWouldNotFitItsWord) {
  constexpr std::uint32_t maxev = 1 << 20;
  this->small.content.resize(this->small.tail());
  const std::uint32_t rows = static_cast<std::uint32_t>(this->small.content.size());
  this->small.content.u32(0xecbecbf3).u32(12 + 2 * maxev * 16).u32(maxev).fill(2 * maxev * 16);
  this->small.content.set_u32(this->small.reference + 144, rows).u32(this->small.reference);
  this->open();
  const auto dictionary = this->file().dictionary(this->reference());
  const std::vector<std::string> names(128, "LINAC/BPM1");
  EXPECT_EQ(this->file().pointers_by_list(this->reference(), *dictionary.content, names).status,
            RAVO_TABLE_WRONG_LENGTH);
}

// The file is truncated while it is being read: reading ends, and nothing waits for more.
TYPED_TEST(Tables, AreRefusedWhenTheFileIsShorterThanItsLength) {
  this->open();
  ASSERT_EQ(ftruncate(this->file().fd(), this->small.dictionary + 20), 0);
  EXPECT_EQ(this->file().dictionary(this->reference()).status, RAVO_TABLE_UNREADABLE);
  EXPECT_EQ(this->file().pointers(this->reference()).status, RAVO_TABLE_UNREADABLE);
  EXPECT_EQ(this->file().event_index(this->reference()).status, RAVO_TABLE_UNREADABLE);
  EXPECT_EQ(this->file().environment(this->reference()).status, RAVO_TABLE_UNREADABLE);
}

// The descriptor leads to a good file; the length is what counts.
TYPED_TEST(Tables, AreRefusedInAFileThatHasNoRoomForATail) {
  this->open();
  for (long length = 0; length < 4; ++length) {
    typename TypeParam::dictionary_table* dictionary = nullptr;
    EXPECT_EQ(TypeParam::get_dictionary(length, &this->reference(), this->file().fd(), &dictionary),
              RAVO_TABLE_OUT_OF_FILE)
        << length;
  }
}

TEST(StatusText, NamesEveryStatusDifferently) {
  EXPECT_STREQ(ravo_evutl_status_text(0), "success");
  EXPECT_STREQ(ravo_evutl_status_text(RAVO_TABLE_OVERLAP), "the table overlaps another part of the file");
  EXPECT_STREQ(ravo_evutl_status_text(12345), "unknown status");
}

}  // namespace
