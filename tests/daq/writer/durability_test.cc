// What is left when the writer is killed or the system refuses: complete files or none, a status and a
// sentence, and a call that may be repeated. The oracle is a run that nothing disturbed: the writer gives
// the same bytes for the same input, so a visible file has to be one of that run's.
#include <gtest/gtest.h>

#include "raw_file.h"
#include "trouble.h"
#include "writing.h"

namespace {

using namespace ravo::test;

constexpr int events_in_run = 60;

// Three files of twenty events, with enough data to be spooled every few events.
ravo_daq_writer_settings disturbed_settings(const temporary_folder& folder) {
  ravo_daq_writer_settings settings = settings_in(folder);
  settings.max_events = 20;
  settings.buffer_bytes = 3000;
  return settings;
}

int give_numbered(ravo_daq_writer_2010& writer, std::uint32_t i) {
  return give_event(writer, event_of(i + 1, noon + i),
                    {{0, noisy_spectrum(200, i)}, {1, noisy_spectrum(9, i)}});
}

void begin_run(ravo_daq_writer_2010& writer, const temporary_folder& folder) {
  must(writer, writer.open(disturbed_settings(folder)));
  must(writer, writer.add_channel(channel_of("A", RAVO_BLOCK_1CHAN_2010)));
  must(writer, writer.add_channel(channel_of("B", RAVO_BLOCK_1CHAN_2010, ravo_compression::zlib)));
}

void write_run(const temporary_folder& folder) {
  ravo_daq_writer_2010 writer;
  begin_run(writer, folder);
  for (std::uint32_t i = 0; i < events_in_run; ++i) must(writer, give_numbered(writer, i));
  must(writer, writer.close());
}

bool is_hidden(const std::string& name) { return name.front() == '.'; }

class WriterDurability : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    undisturbed_ = std::make_unique<temporary_folder>();
    write_run(*undisturbed_);
    ASSERT_EQ(names_in(undisturbed_->path()).size(), 3u);
  }
  static void TearDownTestSuite() { undisturbed_.reset(); }

  // Every visible file is complete, and `hidden` lists all hidden ones.
  static std::size_t expect_only_whole_files(const temporary_folder& folder, std::size_t hidden = 0) {
    std::size_t whole = 0;
    for (const std::string& name : names_in(folder.path())) {
      if (is_hidden(name)) {
        EXPECT_TRUE(name.ends_with(".part")) << name;
        EXPECT_GT(hidden--, 0u) << name;
        continue;
      }
      ++whole;
      EXPECT_EQ(read_file(folder.file(name)), read_file(undisturbed_->file(name))) << name;
    }
    return whole;
  }

  static void need_whole_run(const temporary_folder& folder) {
    for (const std::string& name : names_in(undisturbed_->path()))
      need(read_file(folder.file(name)) == read_file(undisturbed_->file(name)), name + " is whole");
    need(names_in(folder.path()) == names_in(undisturbed_->path()), "nothing else is there");
  }

  static std::unique_ptr<temporary_folder> undisturbed_;
};

std::unique_ptr<temporary_folder> WriterDurability::undisturbed_;

// ---- killed ---------------------------------------------------------------------------------------

TEST_F(WriterDurability, AWriterKilledAfterAnyEventLeavesOnlyWholeFiles) {
  for (std::uint32_t after = 0; after <= events_in_run; after += 5) {
    const temporary_folder folder;
    const ending end = in_child([&] {
      ravo_daq_writer_2010 writer;
      begin_run(writer, folder);
      for (std::uint32_t i = 0; i < after; ++i) must(writer, give_numbered(writer, i));
      raise(SIGKILL);
    });
    EXPECT_EQ(end.signal, SIGKILL);
    // A file ends when the event after its twentieth is completed.
    EXPECT_EQ(expect_only_whole_files(folder), after == 0 ? 0u : (after - 1) / 20) << after;
  }
}

