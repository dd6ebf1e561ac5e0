// Every example, over files of which the last one cannot be loaded: the readers say so on standard output,
// and a program that is copied from an example does not want that among its data.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <regex>
#include <sstream>

#include "temporary_folder.h"
#include "tool_run.h"

namespace {

using namespace ravo::test;
using testing::HasSubstr;

constexpr const char* number = "[-+0-9.e]+";
constexpr const char* refused_file = "the tables cannot be loaded";

/// How an example is called, what a line of its data is, and what must be on standard error.
struct calling {
  std::string arguments;
  std::string line;
  std::string message;
};

/// The two demo files of a generation, and one that is no raw file, in a folder and in a list.
class files_with_a_broken_one {
 public:
  explicit files_with_a_broken_one(const std::string& generation) {
    std::ofstream list(folder_.file("list.txt"));
    for (const std::string& file : demo_of(generation).files) {
      const std::filesystem::path copy = folder_.path() / std::filesystem::path(file).filename();
      std::filesystem::copy_file(file, copy);
      add(copy.string(), list);
    }
    const std::string broken = folder_.file("linac_main_run1_file3_20250301T090000Z.raw");
    std::ofstream(broken) << std::string(10000, 'x');
    add(broken, list);
  }
  std::string all() const { return all_; }
  std::string first() const { return first_; }
  std::string list() const { return "'" + folder_.file("list.txt") + "'"; }
  std::string folder() const { return folder_.path().string(); }

 private:
  void add(const std::string& file, std::ofstream& list) {
    list << file << '\n';
    const std::string word = "'" + file + "'";
    if (first_.empty()) first_ = word;
    all_ += (all_.empty() ? "" : " ") + word;
  }
  temporary_folder folder_;
  std::string first_, all_;
};

std::optional<calling> calling_of(std::string name, const files_with_a_broken_one& older,
                                  const files_with_a_broken_one& current) {
  const std::string value = std::string(" ") + number;
  if (name == "write_a_file") return calling{".", ".*/?linac.*[.]raw", ""};
  if (name == "first_program")
    return calling{"'file=" + current.folder() + " chan=LINAC/BPM/001'", "[0-9]+" + value, ""};
  if (name == "events_and_columns")
    return calling{"'file=" + current.folder() + " chan=LINAC/BPM/001'", ".+", ""};
  if (name == "what_is_there") return calling{"'file=" + current.folder() + "' LINAC/BPM/001", ".+", ""};
  if (name == "columns_in_parts")
    return calling{"'file=" + current.folder() + " chan=LINAC/BPM/001,LINAC/MAGNET/001 slow=hold'", ".+",
                   ""};
  if (name == "envelope")
    return calling{"'file=" + current.folder() + "' LINAC/BPM/001", "(X|Y|CHARGE|events) ?.+", ""};
  if (name == "read_by_parts")
    return calling{"'file=" + current.folder() + " chan=LINAC/BPM/001' 2", ".+", ""};
  if (name == "follow_a_run")
    return calling{"'file=" + current.folder() + " chan=LINAC/BPM/001' LINAC/BPM/001 0", ".+", ""};
  if (name == "first_program_classic")
    return calling{"LINAC/BPM/001 " + current.all(), "[0-9]+" + value, refused_file};
  // This reader reports that it skips files that are seconds old; the older one takes them.
  if (name == "list_channels_2010") return calling{current.first(), "", "skipped (not closed)"};
  if (name == "list_channels") return calling{older.first(), "[0-9]+ [^ ]+", ""};
  const bool is_current = name.ends_with("_2010");
  if (is_current) name.resize(name.size() - 5);
  const auto with = [&](const std::string& channel, const std::string& line) {
    return calling{is_current ? channel + " " + current.all() : older.list() + " " + channel, line,
                   refused_file};
  };
  if (name == "print_channel") return with("LINAC/BPM/001", "[0-9]+ [^ ]+(" + value + ")+");
  if (name == "average_spectrum")
    return with("LINAC/RF/001", "# average of 80 events|" + std::string(number) + value);
  if (name == "follow_slow_value")
    return with("LINAC/MAGNET/001", "[0-9]+ [0-9]+" + value + " status [0-9]+");
  if (name == "camera_to_pgm") return with("LINAC/CAMERA/001", "frame_[0-9]+[.]pgm");
  return std::nullopt;
}

TEST(EveryExample, KeepsItsDataAndTheLibrarysMessagesApart) {
  const files_with_a_broken_one older("older"), current("current");
  std::istringstream names(RAVO_EXAMPLE_NAMES);
  int called = 0;
  for (std::string name; names >> name; ++called) {
    SCOPED_TRACE(name);
    const std::optional<calling> call = calling_of(name, older, current);
    ASSERT_TRUE(call.has_value()) << "this test does not know how to call it";
    if (name == "list_channels_2010")
      unsetenv("RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME");
    else
      setenv("RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME", "1", 1);
    const temporary_folder place;
    const process_result result = run_process(
        {"/bin/sh", "-c",
         "cd '" + place.path().string() + "' && exec '" RAVO_EXAMPLES "/" + name + "' " + call->arguments});
    EXPECT_EQ(result.exit_code, call->line.empty() ? 1 : 0) << result.err;
    EXPECT_THAT(result.err, HasSubstr(call->message));
    EXPECT_EQ(result.out.empty(), call->line.empty());
    std::istringstream lines(result.out);
    for (std::string line; std::getline(lines, line);)
      EXPECT_TRUE(std::regex_match(line, std::regex(call->line))) << line;
  }
  EXPECT_GE(called, 13);
}

}  // namespace
