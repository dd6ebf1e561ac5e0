// Every kind of damage that the simulator does, in files of both generations: the check reports what
// the answer key says, nothing else, and at the same places. For good files it reports nothing.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <regex>
#include <set>

#include "simulated_files.h"

namespace {

using namespace ravo::test;
using namespace ravo;
using testing::IsEmpty;
using testing::IsSubsetOf;

constexpr int damaged_file = 2;
constexpr ravo_file_generation generations[] = {ravo_file_generation::older, ravo_file_generation::current};

// Faults that are made by the machine need files of their own.
bool is_made_while_writing(const std::string& name) {
  return name == "missing-event" || name == "absent-channel";
}

// Files with one fault, and the findings to expect.
struct damaged_run {
  damaged_run(ravo_file_generation generation, const std::string& name) : run(generation) {
    const std::vector<simulated_fault> faults{{name, damaged_file}};
    simulator::settings what = small_run(run.folder.path().string(), generation);
    if (is_made_while_writing(name)) {
      simulator::prepare_faults(what, faults);
      for (const std::string& file : run.made.files) std::filesystem::remove(file);
      run.made = simulator::simulate(what, {}, {});
    }
    auto key = simulator::make_faults(what, run.made, faults);
    std::erase_if(run.made.files, [](const std::string& file) { return !std::filesystem::exists(file); });
    // expected_channels_test checks the findings over whole runs.
    std::erase_if(key, [](const simulator::expectation& one) { return one.file.empty(); });
    expected = lines_of(key);
  }
  copied_run run;
  std::vector<std::string> expected;
};

struct subject {
  const char* name;
  std::span<const simulator::fault_kind> kinds;
};
const subject subjects[] = {{"Files", simulator::file_faults()},
                            {"Tables", simulator::table_faults()},
                            {"Events", simulator::event_faults()},
                            {"Pointers", simulator::pointer_faults()},
                            {"Blocks", simulator::block_faults()}};

/// The threads of a check do the same for every kind of damage:
/// ThreadSanitizer, under which each kind takes a second, checks one in four.
#if defined(__SANITIZE_THREAD__)
constexpr std::size_t every = 4;
#else
constexpr std::size_t every = 1;
#endif

class Damage : public testing::TestWithParam<std::tuple<ravo_file_generation, subject>> {};

TEST_P(Damage, IsFoundAndNothingElse) {
  const auto kinds = std::get<1>(GetParam()).kinds;
  for (std::size_t i = 0; i < kinds.size(); i += every) {
    const simulator::fault_kind& kind = kinds[i];
    SCOPED_TRACE(kind.name);
    const damaged_run damaged(std::get<0>(GetParam()), kind.name);
    EXPECT_EQ(lines_of(findings_of(damaged.run.made.files)), damaged.expected);
  }
}

bool is_in_the_data(const std::string& line) {
  for (const char* kind : {" block.inflate ", " block.convert ", " block.original_length ",
                           " channel.shifted ", " environment.index ", " channel.time_back ",
                           " channel.frozen ", " block.reading_time ", " block.spare_words "})
    if (line.find(kind) != std::string::npos) return true;
  // A finding in a text of a channel's event is in its block.
  return std::regex_search(line, std::regex(" text\\.encoding [^-]\\S* [0-9]+ "));
}

TEST_P(Damage, IsFoundByHeadsAloneUnlessItIsInTheData) {
  const auto kinds = std::get<1>(GetParam()).kinds;
  for (std::size_t i = 0; i < kinds.size(); i += every) {
    const simulator::fault_kind& kind = kinds[i];
    SCOPED_TRACE(kind.name);
    damaged_run damaged(std::get<0>(GetParam()), kind.name);
    const auto quick = lines_of(findings_of(damaged.run.made.files, verification_depth::heads));
    EXPECT_THAT(quick, IsSubsetOf(damaged.expected));
    std::erase_if(damaged.expected, is_in_the_data);
    EXPECT_THAT(damaged.expected, IsSubsetOf(quick));
  }
}

INSTANTIATE_TEST_SUITE_P(Of, Damage,
                         testing::Combine(testing::ValuesIn(generations), testing::ValuesIn(subjects)),
                         [](const auto& one) {
                           const bool is_older = std::get<0>(one.param) == ravo_file_generation::older;
                           return std::string(std::get<1>(one.param).name) +
                                  (is_older ? "_older" : "_current");
                         });

class GoodFiles
    : public testing::TestWithParam<std::tuple<ravo_file_generation, std::optional<ravo_compression>>> {};

TEST_P(GoodFiles, GiveNoFinding) {
  const temporary_folder folder;
  simulator::settings what = small_run(folder.path().string(), std::get<0>(GetParam()));
  what.compression = std::get<1>(GetParam());
  what.runs = 2;
  what.events = 120;  // with all gaps of the machine
  const auto made = simulator::simulate(what, {}, {});
  ASSERT_EQ(made.files.size(), 6u);
  EXPECT_THAT(lines_of(findings_of(made.files)), IsEmpty());
  EXPECT_THAT(lines_of(findings_of(made.files, verification_depth::heads)), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(OfEveryKind, GoodFiles,
                         testing::Combine(testing::ValuesIn(generations),
                                          testing::Values(std::optional<ravo_compression>(),
                                                          ravo_compression::none, ravo_compression::zlib,
                                                          ravo_compression::lzo1x)));

TEST(GoodFile, IsCheckedBlockForBlock) {
  const temporary_folder folder;
  const auto what = small_run(folder.path().string(), ravo_file_generation::current);
  const auto made = simulator::simulate(what, {}, {});
  std::uint64_t blocks = 0, events = 0, reported = 0, bytes = 0;
  for (const std::string& file : made.files) {
    const auto result = checks::check_file(file, verification_depth::blocks, 3,
                                           [&](std::uint64_t more) { reported += more; });
    blocks += result.blocks;
    events += result.events;
    bytes += std::filesystem::file_size(file);
  }
  EXPECT_EQ(blocks, made.blocks);
  EXPECT_EQ(events, made.events);
  EXPECT_EQ(reported, bytes);
}

TEST(DamagedFile, GivesTheSameWithAnyNumberOfThreads) {
  const copied_run run(ravo_file_generation::current);
  simulator::make_faults(small_run(run.folder.path().string(), ravo_file_generation::current), run.made,
                         {{"shifted-channel", 1}, {"flipped-bit", 2}, {"pointer-data", 3}});
  const auto alone = findings_of(run.made.files, verification_depth::blocks, 1);
  ASSERT_GT(alone.size(), 3u);
  std::vector<std::string> lines, others;
  for (const auto& one : alone) lines.push_back(line_of(one) + one.detail);
  for (const auto& one : findings_of(run.made.files, verification_depth::blocks, 8))
    others.push_back(line_of(one) + one.detail);
  EXPECT_EQ(lines, others);  // in the same order, too
}

TEST(Faults, HaveNamesOfTheirOwnAndSayWhatTheyAre) {
  std::set<std::string> names;
  for (const simulator::fault_kind& one : simulator::fault_kinds()) {
    EXPECT_TRUE(names.insert(one.name).second) << one.name;
    EXPECT_NE(std::string(one.what), "");
  }
  EXPECT_EQ(simulator::find_fault("no-such-fault"), nullptr);
}

TEST(Faults, CoverEveryKindOfFindingThatOneFileCanGive) {
  std::set<std::string> covered;
  for (const auto generation : generations)
    for (const simulator::fault_kind& one : simulator::fault_kinds()) {
      if (one.make == nullptr) continue;
      const copied_run run(generation);
      const auto what = small_run(run.folder.path().string(), generation);
      for (const auto& file : simulator::make_faults(what, run.made, {{one.name, damaged_file}}))
        for (const auto& line : file.findings) covered.insert(line.kind);
    }
  // These have tests of their own: they are not damage of a simulated file.
  const std::set<std::string> elsewhere = {
      "file.unreadable", "file.changed",      "file.too_large",    "file.too_entangled",
      "block.too_large", "table.overlap",     "event.missing",     "run.file_missing",
      "channel.absent",  "folder.unreadable", "catalogue.damaged", "catalogue.unreadable",
      "run.unknown",     "run.file_growing",  "run.file_left_out", "run.file_twice"};
  for (const checks::kind_row& row : checks::finding_kinds())
    EXPECT_TRUE(covered.contains(row.code) || elsewhere.contains(row.code)) << row.code;
}

}  // namespace
