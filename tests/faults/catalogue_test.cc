// The catalogue builder at every call that it makes: killed there, refused there, without memory there. A
// program that asks the catalogue afterwards sees whole runs or none, and a second build finishes what the
// first one could not.
#include <sstream>

#include "../daq/writer/trouble.h"
#include "disturbed.h"
#include "ravo_run_catalogue_builder.h"

namespace ravo::test {
namespace {

constexpr unsigned of_the_builder =
    call::on_disk | call::read | call::stat | call::open_folder | call::list_folder;

class CatalogueBuilder : public testing::Test {
 protected:
  static constexpr int runs = 2;

  CatalogueBuilder() {
    for (int number = 1; number <= runs; ++number)
      for (unsigned file = 0; file < small_run<current_generation>::files; ++file)
        raw.write("linac_main_run" + std::to_string(number) + "_file" + std::to_string(file + 1) +
                      "_20231114T2213" + std::to_string(20 + file) + "Z.raw",
                  of.content(file));
    const temporary_folder folder;
    build(folder);
    whole = content_of(folder);
    EXPECT_EQ(whole.size(), std::size_t{runs});
  }

  catalogue::build_settings settings_for(const temporary_folder& folder, int threads = 1) const {
    catalogue::build_settings settings;
    settings.raw_folder = raw.path().string();
    settings.catalogue_directory = folder.path().string();
    settings.closed_after = -1;
    settings.threads = threads;
    return settings;
  }
  catalogue::build_result build(const temporary_folder& folder, int threads = 1) const {
    return catalogue::build(settings_for(folder, threads), {});
  }

  /// What the catalogue knows of each run. Fails the test when a catalogue file is damaged.
  static std::map<int, std::string> content_of(const temporary_folder& folder) {
    std::map<int, std::string> content;
    const auto damaged =
        catalogue::visit_runs(folder.path().string(), "", "", [&](const catalogue::run_entry& run) {
          std::ostringstream text;
          for (const auto& file : run.files)
            text << file.path << " " << file.events << " " << file.start.timeup << " " << file.end.timelow
                 << "\n";
          content[run.run] = text.str();
        });
    for (const auto& one : damaged) ADD_FAILURE() << one.file << ": " << one.text;
    return content;
  }
  void expect_whole_runs_only(const temporary_folder& folder, const std::string& when) const {
    for (const auto& [run, text] : content_of(folder)) EXPECT_EQ(text, whole.at(run)) << when;
  }
  long calls_of_a_build(unsigned kinds) const {
    const temporary_folder folder;
    const fault counting(kinds, 0, mishap::none);
    build(folder);
    return counting.calls();
  }
  void kill_and_finish(unsigned kinds, long which, mishap how, int threads) {
    const std::string when = std::to_string(which) + " with " + std::to_string(threads) + " threads";
    const temporary_folder folder;
    const ending end = in_child([&] {
      const fault armed(kinds, which, how);
      build(folder, threads);
    });
    ASSERT_TRUE(end.signal == SIGKILL || threads > 1) << when;
    if (end.signal == SIGKILL) RecordProperty("killed", std::to_string(++killed));
    expect_whole_runs_only(folder, when);
    const auto rerun = build(folder);
    EXPECT_TRUE(rerun.problems.empty()) << when << " " << rerun.problems.front().text;
    EXPECT_EQ(content_of(folder), whole) << when;
  }

