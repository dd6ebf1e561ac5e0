// Files that are truncated, removed, replaced or rewritten while they are read, at every call that the
// library makes: a status or the good data, never a wrong value, never the end of the process. Where parts
// of files stay mapped, the guard has to be on.
#include <signal.h>
#include <sys/mman.h>

#include <memory>

#include "../daq/reader/api/environment_variable.h"
#include "../daq/writer/trouble.h"
#include "captured_output.h"
#include "disturbed.h"
#include "ravo_mapping_guard.h"

// The faults are the guard's, not a sanitizer's.
extern "C" const char* __tsan_default_options() { return "handle_sigbus=0"; }
extern "C" const char* __asan_default_options() { return "handle_sigbus=0"; }
// ThreadSanitizer takes the page of zeros that the guard puts in place for one that is written to, while
// another thread may be reading there. The system replaces the page, and the reading thread gets
// zeros too.
extern "C" const char* __tsan_default_suppressions() { return "race:replace_missing_page\n"; }

namespace ravo::test {
namespace {

/// Moments: every system call of the library, and every allocation, so that every block has its own.
constexpr unsigned every_call =
    call::allocation | call::open | call::map | call::stat | call::read | call::seek;

class guard_on {
 public:
  guard_on() { EXPECT_EQ(ravo_install_mapping_guard(), 0); }
  ~guard_on() { EXPECT_EQ(ravo_remove_mapping_guard(), 0); }
  guard_on(const guard_on&) = delete;
  guard_on& operator=(const guard_on&) = delete;
};

template <class generation>
class ChangingFile : public testing::Test {
 protected:
  template <class way>
  void change_at_every_call(const std::function<void()>& change) {
    EXPECT_GE((disturb_every_call<way>(run, changing(change)).calls), 20);
  }
  template <class way>
  void rewrite_at_every_call(unsigned file) {
    disturbance how = changing([this, file] { rewrite(file); });
    const values changed = small_run<generation>::rewritten_values(file);
    how.is_consistent = [changed](const reading_outcome& of) {
      return of.other.none() || (of.read & changed).none();  // all of the file as it was, or as it is
    };
    EXPECT_GE((disturb_every_call<way>(run, how).calls), 20);
  }
  disturbance changing(const std::function<void()>& change) {
    disturbance how{every_call, mishap::intrusion};
    how.intrude = change;
    how.undo = [this] { run.restore(); };
    return how;
  }
  void cut(unsigned file, std::size_t length) const {
    if (truncate(run.path(file).c_str(), static_cast<off_t>(length)) != 0) abort();
  }
  /// Another file's bytes in the same place: the values differ, the structure does not.
  void rewrite(unsigned file) const {
    const std::vector<unsigned char> other = run.rewritten(file);
    const int descriptor = open(run.path(file).c_str(), O_WRONLY | O_CLOEXEC);
    if (pwrite(descriptor, other.data(), other.size(), 0) != static_cast<ssize_t>(other.size())) abort();
    close(descriptor);
  }

