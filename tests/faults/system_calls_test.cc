// System calls that fail, at the first of their kind in a small run, then at the second, and so on; also
// calls that are interrupted or do less than they were asked to, which must have no effect; and descriptors
// that are used up.
#include <sys/resource.h>

#include <algorithm>

#include "../daq/reader/api/environment_variable.h"
#include "captured_output.h"
#include "disturbed.h"
#include "ravo_evutl_status.h"

namespace ravo::test {
namespace {

template <class generation>
class FailingSystem : public testing::Test {
 protected:
  template <class way>
  faring fail(unsigned kinds, int error, extent reach = extent::one_call) {
    return disturb_every_call<way>(run, {kinds, mishap::failure, error, reach});
  }
  template <class way>
  void expect_harmless(unsigned kinds, mishap what, int error = 0) {
    disturbance how{kinds, what, error};
    how.is_harmless = true;
    EXPECT_GE((disturb_every_call<way>(run, how).calls), 5);
  }

  const small_run<generation> run;
  environment_variable take_all{"RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME", "1"};
};
TYPED_TEST_SUITE(FailingSystem, generations, generation_name);

TYPED_TEST(FailingSystem, AFileThatCannotBeOpenedGivesAStatus) {
  EXPECT_EQ((this->template fail<loader_way<TypeParam>>(call::open, EMFILE).statuses),
            std::vector<int>{-2});
  EXPECT_EQ((this->template fail<channel_way<TypeParam>>(call::open, EACCES).statuses),
            std::vector<int>{-2});
  EXPECT_GE((this->template fail<slicer_way<TypeParam>>(call::open, EIO).calls), 2);
  EXPECT_GE((this->template fail<reader_way<TypeParam>>(call::open, ENFILE).calls), 2);
  EXPECT_GE((this->template fail<request_way<TypeParam>>(call::open, ENOENT).calls), 2);
}

// In the order of the loader's steps: each has its code.
TYPED_TEST(FailingSystem, AReadThatFailsGivesTheCodeOfItsStep) {
  const std::vector<int> statuses = this->template fail<loader_way<TypeParam>>(call::read, EIO).statuses;
  std::vector<int> steps = statuses;
  steps.erase(std::unique(steps.begin(), steps.end()), steps.end());
  // The tail; event index and dictionary; pointer table (the table-access library's "unreadable");
  // environment and description header; the heads of the header baskets, and the whole of them where they
  // are copied.
  const std::vector<int> copied{-3, 3, RAVO_TABLE_UNREADABLE, 5, 6, -4, -5, -6, -7};
  const std::vector<int> mapped{-3, 3, RAVO_TABLE_UNREADABLE, 5, 6, -4, -6};
  EXPECT_EQ(steps, TypeParam::records::copies_header_baskets ? copied : mapped);
}

TYPED_TEST(FailingSystem, AReadThatFailsAnywhereGivesAStatus) {
  EXPECT_GE((this->template fail<channel_way<TypeParam>>(call::read, EIO).calls), 20);
  EXPECT_GE((this->template fail<slicer_way<TypeParam>>(call::read, EIO).calls), 40);
  EXPECT_GE((this->template fail<reader_way<TypeParam>>(call::read, EIO).calls), 40);
  EXPECT_GE((this->template fail<reader_way<TypeParam>>(call::read, ESTALE, extent::all_from_there).calls),
            40);
}

TYPED_TEST(FailingSystem, AFileWithoutAReadableStateGivesAStatus) {
  EXPECT_EQ((this->template fail<loader_way<TypeParam>>(call::stat, EIO).statuses),
            (std::vector<int>{-2, -7}));
  EXPECT_GE((this->template fail<channel_way<TypeParam>>(call::stat, EIO).calls), 6);
  EXPECT_GE((this->template fail<slicer_way<TypeParam>>(call::stat, EIO).calls), 12);
  EXPECT_GE((this->template fail<request_way<TypeParam>>(call::stat, EIO).calls), 12);
}

TYPED_TEST(FailingSystem, ASeekThatFailsIsAFileWithoutATail) {
  // The first returns the length; the second goes back to the start, and nothing reads from there.
  EXPECT_EQ((this->template fail<loader_way<TypeParam>>(call::seek, EIO).statuses),
            (std::vector<int>{-3, 0}));
}

TYPED_TEST(FailingSystem, AFolderThatCannotBeReadGivesAStatus) {
  EXPECT_GE((this->template fail<request_way<TypeParam>>(call::open_folder, EMFILE).calls), 1);
  EXPECT_GE((this->template fail<request_way<TypeParam>>(call::list_folder, EIO).calls), 4);
}

TYPED_TEST(FailingSystem, AThreadThatCannotBeMadeGivesAStatusOrIsDoneWithout) {
  EXPECT_GE((this->template fail<channel_way<TypeParam>>(call::thread, EAGAIN).calls), 4);
  EXPECT_GE((this->template fail<slicer_way<TypeParam>>(call::thread, EAGAIN).calls), 8);
  EXPECT_GE((this->template fail<reader_way<TypeParam>>(call::thread, EAGAIN).calls), 8);
  EXPECT_GE(
      (this->template fail<reader_way<TypeParam>>(call::thread, EAGAIN, extent::all_from_there).calls), 8);
}

TYPED_TEST(FailingSystem, AnInterruptedReadIsRepeated) {
  this->template expect_harmless<reader_way<TypeParam>>(call::read, mishap::failure, EINTR);
  this->template expect_harmless<channel_way<TypeParam>>(call::read, mishap::failure, EINTR);
}

TYPED_TEST(FailingSystem, AnyOtherInterruptedCallIsRepeatedToo) {
  constexpr unsigned others = call::open | call::stat | call::seek | call::open_folder | call::list_folder;
  this->template expect_harmless<reader_way<TypeParam>>(others, mishap::failure, EINTR);
}

TYPED_TEST(FailingSystem, AShortReadIsContinued) {
  this->template expect_harmless<reader_way<TypeParam>>(call::read, mishap::short_count);
  this->template expect_harmless<channel_way<TypeParam>>(call::read, mishap::short_count);
}

#if !defined(RAVO_FAULTS_SANITIZED)
TYPED_TEST(FailingSystem, AMappingThatFailsGivesAStatus) {
  const faring loader = this->template fail<loader_way<TypeParam>>(call::map, ENOMEM);
  EXPECT_EQ(loader.statuses,
            (TypeParam::records::copies_header_baskets ? std::vector<int>{} : std::vector<int>{-5, -7}));
  const faring slow = this->template fail<slow_way<TypeParam>>(call::map, ENOMEM);
  EXPECT_GE(slow.calls, 4);
  this->template fail<channel_way<TypeParam>>(call::map, EACCES);
  this->template fail<slicer_way<TypeParam>>(call::map, EAGAIN);
}
#endif

// ---- words --------------------------------------------------------------------------------------------

TYPED_TEST(FailingSystem, TheLoaderNamesTheSystemCallAtADebugLevel) {
  typename TypeParam::loader loader(0);
  loader.debug = 1;
  captured_output output;
  testing::internal::CaptureStderr();
  {
    const fault armed(call::open, 0, mishap::failure, EMFILE);
    EXPECT_EQ(loader.get_all_tables(this->run.path().c_str(), 0, nullptr), -2);
  }
  {
    const fault armed(call::read, 0, mishap::failure, EIO);
    EXPECT_EQ(loader.get_all_tables(this->run.path().c_str(), 0, nullptr), -3);
  }
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "open: Too many open files\nmmap: Input/output error\n");
  loader.debug = 0;
  EXPECT_EQ(loader.get_all_tables(this->run.path().c_str(), 0, nullptr), 0);
}

TYPED_TEST(FailingSystem, AChannelReaderSaysWhichBasketItCouldNotRead) {
  typename TypeParam::loader loader(0);
  ASSERT_EQ(loader.get_all_tables(this->run.path().c_str(), 0, nullptr), 0);
  typename TypeParam::read_chan reader(&loader, "PLAIN", -1, nullptr);
  captured_output output;
  testing::internal::CaptureStderr();
  {
    const fault armed(call::read, 0, mishap::failure, EIO);
    EXPECT_EQ(reader.start(nullptr, nullptr, nullptr), RAVO_DAQ_READ_CHAN_INTERN_ERROR);
  }
  EXPECT_EQ(output.text(), "PLAIN Failed to map channel basket header\n");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "mmap: Input/output error\n");
  {
    const fault armed(call::thread, 0, mishap::failure, EAGAIN, extent::all_from_there);
    EXPECT_EQ(reader.start(nullptr, nullptr, nullptr), 0);
  }
  EXPECT_TRUE(output.text().find("failed to start thread 0\n") != std::string::npos) << output.text();
  EXPECT_EQ(reader.running, 0);
  ravo_channel_entry_long* entry = nullptr;
  const ravo_time_id event{100, {}};
  EXPECT_EQ(reader.get_chan_data(&event, &entry, 0), RAVO_DAQ_READ_CHAN_NO_DATA)
      << "and does not wait for nobody";
  reader.clean();
}

