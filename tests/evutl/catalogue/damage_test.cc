// Catalogue files that are empty, truncated, of another program or hostile: each is named on standard
// output and passed over, and what the other files say is still answered.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "asking.h"
#include "captured_output.h"
#include "temporary_folder.h"

namespace {

using namespace ravo::test;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace fs = std::filesystem;

std::span<const unsigned char> as_bytes(const std::string& text) {
  return {reinterpret_cast<const unsigned char*>(text.data()), text.size()};
}

// Two runs on one day, one more on the next.
class Damage : public testing::Test {
 protected:
  Damage() {
    add({run_of(1, {entry("/one.raw", march_first + 100, march_first + 200)}),
         run_of(2, {entry("/two.raw", march_first + 300, march_first + 400)}),
         run_of(3, {entry("/three.raw", march_first + a_day, march_first + a_day + 1)})});
  }
  void add(const std::vector<run_entry>& runs) {
    EXPECT_THAT(lines(ravo::catalogue::add_runs(directory(), runs)), IsEmpty());
  }
  std::string directory() const { return folder_.file("cat"); }
  std::string stream_file(const std::string& name) const { return directory() + "/linac/main/" + name; }
  std::string run_1() const { return stream_file("runs/0/run1.xml"); }
  std::string day() const { return stream_file("days/2025/03/01.xml"); }
  std::string text_of(const std::string& path) const {
    const auto bytes = read_file(path);
    return {bytes.begin(), bytes.end()};
  }
  void write(const std::string& path, const std::string& text) const {
    folder_.write(fs::relative(path, folder_.path()).string(), as_bytes(text));
  }
  answer period(std::uint32_t start, std::uint32_t stop, std::string& said) const {
    captured_output output;
    answer found = ask_period({directory()}, march_first + start, march_first + stop);
    said = output.stop();
    return found;
  }
  answer runs(std::vector<int> numbers, std::string& said) const {
    captured_output output;
    answer found = ask_runs({directory()}, std::move(numbers));
    said = output.stop();
    return found;
  }

