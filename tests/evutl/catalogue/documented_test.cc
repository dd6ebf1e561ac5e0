// The catalogue that docs/run-catalogue.md shows, laid out as the page says and asked: what the page states
// is what the look-ups read, and what is written from the same facts is the same text.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>

#include "asking.h"
#include "captured_output.h"
#include "temporary_folder.h"

namespace {

using namespace ravo::test;
using testing::ElementsAre;
using testing::IsEmpty;

struct shown_file {
  std::string name;
  std::string text;
};

// Each "`CDIR/...`:" is followed by a block of XML.
std::vector<shown_file> shown_files() {
  const auto bytes = read_file(RAVO_SOURCE_FOLDER "/docs/run-catalogue.md");
  std::istringstream page(std::string(bytes.begin(), bytes.end()));
  std::vector<shown_file> files;
  std::string name;
  for (std::string line; std::getline(page, line);) {
    if (line.starts_with("`CDIR/") && line.ends_with("`:")) name = line.substr(6, line.size() - 8);
    if (line != "```xml" || name.empty()) continue;
    std::string text;
    while (std::getline(page, line) && line != "```") text += line + "\n";
    files.push_back({name, text});
    name.clear();
  }
  return files;
}

class Page : public testing::Test {
 protected:
  Page() {
    for (const shown_file& file : shown_files()) {
      std::filesystem::create_directories((folder_.path() / file.name).parent_path());
      folder_.write(file.name,
                    {reinterpret_cast<const unsigned char*>(file.text.data()), file.text.size()});
    }
  }
  std::string directory() const { return folder_.path().string(); }

  temporary_folder folder_;
};

// 2025-03-01T23:50:00Z and what follows.
constexpr std::uint32_t begin = march_first + a_day - 600;

TEST_F(Page, ShowsARunAndTheDaysThatItIsOn) {
  captured_output said;
  EXPECT_THAT(ask_runs({directory()}, {1207}).files(),
              ElementsAre("/data/linac_main_run1207_file1_20250301T235000Z.raw",
                          "/data/linac_main_run1207_file2_20250301T235500Z.raw"));
  EXPECT_THAT(ask_runs({directory(), "linac", "main", 0}, {1207}).files(), testing::SizeIs(3));
  EXPECT_THAT(ask_period({directory()}, begin + 599, begin + 599).files(),
              ElementsAre("/data/linac_main_run1207_file2_20250301T235500Z.raw"));
  EXPECT_THAT(ask_period({directory()}, begin + 601, begin + 601).files(),
              ElementsAre("/data/linac_main_run1207_file2_20250301T235500Z.raw"));
  EXPECT_EQ(ask_time(directory(), 1207)->first, seconds_and_microseconds(begin, 104512));
  EXPECT_EQ(said.stop(), "");
}

TEST_F(Page, ShowsWhatIsWrittenFromTheSameFacts) {
  run_entry run;
  ravo::catalogue::visit_runs(directory(), "", "", [&run](const run_entry& one) { run = one; });
  const temporary_folder other;
  ASSERT_THAT(lines(ravo::catalogue::add_runs(other.path().string(), {run})), IsEmpty());
  const std::vector<shown_file> files = shown_files();
  ASSERT_EQ(files.size(), 3u);
  for (const shown_file& file : files) {
    const auto written = read_file(other.file(file.name));
    EXPECT_EQ(std::string(written.begin(), written.end()), file.text) << file.name;
  }
}

}  // namespace