TYPED_TEST(FailingSystem, AReaderReportsWhyItDidNotStart) {
  const wanted_channels<TypeParam> wanted;
  const std::vector<char*> files = this->run.file_list();
  typename TypeParam::reader reader;
  ASSERT_EQ(reader.init(&files, wanted.entries()), 0);
  captured_output output;
  {
    const fault armed(call::thread, 0, mishap::failure, EAGAIN);
    EXPECT_EQ(reader.start(), RAVO_DAQ_READER_INTERN_ERROR);
  }
  EXPECT_EQ(output.stop(), "failed to start table_thread thread\n");
  EXPECT_EQ(std::string(reader.get_last_error()).substr(0, 12), "Intern error");
}

// ---- descriptors --------------------------------------------------------------------------------------

/// While it lives, the process may have so many descriptors more than it has.
class descriptor_limit {
 public:
  explicit descriptor_limit(long more) {
    getrlimit(RLIMIT_NOFILE, &before_);
    // The next free number, not the count: the test framework may leave gaps.
    const int next = dup(STDIN_FILENO);
    close(next);
    rlimit less = before_;
    less.rlim_cur = static_cast<rlim_t>(next + more);
    setrlimit(RLIMIT_NOFILE, &less);
  }
  ~descriptor_limit() { setrlimit(RLIMIT_NOFILE, &before_); }
  descriptor_limit(const descriptor_limit&) = delete;
  descriptor_limit& operator=(const descriptor_limit&) = delete;

