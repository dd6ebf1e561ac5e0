// What may reach a terminal: plain UTF-8 and nothing that it obeys.
#include "shared/escaping.h"

#include <gtest/gtest.h>

namespace {

using namespace ravo;

TEST(Escaping, LeavesPlainUtf8AsItIs) {
  for (const char* text : {"", "LINAC/BPM/001", "gr\xc3\xbc\xc3\x9f",
                           "\xc2\xb5m \xc2\xb0"
                           "C \xe2\x84\xa6",
                           "\xf0\x9f\x93\x88", "a\\x1b b"})
    EXPECT_EQ(printable(text), text);
}

TEST(Escaping, ShowsWhatATerminalObeysAsItsBytes) {
  EXPECT_EQ(printable("\033[31m\n\x7f"), "\\x1b[31m\\x0a\\x7f");
  EXPECT_EQ(printable("\xc2\x9b"
                      "31m"),
            "\\xc2\\x9b31m");  // C1 as UTF-8
  EXPECT_EQ(printable("\xe2\x80\xae"
                      "x"),
            "\\xe2\\x80\\xaex");                            // turns the direction of writing
  EXPECT_EQ(printable("\xe2\x80\xa8"), "\\xe2\\x80\\xa8");  // the end of a line
}

TEST(Escaping, ShowsBytesThatAreNoUtf8) {
  EXPECT_EQ(printable("\x9b"
                      "31m\xff"),
            "\\x9b31m\\xff");             // C1 as a byte
  EXPECT_EQ(printable("\xc3"), "\\xc3");  // cut off
  EXPECT_EQ(printable("\xe2\x84"), "\\xe2\\x84");
  EXPECT_EQ(printable("\xc0\xaf"), "\\xc0\\xaf");  // longer than it has to be
  EXPECT_EQ(printable("\xe0\x80\x9b"), "\\xe0\\x80\\x9b");
  EXPECT_EQ(printable("\xed\xa0\x80"), "\\xed\\xa0\\x80");           // half of a pair
  EXPECT_EQ(printable("\xf4\x90\x80\x80"), "\\xf4\\x90\\x80\\x80");  // beyond the last letter
}

TEST(Escaping, OfWhatIsEscapedChangesNothing) {
  for (const char* text : {"\033[31m\n\x7f", "\xff\xc2\x9b", "a\\b"})
    EXPECT_EQ(printable(printable(text)), printable(text));
}

TEST(Escaping, OfLinesKeepsTheirEnds) { EXPECT_EQ(printable_lines("a\033\nb\r\n"), "a\\x1b\nb\\x0d\n"); }

TEST(Escaping, IsOfEachTextAmongTheArguments) {
  const std::string name = "a\nb";
  EXPECT_EQ(shown("{} {:>7} {} {}|\n", name, name.c_str(), as_it_is{"\033[1m"}, 7),
            "a\\x0ab  a\\x0ab \033[1m 7|\n");
}

TEST(Escaping, OfJsonIsReadAsTheSameText) {
  EXPECT_EQ(escaped_json("{\"a\":\"\xc2\x9b \xe2\x80\xae \xc2\xb5 \x7f\"}"),
            "{\"a\":\"\\u009b \\u202e \xc2\xb5 \\u007f\"}");
  EXPECT_EQ(escaped_json("\xf3\xa0\x80\x81"), "\\udb40\\udc01");
}

}  // namespace
