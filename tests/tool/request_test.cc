// ravo read without file names: by run and by period, from a catalogue and
// by names, and how it explains its choice. Files made by the tests are
// newer than files that requests take, so most runs switch this rule off.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>

#include "tool_run.h"

namespace {

using namespace ravo::test;
using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

const char* const ignore_close_time = "RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME=1";

// Runs the tool without the rule that new files may still be written.
process_result run_at_once(const std::vector<std::string>& arguments) {
  std::vector<std::string> all = {"/usr/bin/env", ignore_close_time, RAVO_TOOL};
  all.insert(all.end(), arguments.begin(), arguments.end());
  return run_process(all);
}

// Runs 3 and 4 of three files each, 2 s of ten events a second in a file, from 2025-03-01T08:00:00Z on; and
// a catalogue of them. Run 4 begins at 08:00:11.
struct archive {
  explicit archive(const std::string& generation) {
    check(run_tool({"simulate", data, "--runs", "2", "--first-run", "3", "--files", "3", "--events", "20",
                    "--channels", "20", "--generation", generation}));
    check(run_at_once({"catalog", "build", data, "--into", catalogue}));
    files = raw_files(data);
  }
  static void check(const process_result& made) {
    if (made.exit_code != 0) throw std::runtime_error(made.err);
  }
  temporary_folder folder;
  std::string data = folder.file("data");
  std::string catalogue = folder.file("catalogue");
  std::vector<std::string> files;
};

const archive& archive_of(const std::string& generation) {
  static const archive current("current"), older("older");
  return generation == "older" ? older : current;
}

std::vector<json> explained(std::vector<std::string> request) {
  request.insert(request.begin(), "read");
  request.insert(request.end(), {"--explain", "--json"});
  const process_result result = run_at_once(request);
  EXPECT_EQ(result.exit_code, 0) << result.err;
  return json_lines(result.out);
}

std::string name_of(const json& line) { return line.at("file").get<std::string>(); }

// Over files of both generations, in both ways of reading.
class Request : public testing::TestWithParam<const char*> {
 protected:
  bool is_classic() const { return std::string(GetParam()).ends_with("classic"); }

  std::vector<std::string> with_channel(std::vector<std::string> arguments) const {
    arguments.insert(arguments.end(), {"-c", "LINAC/BPM/001", "-c", "LINAC/RUN/*", "--json"});
    // What is held from before a window depends on which files are scanned.
    if (is_classic())
      arguments.push_back("--classic");
    else
      arguments.insert(arguments.end(), {"--slow", "none"});
    return arguments;
  }

  // The output of the tool for files named in full.
  std::string read_by_name(std::vector<std::string> files,
                           const std::vector<std::string>& window = {}) const {
    files.insert(files.begin(), "read");
    files.insert(files.end(), window.begin(), window.end());
    const process_result result = run_tool(with_channel(files));
    EXPECT_EQ(result.exit_code, 0) << result.err;
    EXPECT_NE(result.out, "");
    return without_closing(result.out);
  }

  std::string read_by_request(std::vector<std::string> request, const std::string& message = "") const {
    request.insert(request.begin(), "read");
    const process_result result = run_at_once(with_channel(request));
    EXPECT_EQ(result.exit_code, 0) << result.err;
    EXPECT_EQ(result.err, message);
    return without_closing(result.out);
  }

  std::vector<std::string> files_of_run(int run) const {
    const auto first = made.files.begin() + (run == 3 ? 0 : 3);
    return {first, first + 3};
  }