 private:
  rlimit before_{};
};

template <class way, class run_type>
void use_up_descriptors(const run_type& run) {
  const resources before;
  for (long more = 0; more <= 4; ++more) {
    const std::string when = std::string(way::name) + " with " + std::to_string(more);
    reading_outcome limited, again;
    {
      const silence hushed;
      way one(run);
      {
        const descriptor_limit limit(more);
        run_once(one, limited);
      }
      one.clean_up();
      run_once(one, again);
    }
    EXPECT_TRUE(limited.status == way::at_end() || way::is_stated(limited.status))
        << when << " " << limited.status;
    EXPECT_EQ(limited.wrong, 0u) << when;
    expect_complete<way>(again, when + ", tried again");
    EXPECT_TRUE(more > 0 || limited.read.none()) << when;
    if (more == 4) expect_complete<way>(limited, when);
    before.expect_same(when);
  }
}

TYPED_TEST(FailingSystem, DescriptorsThatAreUsedUpGiveAStatus) {
  use_up_descriptors<loader_way<TypeParam>>(this->run);
  use_up_descriptors<channel_way<TypeParam>>(this->run);
  use_up_descriptors<slicer_way<TypeParam>>(this->run);
  use_up_descriptors<reader_way<TypeParam>>(this->run);
  use_up_descriptors<request_way<TypeParam>>(this->run);
}

}  // namespace
}  // namespace ravo::test
