// Repeated findings become one line, and no file makes the list long.
#include "finding_list.h"

#include <gtest/gtest.h>

#include <set>

namespace {

using namespace ravo::checks;
using enum finding_kind;

TEST(FindingList, CountsWhatRepeatsInAChannelAndKeepsTheFirst) {
  finding_list list;
  list.add(block_inflate, {"A", 7, 100}, "first");
  list.add(block_inflate, {"A", 8, 200}, "second");
  list.add(block_inflate, {"B", 7, 300}, "other");
  list.add(block_convert, {"A", 9, 400}, "kind", 5);
  ASSERT_EQ(list.list().size(), 3u);
  EXPECT_EQ(list.list()[0].count, 2u);
  EXPECT_EQ(list.list()[0].first.event, 7u);
  EXPECT_EQ(list.list()[0].detail, "first");
  EXPECT_EQ(list.list()[1].first.channel, "B");
  EXPECT_EQ(list.list()[2].count, 5u);
}

TEST(FindingList, PutsWhatIsOfTheFileTogetherForAllChannels) {
  finding_list list;
  list.add(description_missing, {"A", {}, 1}, "");
  list.add(description_missing, {"B", {}, 2}, "");
  ASSERT_EQ(list.list().size(), 1u);
  EXPECT_EQ(list.list()[0].count, 2u);
  EXPECT_EQ(list.list()[0].first.channel, "A");
}

TEST(FindingList, MakesTheTextOfTheFirstOnly) {
  finding_list list;
  int made = 0;
  for (int i = 0; i < 10; ++i)
    list.add(block_name, {"A", {}, {}}, [&made] {
      ++made;
      return std::string("text");
    });
  EXPECT_EQ(made, 1);
}

TEST(FindingList, StaysShortAndSaysHowManyAreLeftOut) {
  finding_list list;
  for (int i = 0; i < 5000; ++i) list.add(block_name, {std::to_string(i), {}, {}}, "", 2);
  list.add(block_name, {"0", {}, {}}, "");
  EXPECT_EQ(list.list().size(), 1000u);
  EXPECT_EQ(list.left_out(), 8000u);
  EXPECT_EQ(list.list()[0].count, 3u);
}

TEST(FindingList, AppendsAnother) {
  finding_list one, other;
  one.add(block_name, {"A", 1, {}}, "");
  other.add(block_name, {"A", 2, {}}, "");
  other.add(block_name, {"B", 3, {}}, "");
  one.append(std::move(other));
  ASSERT_EQ(one.list().size(), 2u);
  EXPECT_EQ(one.list()[0].count, 2u);
  EXPECT_EQ(one.list()[0].first.event, 1u);
  EXPECT_TRUE(one.has(block_name));
  EXPECT_FALSE(one.has(block_type));
}

TEST(FindingKinds, HaveCodesOfTheirOwnAndSayWhatToDo) {
  std::set<std::string> codes;
  for (const kind_row& row : finding_kinds()) {
    EXPECT_TRUE(codes.insert(row.code).second) << row.code;
    EXPECT_NE(std::string(row.what), "");
    EXPECT_NE(std::string(row.remedy), "");
    EXPECT_EQ(&row_of(row.kind), &row);
  }
}

}  // namespace