  int killed = 0;
  const small_run<current_generation> of;
  temporary_folder raw;
  std::map<int, std::string> whole;
};

TEST_F(CatalogueBuilder, KilledAtAnyCallLeavesWholeRunsAndASecondBuildFinishes) {
  const long calls = calls_of_a_build(of_the_builder);
  EXPECT_GE(calls, 40);
  for (long which = 0; which < calls; ++which)
    kill_and_finish(of_the_builder, which, mishap::kill_before, 1);
}

TEST_F(CatalogueBuilder, KilledWhileSeveralThreadsWorkLikewise) {
  const long calls = calls_of_a_build(of_the_builder);
  for (long which = 0; which < calls; which += 3)
    kill_and_finish(of_the_builder, which, mishap::kill_before, 3);
}

TEST_F(CatalogueBuilder, KilledInTheMiddleOfAWriteLikewise) {
  const long writes = calls_of_a_build(call::write);
  EXPECT_GE(writes, runs);
  for (long which = 0; which < writes; ++which)
    kill_and_finish(call::write, which, mishap::half_then_kill, 1);
}

// ---- refused --------------------------------------------------------------------------------------

class CatalogueBuilderRefused : public CatalogueBuilder {
 protected:
  /// Whether every line of a text is also a line of another text.
  static bool is_part(const std::string& text, const std::string& whole) {
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);)
      if (whole.find(line + "\n") == whole.npos) return false;
    return true;
  }
  /// Refuses each call in turn; at how many the builder reported it.
  struct count {
    long calls = 0;
    long reported = 0;
  };
  count refuse_every_call(unsigned kinds, int error, extent reach = extent::one_call, int threads = 1,
                          mishap how = mishap::failure, long step = 1) {
    count result;
    build(temporary_folder(), threads);
    const resources before;
    for (long which = 0; which < 5000 && !HasFailure(); which += step) {
      const std::string when = std::to_string(which);
      const temporary_folder folder;
      const catalogue::build_settings settings = settings_for(folder, threads);
      bool happened = false, has_thrown = false;
      std::size_t problems = 0;
      {
        const allocation_count memory;
        {
          const fault armed(kinds, which, how, error, reach);
          try {
            const catalogue::build_result built = catalogue::build(settings, {});
            problems = built.problems.size() + (built.stopped ? 1 : 0);
          } catch (...) {
            has_thrown = true;
          }
          happened = armed.happened();
        }
        settled_threads(before.threads);
        EXPECT_EQ(memory.living(), 0) << when << " " << memory.places();
      }
      EXPECT_FALSE(has_thrown) << when;
      before.expect_same(when);
      // What was not reported has been done; a file that was reported may be missing in its run.
      const auto content = content_of(folder);
      for (const auto& [run, text] : content)
        EXPECT_TRUE(is_part(text, whole.at(run))) << when << " " << text;
      EXPECT_TRUE(problems > 0 || content == whole) << when;
      EXPECT_TRUE(build(folder).problems.empty()) << when;
      EXPECT_EQ(content_of(folder), whole) << when;
      if (!happened) break;
      ++result.calls;
      if (problems > 0) ++result.reported;
    }
    return result;
  }
};

TEST_F(CatalogueBuilderRefused, AFullDiskIsReported) {
  const count writes = refuse_every_call(call::write, ENOSPC);
  EXPECT_GE(writes.calls, runs);
  EXPECT_EQ(writes.reported, writes.calls);
  const count syncs = refuse_every_call(call::sync, EIO);
  EXPECT_GE(syncs.calls, runs);
  EXPECT_EQ(syncs.reported, syncs.calls);
  const count renames = refuse_every_call(call::rename, EACCES);
  EXPECT_EQ(renames.reported, renames.calls);
}

TEST_F(CatalogueBuilderRefused, EveryOtherSystemCallIsReportedOrRecovered) {
  EXPECT_GE(refuse_every_call(call::open, EMFILE).calls, 10);
  EXPECT_GE(refuse_every_call(call::read, EIO).calls, 10);
  EXPECT_GE(refuse_every_call(call::stat, EIO).calls, 6);
  EXPECT_GE(refuse_every_call(call::make_folder, ENOSPC).calls, 1);
  EXPECT_GE(refuse_every_call(call::file_lock, ENOLCK).calls, 1);
  EXPECT_GE(refuse_every_call(call::open_folder, EMFILE).calls, 1);
}

TEST_F(CatalogueBuilderRefused, AnInterruptedOrShortCallIsContinued) {
  EXPECT_EQ(refuse_every_call(of_the_builder, EINTR).reported, 0);
  EXPECT_EQ(refuse_every_call(of_the_builder, EINTR, extent::every_second, 3, mishap::failure, 11).reported,
            0);
  for (const unsigned kind : {call::read, call::write})
    EXPECT_EQ(refuse_every_call(kind, 0, extent::one_call, 1, mishap::short_count).reported, 0) << kind;
}

TEST_F(CatalogueBuilderRefused, AThreadThatCannotBeMadeIsDoneWithout) {
  EXPECT_EQ(refuse_every_call(call::thread, EAGAIN, extent::all_from_there, 3).reported, 0);
}

TEST_F(CatalogueBuilderRefused, MissingMemoryIsReportedAndNothingIsThrown) {
  const count refused =
      refuse_every_call(call::allocation, ENOMEM, extent::one_call, 1, mishap::failure, thinned);
  EXPECT_GE(refused.calls, 200 / thinned);
}

TEST_F(CatalogueBuilderRefused, MemoryThatIsNotToBeHadInAnyThreadLikewise) {
  const count refused =
      refuse_every_call(call::allocation, ENOMEM, extent::all_from_there, 3, mishap::failure, thinned);
  EXPECT_GE(refused.calls, 100 / thinned);
}

}  // namespace
}  // namespace ravo::test