// Whatever the program does with the signal that comes with it.
TEST_F(WriterDurability, ALimitOfFilesAtAnyByteIsAnErrorThatNamesTheFile) {
  const auto length = std::filesystem::file_size(undisturbed_->file(names_in(undisturbed_->path())[0]));
  std::size_t refused_runs = 0;
  for (rlim_t limit = 0; limit < length + 2000; limit += 977) {
    const temporary_folder folder;
    const ending end = in_child([&] {
      signal(SIGXFSZ, SIG_DFL);
      limit_files(limit);
      ravo_daq_writer_2010 writer;
      begin_run(writer, folder);
      int status = RAVO_DAQ_WRITER_OK;
      for (std::uint32_t i = 0; i < 21 && status == RAVO_DAQ_WRITER_OK; ++i)
        status = give_numbered(writer, i);
      need((status == RAVO_DAQ_WRITER_IO) == (limit < length), "refused when there is no room");
      if (status == RAVO_DAQ_WRITER_OK) return;
      const std::string text = writer.get_last_error();
      need(text.find(folder.path().string()) != std::string::npos, text);
      need(text.ends_with(": File too large; let files become larger (ulimit -f) and repeat the call"),
           text);
    });
    EXPECT_EQ(end.signal, 0) << limit;
    EXPECT_EQ(end.code, 0) << limit;
    const std::size_t whole = expect_only_whole_files(folder);
    if (limit < length) {
      EXPECT_EQ(whole, 0u) << limit;
      EXPECT_TRUE(names_in(folder.path()).empty()) << limit;
      ++refused_runs;
    }
  }
  EXPECT_GT(refused_runs, 15u);
}

TEST_F(WriterDurability, AWriterKilledAtAnySystemCallOfItsStoryLeavesNoFile) {
  for (const system_call& call : {opening_nameless_files, every(SYS_pwrite64), every(SYS_pread64),
                                  every(SYS_write), every(SYS_fsync), every(SYS_linkat)}) {
    const temporary_folder folder;
    const ending end = in_child([&] {
      trouble(call, killed);
      write_run(folder);
    });
    EXPECT_EQ(end.signal, SIGSYS) << call.number;
    EXPECT_TRUE(names_in(folder.path()).empty()) << call.number;
  }
}

TEST_F(WriterDurability, WithoutNamelessFilesAKilledWriterLeavesOnlyAHiddenFile) {
  for (const system_call& call : {every(SYS_write), every(SYS_fsync), every(SYS_renameat2)}) {
    const temporary_folder folder;
    const ending end = in_child([&] {
      trouble(opening_nameless_files, failing_with(EOPNOTSUPP));
      trouble(call, killed);
      write_run(folder);
    });
    EXPECT_EQ(end.signal, SIGSYS) << call.number;
    EXPECT_EQ(expect_only_whole_files(folder, 1), 0u) << call.number;
    EXPECT_EQ(names_in(folder.path()).size(), 1u) << call.number;
  }
}

// ---- other ways to the same file --------------------------------------------------------------------

TEST_F(WriterDurability, WithoutNamelessFilesTheRunIsTheSame) {
  const temporary_folder folder;
  const ending end = in_child([&] {
    trouble(opening_nameless_files, failing_with(EOPNOTSUPP));
    write_run(folder);
    need_whole_run(folder);
  });
  EXPECT_EQ(end.code, 0);
}

TEST_F(WriterDurability, WithoutRenamingThatKeepsAnExistingFileTheRunIsTheSame) {
  for (int error : {EINVAL, ENOSYS}) {
    const temporary_folder folder;
    const ending end = in_child([&] {
      trouble(opening_nameless_files, failing_with(EOPNOTSUPP));
      trouble(every(SYS_renameat2), failing_with(error));
      write_run(folder);
      need_whole_run(folder);
    });
    EXPECT_EQ(end.code, 0);
  }
}

TEST_F(WriterDurability, WithoutProcTheRunIsTheSame) {
  const temporary_folder folder;
  const ending end = in_child([&] {
    trouble(every(SYS_access), failing_with(ENOENT));
    trouble(every(SYS_linkat), failing_with(ENOENT));
    write_run(folder);
    need_whole_run(folder);
  });
  EXPECT_EQ(end.code, 0);
}

