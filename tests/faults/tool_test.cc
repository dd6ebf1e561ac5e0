// The tool's own inspection of files and folders, while files shrink and the system refuses: an answer or
// an exception that the tool reports, and never the end of the process.
#include <sys/stat.h>
#include <unistd.h>

#include "catalogue_search.h"
#include "common/failure.h"
#include "common/raw_file.h"
#include "common/refusal.h"
#include "convert/convert_file.h"
#include "disturbed.h"
#include "file_check.h"
#include "file_search.h"
#include "ravo_run_catalogue_builder.h"

namespace ravo::test {
namespace {

// Calls `act` with the first call of the kinds disturbed,
// then with the second, and so on until there are no more.
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
  checks::found_files search() const { return checks::find_files({folder_.path().string()}); }
  std::vector<std::string> files;

 private:
  temporary_folder folder_;
};

TEST(FileSearch, ReportsEachFolderThatCannotBeReadAndGoesOn) {
  const three_folders folders;
  for (const unsigned kind : {call::open_folder, call::list_folder}) {
    checks::found_files found;
    const long calls = disturb_each([&](long which) { return fault(kind, which, mishap::failure, EACCES); },
                                    [&](bool is_disturbed) {
                                      found = folders.search();
                                      if (!is_disturbed) return;
                                      // Files that were listed before the refusal are kept.
                                      EXPECT_LE(found.findings.size(), 1u);
                                      for (const checks::finding& one : found.findings) {
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
  const checks::found_files found = folders.search();
  EXPECT_EQ(found.files.size(), 2u);
  EXPECT_EQ(found.findings.size(), 1u);
}

TEST(FileSearch, WithoutMemoryThrowsWhatTheToolReports) {
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
    const checks::file_result result =
        checks::check_file(run.path(), verification_depth::blocks, threads, [](std::uint64_t) {});
    return codes_of(result);
  }
  static std::vector<std::string> codes_of(const checks::file_result& result) {
    std::vector<std::string> found;
    for (const checks::finding& one : result.findings.list())
      found.emplace_back(checks::row_of(one.kind).code);
    return found;
  }
  const small_run<generation> run;
};
TYPED_TEST_SUITE(ToolAndFile, generations, generation_name);

TYPED_TEST(ToolAndFile, ARefusalIsExplainedWhileTheFileShrinks) {
  this->cut_at_each_call([this] { EXPECT_NE(tool::explain_refusal(this->run.path(), -3), ""); });
}

TYPED_TEST(ToolAndFile, AFileThatShrinksAtAnyMomentIsReportedAsChanged) {
  const std::vector<std::string> good = this->check(1);
  const std::vector<std::string> changed{"file.changed"};
  this->cut_at_each_call([&] {
    const std::vector<std::string> found = this->check(1);
    // Before it was opened, it was already a short file.
    EXPECT_TRUE(found == good || found == changed || found == std::vector<std::string>{"file.reference"})
        << testing::PrintToString(found);
  });
}

TYPED_TEST(ToolAndFile, ACheckWithoutMemoryReportsItOrThrowsAndInventsNoDamage) {
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

// ---- a machine that fails, and a file that is good -------------------------------------------------

constexpr unsigned reading_calls = call::open | call::read | call::stat | call::seek | call::map;
constexpr int errors_of_machines[] = {EIO, ESTALE, ENOMEM, ENFILE};

TYPED_TEST(ToolAndFile, AFailingMachineIsReportedAndNoDamageIsInvented) {
  const std::vector<std::string> good = this->check(1);
  for (const int error : errors_of_machines)
    for (const extent reach : {extent::one_call, extent::all_from_there}) {
      const long calls = disturb_each(
          [&](long which) { return fault(reading_calls, which, mishap::failure, error, reach); },
          [&](bool) {
            const checks::file_result result =
                checks::check_file(this->run.path(), verification_depth::blocks, 1, [](std::uint64_t) {});
            if (this->codes_of(result) == good) return;  // there were no such calls left
            const auto& found = result.findings.list();
            ASSERT_EQ(found.size(), 1u) << testing::PrintToString(this->codes_of(result));
            EXPECT_EQ(found[0].kind, checks::finding_kind::file_unreadable);
            EXPECT_EQ(found[0].detail, std::strerror(error));
          });
      EXPECT_GE(calls, 30);
    }
}

TYPED_TEST(ToolAndFile, AnInterruptedOrShortReadIsContinued) {
  const std::vector<std::string> good = this->check(1);
  const auto expect_good = [&](bool) { EXPECT_EQ(this->check(1), good); };
  disturb_each([](long which) { return fault(reading_calls, which, mishap::failure, EINTR); }, expect_good);
  disturb_each([](long which) { return fault(call::read, which, mishap::short_count); }, expect_good);
}

// What `ravo info` and similar verbs say about a file that they cannot open.
TYPED_TEST(ToolAndFile, AGoodFileIsNotCalledDamagedWhenItCannotBeLookedAt) {
  for (const int error : errors_of_machines)
    for (const extent reach : {extent::one_call, extent::all_from_there}) {
      const std::string reason = std::strerror(error);
      const long calls = disturb_each(
          [&](long which) { return fault(reading_calls, which, mishap::failure, error, reach); },
          [&](bool) {
            try {
              const tool::raw_file file(this->run.path());
              file.length_at(file.reference().cdt_ref);
              for (std::size_t i = 0; i < file.channels().size(); ++i) {
                EXPECT_NE(file.form_of(i), tool::stored_as::unknown);
                EXPECT_GT(file.members_of(i), 0);
              }
            } catch (const tool::data_failure& failure) {
              const std::string text = failure.what();
              EXPECT_TRUE(text.find(reason) != text.npos || text.find("try again") != text.npos) << text;
              for (const char* lie : {"damaged", "cut off", "not a readable raw file", "text", "too short"})
                EXPECT_EQ(text.find(lie, this->run.path().size()), text.npos) << text;
            }
          });
      EXPECT_GE(calls, 10);
    }
}

TYPED_TEST(ToolAndFile, AConversionThatCannotReadDoesNotCallTheFileDamaged) {
  if (!std::is_same_v<TypeParam, older_generation>)
    return;  // files of the current generation are not converted
  for (const int error : errors_of_machines)
    disturb_each(
        [&](long which) { return fault(call::read, which, mishap::failure, error); },
        [&](bool is_disturbed) {
          const temporary_folder into;
          try {
            tool::raw_file older(this->run.path());
            tool::convert_file(older, into.path().string(), [](double) {});
          } catch (const tool::data_failure& failure) {
            const std::string text = failure.what();
            EXPECT_TRUE(is_disturbed) << text;
            EXPECT_TRUE(text.find(std::strerror(error)) != text.npos || text.find("try again") != text.npos)
                << text;
            for (const char* lie : {"damaged", "contradicts", "does not lie", "leaves the file"})
              EXPECT_EQ(text.find(lie), text.npos) << text;
          }
        });
}

TYPED_TEST(ToolAndFile, ACatalogueIsBuiltWithoutCallingAnUnreadableFileCutOff) {
  catalogue::build_settings settings;
  settings.raw_folder = this->run.folder().path().string();
  settings.closed_after = -1;
  settings.threads = 1;
  for (const int error : {EIO, ESTALE, ENOMEM}) {
    const long calls = disturb_each(
        [&](long which) { return fault(call::read, which, mishap::failure, error); },
        [&](bool) {
          const temporary_folder into;
          settings.catalogue_directory = into.path().string();
          for (const auto& problem : catalogue::build(settings, {}).problems)
            EXPECT_NE(problem.text.find(std::strerror(error)), std::string::npos) << problem.text;
        });
    EXPECT_GE(calls, 6);
  }
}

// ---- runs of a catalogue ----------------------------------------------------------------------------

TYPED_TEST(ToolAndFile, ACatalogueThatCannotBeReadIsNotCalledDamaged) {
  const temporary_folder into;
  catalogue::build_settings settings;
  settings.raw_folder = this->run.folder().path().string();
  settings.catalogue_directory = into.path().string();
  settings.closed_after = -1;
  ASSERT_TRUE(catalogue::build(settings, {}).problems.empty());
  const catalogue_runs wanted{into.path().string(), "linac", "main", 7, 7};
  const long calls =
      disturb_each([](long which) { return fault(call::open | call::read, which, mishap::failure, EIO); },
                   [&](bool is_disturbed) {
                     for (const checks::finding& one : checks::find_files_of_runs(wanted).findings) {
                       EXPECT_TRUE(is_disturbed);
                       EXPECT_EQ(one.kind, checks::finding_kind::catalogue_unreadable);
                       EXPECT_EQ(one.detail, std::strerror(EIO));
                     }
                   });
  EXPECT_GE(calls, 2);
}

}  // namespace
}  // namespace ravo::test
