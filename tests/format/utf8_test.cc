// Characters of UTF-8, written out by hand.
#include "format/utf8.h"

#include <gtest/gtest.h>

#include <string>

namespace ravo {
namespace {

TEST(Utf8, CharactersOfEachLengthAreMeasured) {
  EXPECT_EQ(utf8_character_length("a"), 1u);
  EXPECT_EQ(utf8_character_length(std::string_view("\0", 1)), 1u);
  EXPECT_EQ(utf8_character_length("\x7f"), 1u);
  EXPECT_EQ(utf8_character_length("\xc2\x80"), 2u);
  EXPECT_EQ(utf8_character_length("\xc2\xb5m"), 2u);
  EXPECT_EQ(utf8_character_length("\xe0\xa0\x80"), 3u);
  EXPECT_EQ(utf8_character_length("\xed\x9f\xbf"), 3u);
  EXPECT_EQ(utf8_character_length("\xee\x80\x80"), 3u);
  EXPECT_EQ(utf8_character_length("\xef\xbf\xbd"), 3u);
  EXPECT_EQ(utf8_character_length("\xf0\x90\x80\x80"), 4u);
  EXPECT_EQ(utf8_character_length("\xf4\x8f\xbf\xbf"), 4u);
}

TEST(Utf8, WhatIsNoCharacterHasNoLength) {
  for (const std::string_view text : {"",
                                      "\x80",
                                      "\xbf",
                                      "\xc2",
                                      "\xc2g",
                                      "\xc1\x80",
                                      "\xc0\x80",
                                      "\xe0\x9f\xbf",
                                      "\xed\xa0\x80",
                                      "\xed\xbf\xbf",
                                      "\xef\xbf\xbe",
                                      "\xef\xbf\xbf",
                                      "\xe2\x82",
                                      "\xe2\x28\xa1",
                                      "\xf0\x8f\xbf\xbf",
                                      "\xf4\x90\x80\x80",
                                      "\xf5\x80\x80\x80",
                                      "\xf8\x88\x80\x80\x80",
                                      "\xff",
                                      "\xf0\x90\x80"})
    EXPECT_EQ(utf8_character_length(text), 0u) << testing::PrintToString(std::string(text));
}

}  // namespace
}  // namespace ravo