  temporary_folder folder_;
};

TEST_F(Damage, OfNothingSaysNothing) {
  std::string said;
  EXPECT_THAT(period(0, 2 * a_day, said).files(), ElementsAre("/one.raw", "/two.raw", "/three.raw"));
  EXPECT_EQ(said, "");
}

TEST_F(Damage, IsTakenDownInsteadOfPrintedWhereSomebodyAsksForThat) {
  write(run_1(), "");
  const std::string expected = "Run catalogue: " + run_1() + " is passed over: it is empty";
  std::string said;
  {
    const ravo::catalogue_problems outer;
    {
      const ravo::catalogue_problems problems;
      EXPECT_THAT(runs({1, 2}, said).files(), ElementsAre("/two.raw"));
      EXPECT_THAT(period(0, a_day - 1, said).files(), ElementsAre("/two.raw"));
      EXPECT_THAT(problems.texts(), ElementsAre(expected));
    }
    EXPECT_THAT(outer.texts(), ElementsAre());
    runs({1}, said);
    EXPECT_THAT(outer.texts(), ElementsAre(expected));
  }
  EXPECT_EQ(said, "");
  runs({1}, said);
  EXPECT_EQ(said, expected + "\n");
}

TEST_F(Damage, OfARunLeavesTheOthers) {
  write(run_1(), "");
  std::string said;
  EXPECT_THAT(runs({1, 2}, said).files(), ElementsAre("/two.raw"));
  EXPECT_EQ(said, "Run catalogue: " + run_1() + " is passed over: it is empty\n");
  EXPECT_THAT(period(0, a_day - 1, said).files(), ElementsAre("/two.raw"));
  EXPECT_EQ(said, "Run catalogue: " + run_1() + " is passed over: it is empty\n");
}

TEST_F(Damage, OfTheOnlyRunAskedForLeavesNoAnswer) {
  write(run_1(), "");
  std::string said;
  EXPECT_NE(runs({1}, said).status, 0);
  captured_output output;
  EXPECT_FALSE(ask_time(directory(), 1));
  EXPECT_EQ(output.stop(), said);
}

TEST_F(Damage, OfADayIsMadeUpForByTheRunsThemselves) {
  write(day(), "<ravo_day");
  std::string said;
  EXPECT_THAT(period(150, 350, said).files(), ElementsAre("/one.raw", "/two.raw"));
  EXPECT_THAT(said, HasSubstr("Run catalogue: " + day() + " is passed over: "));
}

TEST_F(Damage, ByCuttingShortAnywhereIsNoticed) {
  const std::string whole = text_of(run_1());
  const std::size_t last_tag = whole.rfind("</ravo_run>");
  std::string said;
  for (std::size_t length = 0; length < last_tag + 10; ++length) {
    write(run_1(), whole.substr(0, length));
    EXPECT_NE(runs({1}, said).status, 0) << length;
    EXPECT_THAT(said, HasSubstr(run_1() + " is passed over: ")) << length;
  }
  write(run_1(), whole);
  EXPECT_EQ(runs({1}, said).status, 0);
}

struct damaged_text {
  const char* name;
  const char* from;
  const char* to;
  const char* reason;
};

class DamagedRun : public Damage, public testing::WithParamInterface<damaged_text> {};

TEST_P(DamagedRun, IsNamedWithTheReason) {
  std::string text = text_of(run_1());
  const std::size_t at = text.find(GetParam().from);
  ASSERT_NE(at, text.npos) << text;
  text.replace(at, std::string(GetParam().from).size(), GetParam().to);
  write(run_1(), text);
  std::string said;
  EXPECT_THAT(runs({1, 2}, said).files(), ElementsAre("/two.raw"));
  EXPECT_THAT(said, HasSubstr("Run catalogue: " + run_1() + " is passed over: "));
  EXPECT_THAT(said, HasSubstr(GetParam().reason));
}

INSTANTIATE_TEST_SUITE_P(
    Texts, DamagedRun,
    testing::Values(
        damaged_text{"OtherRoot", "<ravo_run", "<ravo_ran", "end"},
        damaged_text{"OtherVersion", "version=\"1\" e", "version=\"2\" e", "another version"},
        damaged_text{"NoVersion", "<ravo_run version=\"1\"", "<ravo_run", "another version"},
        damaged_text{"OtherRun", "run=\"1\"", "run=\"2\"", "another place"},
        damaged_text{"OtherStream", "stream=\"main\"", "stream=\"fast\"", "another place"},
        damaged_text{"OtherExperiment", "experiment=\"linac\"", "experiment=\"ring\"", "another place"},
        damaged_text{"NegativeRun", "run=\"1\"", "run=\"-1\"", "negative number in run"},
        damaged_text{"NoRun", " run=\"1\"", "", "lacks the attribute run"},
        damaged_text{"NoPath", "path=\"/one.raw\"", "", "lacks the attribute path"},
        damaged_text{"EmptyPath", "path=\"/one.raw\"", "path=\"\"", "lacks the attribute path"},
        damaged_text{"WordForBytes", "bytes=\"1000\"", "bytes=\"many\"", "no number in bytes"},
        damaged_text{"NegativeBytes", "bytes=\"1000\"", "bytes=\"-1\"", "no number in bytes"},
        damaged_text{"HugeBytes", "bytes=\"1000\"", "bytes=\"99999999999999999999\"", "no number in bytes"},
        damaged_text{"BlankEvents", "events=\"10\"", "events=\" 10\"", "no number in events"},
        damaged_text{"Maybe", "complete=\"yes\"", "complete=\"maybe\"", "neither yes nor no"},
        damaged_text{"NoComplete", "complete=\"yes\"", "", "lacks the attribute complete"},
        damaged_text{"OddTime", "path=\"/one.raw\" bytes=\"1000\" events=\"10\" start=\"2025-03-01T",
                     "path=\"/one.raw\" bytes=\"1000\" events=\"10\" start=\"2025-02-29T",
                     "no time in start"},
        damaged_text{"Backwards", "start=\"2025-03-01T00:01:40", "start=\"2025-03-01T01:01:40",
                     "ends before"},
        damaged_text{"BadModified", "modified=\"7\"", "modified=\"now\"", "no number in modified"},
        damaged_text{"PathThatIsNotUtf8", "path=\"/one.raw\"", "path=\"/\xffone.raw\"", "no text in path"},
        damaged_text{"PathWithHalfACharacter", "path=\"/one.raw\"", "path=\"/&#xD800;one.raw\"",
                     "no text in path"},
        damaged_text{"PathWithAControlCharacter", "path=\"/one.raw\"", "path=\"/&#1;one.raw\"",
                     "no text in path"},
        damaged_text{"ReferenceToZero", "path=\"/one.raw\"", "path=\"/one.raw&#x00;\"",
                     "character that is none"},
        damaged_text{"DocumentType", "<ravo_run", "<!DOCTYPE ravo_run [<!ENTITY a \"b\">]><ravo_run",
                     "document type"}),
    [](const testing::TestParamInfo<damaged_text>& tested) { return std::string(tested.param.name); });

TEST_F(Damage, ByAnotherDocumentIsNamed) {
  write(run_1(), "<?xml version=\"1.0\"?>\n<html><body>Not found</body></html>\n");
  std::string said;
  EXPECT_NE(runs({1}, said).status, 0);
  EXPECT_EQ(said, "Run catalogue: " + run_1() + " is passed over: the root is <html> and not <ravo_run>\n");
}

TEST_F(Damage, ByDeepNestingCostsNothing) {
  std::string text = text_of(run_1());
  std::string deep;
  for (int i = 0; i < 200000; ++i) deep += "<file>";
  write(run_1(), text.substr(0, text.find("<file")) + deep);
  std::string said;
  EXPECT_NE(runs({1}, said).status, 0);
}

TEST_F(Damage, ByAFolderOrAPipeInItsPlaceIsNamed) {
  std::string said;
  fs::remove(run_1());
  fs::create_directory(run_1());
  EXPECT_NE(runs({1}, said).status, 0);
  EXPECT_THAT(said, HasSubstr("it is no regular file"));
  fs::remove(run_1());
  ASSERT_EQ(mkfifo(run_1().c_str(), 0600), 0);
  EXPECT_NE(runs({1}, said).status, 0);  // and does not wait for a writer
  EXPECT_THAT(said, HasSubstr("it is no regular file"));
}

TEST_F(Damage, ByTooLongAFileIsNamedWithoutReadingIt) {
  fs::resize_file(run_1(), std::uintmax_t{1} << 40);  // sparse
  std::string said;
  EXPECT_NE(runs({1}, said).status, 0);
  EXPECT_EQ(said, "Run catalogue: " + run_1() + " is passed over: it is too long\n");
}

TEST_F(Damage, LeavesUnknownElementsAndAttributesAlone) {
  std::string text = text_of(run_1());
  text.replace(text.find("<file"), 5, "<note by=\"x\">hello</note><!-- so --><file colour=\"red\"");
  write(run_1(), text);
  std::string said;
  EXPECT_THAT(runs({1}, said).files(), ElementsAre("/one.raw"));
  EXPECT_EQ(said, "");
}

// They used to become blanks: another file's path.
TEST_F(Damage, LeavesLineEndsAndTabsInPathsAsTheyAre) {
  std::string text = text_of(run_1());
  text.replace(text.find("/one.raw"), 8, "/a&#10;b&#9;c&#xD;d.raw");
  write(run_1(), text);
  add({run_of(1, {entry("/more.raw", march_first + 201, march_first + 202)})});
  std::string said;
  EXPECT_THAT(runs({1}, said).files(), ElementsAre("/a\nb\tc\rd.raw", "/more.raw"));
  EXPECT_EQ(said, "");
}

TEST_F(Damage, ToARunIsNamedAndRepairedByAddingItAgain) {
  write(run_1(), "<ravo_run version=");
  const auto problems = ravo::catalogue::add_runs(
      directory(), {run_of(1, {entry("/one.raw", march_first + 100, march_first + 200)})});
  ASSERT_EQ(problems.size(), 1u);
  EXPECT_EQ(problems[0].file, run_1());
  EXPECT_THAT(problems[0].text, HasSubstr("it is written anew"));
  std::string said;
  EXPECT_THAT(runs({1}, said).files(), ElementsAre("/one.raw"));
  EXPECT_EQ(said, "");
}

TEST_F(Damage, ToADayIsRepairedWithAllItsRuns) {
  write(day(), "");
  add({run_of(1, {entry("/one.raw", march_first + 100, march_first + 200)})});
  std::string said;
  EXPECT_THAT(period(0, 1000, said).files(), ElementsAre("/one.raw", "/two.raw"));
  EXPECT_EQ(said, "");
}

TEST_F(Damage, AMissingDayIsMadeAgainByAddingTheSameFiles) {
  // The remains of a writer that died between a run and its days.
  fs::remove(day());
  add({run_of(1, {entry("/one.raw", march_first + 100, march_first + 200)})});
  std::string said;
  EXPECT_THAT(period(0, 250, said).files(), ElementsAre("/one.raw"));
}

TEST_F(Damage, LeftoversOfADeadWriterAreNoRunsAndDoNotHinder) {
  write(run_1() + ".new", "<ravo_run");
  write(stream_file("runs/0/run01.xml"), "x");
  write(stream_file("runs/0/runx.xml"), "x");
  int seen = 0;
  EXPECT_THAT(ravo::catalogue::visit_runs(directory(), "", "", [&](const run_entry&) { ++seen; }),
              IsEmpty());
  EXPECT_EQ(seen, 3);
  add({run_of(1, {entry("/more.raw", march_first + 201, march_first + 202)})});
  EXPECT_FALSE(fs::exists(run_1() + ".new"));
}

TEST_F(Damage, IsReportedByAListingOfTheRuns) {
  write(run_1(), "");
  std::vector<int> seen;
  const auto damaged = ravo::catalogue::visit_runs(directory(), "linac", "main",
                                                   [&](const run_entry& run) { seen.push_back(run.run); });
  EXPECT_THAT(seen, ElementsAre(2, 3));
  EXPECT_THAT(lines(damaged), ElementsAre(run_1() + ": it is empty"));
}

}  // namespace
