// The verification as a library: a report instead of lines, and nothing is printed.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "ravo_verify.h"
#include "simulated_files.h"

namespace {

using namespace ravo;
using namespace ravo::test;
using testing::ElementsAre;
using testing::HasSubstr;

std::string flipped(const copied_run& run, int file) {
  const std::string path = run.made.files.at(static_cast<std::size_t>(file - 1));
  simulator::settings what = small_run(run.folder.path().string(), ravo_file_generation::current);
  simulator::make_faults(what, run.made, {{"flipped-bit", file}});
  return path;
}

TEST(Verification, ReportsFilesFindingsAndTotals) {
  const copied_run run(ravo_file_generation::current);
  const std::string damaged = flipped(run, 2);
  const verification_report report = verify({{run.folder.path().string()}});
  ASSERT_EQ(report.files.size(), 3u);
  EXPECT_EQ(report.files[0].verdict, file_verdict::good);
  EXPECT_EQ(report.files[1].verdict, file_verdict::damaged);
  EXPECT_EQ(report.files[1].path, damaged);
  EXPECT_EQ(report.files[1].bytes, std::filesystem::file_size(damaged));
  ASSERT_EQ(report.findings.size(), 1u);
  EXPECT_EQ(report.findings[0].file, damaged);
  EXPECT_EQ(report.findings[0].how_bad, severity::damaged);
  EXPECT_EQ(report.totals.files, 3u);
  EXPECT_EQ(report.totals.good_files, 2u);
  EXPECT_EQ(report.totals.damaged, 1u);
  EXPECT_EQ(report.totals.blocks, report.files[0].blocks + report.files[1].blocks + report.files[2].blocks);
  EXPECT_EQ(report.runs, 1u);
  EXPECT_TRUE(report.channels_of_all_runs.contains("LINAC/BPM/001"));
  EXPECT_FALSE(report.is_stopped);
}

TEST(Verification, ObserversSeeTheReportAsItGrows) {
  const copied_run run(ravo_file_generation::current);
  flipped(run, 3);
  std::vector<std::string> seen;
  std::uint64_t last = 0, all = 0;
  verification_observer observer;
  observer.progress = [&](std::uint64_t done, std::uint64_t total) {
    EXPECT_GE(done, last);
    last = done;
    all = total;
  };
  observer.found = [&](const finding& one) { seen.push_back(one.kind); };
  observer.checked = [&](const verified_file& file, const verification_totals& sum) {
    seen.push_back(std::to_string(sum.files) + " " + std::to_string(file.findings));
  };
  const verification_report report = verify({{run.folder.path().string()}}, {}, observer);
  ASSERT_EQ(report.findings.size(), 1u);
  EXPECT_THAT(seen, ElementsAre("1 0", "2 0", report.findings[0].kind, "3 1"));
  EXPECT_EQ(last, all);
  EXPECT_EQ(all, report.totals.bytes);
}

TEST(Verification, AStopReturnsWhatIsKnown) {
  const copied_run run(ravo_file_generation::current);
  std::stop_source stop;
  verification_observer observer;
  observer.checked = [&](const verified_file&, const verification_totals&) { stop.request_stop(); };
  const verification_report report = verify({{run.folder.path().string()}}, stop.get_token(), observer);
  EXPECT_TRUE(report.is_stopped);
  EXPECT_EQ(report.totals.files, 1u);
  EXPECT_EQ(report.totals.files_to_check, 3u);
}

TEST(Verification, NamesExpectedChannelsWithoutData) {
  const copied_run run(ravo_file_generation::current);
  verification what{run.made.files};
  what.expected_channels = {"LINAC/BPM/001", "NO/SUCH"};
  const verification_report report = verify(what);
  ASSERT_EQ(report.findings.size(), 1u);
  EXPECT_EQ(report.findings[0].kind, "channel.absent");
  EXPECT_EQ(report.findings[0].channel, "NO/SUCH");
}

TEST(Verification, AFileThatCannotBeReadIsAFinding) {
  const verification_report report = verify({{"/nowhere/a.raw"}});
  ASSERT_EQ(report.findings.size(), 1u);
  EXPECT_EQ(report.findings[0].kind, "file.unreadable");
  EXPECT_EQ(report.files[0].verdict, file_verdict::unread);
}

TEST(Verification, ARunThatTheCatalogueLacksThrows) {
  const temporary_folder empty;
  verification what;
  what.runs = catalogue_runs{empty.path().string(), "linac", "main", 7, 7};
  try {
    verify(what);
    FAIL();
  } catch (const verification_error& why) {
    EXPECT_THAT(why.what(), HasSubstr(empty.path().string()));
  }
}

TEST(Verification, NothingToCheckIsRefused) {
  EXPECT_THROW(verify({}), std::invalid_argument);
  EXPECT_THROW(verify({{"a.raw"}, catalogue_runs{}}), std::invalid_argument);
}

TEST(Verification, PrintsNothing) {
  const copied_run run(ravo_file_generation::older);
  simulator::settings what = small_run(run.folder.path().string(), ravo_file_generation::older);
  simulator::make_faults(what, run.made, {{"truncated", 1}});
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  const verification_report report = verify({run.made.files});
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_FALSE(report.findings.empty());
}

}  // namespace