  const small_run<generation> run;
  environment_variable take_all{"RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME", "1"};
};
TYPED_TEST_SUITE(ChangingFile, generations, generation_name);

TYPED_TEST(ChangingFile, CutToNothingAtAnyMomentEndsInAStatus) {
  const guard_on guard;
  for (const unsigned file : {0u, 1u}) {
    const auto cut = [&] { this->cut(file, 0); };
    this->template change_at_every_call<reader_way<TypeParam>>(cut);
    this->template change_at_every_call<slow_way<TypeParam>>(cut);
  }
}

TYPED_TEST(ChangingFile, CutInTheMiddleAtAnyMomentEndsInAStatus) {
  const guard_on guard;
  for (const char* const piece : {"events", "PLAIN", "reference"})
    this->template change_at_every_call<channel_way<TypeParam>>(
        [&] { this->cut(0, this->run.at(piece) + 12); });
}

TYPED_TEST(ChangingFile, RewrittenInPlaceAtAnyMomentGivesNoWrongValue) {
  const guard_on guard;
  this->template rewrite_at_every_call<reader_way<TypeParam>>(0);
  this->template rewrite_at_every_call<slow_way<TypeParam>>(1);
}

// An open file still exists for the process that has it open.
TYPED_TEST(ChangingFile, RemovedOnceItIsOpenIsReadToItsEnd) {
  const auto remove = [&] {
    unlink(this->run.path(0).c_str());
    unlink(this->run.path(1).c_str());
  };
  this->template change_at_every_call<reader_way<TypeParam>>(remove);
  // From the second reading on: all of a file's tables are there, and it is open.
  disturbance how{call::read, mishap::intrusion};
  how.is_harmless = true;
  how.intrude = [&] { unlink(this->run.path(0).c_str()); };
  how.undo = [this] { this->run.restore(); };
  EXPECT_GE((disturb_every_call<channel_way<TypeParam>>(this->run, how).calls), 10);
}

TYPED_TEST(ChangingFile, ReplacedByAnotherOfItsNameIsReadAsItWasOpened) {
  const auto replace = [&] {
    const std::string fresh = this->run.other_folder().file("fresh");
    std::vector<unsigned char> nonsense(this->run.content().size(), 0x55);
    const int descriptor = open(fresh.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (write(descriptor, nonsense.data(), nonsense.size()) < 0) abort();
    close(descriptor);
    rename(fresh.c_str(), this->run.path(0).c_str());
  };
  disturbance how{call::read, mishap::intrusion};
  how.is_harmless = true;
  how.intrude = replace;
  how.undo = [this] { this->run.restore(); };
  EXPECT_GE((disturb_every_call<channel_way<TypeParam>>(this->run, how).calls), 10);
}

// ---- the guard --------------------------------------------------------------------------------------

TEST(MappingGuard, IsWhatKeepsAReaderOfMappedPartsAlive) {
  const small_run<older_generation> run;
  const auto read_and_cut = [&] {
    const silence hushed;
    older_generation::loader loader(0);
    need(loader.get_all_tables(run.path().c_str(), 0, nullptr) == 0, "loaded");
    need(truncate(run.path().c_str(), 0) == 0, "cut");
    volatile unsigned char byte = *reinterpret_cast<const unsigned char*>(loader.get_evh_basket());
    need(byte == 0, "a missing page reads as zeros");
  };
  EXPECT_EQ(in_child(read_and_cut).signal, SIGBUS);
  run.restore();
  const ending guarded = in_child([&] {
    const unsigned long before = ravo_get_missing_pages();
    need(ravo_install_mapping_guard() == 0, "installed");
    read_and_cut();
    need(ravo_get_missing_pages() - before == 1, "one page");
  });
  EXPECT_EQ(guarded.signal, 0);
  EXPECT_EQ(guarded.code, 0);
}

TYPED_TEST(ChangingFile, ANextLookupReportsThatTheFileChanged) {
  const guard_on guard;
  captured_output output;
  typename TypeParam::loader loader(0);
  ASSERT_EQ(loader.get_all_tables(this->run.path().c_str(), 0, nullptr), 0);
  typename TypeParam::read_chan reader(&loader, "SLOW", -1, nullptr);
  reader.set_number_of_threads(1);
  const std::function<void()> change = [&] { this->cut(0, 0); };
  {
    // The worker first takes the lock; then it reads the mapped headers.
    const fault armed(call::thread, 0, change);
    ASSERT_EQ(reader.start(nullptr, nullptr, nullptr), 0);
  }
  pthread_mutex_lock(&reader.mx);
  while (reader.running > 0) pthread_cond_wait(&reader.idle, &reader.mx);
  pthread_mutex_unlock(&reader.mx);
  ravo_channel_entry_long* entry = nullptr;
  EXPECT_EQ(reader.get_chan_data(nullptr, &entry, -2), RAVO_DAQ_READ_CHAN_INTERN_ERROR);
  EXPECT_EQ(reader.get_chan_data(nullptr, &entry, 1), RAVO_DAQ_READ_CHAN_INTERN_ERROR);
  EXPECT_EQ(entry, nullptr);
  reader.clean();
  loader.clean_up();
  EXPECT_EQ(output.stop(), "SLOW the file " + this->run.path() + " changed while it was read\n");
}

void* foreign_page(const std::string& path) {
  const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  void* const page = mmap(nullptr, 4096, PROT_READ, MAP_SHARED, descriptor, 0);
  close(descriptor);
  need(truncate(path.c_str(), 0) == 0, "cut");
  return page;
}

int signals_seen = 0;
void* page_seen = nullptr;
void replace_page(int, siginfo_t* fault, void*) {
  ++signals_seen;
  page_seen = fault->si_addr;
  mmap(fault->si_addr, 4096, PROT_READ, MAP_FIXED | MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
}

TEST(MappingGuard, LeavesOtherFaultsToTheHandlerThatWasThereBefore) {
  const temporary_folder folder;
  const std::string path = folder.write("page", std::vector<unsigned char>(4096, 1));
  const ending end = in_child([&] {
    struct sigaction own {};
    own.sa_sigaction = &replace_page;
    own.sa_flags = SA_SIGINFO;
    need(sigaction(SIGBUS, &own, nullptr) == 0, "a handler");
    need(ravo_install_mapping_guard() == 0, "the guard over it");
    const unsigned long before = ravo_get_missing_pages();
    void* const page = foreign_page(path);
    volatile unsigned char byte = *static_cast<const unsigned char*>(page);
    need(byte == 0 && signals_seen == 1 && page_seen == page, "the handler has it");
    need(ravo_get_missing_pages() == before, "and the guard has not");
    need(ravo_remove_mapping_guard() == 0, "removed");
    struct sigaction now {};
    sigaction(SIGBUS, nullptr, &now);
    need(now.sa_sigaction == &replace_page, "the handler is back");
  });
  EXPECT_EQ(end.signal, 0);
  EXPECT_EQ(end.code, 0);
}

TEST(MappingGuard, LeavesOtherFaultsFatalWhereTheyWere) {
  const temporary_folder folder;
  for (const sighandler_t before : {SIG_DFL, SIG_IGN}) {
    const std::string path = folder.write("page", std::vector<unsigned char>(4096, 1));
    const ending end = in_child([&] {
      signal(SIGBUS, before);
      need(ravo_install_mapping_guard() == 0, "installed");
      volatile unsigned char byte = *static_cast<const unsigned char*>(foreign_page(path));
      need(byte != byte, "is never reached");
    });
    EXPECT_EQ(end.signal, SIGBUS);
  }
}

TEST(MappingGuard, IsInstalledOnceAndIsNotTakenFromUnderAnother) {
  const ending end = in_child([] {
    need(ravo_remove_mapping_guard() == 0, "nothing to remove");
    need(ravo_install_mapping_guard() == 0 && ravo_install_mapping_guard() == 0, "installed");
    struct sigaction own {};
    own.sa_sigaction = &replace_page;
    own.sa_flags = SA_SIGINFO;
    struct sigaction guard {};
    sigaction(SIGBUS, &own, &guard);
    need(ravo_remove_mapping_guard() == EBUSY, "another is over it");
    sigaction(SIGBUS, &guard, nullptr);
    need(ravo_remove_mapping_guard() == 0, "removed");
    struct sigaction now {};
    sigaction(SIGBUS, nullptr, &now);
    need(now.sa_handler == SIG_DFL, "as it was");
  });
  EXPECT_EQ(end.code, 0);
}

// More mappings at once than the list has places at first.
TEST(MappingGuard, KnowsEveryMappingOfAThousand) {
  const small_run<older_generation> run;
  const ending end = in_child([&] {
    const silence hushed;
    need(ravo_install_mapping_guard() == 0, "installed");
    const unsigned long before = ravo_get_missing_pages();
    std::vector<std::unique_ptr<older_generation::loader>> loaders;
    for (int i = 0; i < 500; ++i) {
      loaders.push_back(std::make_unique<older_generation::loader>(0));
      need(loaders.back()->get_all_tables(run.path().c_str(), 0, nullptr) == 0, "loaded");
    }
    need(truncate(run.path().c_str(), 0) == 0, "cut");
    for (const auto& loader : loaders) {
      volatile unsigned char byte = *reinterpret_cast<const unsigned char*>(loader->get_evh_basket());
      need(byte == 0, "zeros");
    }
    need(ravo_get_missing_pages() - before == 500, "one page each");
  });
  EXPECT_EQ(end.signal, 0);
  EXPECT_EQ(end.code, 0);
}

}  // namespace
}  // namespace ravo::test
