// The small file of each generation cut short at every length and with every word overwritten: each table
// operation returns, and each table that it yields is what the bytes at its place say and lies clear of the
// rest.
#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <vector>

#include "open_file.h"
#include "small_file.h"

namespace {

using namespace ravo::test;

// A table's place in the file, to be compared with those of the others.
struct extent {
  std::uint64_t offset;
  std::uint64_t length;
};

// Reads every word of a table in memory (so that a sanitizer sees a wrong length) and compares it with
// the file's. Text is compared as bytes.
void expect_words(const bytes& file, extent place, const void* table, bool is_text_at(std::size_t)) {
  ASSERT_LE(place.offset + place.length, file.size() - 4);
  const auto* memory = static_cast<const unsigned char*>(table);
  for (std::size_t i = 0; i + 4 <= place.length; i += 4) {
    std::uint32_t word;
    std::memcpy(&word, memory + i, 4);
    if (is_text_at(i)) word = __builtin_bswap32(word);
    ASSERT_EQ(word, file.word(place.offset + i)) << "word at " << place.offset + i;
  }
}

bool nowhere(std::size_t) { return false; }
bool after_the_head(std::size_t i) { return i >= 8; }
template <class generation>
bool in_a_name(std::size_t i) {
  const std::size_t in_entry = (i - 8) % generation::dictionary_entry;
  return i >= 8 && in_entry >= 4 && in_entry < 4 + generation::dictionary_name;
}

std::uint64_t index_length(const ravo_event_index_table& table) {
  std::uint64_t length = 8;
  const auto* entry = table.event_index_entry();
  for (int i = 0; i < table.nevent_types; ++i, entry = entry->next())
    length += 32 + 16 * static_cast<std::uint64_t>(entry->length);
  return length;
}

int overlaps(const std::vector<extent>& places) {
  int count = 0;
  for (std::size_t i = 0; i < places.size(); ++i)
    for (std::size_t j = i + 1; j < places.size(); ++j)
      if (places[i].offset < places[j].offset + places[j].length &&
          places[j].offset < places[i].offset + places[i].length)
        ++count;
  return count;
}

template <class T>
std::uint64_t length_of(const T& table) {
  return static_cast<std::uint64_t>(table.length);
}

// How many of the seven operations accepted the file.
template <class generation>
int check_all_tables(const open_file<generation>& file, const bytes& content) {
  const auto reference = file.reference();
  EXPECT_EQ(reference.status == 0, reference.content != nullptr);
  if (reference.status != 0) return 0;
  const auto& ref = *reference.content;
  std::vector<extent> places = {{content.word(content.size() - 4), 168}};
  expect_words(content, places[0], &ref, nowhere);
  int accepted = 1;

  if (const auto index = file.event_index(ref); index.status == 0) {
    places.push_back({ref.eit_pos_ref, index_length(*index.content)});
    expect_words(content, places.back(), index.content.get(), nowhere);
    ++accepted;
  } else {
    EXPECT_EQ(index.content, nullptr);
  }
  const auto dictionary = file.dictionary(ref);
  if (dictionary.status == 0) {
    places.push_back({ref.cdt_ref, length_of(*dictionary.content)});
    expect_words(content, places.back(), dictionary.content.get(), in_a_name<generation>);
    ++accepted;
  } else {
    EXPECT_EQ(dictionary.content, nullptr);
  }
  if (const auto pointers = file.pointers(ref); pointers.status == 0) {
    EXPECT_EQ(dictionary.status, 0);
    places.push_back({ref.ecp_ref, length_of(*pointers.content)});
    expect_words(content, places.back(), pointers.content.get(), nowhere);
    ++accepted;
  }
  if (dictionary.status == 0) {
    const auto listed = file.pointers_by_list(ref, *dictionary.content, {"ABSENT", "LINAC/NOTE"});
    if (listed.status == 0) {
      const std::uint32_t maxev = static_cast<std::uint32_t>(listed.content->maxev);
      EXPECT_EQ(listed.content->length, static_cast<std::int32_t>(12 + 2 * maxev * 16));
      const int row = generation::find_channel(dictionary.content.get(), "LINAC/NOTE", nullptr);
      EXPECT_GE(row, 0);
      for (std::uint32_t i = 0; row >= 0 && i < maxev; ++i) {
        EXPECT_EQ(listed.content->chptr()[i].chhd, 0u);
        const std::uint32_t entry = static_cast<std::uint32_t>(row) * maxev + i;
        EXPECT_EQ(listed.content->chptr()[maxev + i].data,
                  content.word(ref.ecp_ref + 12 + 16 * entry + 12));
      }
      ++accepted;
    }
  }
  if (const auto environment = file.environment(ref); environment.status == 0) {
    places.push_back({ref.eidt_ref, length_of(*environment.content)});
    expect_words(content, places.back(), environment.content.get(), nowhere);
    ++accepted;
  }
  if (const auto descriptions = file.descriptions(ref); descriptions.status == 0) {
    places.push_back({ref.xcd_ref, length_of(*descriptions.content)});
    expect_words(content, places.back(), descriptions.content.get(), after_the_head);
    EXPECT_EQ(descriptions.content->xml()[descriptions.content->length - 8], '\0');
    ++accepted;
  }
  EXPECT_EQ(overlaps(places), 0);
  return accepted;
}

constexpr int all_operations = 7;

template <class generation>
class Damage : public testing::Test {};
TYPED_TEST_SUITE(Damage, generations, generation_name);

TYPED_TEST(Damage, NothingIsRefusedInTheUndamagedFile) {
  const small_file small = build_small_file<TypeParam>();
  const open_file<TypeParam> file(small.content);
  EXPECT_EQ(check_all_tables(file, small.content), all_operations);
}

// What a crash of a writer leaves: its last word then is some word of the file's middle.
TYPED_TEST(Damage, EveryTruncationIsRefused) {
  const small_file small = build_small_file<TypeParam>();
  open_file<TypeParam> file(small.content);
  for (std::size_t length = 0; length < small.content.size(); ++length) {
    bytes cut = small.content;
    cut.resize(length);
    file.write(cut);
    EXPECT_NE(file.reference().status, 0) << "length " << length;
  }
}

// The same, but the tail was written: the tables themselves are what is missing.
TYPED_TEST(Damage, EveryTruncationUnderAGoodTailLeavesOnlyRightTables) {
  const small_file small = build_small_file<TypeParam>();
  open_file<TypeParam> file(small.content);
  for (std::size_t length = 0; length + 172 < small.content.size(); ++length) {
    bytes cut = small.content;
    cut.resize(length);
    for (std::size_t i = 0; i < 168; i += 4) cut.u32(small.content.word(small.reference + i));
    cut.u32(static_cast<std::uint32_t>(length));
    file.write(cut);
    EXPECT_LT(check_all_tables(file, cut), all_operations) << "length " << length;
  }
}

TYPED_TEST(Damage, EveryOverwrittenWordGivesRightTablesOrNone) {
  const small_file small = build_small_file<TypeParam>();
  open_file<TypeParam> file(small.content);
  int refused = 0;
  for (std::size_t at = small.event_headers; at + 4 <= small.content.size(); at += 4) {
    const std::array<std::uint32_t, 9> values = {0,
                                                 0xffffffff,
                                                 0x7fffffff,
                                                 0x80000000,
                                                 static_cast<std::uint32_t>(at),
                                                 small.reference,
                                                 small.dictionary,
                                                 small.pointers + 4,
                                                 small.content.word(at) + 1};
    for (const std::uint32_t value : values) {
      bytes damaged = small.content;
      damaged.set_u32(at, value);
      file.write(damaged);
      SCOPED_TRACE("offset " + std::to_string(at) + " value " + std::to_string(value));
      if (check_all_tables(file, damaged) < all_operations) ++refused;
      if (this->HasFatalFailure()) return;
    }
  }
  // Heads, counts and references are refused; names, times and offsets into baskets are not judged.
  EXPECT_GT(refused, 300);
}

// Two words at once reach what one cannot: a length that fits a wrong count, a moved table.
TYPED_TEST(Damage, EveryPairOfOverwrittenReferencesGivesRightTablesOrNone) {
  const small_file small = build_small_file<TypeParam>();
  open_file<TypeParam> file(small.content);
  const std::array<std::uint32_t, 5> values = {0, small.event_index, small.dictionary, small.pointers,
                                               small.environment};
  for (std::size_t first = 8; first < 168; first += 4)
    for (std::size_t second = first + 4; second < 168; second += 4)
      for (const std::uint32_t value : values) {
        bytes damaged = small.content;
        damaged.set_u32(small.reference + first, value).set_u32(small.reference + second, value);
        file.write(damaged);
        check_all_tables(file, damaged);
        if (this->HasFatalFailure()) return;
      }
}

}  // namespace