TEST_F(WriterDurability, NoWayOverwritesAFileThatIsThere) {
  for (bool with_rename : {true, false}) {
    const temporary_folder folder;
    const ending end = in_child([&] {
      trouble(opening_nameless_files, failing_with(EOPNOTSUPP));
      if (!with_rename) trouble(every(SYS_renameat2), failing_with(ENOSYS));
      ravo_daq_writer_2010 writer;
      begin_run(writer, folder);
      must(writer, give_numbered(writer, 0));
      const std::string name = names_in(undisturbed_->path())[0];
      folder.write(name, std::vector<unsigned char>{7});
      need(writer.close() == RAVO_DAQ_WRITER_IO, "refused");
      need_equal(writer.get_last_error(),
                 "cannot give the finished file its name " + folder.file(name) +
                     ": File exists; move the file of that name away and repeat the call");
      need(read_file(folder.file(name)) == std::vector<unsigned char>{7}, "the file is as it was");
      need(names_in(folder.path()).size() == 1, "nothing else is there");
    });
    EXPECT_EQ(end.code, 0);
  }
}

TEST_F(WriterDurability, WhatAKilledNamesakeLeftBehindIsInNobodysWay) {
  const temporary_folder folder;
  const ending end = in_child([&] {
    trouble(opening_nameless_files, failing_with(EOPNOTSUPP));
    const std::string pid = std::to_string(getpid());
    const std::string name = names_in(undisturbed_->path())[0];
    folder.write("." + name + "." + pid + "-0.part", std::vector<unsigned char>{1});
    folder.write(".spool." + pid + "-0.part", std::vector<unsigned char>{2});
    write_run(folder);
    need(read_file(folder.file("." + name + "." + pid + "-0.part")).size() == 1, "left alone");
  });
  EXPECT_EQ(end.code, 0);
  EXPECT_EQ(expect_only_whole_files(folder, 2), 3u);
}

// ---- refused by the system --------------------------------------------------------------------------

TEST_F(WriterDurability, AFullDiskWhileSpoolingIsReportedAndTheEventMayBeEndedAgain) {
  const temporary_folder folder;
  const ending end = in_child([&] {
    signal(SIGXFSZ, SIG_IGN);
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    ravo_daq_writer_2010 writer;
    begin_run(writer, folder);
    int refused = 0;
    for (std::uint32_t i = 0; i < events_in_run; ++i) {
      if (i == 6) limit_files(4000);
      int status = give_numbered(writer, i);
      if (status != RAVO_DAQ_WRITER_OK) {
        ++refused;
        need(status == RAVO_DAQ_WRITER_IO, "the status");
        need_equal(writer.get_last_error(),
                   "cannot write temporary data to the folder " + folder.path().string() +
                       ": File too large; let files become larger (ulimit -f) and repeat the call");
        need(names_in(folder.path()).empty(), "nothing is to be seen");
        need(writer.end_event() == RAVO_DAQ_WRITER_IO, "the same again while the cause is there");
        setrlimit(RLIMIT_FSIZE, &before);
        status = writer.end_event();
      }
      must(writer, status);
    }
    need(refused == 1, "refused once");
    must(writer, writer.close());
    need_whole_run(folder);
  });
  EXPECT_EQ(end.code, 0);
}

TEST_F(WriterDurability, AFullDiskWhileAssemblingIsReportedAndTheCallMayBeRepeated) {
  const temporary_folder folder;
  const ending end = in_child([&] {
    signal(SIGXFSZ, SIG_IGN);
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    ravo_daq_writer_2010 writer;
    begin_run(writer, folder);
    for (std::uint32_t i = 0; i < 20; ++i) must(writer, give_numbered(writer, i));
    limit_files(10000);
    need(give_numbered(writer, 20) == RAVO_DAQ_WRITER_IO, "refused");
    const std::string name = names_in(undisturbed_->path())[0];
    need_equal(writer.get_last_error(),
               "cannot write " + folder.file(name) +
                   ": File too large; let files become larger (ulimit -f) and repeat the call");
    need(names_in(folder.path()).empty(), "nothing is to be seen");
    setrlimit(RLIMIT_FSIZE, &before);
    must(writer, writer.end_event());
    for (std::uint32_t i = 21; i < events_in_run; ++i) must(writer, give_numbered(writer, i));
    limit_files(10000);
    need(writer.close() == RAVO_DAQ_WRITER_IO, "close is refused");
    setrlimit(RLIMIT_FSIZE, &before);
    must(writer, writer.close());
    need_whole_run(folder);
  });
  EXPECT_EQ(end.code, 0);
}

