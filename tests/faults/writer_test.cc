// The writer at every call that it makes: killed there, refused there, interrupted there. What may be seen
// is whole, what was refused may be repeated, and a second run finishes what the first one could not. The
// oracle is a run that nothing disturbed: the same calls give the same bytes.
#include "../daq/writer/trouble.h"
#include "shim.h"
#include "written_in_pieces.h"

#include <cstdio>

namespace ravo::test {
namespace {

constexpr unsigned of_the_writer = call::on_disk | call::read | call::stat;

template <class generation>
class WriterAtEveryCall : public testing::Test {
 protected:
  WriterAtEveryCall() {
    run.write_undisturbed(undisturbed);
    whole = visible_files(undisturbed);
    EXPECT_EQ(whole.size(), 3u);
  }

  /// How many calls of the kinds an undisturbed run makes.
  long calls_of_a_run(unsigned kinds) {
    const temporary_folder folder;
    const fault counting(kinds, 0, mishap::none);
    run.write_undisturbed(folder);
    return counting.calls();
  }

  /// A child process ends at a call; then only whole files are there, and another process writes the rest.
  void kill_and_finish(unsigned kinds, long which, mishap how, bool has_nameless_files) {
    const std::string when = std::to_string(which) + (has_nameless_files ? "" : ", hidden files");
    const temporary_folder folder;
    const ending end = in_child([&] {
      if (!has_nameless_files) trouble(opening_nameless_files, failing_with(EOPNOTSUPP));
      const fault armed(kinds, which, how);
      run.write_undisturbed(folder);
    });
    ASSERT_EQ(end.signal, SIGKILL) << when;
    testing::Test::RecordProperty("killed", std::to_string(++killed));
    std::size_t hidden = 0;
    const auto left = visible_files(folder, &hidden);
    for (const auto& [name, bytes] : left) ASSERT_TRUE(bytes == whole[name]) << when << " " << name;
    EXPECT_LE(hidden, has_nameless_files ? 0u : 2u) << when;
    if (left.size() == whole.size()) return;
    run.write_undisturbed(folder, static_cast<std::uint32_t>(left.size()));
    ASSERT_TRUE(visible_files(folder) == whole) << when;
  }

