// The text form of a selection: what it means, that it comes back as it was, and how it is refused.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "ravo_dataset.h"

namespace {

using namespace ravo;
using testing::ElementsAre;
using testing::HasSubstr;

TEST(SelectionText, IsReadAsTheHeaderSays) {
  const selection read = selection::parse(
      "fel/daq2 run=1207-1210 chan=BPM*,CAM/1 from=2025-03-01T08:00:00Z to=1740816000.25 event=1000- "
      "step=10 "
      "synch=time tolerance=20ms join=with:BPM1 slow=hold max_age=2.5s catalog=/cat data=/a:/b");
  EXPECT_EQ(read.experiment, "fel");
  EXPECT_EQ(read.stream, "daq2");
  EXPECT_EQ(read.runs, (run_numbers{1207, 1210}));
  EXPECT_THAT(read.channels, ElementsAre("BPM*", "CAM/1"));
  EXPECT_EQ(read.from->timeup, 1740816000u);
  EXPECT_EQ(read.from->timelow, 0u);
  EXPECT_EQ(read.to->timeup, 1740816000u);
  EXPECT_EQ(read.to->timelow, 250000u);
  EXPECT_EQ(read.first_event, 1000u);
  EXPECT_FALSE(read.last_event);
  EXPECT_EQ(read.step, 10u);
  EXPECT_EQ(read.synch, synch_mode::by_time);
  EXPECT_EQ(read.tolerance.timelow, 20000u);
  EXPECT_EQ(read.join, join_policy::with);
  EXPECT_EQ(read.join_channel, "BPM1");
  EXPECT_EQ(read.slow, slow_policy::hold);
  EXPECT_EQ(read.max_age, 2500000u);
  EXPECT_EQ(read.catalogue, "/cat");
  EXPECT_EQ(read.data, "/a:/b");
}

TEST(SelectionText, TakesTimesAsOptionsDo) {
  const auto from = [](const std::string& text) { return selection::parse(text).from->timeup; };
  constexpr std::uint32_t day = 1740787200;  // 2025-03-01 in UTC
  EXPECT_EQ(from("from=2025-03-01"), day);
  EXPECT_EQ(from("from=2025-03-01T09:00+01:00"), day + 8 * 3600);
  EXPECT_EQ(from("from=\"2025-03-01 08:00\""), day + 8 * 3600);
  const selection window = selection::parse("to=+90s from=2025-03-01T08:00");
  EXPECT_EQ(window.to->timeup, day + 8 * 3600 + 90);
  EXPECT_EQ(window.to_text(), "linac/main from=2025-03-01T08:00:00Z to=2025-03-01T08:01:30Z");
}

TEST(SelectionText, OfNothingIsTheDefault) {
  EXPECT_EQ(selection::parse(""), selection{});
  EXPECT_EQ(selection{}.to_text(), "linac/main");
  EXPECT_EQ(selection::parse(" \t\n"), selection{});
}

TEST(SelectionText, QuotesWhatHoldsBlanksCommasAndQuotes) {
  const selection read = selection::parse(R"(file="/data/run 7/a,b.raw",/c.raw chan="A \"x\" \\ y")");
  EXPECT_THAT(read.files, ElementsAre("/data/run 7/a,b.raw", "/c.raw"));
  EXPECT_THAT(read.channels, ElementsAre(R"(A "x" \ y)"));
  EXPECT_EQ(selection::parse(read.to_text()), read);
}

TEST(SelectionText, MayRepeatFilesAndChannels) {
  EXPECT_THAT(selection::parse("chan=A chan=B,C").channels, ElementsAre("A", "B", "C"));
}

TEST(SelectionText, WritesControlCharactersAsNumbersInQuotes) {
  selection wanted;
  wanted.channels = {"A\x1b[31m\n", "B\\x41"};
  const std::string text = R"(linac/main chan="A\x1b[31m\x0a",B\x41)";
  EXPECT_EQ(wanted.to_text(), text);
  EXPECT_EQ(selection::parse(text), wanted);
  EXPECT_THAT(selection::parse(R"(chan="\xC3\xBC","\x4","\xzz","\\x41")").channels,
              ElementsAre("\xc3\xbc", "\\x4", "\\xzz", "\\x41"));
}

TEST(SelectionText, TakesTheLastOfSeveralJoins) {
  EXPECT_EQ(selection::parse("join=with:BPM1 join=all"), selection::parse("join=all"));
  EXPECT_EQ(selection::parse("join=all join=with:BPM1").join_channel, "BPM1");
}

TEST(SelectionText, ComesBackAsItWasForThousandsOfSelections) {
  std::mt19937 random(3);
  const auto below = [&](unsigned n) { return static_cast<unsigned>(random() % n); };
  const auto text = [&] {
    constexpr std::string_view letters = "abxz/:*?[]~,\"\\ =;-.09\n\t\x1b\x7f\xc3\xbc\xff";
    std::string made;
    for (unsigned i = 1 + below(8); i > 0; --i)
      made += letters[below(static_cast<unsigned>(letters.size()))];
    return made;
  };
  const auto time = [&] {
    return time_stamp{static_cast<std::uint32_t>(random()), below(3) == 0 ? 0 : below(1000000)};
  };
  for (int i = 0; i < 5000; ++i) {
    selection made;
    for (unsigned n = below(3); n > 0; --n) made.files.push_back(text());
    for (unsigned n = below(4); n > 0; --n) made.channels.push_back(text());
    if (below(2)) made.catalogue = text();
    if (below(2)) made.data = text();
    if (below(2)) {
      const int first = 1 + static_cast<int>(below(1000));
      made.runs = run_numbers{first, first + static_cast<int>(below(10))};
    }
    if (below(2)) made.from = time();
    if (below(2)) made.to = time();
    if (below(2)) made.first_event = below(1000);
    if (below(2)) made.last_event = made.first_event.value_or(0) + below(1000);
    for (unsigned n = below(3); n > 0; --n) made.context.push_back(text());
    for (unsigned n = below(3); n > 0; --n)
      made.left_out.push_back({text(), static_cast<file_refusal>(1 + below(file_refusal_count - 1))});
    for (unsigned n = below(3); n > 0; --n) {
      missing_period& gap = made.gaps.emplace_back();
      if (below(2)) gap.from = time();
      if (below(2)) gap.to = time();
    }
    for (unsigned n = below(3); n > 0; --n) made.manifests.push_back({text(), std::string(64, 'a')});
    for (unsigned n = below(3); n > 0; --n) {
      exact_channel& channel = made.exact.emplace_back();
      channel.name = below(9) == 0 ? "" : text();
      channel.is_slow = below(2) != 0;
      if (below(2)) channel.member = static_cast<int>(below(1000));
      if (channel.member >= 0 && below(2)) channel.member_name = "CHARGE_2";
    }
    made.step = 1 + below(3);
    made.phase = below(3);
    if (below(2)) made.limit = 1 + below(1000);
    made.synch = below(2) ? synch_mode::by_time : synch_mode::by_number;
    if (below(2)) made.tolerance = {below(100), below(1000000)};
    made.join = static_cast<join_policy>(below(3));
    if (made.join == join_policy::with) made.join_channel = text();
    made.slow = static_cast<slow_policy>(below(3));
    if (below(2)) made.max_age = below(5) == 0 ? 0 : std::uint64_t{random()} * (1 + below(1000));
    const std::string written = made.to_text();
    ASSERT_EQ(selection::parse(written), made) << written;
    ASSERT_TRUE(std::none_of(written.begin(), written.end(), [](char c) { return c >= 0 && c < ' '; }));
    ASSERT_EQ(selection::parse(written).to_text(), written);
  }
}

TEST(Selection, OfFilesAndOfRunsIsRefused) {
  try {
    dataset::open("file=/nowhere/a.raw run=7");
    FAIL() << "one of the two was ignored";
  } catch (const selection_error& error) {
    EXPECT_THAT(error.what(), HasSubstr("drop one of them"));
  }
}

struct refused {
  const char* text;
  const char* reason;
};
class RefusedText : public testing::TestWithParam<refused> {};

TEST_P(RefusedText, IsRefusedWithItsWord) {
  try {
    selection::parse(GetParam().text);
    FAIL() << GetParam().text;
  } catch (const selection_error& error) {
    EXPECT_THAT(error.what(), HasSubstr(GetParam().reason));
  }
}

INSTANTIATE_TEST_SUITE_P(
    SelectionText, RefusedText,
    testing::Values(
        refused{"linac", "\"linac\" cannot be read: it is neither KEY=VALUE nor EXPERIMENT/STREAM"},
        refused{"a/b/c", "neither KEY=VALUE nor"}, refused{"/b", "neither"},
        refused{"run=0", "it is N or N-M"}, refused{"run=7-6", "it is N or N-M"},
        refused{"run=5-", "it is N or N-M"}, refused{"step=0", "1 or more"},
        refused{"limit=0", "1 or more"}, refused{"limit=-1", "1 or more"}, refused{"step=x", "1 or more"},
        refused{"from=noon", "it is no time; write 2025-"},
        refused{"from=2025-02-30T00:00:00Z", "is no time"},
        refused{"to=+5min", "it counts from from=, which is not given"}, refused{"to=1.x", "is no time"},
        refused{"tolerance=5", "a span is a number"}, refused{"tolerance=5years", "a span is a number"},
        refused{"max_age=99999999999999999999s", "a span is a number"}, refused{"event=-", "it is N, N-M"},
        refused{"event=4294967296", "it is N, N-M"}, refused{"join=with:", "with:CHANNEL"},
        refused{"synch=both", "number or time"}, refused{"slow=maybe", "none, hold or nearest"},
        refused{"colour=red", "the keys are run, file, chan"}, refused{"chan=A,,B", "a value is empty"},
        refused{"chan=\"A", "has no end"}, refused{"phase=-1", "less than the step"},
        refused{"context=a,", "a value is empty"}, refused{"exact=A", "KIND:NAME"},
        refused{"exact=quick:A", "fast or slow"}, refused{"exact=fast.x:A", "KIND:NAME"},
        refused{"exact=fast.1.:A", "KIND:NAME"}, refused{"exact=fast.2147483648:A", "KIND:NAME"},
        refused{"left_out=/a.raw", "REASON:PATH"}, refused{"left_out=none:/a.raw", "is no reason"},
        refused{"left_out=lost:/a.raw", "is no reason"}, refused{"gap=2025-03-01", "FROM/TO"},
        refused{"gap=noon/", "is no time"}, refused{"manifest=/a", "PATH,sha256:DIGEST"},
        refused{"manifest=/a,sha256:12", "64 digits"}, refused{"manifest=/a,md5:12", "PATH,sha256:DIGEST"},
        refused{"data=a,b", "it takes one value"}));

}  // namespace
