// Files that the tool writes whole or not at all, with a fault at every
// system call of the writing: killed there, refused there, interrupted there.
#include "shared/whole_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>

#include "../daq/writer/trouble.h"
#include "shim.h"
#include "temporary_folder.h"

namespace {

using namespace ravo::test;
using ravo::whole_file;
using ravo::whole_file_failure;
using testing::HasSubstr;

constexpr unsigned of_a_file = call::on_disk | call::stat;

std::string text_in(const std::string& path) {
  const auto bytes = read_file(path);
  return {bytes.begin(), bytes.end()};
}

// Enough for several writes.
std::string new_text() { return std::string(200'000, 'n'); }

void write_new(const std::string& path) {
  whole_file file(path);
  const std::string text = new_text();
  for (std::size_t at = 0; at < text.size(); at += 50'000) file.append(text.substr(at, 50'000));
  file.publish();
}

class WholeFile : public testing::Test {
 protected:
  WholeFile() : path(folder.file("list.txt")) { begin_with_the_old_one(); }

  void begin_with_the_old_one() const {
    for (const auto& entry : std::filesystem::directory_iterator(folder.path()))
      std::filesystem::remove_all(entry);
    folder.write("list.txt", std::vector<unsigned char>{'o', 'l', 'd'});
  }
  std::size_t entries() const {
    const auto all = std::filesystem::directory_iterator(folder.path());
    return static_cast<std::size_t>(std::distance(begin(all), end(all)));
  }
  /// All but the file itself is hidden, and no raw file by its name.
  void expect_others_hidden(long which) const {
    for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
      const std::string name = entry.path().filename().string();
      if (name == "list.txt") continue;
      EXPECT_TRUE(name.starts_with(".ravo_") && name.ends_with(".part")) << which << " " << name;
    }
  }

  temporary_folder folder;
  const std::string path;
};

TEST_F(WholeFile, ReplacesTheOldOneWhenItIsPublished) {
  whole_file file(path);
  file.append(std::string(300'000, 'n'));
  EXPECT_EQ(text_in(path), "old");
  file.append("end");
  file.publish();
  EXPECT_EQ(text_in(path), std::string(300'000, 'n') + "end");
  EXPECT_EQ(entries(), 1u);
}

TEST_F(WholeFile, LeavesNothingWhenItIsNotPublished) {
  {
    whole_file file(path);
    file.append("never seen");
    whole_file other(folder.file("other.txt"));
  }
  EXPECT_EQ(text_in(path), "old");
  EXPECT_EQ(entries(), 1u);
}

TEST_F(WholeFile, KilledAtAnyCallLeavesTheOldOneOrTheNewOne) {
  for (const bool has_nameless_files : {true, false}) {
    long which = 0;
    for (bool was_killed = true; was_killed; ++which) {
      ASSERT_LT(which, 1000);
      begin_with_the_old_one();
      const ending end = in_child([&] {
        if (!has_nameless_files) trouble(opening_nameless_files, failing_with(EOPNOTSUPP));
        const fault armed(of_a_file, which, mishap::kill_before);
        write_new(path);
      });
      was_killed = end.signal == SIGKILL;
      const std::string seen = text_in(path);
      EXPECT_TRUE(seen == "old" || seen == new_text()) << which;
      EXPECT_TRUE(was_killed || seen == new_text()) << which;
      expect_others_hidden(which);
      write_new(path);
      EXPECT_EQ(text_in(path), new_text()) << which;
    }
    EXPECT_GE(which, 8);
  }
}

TEST_F(WholeFile, RefusedAtAnyCallSaysWhichFileAndLeavesNothing) {
  long which = 0;
  for (bool happened = true; happened; ++which) {
    ASSERT_LT(which, 1000);
    begin_with_the_old_one();
    const long descriptors = open_descriptors();
    std::string why;
    {
      const fault armed(of_a_file, which, mishap::failure, EIO);
      try {
        write_new(path);
      } catch (const whole_file_failure& failure) {
        why = failure.what();
      }
      happened = armed.happened();
    }
    EXPECT_TRUE(why.empty() || why == path + ": Input/output error") << which << " " << why;
    const std::string seen = text_in(path);
    EXPECT_TRUE(seen == new_text() || (!why.empty() && seen == "old")) << which << " " << why;
    expect_others_hidden(which);
    EXPECT_EQ(entries(), 1u) << which;
    EXPECT_EQ(open_descriptors(), descriptors) << which;
  }
  EXPECT_GE(which, 8);
}

TEST_F(WholeFile, InterruptedAtAnyCallIsWrittenAllTheSame) {
  long which = 0;
  for (bool happened = true; happened; ++which) {
    ASSERT_LT(which, 1000);
    begin_with_the_old_one();
    const fault armed(of_a_file, which, mishap::failure, EINTR);
    EXPECT_NO_THROW(write_new(path)) << which;
    happened = armed.happened();
    EXPECT_EQ(text_in(path), new_text()) << which;
  }
}

TEST_F(WholeFile, WithAShortWriteIsWrittenAllTheSame) {
  for (long which = 0; which < 4; ++which) {
    begin_with_the_old_one();
    const fault armed(call::write, which, mishap::short_count);
    EXPECT_NO_THROW(write_new(path));
    EXPECT_EQ(text_in(path), new_text()) << which;
  }
}

TEST_F(WholeFile, LargerThanFilesMayBecomeIsAnErrorThatNamesIt) {
  const ending end = in_child([&] {
    signal(SIGXFSZ, SIG_DFL);
    limit_files(100'000);
    try {
      write_new(path);
      need(false, "it is refused");
    } catch (const whole_file_failure& failure) {
      need_equal(failure.what(),
                 path + ": File too large; it is larger than files may become here (ulimit -f)");
    }
  });
  EXPECT_EQ(end.signal, 0);
  EXPECT_EQ(end.code, 0);
  EXPECT_EQ(text_in(path), "old");
  EXPECT_EQ(entries(), 1u);
}

TEST_F(WholeFile, FollowsALinkAndKeepsThePermissions) {
  chmod(path.c_str(), 0640);
  std::filesystem::create_symlink("list.txt", folder.file("link"));
  write_new(folder.file("link"));
  EXPECT_TRUE(std::filesystem::is_symlink(folder.file("link")));
  EXPECT_EQ(text_in(path), new_text());
  struct stat about {};
  ASSERT_EQ(stat(path.c_str(), &about), 0);
  EXPECT_EQ(about.st_mode & 0777, 0640u);
}

TEST_F(WholeFile, GoesToADeviceAsItIs) {
  whole_file nowhere("/dev/null");
  nowhere.append("text");
  nowhere.publish();
  EXPECT_TRUE(std::filesystem::is_character_file("/dev/null"));
  whole_file full("/dev/full");
  full.append("text");
  EXPECT_THROW(full.publish(), whole_file_failure);
}

TEST_F(WholeFile, ThatCannotBeIsRefusedAtItsBeginning) {
  EXPECT_THROW(whole_file(folder.file("no/such.txt")), whole_file_failure);
  EXPECT_THROW(whole_file(folder.path().string()), whole_file_failure);
  EXPECT_THROW(whole_file(""), whole_file_failure);
}

}  // namespace
