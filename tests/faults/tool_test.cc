// The tool's own looks at files and folders, while files shrink and the system refuses: an answer or an
// exception that the tool tells of, and never the end of the process.
#include <sys/stat.h>
#include <unistd.h>

#include "disturbed.h"
#include "refusal.h"
#include "verify/file_check.h"
#include "verify/file_search.h"

namespace ravo::test {
namespace {

// Does it with the first call of the kinds disturbed, then with the second, and so on until there is none
// left.
long disturb_each(const std::function<fault(long)>& arm_at, const std::function<void(bool)>& act) {
  for (long which = 0; which < 20000; ++which) {
    bool has_come = false;
    {
      const fault armed = arm_at(which);
      act(true);
      has_come = armed.happened();
    }
    if (has_come) continue;
    act(false);
    return which;
  }
  ADD_FAILURE() << "it comes to no end";
  return 0;
}

// ---- folders ----------------------------------------------------------------------------------------

class three_folders {
 public:
  three_folders() {
    for (const char* const name : {"a", "b", "c"}) {
      std::filesystem::create_directory(folder_.path() / name);
      files.push_back(folder_.write(std::string(name) + "/1.raw", {}));
    }
  }
  verify::found_files search() const { return verify::find_files({folder_.path().string()}); }
  std::vector<std::string> files;

 private:
  temporary_folder folder_;
};

TEST(FileSearch, TellsOfEachFolderThatCannotBeReadAndGoesOn) {
  const three_folders folders;
  for (const unsigned kind : {call::open_folder, call::list_folder}) {
    verify::found_files found;
    const long calls = disturb_each([&](long which) { return fault(kind, which, mishap::failure, EACCES); },
                                    [&](bool is_disturbed) {
                                      found = folders.search();
                                      if (!is_disturbed) return;
                                      // What was listed before the refusal is there all the same.
                                      EXPECT_LE(found.findings.size(), 1u);
                                      for (const verify::finding& one : found.findings) {
                                        EXPECT_EQ(one.detail, "Permission denied") << one.file;
                                      }
                                      EXPECT_TRUE(found.files == folders.files || !found.findings.empty());
                                    });
    EXPECT_GE(calls, 4);
    EXPECT_EQ(found.files, folders.files);
    EXPECT_TRUE(found.findings.empty());
  }
}

TEST(FileSearch, OneFolderThatCannotBeReadCostsNoOther) {
  const three_folders folders;
  const fault armed(call::open_folder, 2, mishap::failure, EACCES);
  const verify::found_files found = folders.search();
  EXPECT_EQ(found.files.size(), 2u);
  EXPECT_EQ(found.findings.size(), 1u);
}

TEST(FileSearch, WithoutMemoryThrowsWhatTheToolTells) {
  const three_folders folders;
  const long calls =
      disturb_each([](long which) { return fault(call::allocation, which, mishap::failure, ENOMEM); },
                   [&](bool is_disturbed) {
                     try {
                       EXPECT_TRUE(folders.search().files == folders.files || is_disturbed);
                     } catch (const std::bad_alloc&) {
                       EXPECT_TRUE(is_disturbed);
                     }
                   });
  EXPECT_GE(calls, 10);
}

// ---- files ------------------------------------------------------------------------------------------

template <class generation>
class ToolAndFile : public testing::Test {
 protected:
  void cut_at_each_call(const std::function<void()>& ask) {
    for (const std::size_t length : {std::size_t{0}, std::size_t{2}, run.content().size() / 2}) {
      const std::function<void()> cut = [&] {
        ASSERT_EQ(truncate(run.path().c_str(), static_cast<off_t>(length)), 0);
      };
      const long calls =
          disturb_each([&](long which) { return fault(call::read | call::stat | call::seek, which, cut); },
                       [&](bool) {
                         ask();
                         run.restore();
                       });
      EXPECT_GE(calls, 5);
    }
  }
  std::vector<std::string> check(unsigned threads) const {
    const verify::file_result result =
        verify::check_file(run.path(), verify::depth::blocks, threads, [](std::uint64_t) {});
    std::vector<std::string> found;
    for (const verify::finding& one : result.findings.list())
      found.emplace_back(verify::row_of(one.kind).code);
    return found;
  }
  const small_run<generation> run;
};
TYPED_TEST_SUITE(ToolAndFile, generations, generation_name);

TYPED_TEST(ToolAndFile, ARefusalIsExplainedWhileTheFileShrinks) {
  this->cut_at_each_call([this] { EXPECT_NE(tool::explain_refusal(this->run.path(), -3), ""); });
}

TYPED_TEST(ToolAndFile, AFileThatShrinksAtAnyMomentIsToldAsChanged) {
  const std::vector<std::string> good = this->check(1);
  const std::vector<std::string> changed{"file.changed"};
  this->cut_at_each_call([&] {
    const std::vector<std::string> found = this->check(1);
    // Before it was opened, it was a short file.
    EXPECT_TRUE(found == good || found == changed || found == std::vector<std::string>{"file.reference"})
        << testing::PrintToString(found);
  });
}

TYPED_TEST(ToolAndFile, ACheckWithoutMemoryTellsOfItOrThrowsAndInventsNoDamage) {
  const std::vector<std::string> good = this->check(2);
  const resources before;
  const long calls =
      disturb_each([](long which) { return fault(call::allocation, which, mishap::failure, ENOMEM); },
                   [&](bool is_disturbed) {
                     try {
                       const std::vector<std::string> found = this->check(2);
                       const std::vector<std::string> unreadable{"file.unreadable"};
                       EXPECT_TRUE(found == good || (is_disturbed && found == unreadable))
                           << testing::PrintToString(found);
                     } catch (const std::bad_alloc&) {
                       EXPECT_TRUE(is_disturbed);
                     }
                   });
  EXPECT_GE(calls, 30);
  before.expect_same("after all");
}

}  // namespace
}  // namespace ravo::test
