// The texts of findings, for people and for programs.
#include <gtest/gtest.h>

#include "finding.h"
#include "shared/with_commas.h"

namespace {

using namespace ravo::checks;
using enum finding_kind;

std::string text_of(const finding& what) { return to_text(described(what)); }

TEST(ReportLine, NamesFileChannelPlaceAndRemedy) {
  const finding one{block_inflate, "a.raw", {"LINAC/BPM/001", 1000012, 191640}, 1, "zlib answers -3"};
  EXPECT_EQ(text_of(one),
            "a.raw: LINAC/BPM/001: the block cannot be inflated (zlib answers -3), at event 1000012, "
            "offset 191640; "
            "copy the file again; if the source has it too, the block is lost [block.inflate]");
}

TEST(ReportLine, CountsRepeats) {
  const finding one{block_inflate, "a.raw", {"C", 12, 40}, 1204, ""};
  EXPECT_EQ(text_of(one),
            "a.raw: C: the block cannot be inflated, x 1,204, first at event 12, offset 40; copy the file "
            "again; if "
            "the source has it too, the block is lost [block.inflate]");
}

TEST(ReportLine, NamesTheFirstOfSeveralChannels) {
  const finding several{description_missing, "a.raw", {"C", {}, 40}, 3, ""};
  EXPECT_EQ(text_of(several),
            "a.raw: the channel has no description, x 3, first at channel C, offset 40; add it where the "
            "channels "
            "are configured [description.missing]");
  const finding single{description_missing, "a.raw", {"C", {}, 40}, 1, ""};
  EXPECT_EQ(
      text_of(single),
      "a.raw: C: the channel has no description, at offset 40; add it where the channels are configured "
      "[description.missing]");
}

TEST(ReportLine, LeavesOutWhatDoesNotApply) {
  const finding one{channel_absent, "", {"C", {}, {}}, 1, "run 7 of linac_main"};
  EXPECT_EQ(text_of(one),
            "C: the channel has no data in the whole run (run 7 of linac_main); was its server running? "
            "[channel.absent]");
}

TEST(ReportLine, LetsNoControlCharactersOfAFileThrough) {
  const finding one{block_name, "a\n.raw", {"C\033[2J", 1, 2}, 1, "x\ry"};
  const std::string text = text_of(one);
  for (const char letter : text) EXPECT_GE(letter, ' ');
}

TEST(ReportJson, HasAllMembersWithNullForWhatDoesNotApply) {
  const finding one{file_reference, "a.raw", {{}, {}, 0}, 1, ""};
  EXPECT_EQ(
      to_json(described(one)),
      R"({"file":"a.raw","kind":"file.reference","severity":"damaged","channel":null,"event":null,"offset":0,)"
      R"("count":1,"text":"there is no readable reference table","detail":null,"remedy":"the file was cut off, )"
      R"(is still being written, or is no raw file: copy it again"})");
  EXPECT_NE(to_json(described({event_missing, "a.raw", {{}, 5, {}}, 20, "x"})).find(R"("severity":"odd")"),
            std::string::npos);
}

TEST(Numbers, HaveCommas) {
  EXPECT_EQ(ravo::with_commas(0), "0");
  EXPECT_EQ(ravo::with_commas(999), "999");
  EXPECT_EQ(ravo::with_commas(1000), "1,000");
  EXPECT_EQ(ravo::with_commas(18446744073709551615u), "18,446,744,073,709,551,615");
}

}  // namespace
