// The generation of a file, asked for by its path: it follows from the marker of the reference table and
// nothing else.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "generations.h"
#include "ravo_evutl_status.h"
#include "ravo_file_generation.h"
#include "small_file.h"
#include "temporary_folder.h"

namespace {

using namespace ravo::test;

class FileGeneration : public testing::Test {
 protected:
  int ask(const bytes& content) { return ask(folder_.write("file.raw", content.vector())); }
  int ask(const std::string& path) {
    found_ = unset;
    return ravo_get_file_generation(path.c_str(), &found_);
  }

  static constexpr auto unset = static_cast<ravo_file_generation>(0);
  temporary_folder folder_;
  ravo_file_generation found_ = unset;
};

TEST_F(FileGeneration, FollowsFromTheReferenceTablesMarker) {
  EXPECT_EQ(ask(build_small_file<current>().content), 0);
  EXPECT_EQ(found_, ravo_file_generation::current);
  EXPECT_EQ(ask(build_small_file<older>().content), 0);
  EXPECT_EQ(found_, ravo_file_generation::older);
}

TEST_F(FileGeneration, DoesNotDependOnTheSignature) {
  small_file small = build_small_file<older>();
  for (std::size_t at = 0; at < 16; at += 4) small.content.set_u32(at, 0);
  EXPECT_EQ(ask(small.content), 0);
  EXPECT_EQ(found_, ravo_file_generation::older);
}

TEST_F(FileGeneration, IsUnknownOfWhatIsNoRawFile) {
  const auto damaged = [](auto damage) {
    small_file small = build_small_file<older>();
    damage(small);
    return small.content;
  };
  EXPECT_EQ(ask(bytes()), RAVO_TABLE_TOO_SHORT);
  EXPECT_EQ(ask(bytes().fill(3)), RAVO_TABLE_TOO_SHORT);
  EXPECT_EQ(ask(bytes().fill(4)), RAVO_TABLE_ABSENT);
  EXPECT_EQ(ask(bytes().raw("text that somebody called .raw")), RAVO_TABLE_OUT_OF_FILE);
  EXPECT_EQ(ask(damaged([](small_file& f) { f.content.set_u32(f.reference, 0xffeeffee); })),
            RAVO_TABLE_WRONG_PATTERN);
  EXPECT_EQ(ask(damaged([](small_file& f) { f.content.set_u32(f.tail(), f.tail() - 164); })),
            RAVO_TABLE_OUT_OF_FILE);
  EXPECT_EQ(found_, unset);
}

// A pipe without a writer must not keep a program waiting.
TEST_F(FileGeneration, IsUnknownOfWhatIsNoRegularFile) {
  EXPECT_EQ(ask(folder_.path().string()), RAVO_TABLE_UNREADABLE);
  EXPECT_EQ(ask((folder_.path() / "absent").string()), RAVO_TABLE_UNREADABLE);
  const std::string pipe = (folder_.path() / "pipe").string();
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  EXPECT_EQ(ask(pipe), RAVO_TABLE_UNREADABLE);
}

TEST_F(FileGeneration, IsUnknownWithoutArguments) {
  EXPECT_EQ(ravo_get_file_generation(nullptr, &found_), RAVO_TABLE_INVALID_ARGUMENT);
  EXPECT_EQ(ravo_get_file_generation("file", nullptr), RAVO_TABLE_INVALID_ARGUMENT);
}

}  // namespace
