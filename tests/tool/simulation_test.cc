// The simulator as a library: it prints nothing, and what it cannot do it says by exceptions.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "ravo_simulator.h"
#include "ravo_verify.h"
#include "temporary_folder.h"

namespace {

using namespace ravo;
using testing::HasSubstr;

class Simulation : public testing::Test {
 protected:
  simulation small() const {
    simulation what;
    what.folder = (folder.path() / "files").string();
    what.events = 10;
    what.counts = {1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1};
    return what;
  }
  std::size_t files_there() const {
    const auto there = std::filesystem::directory_iterator(folder.path() / "files");
    return static_cast<std::size_t>(std::distance(begin(there), end(there)));
  }
  const test::temporary_folder folder;
};

std::string refusal(const simulation& what) {
  try {
    simulate(what);
  } catch (const std::invalid_argument& why) {
    return why.what();
  }
  return "";
}

TEST_F(Simulation, WritesFilesAnAnswerKeyAndNothingElse) {
  simulation what = small();
  what.answer_key = folder.file("key.jsonl");
  std::uint64_t last = 0, all = 0;
  const simulated_run_files made = simulate(what, {}, [&](std::uint64_t done, std::uint64_t total) {
    EXPECT_GT(done, last);
    last = done;
    all = total;
  });
  EXPECT_EQ(last, all);
  EXPECT_EQ(all, 2 * 10 + 2u);
  ASSERT_EQ(made.files.size(), 2u);
  for (const simulated_file& file : made.files)
    EXPECT_EQ(file.bytes, std::filesystem::file_size(file.path));
  EXPECT_EQ(files_there(), 2u);
  EXPECT_EQ(made.channels, 18);
  std::ifstream key(what.answer_key);
  std::uint64_t lines = 0;
  for (std::string line; std::getline(key, line);) ++lines;
  EXPECT_EQ(lines, made.blocks);
}

TEST_F(Simulation, AFaultIsWhatVerifyFinds) {
  simulation what = small();
  what.faults = {{"flipped-bit", 2}};
  const simulated_run_files made = simulate(what);
  const verification_report report = verify({{what.folder}});
  ASSERT_EQ(report.findings.size(), 1u);
  EXPECT_EQ(report.findings[0].file, made.files[1].path);
  std::ifstream expected(made.files[1].path + ".expected.json");
  std::string line;
  std::getline(expected, line);
  EXPECT_THAT(line, HasSubstr("\"kind\":\"" + report.findings[0].kind + "\""));
}

TEST_F(Simulation, AStopLeavesWholeFilesAndNoKey) {
  simulation what = small();
  what.answer_key = folder.file("key.jsonl");
  std::stop_source stop;
  EXPECT_THROW(simulate(what, stop.get_token(),
                        [&](std::uint64_t done, std::uint64_t) {
                          if (done == 15) stop.request_stop();
                        }),
               simulation_stopped);
  EXPECT_EQ(files_there(), 1u);
  EXPECT_FALSE(std::filesystem::exists(what.answer_key));
  EXPECT_EQ(verify({{what.folder}}).findings.size(), 0u);
}

TEST_F(Simulation, WhatTheProgressThrowsEndsIt) {
  struct enough {};
  EXPECT_THROW(simulate(small(), {}, [](std::uint64_t, std::uint64_t) { throw enough{}; }), enough);
  EXPECT_EQ(files_there(), 0u);
}

TEST_F(Simulation, AFolderThatCannotBeMadeIsNamed) {
  simulation what = small();
  what.folder = folder.write("file", {}) + "/below";
  try {
    simulate(what);
    FAIL();
  } catch (const simulation_error& why) {
    EXPECT_THAT(why.what(), HasSubstr(what.folder));
  }
}

TEST_F(Simulation, SettingsOutOfRangeAreNamed) {
  const auto with = [&](const std::function<void(simulation&)>& change) {
    simulation what = small();
    change(what);
    return refusal(what);
  };
  EXPECT_EQ(with([](simulation& what) { what.files = 0; }), "files is 0; it must be from 1 to 100000");
  EXPECT_EQ(with([](simulation& what) { what.counts.rfs = -1; }), "rfs is -1; it must be from 0 to 10000");
  EXPECT_EQ(with([](simulation& what) { what.clock.rate = 0; }), "rate is 0; it must be from 0.01 to 1000");
  EXPECT_EQ(with([](simulation& what) { what.folder = ""; }),
            "folder is empty; name the folder for the files");
  EXPECT_EQ(with([](simulation& what) { what.clock.first_event = 4'294'967'290u; }),
            "so many runs, files and events leave the range of event numbers");
  EXPECT_EQ(with([](simulation& what) { what.faults = {{"no-such", 1}}; }), "there is no fault 'no-such'");
  EXPECT_EQ(with([](simulation& what) {
              what.faults = {{"flipped-bit", 3}};
            }),
            "a fault of file 3: files count from 1 to 2");
  EXPECT_EQ(with([](simulation& what) {
              what.faults = {{"flipped-bit", 1}, {"missing-event", 1}};
            }),
            "file 1 would be damaged twice: flipped-bit and missing-event");
}

}  // namespace