TEST_F(WriterDurability, ARefusalOfTheSystemIsReportedWithItsText) {
  struct refusal {
    system_call call;
    int error;
    std::string text;
  };
  const std::string name = names_in(undisturbed_->path())[0];
  const refusal refusals[] = {
      {every(SYS_pwrite64), ENOSPC,
       "cannot write temporary data to the folder FOLDER: No space left on device; free disk space and "
       "repeat the call"},
      {every(SYS_pread64), EIO,
       "cannot read temporary data back from the folder FOLDER: Input/output error; check the disk"},
      {opening_nameless_files, EMFILE,
       "cannot create a temporary file in the folder FOLDER: Too many open files; make the folder writable "
       "and repeat the call"},
      {every(SYS_fsync), EIO,
       "cannot write FOLDER/" + name + ": Input/output error; free disk space and repeat the call"},
      {every(SYS_linkat), EPERM,
       "cannot give the finished file its name FOLDER/" + name +
           ": Operation not permitted; make the folder writable and repeat the call"},
  };
  for (const refusal& one : refusals) {
    const temporary_folder folder;
    std::string text = one.text;
    text.replace(text.find("FOLDER"), 6, folder.path().string());
    const ending end = in_child([&] {
      ravo_daq_writer_2010 writer;
      begin_run(writer, folder);
      trouble(one.call, failing_with(one.error));
      int status = RAVO_DAQ_WRITER_OK;
      for (std::uint32_t i = 0; i < 21 && status == RAVO_DAQ_WRITER_OK; ++i)
        status = give_numbered(writer, i);
      need(status == RAVO_DAQ_WRITER_IO, "the status");
      need_equal(writer.get_last_error(), text);
      need(writer.get_files().empty(), "no file is listed");
    });
    EXPECT_EQ(end.code, 0) << text;
    EXPECT_TRUE(names_in(folder.path()).empty()) << text;
  }
}

TEST_F(WriterDurability, AFolderThatCannotBeSynchronisedKeepsTheCompletedFile) {
  const temporary_folder folder;
  const ending end = in_child([&] {
    // The folder is the first descriptor that the writer opens: the lowest that is free.
    const int descriptor = dup(STDERR_FILENO);
    close(descriptor);
    ravo_daq_writer_2010 writer;
    begin_run(writer, folder);
    must(writer, give_numbered(writer, 0));
    trouble(on_descriptor(SYS_fsync, descriptor), failing_with(EIO));
    need(writer.close() == RAVO_DAQ_WRITER_IO, "the status");
    need_equal(writer.get_last_error(),
               "cannot bring the folder " + folder.path().string() +
                   " to disk: Input/output error; check the disk; the file that was just completed is in "
                   "place");
    need(writer.get_files().size() == 1, "the file is listed");
    must(writer, writer.close());
    need(writer.get_files().size() == 1, "and only once");
  });
  EXPECT_EQ(end.code, 0);
  EXPECT_EQ(names_in(folder.path()).size(), 1u);
}

TEST_F(WriterDurability, ManyRefusalsInARowLoseNothing) {
  // Each limit lets a different part of the writes through before it refuses.
  const temporary_folder folder;
  const ending end = in_child([&] {
    signal(SIGXFSZ, SIG_IGN);
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    ravo_daq_writer_2010 writer;
    begin_run(writer, folder);
    for (std::uint32_t i = 0; i < events_in_run; ++i) {
      for (rlim_t bytes : {1u, 500u, 7000u}) {
        if (i != 20) break;
        limit_files(bytes);
        need((bytes == 1u ? give_numbered(writer, i) : writer.end_event()) == RAVO_DAQ_WRITER_IO,
             "refused");
      }
      setrlimit(RLIMIT_FSIZE, &before);
      must(writer, i == 20 ? writer.end_event() : give_numbered(writer, i));
    }
    must(writer, writer.close());
    need_whole_run(folder);
  });
  EXPECT_EQ(end.code, 0);
}

}  // namespace
