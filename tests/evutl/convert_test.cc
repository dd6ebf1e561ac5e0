// Conversion of every data type from file order to host order and back, against payloads that are
// written by hand in both orders, and its refusals.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <set>

#include "payloads.h"
#include "ravo_data_types.h"
#include "ravo_evutl.h"
#include "ravo_evutl_status.h"
#include "ravo_store.h"

namespace {

using namespace ravo::test;

int convert(const bytes& file, int dtype) {
  // Memory of the exact size, so that a sanitizer sees a read past the end.
  const std::unique_ptr<unsigned char[]> source(new unsigned char[file.size()]);
  const std::unique_ptr<unsigned char[]> result(new unsigned char[file.size()]);
  std::copy(file.data(), file.data() + file.size(), source.get());
  return ravo_convert_data(source.get(), result.get(), dtype, static_cast<int>(file.size()));
}

TEST(Swap, ReversesTheBytesOfEveryWord) {
  const unsigned char source[] = {1, 2, 3, 4, 5, 6, 7, 8, 9};
  unsigned char result[9] = {};
  ravo_swap4(source, result, 2);
  const unsigned char expected[] = {4, 3, 2, 1, 8, 7, 6, 5, 0};
  EXPECT_EQ(0, std::memcmp(result, expected, sizeof expected));
}

TEST(Swap, WorksInPlaceAndOnUnalignedMemory) {
  unsigned char memory[13] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
  ravo_swap4(memory + 1, memory + 1, 3);
  const unsigned char expected[] = {0, 4, 3, 2, 1, 8, 7, 6, 5, 12, 11, 10, 9};
  EXPECT_EQ(0, std::memcmp(memory, expected, sizeof expected));
}

// Whatever the number of words, their place and their distance.
TEST(Swap, ReversesEachWordOfEveryLength) {
  for (int words = 0; words <= 19; ++words)
    for (std::size_t shift = 0; shift < 4; ++shift) {
      std::vector<unsigned char> source(static_cast<std::size_t>(words) * 4 + shift);
      for (std::size_t i = 0; i < source.size(); ++i) source[i] = static_cast<unsigned char>(i * 7 + 1);
      std::vector<unsigned char> expected = source;
      for (std::size_t i = shift; i + 4 <= expected.size(); i += 4)
        std::reverse(expected.begin() + static_cast<std::ptrdiff_t>(i),
                     expected.begin() + static_cast<std::ptrdiff_t>(i + 4));
      std::vector<unsigned char> result = source;
      ravo_swap4(source.data() + shift, result.data() + shift, words);
      EXPECT_EQ(result, expected) << words << " words";
      ravo_swap4(source.data() + shift, source.data() + shift, words);
      EXPECT_EQ(source, expected) << words << " words in place";
    }
}

TEST(Swap, LeavesEverythingAloneForNoWords) {
  unsigned char memory[4] = {1, 2, 3, 4};
  ravo_swap4(memory, memory, 0);
  ravo_swap4(memory, memory, -1);
  EXPECT_EQ(memory[0], 1);
}

TEST(Payloads, CoverEveryTypeOfTheTable) {
  std::set<int> covered;
  for (const payload& one : all_payloads()) covered.insert(one.dtype);
  for (const ravo::data_type& type : ravo::data_types)
    EXPECT_EQ(covered.count(type.code), type.code == RAVO_BLOCK_MAX_2010 ? 0u : 1u) << type.name;
}

TEST(Convert, BringsEveryTypeIntoHostOrder) {
  for (const payload& one : all_payloads()) {
    bytes result = one.file;
    result.resize(0).fill(one.file.size(), 0xaa);
    ASSERT_EQ(
        ravo_convert_data(one.file.data(), result.data(), one.dtype, static_cast<int>(one.file.size())), 0)
        << "type " << one.dtype;
    EXPECT_EQ(result.vector(), one.host.vector()) << "type " << one.dtype;
  }
}

TEST(Convert, WorksInPlace) {
  for (const payload& one : all_payloads()) {
    bytes data = one.file;
    ASSERT_EQ(ravo_convert_data(data.data(), data.data(), one.dtype, static_cast<int>(data.size())), 0);
    EXPECT_EQ(data.vector(), one.host.vector()) << "type " << one.dtype;
  }
}

TEST(Convert, TakesAnUnalignedSource) {
  for (const payload& one : all_payloads()) {
    bytes shifted;
    shifted.fill(1).append(one.file);
    bytes result;
    result.fill(one.file.size());
    ASSERT_EQ(
        ravo_convert_data(shifted.data() + 1, result.data(), one.dtype, static_cast<int>(one.file.size())),
        0);
    EXPECT_EQ(result.vector(), one.host.vector()) << "type " << one.dtype;
  }
}

TEST(Convert, LooksAtTheLowSixteenBitsOfTheTypeOnly) {
  EXPECT_EQ(convert(spectrum<bytes>(3, 1, 4, 0), 38 | 41 << 16), 0);
  EXPECT_NE(convert(spectrum<bytes>(3, 1, 4, 0), 41 | 38 << 16), 0);
}

TEST(Store, BringsEveryTypeIntoFileOrder) {
  for (const payload& one : all_payloads()) {
    bytes result;
    result.fill(one.host.size());
    ASSERT_EQ(ravo_store_data(one.host.data(), result.data(), one.dtype, static_cast<int>(one.host.size())),
              0)
        << "type " << one.dtype;
    EXPECT_EQ(result.vector(), one.file.vector()) << "type " << one.dtype;
  }
}

TEST(Store, RefusesWhatConversionRefuses) {
  const bytes data = spectrum<host_bytes>(3, 2, 3, 0).content();
  bytes result = data;
  const int length = static_cast<int>(data.size());
  EXPECT_EQ(ravo_store_data(data.data(), result.data(), 38, length - 4), RAVO_DATA_WRONG_LENGTH);
  EXPECT_EQ(ravo_store_data(data.data(), result.data(), 39, length), RAVO_DATA_WRONG_VALUE);
  EXPECT_EQ(ravo_store_data(data.data(), result.data(), 63, length), RAVO_DATA_UNKNOWN_TYPE);
}

TEST(Convert, RefusesUnknownTypes) {
  const bytes data = spectrum<bytes>(1, 1, 1, 0);
  for (const int dtype : {0, 29, 30, 32, 54, 59, 63, 64, 0x7fff, -1})
    EXPECT_EQ(convert(data, dtype), RAVO_DATA_UNKNOWN_TYPE) << dtype;
}

TEST(Convert, RefusesNullAndNegativeArguments) {
  unsigned char memory[36] = {};
  EXPECT_EQ(ravo_convert_data(nullptr, memory, 41, 36), RAVO_DATA_INVALID_ARGUMENT);
  EXPECT_EQ(ravo_convert_data(memory, nullptr, 41, 36), RAVO_DATA_INVALID_ARGUMENT);
  EXPECT_EQ(ravo_convert_data(memory, memory, 41, -1), RAVO_DATA_INVALID_ARGUMENT);
}

// A frame may have bytes after its pixels, and a text after its end; nothing else may.
TEST(Convert, RefusesEveryOtherLength) {
  for (const payload& one : all_payloads()) {
    const auto shape = ravo::find_data_type(one.dtype)->shape;
    using enum ravo::payload_shape;
    for (std::size_t length = 0; length < one.file.size() + 8; ++length) {
      if (length == one.file.size()) continue;
      bytes data = one.file;
      data.resize(length);
      const bool tail_is_free = shape == image || shape == image_ext || shape == text;
      const bool whole_dictionary = shape == env_dictionary && length % 8 == 0;
      const bool text_has_its_end = shape == text && length >= 8;
      const bool good = (tail_is_free && length > one.file.size()) || whole_dictionary || text_has_its_end;
      EXPECT_EQ(convert(data, one.dtype) == 0, good) << "type " << one.dtype << " length " << length;
    }
  }
}

struct refusal {
  const char* what;
  int dtype;
  bytes data;
  int status;
};

TEST(Convert, RefusesContradictions) {
  const bytes three = spectrum<bytes>(3, 2, 3, 0);
  const auto with = [](bytes data, std::size_t offset, std::int32_t word) {
    return data.set_i32(offset, word);
  };
  const refusal cases[] = {
      {"members of another type", 39, three, RAVO_DATA_WRONG_VALUE},
      {"no members", 28, with(three, 0, 0), RAVO_DATA_WRONG_VALUE},
      {"negative members", 28, with(three, 0, -3), RAVO_DATA_WRONG_VALUE},
      {"absurd members", 28, with(three, 0, 0x7fffffff), RAVO_DATA_WRONG_VALUE},
      {"more members than there may be, of no bytes each", 28, bytes().i32(65536).i32(0).i32(1).fill(20),
       RAVO_DATA_WRONG_VALUE},
      {"as many members as there may be, too long", 28, with(three, 0, 65535), RAVO_DATA_WRONG_LENGTH},
      {"negative samples", 38, with(three, 4, -3), RAVO_DATA_WRONG_VALUE},
      {"absurd samples", 38, with(three, 4, 0x7fffffff), RAVO_DATA_WRONG_LENGTH},
      {"a sample more", 38, with(three, 4, 4), RAVO_DATA_WRONG_LENGTH},
      {"no groups", 38, with(three, 8, 0), RAVO_DATA_WRONG_VALUE},
      {"absurd groups", 38, with(with(three, 8, 0x7fffffff), 4, 0x7fffffff), RAVO_DATA_WRONG_LENGTH},
      {"a product that wraps around to the length", 39, bytes().i32(4).i32(1 << 30).i32(1 << 30).fill(20),
       RAVO_DATA_WRONG_LENGTH},
      {"means that are not there", 38, with(three, 24, 1), RAVO_DATA_WRONG_LENGTH},
      {"unknown flags", 38, with(three, 24, 4), RAVO_DATA_WRONG_VALUE},
      {"older members", 6, older_spectrum<bytes>(4, 5), RAVO_DATA_WRONG_VALUE},
      {"older negative samples", 6, with(older_spectrum<bytes>(3, 5), 4, -1), RAVO_DATA_WRONG_VALUE},
      {"negative pixels", 13, with(image<bytes>(), 24, -1), RAVO_DATA_WRONG_VALUE},
      {"pixels that are not there", 13, with(image<bytes>(), 24, 7), RAVO_DATA_WRONG_LENGTH},
      {"negative extended pixels", 27, with(image_ext<bytes>(), 96, -1), RAVO_DATA_WRONG_VALUE},
      {"extended pixels that are not there", 27, with(image_ext<bytes>(), 96, 7), RAVO_DATA_WRONG_LENGTH},
      {"negative width", 24, with(roi<bytes>(), 8, -3), RAVO_DATA_WRONG_VALUE},
      {"negative height that a width makes up for", 24, with(with(roi<bytes>(), 8, 8), 12, -3),
       RAVO_DATA_WRONG_VALUE},
      {"absurd region", 25, with(with(roi<bytes>(), 8, 0x7fffffff), 12, 0x7fffffff),
       RAVO_DATA_WRONG_LENGTH},
      {"negative records", 22, with(name_value<bytes>(), 84, -1), RAVO_DATA_WRONG_VALUE},
      {"absurd records", 22, with(name_value<bytes>(), 84, 0x7fffffff), RAVO_DATA_WRONG_LENGTH},
      {"text without an end", 23, bytes().raw("beam on"), RAVO_DATA_WRONG_VALUE},
      {"no text", 23, bytes(), RAVO_DATA_WRONG_VALUE},
      {"update of the other generation", 33, update<bytes>(80), RAVO_DATA_WRONG_LENGTH},
      {"older update of the other generation", 1, update<bytes>(256), RAVO_DATA_WRONG_LENGTH},
      {"property without an end", 33, bytes().text(std::string(256, 'x'), 256).i32(0).u32(0).u32(0).f32(0),
       RAVO_DATA_WRONG_VALUE},
      {"record name without an end", 22,
       bytes().i32(1).text("c", 80).i32(1).text(std::string(80, 'x'), 80).f32(0), RAVO_DATA_WRONG_VALUE},
      {"comment without an end", 22, bytes().i32(1).text(std::string(80, 'x'), 80).i32(0),
       RAVO_DATA_WRONG_VALUE},
  };
  for (const refusal& one : cases) EXPECT_EQ(convert(one.data, one.dtype), one.status) << one.what;
}

TEST(Convert, LeavesPixelsAlone) {
  bytes data = image<bytes>();
  ASSERT_EQ(ravo_convert_data(data.data(), data.data(), 13, static_cast<int>(data.size())), 0);
  EXPECT_EQ(0, std::memcmp(data.data() + 28, "pixels", 6));
}

TEST(Convert, AcceptsASpectrumWithoutSamples) {
  EXPECT_EQ(convert(spectrum<bytes>(3, 1, 0, 0), 38), 0);
  EXPECT_EQ(convert(spectrum<bytes>(3, 1, 0, 3), 38), 0);
}

// Whatever the head says, the answer comes back and nothing outside the data is touched.
TEST(Convert, SurvivesEveryOverwrittenWord) {
  for (const payload& one : all_payloads()) {
    for (std::size_t at = 0; at + 4 <= std::min<std::size_t>(one.file.size(), 112); at += 4)
      for (const std::uint32_t value : {0u, 1u, 0xffffffffu, 0x7fffffffu, 0x80000000u, 0x41414141u}) {
        bytes data = one.file;
        convert(data.set_u32(at, value), one.dtype);
      }
  }
}

TEST(ChannelNumber, IsTheNumberOfMembersOfTheType) {
  const int expected[][2] = {{28, 1}, {38, 3}, {39, 4}, {40, 4}, {41, 1}, {42, 1}, {43, 2}, {44, 1},
                             {45, 2}, {46, 2}, {47, 4}, {48, 4}, {49, 4}, {50, 1}, {51, 1}, {52, 6},
                             {53, 8}, {60, 3}, {61, 5}, {62, 7}, {13, 1}, {27, 1}, {22, 1}, {23, 1},
                             {24, 2}, {33, 1}, {3, 1},  {6, 3},  {63, 0}, {0, 0},  {34, 0}, {999, 0}};
  for (const auto& [dtype, members] : expected) EXPECT_EQ(get_channel_number(dtype, 0), members) << dtype;
}

TEST(ChannelNumber, LooksAtTheLowSixteenBitsOnly) { EXPECT_EQ(get_channel_number(41 | 38 << 16, 0), 1); }

}  // namespace