  int killed = 0;
  const run_to_write<generation> run;
  const temporary_folder undisturbed;
  std::map<std::string, std::vector<unsigned char>> whole;
};
TYPED_TEST_SUITE(WriterAtEveryCall, generations, generation_name);

TYPED_TEST(WriterAtEveryCall, KilledThereLeavesWholeFilesAndARerunFinishes) {
  const long calls = this->calls_of_a_run(of_the_writer);
  EXPECT_GE(calls, 30);
  for (long which = 0; which < calls; which += thinned)
    this->kill_and_finish(of_the_writer, which, mishap::kill_before, true);
  this->kill_and_finish(of_the_writer, calls - 1, mishap::kill_after, true);
}

TYPED_TEST(WriterAtEveryCall, KilledThereWithoutNamelessFilesLikewise) {
  const long calls = this->calls_of_a_run(of_the_writer);
  for (long which = 1; which < calls; which += 2 * thinned)
    this->kill_and_finish(of_the_writer, which, mishap::kill_before, false);
}

TYPED_TEST(WriterAtEveryCall, KilledInTheMiddleOfAWriteLikewise) {
  const long writes = this->calls_of_a_run(call::write);
  EXPECT_GE(writes, 12);
  for (long which = 0; which < writes; which += thinned)
    this->kill_and_finish(call::write, which, mishap::half_then_kill, true);
}

// ---- refused --------------------------------------------------------------------------------------

template <class generation>
class WriterRefusedAtEveryCall : public WriterAtEveryCall<generation> {
 protected:
  /// Refuses one call, then the next, and so on; a call of the writer that says so is repeated. At how many
  /// calls there was a refusal, and how many of these the writer reported.
  struct count {
    long calls = 0;
    long reported = 0;
  };
  count refuse_every_call(unsigned kinds, mishap how, int error, long step = 1) {
    count result;
    for (long which = 0; which < 5000 && !testing::Test::HasFailure(); which += step) {
      const temporary_folder folder;
      const auto set = this->run.settings(folder);
      const long descriptors = open_descriptors();
      int status = 0, refusals = 0;
      bool happened = false;
      {
        const allocation_count memory;
        {
          typename generation::writer writer;
          const fault armed(kinds, which, how, error);
          status = this->run.write(writer, set, 0, 2, &refusals);
          happened = armed.happened();
        }
        EXPECT_EQ(memory.living(), 0) << which << " " << memory.places();
      }
      EXPECT_EQ(status, 0) << which;
      EXPECT_EQ(open_descriptors(), descriptors) << which;
      EXPECT_TRUE(visible_files(folder) == this->whole) << which;
      EXPECT_EQ(names_in(folder.path()).size(), this->whole.size()) << which;
      EXPECT_TRUE(this->run.has_text()) << which;
      if (!happened) break;
      ++result.calls;
      if (refusals > 0) ++result.reported;
    }
    return result;
  }
};
TYPED_TEST_SUITE(WriterRefusedAtEveryCall, generations, generation_name);

TYPED_TEST(WriterRefusedAtEveryCall, AFullDiskIsReportedAndTheRunIsTheSameInTheEnd) {
  const auto writes = this->refuse_every_call(call::write, mishap::failure, ENOSPC);
  EXPECT_GE(writes.calls, 12);
  EXPECT_EQ(writes.reported, writes.calls);
  const auto syncs = this->refuse_every_call(call::sync, mishap::failure, EIO);
  EXPECT_EQ(syncs.calls, 6) << "each file, and the folder after each";
  EXPECT_EQ(syncs.reported, syncs.calls);
}

TYPED_TEST(WriterRefusedAtEveryCall, EveryOtherSystemCallLikewise) {
  const auto opens = this->refuse_every_call(call::open, mishap::failure, EMFILE);
  EXPECT_EQ(opens.calls, 7) << "the folder, and for each file one to spool to and one to assemble";
  EXPECT_EQ(opens.reported, 4) << "a file that cannot be nameless gets a hidden name";
  const auto reads = this->refuse_every_call(call::read, mishap::failure, EIO);
  EXPECT_GE(reads.reported, 3) << "what was spooled is read back";
  EXPECT_EQ(reads.reported, reads.calls);
  const auto names = this->refuse_every_call(call::rename, mishap::failure, EACCES);
  EXPECT_GE(names.calls, 3);
}

TYPED_TEST(WriterRefusedAtEveryCall, AnInterruptedOrShortCallIsContinuedWithoutAnyEffect) {
  EXPECT_EQ(this->refuse_every_call(of_the_writer, mishap::failure, EINTR, thinned).reported, 0);
  for (const unsigned kind : {call::write, call::read}) {
    EXPECT_EQ(this->refuse_every_call(kind, mishap::short_count, 0, thinned).reported, 0);
  }
}

TYPED_TEST(WriterRefusedAtEveryCall, MissingMemoryIsReportedAndTheRunIsTheSameInTheEnd) {
  const auto refused = this->refuse_every_call(call::allocation, mishap::failure, ENOMEM, thinned);
  EXPECT_GE(refused.calls, 100 / thinned);
  EXPECT_GE(refused.reported, 90 / thinned);
}

// ---- many of a kind -------------------------------------------------------------------------------

// A description without bits and dimensions is copied in one piece. Code that makes room for one more each
// time takes a second piece for each, and copies all pointers: a square of their number.
TYPED_TEST(WriterAtEveryCall, AddsDescriptionsWithoutMovingTheOthersEachTime) {
  constexpr int descriptions = 4000;
  const temporary_folder folder;
  typename TypeParam::writer writer;
  must(writer, writer.open(settings_in(folder)));
  chan_descr_2010 description{};
  int moved = 0;
  for (int i = 0; i < descriptions; ++i) {
    std::snprintf(description.prop_name, sizeof description.prop_name, "C%d", i);
    const fault counting(call::allocation, 0, mishap::none);
    const int status = writer.add_description(description);
    const long calls = counting.calls();
    counting.disarm();
    must(writer, status);
    EXPECT_GE(calls, 1) << "nothing was copied";
    moved += calls > 1 ? 1 : 0;
  }
  EXPECT_LE(moved, 13) << "doubled from 1 to 4096";
}

}  // namespace
}  // namespace ravo::test
