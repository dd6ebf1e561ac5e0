// Writers at work: what is read meanwhile is whole, writers side by side lose nothing of each other, and a
// lock is held by one.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <set>
#include <thread>

#include "asking.h"
#include "captured_output.h"
#include "catalogue/storage.h"
#include "temporary_folder.h"

namespace {

using namespace ravo::test;
using testing::IsEmpty;

std::string file_name(int number) { return "/raw/f" + std::to_string(number) + ".raw"; }

// The files of a run that passes midnight, one after the other.
raw_file_entry file_of(int number) {
  const std::uint32_t start = march_first + a_day - 900 + 20 * static_cast<std::uint32_t>(number);
  return entry(file_name(number), start, start + 19);
}

TEST(Readers, SeeARunGrowFileByFileAndNeverHalfWritten) {
  const temporary_folder folder;
  const std::string directory = folder.file("cat");
  constexpr int all = 120;
  std::atomic<int> written = 0;
  std::atomic<int> begun = 0;
  std::atomic<int> wrong = 0;
  std::atomic<bool> complete_seen[2] = {false, false};
  captured_output said;
  // An answer holds every file whose writing was over before the question, none that was not begun when it
  // came, and they are the first ones.
  const auto watch = [&](int which, auto question) {
    for (bool is_last = false;;) {
      const int before = written;
      is_last = before == all;
      const std::vector<std::string> files = question().files();
      const int after = begun;
      if (static_cast<int>(files.size()) < before || static_cast<int>(files.size()) > after) ++wrong;
      for (std::size_t i = 0; i < files.size(); ++i)
        if (files[i] != file_name(static_cast<int>(i))) ++wrong;
      if (is_last) {
        complete_seen[which] = files.size() == all;
        return;
      }
    }
  };
  std::thread by_run(watch, 0, [&] { return ask_runs({directory}, {7}); });
  std::thread by_period(watch, 1,
                        [&] { return ask_period({directory}, march_first, march_first + 3 * a_day); });
  std::size_t problems = 0;
  for (int i = 0; i < all; ++i) {
    begun = i + 1;
    problems += ravo::catalogue::add_runs(directory, {run_of(7, {file_of(i)})}).size();
    written = i + 1;
  }
  by_run.join();
  by_period.join();
  EXPECT_EQ(problems, 0u);
  EXPECT_EQ(wrong, 0);
  EXPECT_TRUE(complete_seen[0]);
  EXPECT_TRUE(complete_seen[1]);
  EXPECT_EQ(said.stop(), "");  // nothing looked damaged
}

constexpr int writers = 4;
constexpr int files_a_writer = 25;

// Writer w adds its files one by one to two runs that all share.
void add_share(const std::string& directory, int writer, std::size_t& problems) {
  for (int i = 0; i < files_a_writer; ++i) {
    const int number = i * writers + writer;
    problems += ravo::catalogue::add_runs(directory, {run_of(1 + number % 2, {file_of(number)})}).size();
  }
}

void expect_all_shares(const std::string& directory) {
  std::vector<std::string> expected;
  for (int i = 0; i < writers * files_a_writer; ++i) expected.push_back(file_name(i));
  std::sort(expected.begin(), expected.end());
  for (answer found :
       {ask_runs({directory}, {1, 2}), ask_period({directory}, march_first, march_first + 3 * a_day)}) {
    std::vector<std::string> files = found.files();
    std::sort(files.begin(), files.end());
    EXPECT_EQ(files, expected);
  }
}

TEST(Writers, InSeveralThreadsLoseNothing) {
  const temporary_folder folder;
  const std::string directory = folder.file("cat");
  std::vector<std::thread> threads;
  std::size_t problems[writers] = {};
  for (int writer = 0; writer < writers; ++writer)
    threads.emplace_back([&, writer] { add_share(directory, writer, problems[writer]); });
  for (std::thread& thread : threads) thread.join();
  EXPECT_THAT(problems, testing::Each(0u));
  expect_all_shares(directory);
}

TEST(Writers, InSeveralProcessesLoseNothing) {
  const temporary_folder folder;
  const std::string directory = folder.file("cat");
  std::vector<pid_t> children;
  for (int writer = 0; writer < writers; ++writer) {
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      std::size_t problems = 0;
      add_share(directory, writer, problems);
      _exit(problems == 0 ? 0 : 1);
    }
    children.push_back(child);
  }
  for (const pid_t child : children) {
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
  }
  expect_all_shares(directory);
}

TEST(Writers, LeaveNothingBehindButTheCatalogue) {
  const temporary_folder folder;
  const std::string directory = folder.file("cat");
  ravo::catalogue::add_runs(directory, {run_of(7, {file_of(0), file_of(1)})});
  std::vector<std::string> names;
  for (const auto& one : std::filesystem::recursive_directory_iterator(directory))
    if (one.is_regular_file()) names.push_back(one.path().lexically_relative(directory).string());
  EXPECT_THAT(names, testing::UnorderedElementsAre("linac/main/lock", "linac/main/runs/0/run7.xml",
                                                   "linac/main/days/2025/03/01.xml"));
}

TEST(Writers, ThatAddWhatIsThereAlreadyWriteNothing) {
  const temporary_folder folder;
  const std::string directory = folder.file("cat");
  const std::vector<run_entry> runs = {run_of(7, {file_of(0), file_of(1)})};
  ravo::catalogue::add_runs(directory, runs);
  const std::string run = directory + "/linac/main/runs/0/run7.xml",
                    day = directory + "/linac/main/days/2025/03/01.xml";
  const auto long_ago = std::filesystem::file_time_type::clock::now() - std::chrono::hours(1);
  for (const std::string& file : {run, day}) std::filesystem::last_write_time(file, long_ago);
  ravo::catalogue::add_runs(directory, runs);
  for (const std::string& file : {run, day})
    EXPECT_EQ(std::filesystem::last_write_time(file), long_ago) << file;
}

TEST(Writers, ThatCannotWriteSaySo) {
  const temporary_folder folder;
  const std::string directory = folder.file("cat");
  folder.write("cat", {});  // a file where the catalogue should be
  const auto problems = ravo::catalogue::add_runs(directory, {run_of(7, {file_of(0)})});
  ASSERT_EQ(problems.size(), 1u);
  EXPECT_EQ(problems[0].file, directory + "/linac/main/lock");
}

TEST(Lock, IsHeldByOneAtATime) {
  using ravo::catalogue::file_lock;
  std::set<std::string> changed;
  const temporary_folder folder;
  const std::string path = folder.file("below/lock");
  {
    const file_lock first(path, std::chrono::milliseconds(0), changed);
    EXPECT_EQ(first.problem(), "");
    const file_lock second(path, std::chrono::milliseconds(0), changed);
    EXPECT_EQ(second.problem(), "another program holds it for too long");
  }
  const file_lock third(path, std::chrono::milliseconds(0), changed);
  EXPECT_EQ(third.problem(), "");
}

}  // namespace