  const std::string generation = std::string(GetParam()).starts_with("older") ? "older" : "current";
  const archive& made = archive_of(generation);
};
class Explain : public Request {};

constexpr auto name_of_generation = [](const testing::TestParamInfo<const char*>& tested) {
  return std::string(tested.param);
};
INSTANTIATE_TEST_SUITE_P(GenerationsAndWays, Request,
                         testing::Values("current", "older", "current_classic", "older_classic"),
                         name_of_generation);
INSTANTIATE_TEST_SUITE_P(Generations, Explain, testing::Values("current", "older"), name_of_generation);

TEST_P(Request, ForARunIsTheSameAsItsFiles) {
  for (const int run : {3, 4}) {
    const std::string expected = read_by_name(files_of_run(run));
    const std::string number = std::to_string(run);
    EXPECT_EQ(read_by_request({"--run", number, "--catalog", made.catalogue}), expected) << "catalogue";
    EXPECT_EQ(read_by_request({"--run", number, "--data", made.data}), expected) << "names";
    EXPECT_EQ(read_by_request({"--run", number, "--catalog", made.catalogue, "--data", made.data}),
              expected);
  }
}

TEST_P(Request, ForSeveralRunsIsTheSameAsTheirFiles) {
  const std::string expected = read_by_name(made.files);
  EXPECT_EQ(read_by_request({"--run", "3-4", "--catalog", made.catalogue}), expected);
  const std::string not_there =
      "ravo: No files are found of runs 1-2, 5-9: the run catalogue has none with events; build it again "
      "if "
      "some have come since\n";
  EXPECT_EQ(read_by_request({"--run", "1-9", "--catalog", made.catalogue}, not_there), expected);
  EXPECT_EQ(read_by_request({"--run", "3-4", "--data", made.data}), expected);
}

TEST_P(Request, ForAPeriodIsTheSameAsTheWindowOfAllFiles) {
  const std::vector<std::pair<const char*, const char*>> periods = {
      {"2025-03-01T08:00:01.5", "2025-03-01T08:00:03.25"},
      {"2025-03-01T08:00:02", "2025-03-01T08:00:13"},
      {"2025-03-01T08:00:00", "2025-03-01T09:00:00"}};
  for (const auto& [from, to] : periods) {
    const std::string expected = read_by_name(made.files, {"--from", from, "--to", to});
    EXPECT_EQ(read_by_request({"--from", from, "--to", to, "--catalog", made.catalogue}), expected) << from;
    EXPECT_EQ(read_by_request({"--from", from, "--to", to, "--data", made.data}), expected) << from;
  }
}

TEST_P(Request, ForAPeriodInsideOneFileIsAnsweredByTheCatalogue) {
  const std::vector<std::string> window = {"--from", "2025-03-01T08:00:02.95", "--to",
                                           "2025-03-01T08:00:03.35"};
  std::vector<std::string> request = window;
  request.insert(request.end(), {"--catalog", made.catalogue});
  EXPECT_EQ(read_by_request(request), read_by_name(made.files, window));
}

TEST_P(Request, ReadsTimesOfDayInTheZone) {
  const std::string utc =
      read_by_name(made.files, {"--from", "2025-03-01T08:00:01", "--to", "2025-03-01T08:00:03"});
  for (const char* zone : {"Europe/Berlin", "+01:00"})
    EXPECT_EQ(read_by_request({"--from", "2025-03-01 09:00:01", "--to", "09:00:03", "--tz", zone,
                               "--catalog", made.catalogue}),
              utc)
        << zone;
  EXPECT_EQ(read_by_request({"--from", "2025-03-01T08:00:01Z", "--to", "+2s", "--tz", "America/New_York",
                             "--catalog", made.catalogue}),
            utc);
}

TEST_P(Request, ForARunKeepsItsWindow) {
  for (const std::vector<std::string>& window :
       {std::vector<std::string>{"--from", "2025-03-01T08:00:03", "--to", "2025-03-01T08:00:04"},
        std::vector<std::string>{"--from", "2025-03-01T08:00:03"},
        std::vector<std::string>{"--to", "2025-03-01T08:00:03"},
        std::vector<std::string>{"--first-event", "1000015", "--last-event", "1000025"},
        std::vector<std::string>{"--limit", "7"}}) {
    const std::string expected = read_by_name(files_of_run(3), window);
    for (const std::vector<std::string>& where : {std::vector<std::string>{"--catalog", made.catalogue},
                                                  std::vector<std::string>{"--data", made.data}}) {
      std::vector<std::string> request = {"--run", "3"};
      request.insert(request.end(), window.begin(), window.end());
      request.insert(request.end(), where.begin(), where.end());
      EXPECT_EQ(read_by_request(request), expected) << window[0] << " " << where[0];
    }
  }
}

// A period that ends now and began five minutes ago: the simulated files are written into it.
TEST_P(Request, CountsBackFromNow) {
  const temporary_folder folder;
  const std::string data = folder.file("data");
  archive::check(run_tool({"simulate", data, "--files", "1", "--events", "20", "--channels", "20",
                           "--start", "-2min", "--generation", generation}));
  const process_result result = run_at_once(with_channel({"read", "--from", "-1h", "--data", data}));
  EXPECT_EQ(result.exit_code, 0) << result.err;
  EXPECT_EQ(without_closing(result.out), read_by_name(raw_files(data)));
  const process_result before =
      run_at_once(with_channel({"read", "--from", "-1h", "--to", "-30min", "--data", data}));
  EXPECT_EQ(before.exit_code, 1);
}

// ---- explained ---------------------------------------------------------------------------------------

TEST_P(Explain, SaysThatTheCatalogueHadTheFiles) {
  const std::vector<json> lines = explained({"--run", "3", "--catalog", made.catalogue});
  ASSERT_EQ(lines.size(), 3u);
  for (std::size_t i = 0; i < 3; ++i)
    EXPECT_EQ(lines[i], json({{"file", made.files[i]},
                              {"generation", generation},
                              {"read", true},
                              {"origin", "catalogue"},
                              {"outcome", "taken"}}));
}

TEST_P(Explain, SaysWhichFilesStandAtTheEdges) {
  // The second file of run 3 begins at 08:00:02 and the third at 08:00:04.
  const std::vector<json> lines =
      explained({"--from", "2025-03-01T08:00:01", "--to", "2025-03-01T08:00:03", "--data", made.data});
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(name_of(lines[0]), made.files[0]);
  EXPECT_EQ(lines[0].at("origin"), "edge_before");
  EXPECT_EQ(lines[0].at("read"), true);
  EXPECT_EQ(name_of(lines[1]), made.files[1]);
  EXPECT_EQ(lines[1].at("origin"), "scan");
  EXPECT_EQ(lines[1].at("read"), true);
  EXPECT_EQ(name_of(lines[2]), made.files[2]);
  EXPECT_EQ(lines[2].at("origin"), "edge_behind");
  EXPECT_EQ(lines[2].at("read"), false) << "it begins after the period";
  EXPECT_EQ(lines[2].at("outcome"), "outside_period");
}

TEST_P(Explain, SaysWhatTheRunHasOutsideThePeriod) {
  const std::vector<json> lines = explained({"--run", "3", "--from", "2025-03-01T08:00:03.5", "--to",
                                             "2025-03-01T08:00:03.9", "--catalog", made.catalogue});
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(lines[0].at("outcome"), "outside_period");
  EXPECT_EQ(lines[1].at("outcome"), "taken");
  EXPECT_EQ(lines[2].at("outcome"), "outside_period");
}

TEST(ExplainYoungFiles, NamesThoseThatAreNotClosed) {
  const temporary_folder young;
  archive::check(
      run_tool({"simulate", young.path().string(), "--files", "1", "--events", "3", "--channels", "20"}));
  const std::string file = raw_files(young.path()).at(0);
  const process_result refused = run_tool({"read", "--run", "1", "--catalog", young.file("none"), "--data",
                                           young.path().string(), "--explain"});
  EXPECT_EQ(refused.exit_code, 1);
  EXPECT_EQ(refused.out, "");
  EXPECT_EQ(refused.err,
            "ravo: no files for run 1 of experiment linac, stream main\n"
            "  catalogue " +
                young.file("none") +
                ": is not there\n"
                "  folder " +
                young.path().string() +
                ": searched by name among 1 raw file\n"
                "  left out: " +
                file +
                ": not closed: it changed less than half a minute ago and may still be written\n"
                "wait half a minute, or name the files: named files are read at once\n");
}

TEST_P(Explain, IsReadByPeople) {
  const process_result result =
      run_at_once({"read", "--from", "2025-03-01T08:00:01", "--to", "2025-03-01T08:00:03", "--catalog",
                   made.folder.file("none"), "--data", made.data, "--explain"});
  const std::string mark = generation == "older" ? "  (older generation)" : "";
  EXPECT_EQ(result.exit_code, 0) << result.err;
  EXPECT_EQ(result.out,
            "2025-03-01T08:00:01.000000Z to 2025-03-01T08:00:03.000000Z of experiment linac, stream main\n"
            "  catalogue " +
                made.folder.file("none") +
                ": is not there\n"
                "  folder " +
                made.data +
                ": searched by name among 6 raw files\n"
                "\n"
                "  read  " +
                made.files[0] + "  edge: comes before the first" + mark + "\n  read  " + made.files[1] +
                "  its name fits" + mark + "\n  -     " + made.files[2] +
                "  edge: comes after the last; no events of the period" + mark +
                "\n\n"
                "2 files to read, 1 left out\n");
}

TEST(ExplainDamagedFiles, ListsThem) {
  const temporary_folder folder;
  const std::string file =
      folder.write("linac_main_run5_file1_20250301T080000Z.raw", std::vector<unsigned char>{'x'});
  archive::check(run_tool({"simulate", folder.path().string(), "--first-run", "5", "--files", "2",
                           "--events", "3", "--channels", "20", "--start", "2025-03-01T07:00:00"}));
  const std::vector<json> lines = explained({"--run", "5", "--data", folder.path().string()});
  ASSERT_EQ(lines.size(), 3u);
  for (const json& line : lines) {
    EXPECT_EQ(line.at("read"), name_of(line) != file);
    EXPECT_EQ(line.at("outcome"), name_of(line) == file ? "not_readable" : "taken");
  }
}

// ---- nothing found -----------------------------------------------------------------------------------

TEST(RequestForNothing, SaysWhatWasSearched) {
  const archive& made = archive_of("current");
  const process_result unknown_run =
      run_at_once({"read", "--run", "77", "--catalog", made.catalogue, "--data", made.data, "-c", "X"});
  EXPECT_EQ(unknown_run.exit_code, 1);
  EXPECT_EQ(unknown_run.out, "");
  EXPECT_EQ(unknown_run.err,
            "ravo: no files for run 77 of experiment linac, stream main\n"
            "  catalogue " +
                made.catalogue +
                ": has no answer\n"
                "  folder " +
                made.data +
                ": searched by name among 6 raw files\n"
                "if the files came after the catalogue was built, build it again: `ravo catalog build "
                "FOLDER --into " +
                made.catalogue + "`; `ravo catalog list " + made.catalogue + "` lists its runs\n");
}

TEST(RequestForNothing, SaysThatTheFolderIsNotThere) {
  const archive& made = archive_of("current");
  const std::string nowhere = made.folder.file("nowhere");
  const process_result result =
      run_at_once({"read", "--run", "1-2", "--catalog", nowhere, "--data", nowhere, "-c", "X"});
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_EQ(
      result.err,
      "ravo: no files for runs 1 to 2 of experiment linac, stream main\n"
      "  catalogue " +
          nowhere +
          ": is not there\n"
          "  folder " +
          nowhere +
          ": No such file or directory\n"
          "`ravo catalog list` lists the runs of a catalogue, `ravo info FILE` says the times of a file\n");
}

TEST(RequestForNothing, AsksForAPlaceToLookAt) {
  const archive& made = archive_of("current");
  const process_result result = run_at_once(
      {"read", "--run", "3", "-e", "ring", "--stream", "slow", "--catalog", made.catalogue, "-c", "X"});
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_THAT(result.err,
              StartsWith("ravo: no files for run 3 of experiment ring, stream slow\n  catalogue " +
                         made.catalogue + ": has no answer\n  folder /daq/"));
  EXPECT_THAT(result.err,
              HasSubstr("\nif the files came after the catalogue was built, build it again: `ravo catalog "
                        "build FOLDER --into "));
}

TEST(RequestForNothing, SaysThatCataloguedFilesWereMoved) {
  const temporary_folder folder;
  const std::string data = folder.file("data"), moved = folder.file("moved"),
                    catalogue = folder.file("catalogue");
  archive::check(run_tool({"simulate", data, "--files", "1", "--events", "3", "--channels", "20"}));
  archive::check(run_at_once({"catalog", "build", data, "--into", catalogue}));
  std::filesystem::rename(data, moved);
  const std::string name = std::filesystem::path(raw_files(moved).at(0)).filename().string();
  // (With the closed-file rule, because without it files are not opened at all.)
  const process_result result =
      run_tool({"read", "--run", "1", "--catalog", catalogue, "-c", "LINAC/BPM/001"});
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_EQ(result.err,
            "ravo: no files for run 1 of experiment linac, stream main\n"
            "  catalogue " +
                catalogue +
                ": has the answer\n"
                "  left out: " +
                name +
                ": not found, or not readable, in the data directories\n"
                "say with --data where the files are now\n");
  const process_result found = run_at_once(
      {"read", "--run", "1", "--catalog", catalogue, "--data", moved, "-c", "LINAC/BPM/001", "--json"});
  EXPECT_EQ(event_numbers(found.out).size(), 3u) << found.err;
}

TEST(RequestForNothing, WarnsOfPeriodsThatNamesMayMiss) {
  const archive& made = archive_of("current");
  const process_result result = run_at_once(
      {"read", "--from", "2025-02-01", "--to", "2025-02-02", "--data", made.data, "-c", "LINAC/BPM/001"});
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_THAT(result.err,
              HasSubstr("\nby names alone, a period inside one file can be missed; a catalogue, which "
                        "`ravo catalog build` makes, finds it\n"));
}

TEST_P(Request, NotesFilesOfAnotherStream) {
  const process_result result = run_at_once({"read", "--run", "3", "--stream", "slow", "--data", made.data,
                                             "-c", "LINAC/BPM/001", "--limit", "1", "--json"});
  EXPECT_EQ(result.exit_code, 0);
  EXPECT_EQ(
      result.err,
      "ravo: the names of 3 of the 3 files do not say stream slow: folders are searched by run, time and "
      "experiment only\n");
}

TEST_P(Request, NamesADamagedFile) {
  const temporary_folder folder;
  const std::string file =
      folder.write("linac_main_run5_file1_20250301T080000Z.raw", std::vector<unsigned char>{'x', 'y', 'z'});
  const process_result result =
      run_at_once({"read", "--run", "5", "--data", folder.path().string(), "-c", "LINAC/BPM/001"});
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_EQ(result.err, "ravo: " + file + ": too short for a raw file\n");
}

}  // namespace
