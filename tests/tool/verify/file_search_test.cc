// Which files paths mean.
#include "file_search.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "temporary_folder.h"

namespace {

using namespace ravo::checks;
using ravo::test::temporary_folder;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(FileSearch, TakesRawFilesOfFoldersAndBelow) {
  const temporary_folder folder;
  std::filesystem::create_directories(folder.path() / "b/c");
  std::filesystem::create_directories(folder.path() / "folder.raw");
  for (const char* name : {"z.raw", "a.raw", "b/c/m.raw", "note.txt", "x.raw.new"}) folder.write(name, {});
  const found_files found = find_files({folder.path().string()});
  EXPECT_THAT(found.files,
              ElementsAre(folder.file("a.raw"), folder.file("b/c/m.raw"), folder.file("z.raw")));
  EXPECT_THAT(found.findings, IsEmpty());
}

TEST(FileSearch, PassesOverWhatIsHidden) {
  const temporary_folder folder;
  std::filesystem::create_directories(folder.path() / ".ravo_convert_a1b2c3");
  for (const char* name : {"a.raw", ".b.raw", ".ravo_convert_a1b2c3/c.raw"}) folder.write(name, {});
  EXPECT_THAT(find_files({folder.path().string()}).files, ElementsAre(folder.file("a.raw")));
}

TEST(FileSearch, TakesNamedFilesAsTheyAreAndNoneTwice) {
  const temporary_folder folder;
  const std::string file = folder.write("a.dat", {});
  EXPECT_THAT(find_files({file, "nowhere.raw", file}).files, ElementsAre(file, "nowhere.raw"));
}

TEST(FileSearch, ReportsFoldersWithoutRawFiles) {
  const temporary_folder folder;
  const found_files found = find_files({folder.path().string()});
  EXPECT_THAT(found.files, IsEmpty());
  ASSERT_EQ(found.findings.size(), 1u);
  EXPECT_EQ(found.findings[0].kind, finding_kind::folder_unreadable);
  EXPECT_EQ(found.findings[0].file, folder.path().string());
  EXPECT_EQ(found.findings[0].detail, "it holds no .raw file");
}

TEST(FileSearch, DoesNotGoRoundInACircle) {
  const temporary_folder folder;
  folder.write("a.raw", {});
  std::filesystem::create_directory_symlink(folder.path(), folder.path() / "again");
  EXPECT_THAT(find_files({folder.path().string()}).files, ElementsAre(folder.file("a.raw")));
}

}  // namespace
