// How much memory the writer takes while it writes, counted at the allocator, and the limits of a file that
// can be reached without gigabytes of data. It is a program of its own because it replaces operator new.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <stdlib.h>
#include <unistd.h>

#include <atomic>
#include <new>

#include "raw_file.h"
#include "writing.h"

namespace {

std::atomic<std::size_t> live{0}, peak{0};
std::atomic<std::size_t> allowed{~std::size_t{0}};  // a single allocation beyond it is refused
std::atomic<long> before_refusal{-1};               // so many allocations pass and the next does not

}  // namespace

void* operator new(std::size_t size) {
  const bool refused = size > allowed || (before_refusal >= 0 && before_refusal-- == 0);
  void* memory = refused ? nullptr : malloc(size);
  if (!memory) throw std::bad_alloc();
  const std::size_t now = live += malloc_usable_size(memory);
  std::size_t before = peak;
  while (before < now && !peak.compare_exchange_weak(before, now)) {
  }
  return memory;
}
void operator delete(void* memory) noexcept {
  if (memory) live -= malloc_usable_size(memory);
  free(memory);
}
void operator delete(void* memory, std::size_t) noexcept { operator delete(memory); }

namespace {

using namespace ravo::test;

constexpr std::size_t mebibyte = std::size_t{1} << 20;

// The most that was allocated at one time while `what` ran, beyond what was there before.
template <class work>
std::size_t peak_of(work&& what) {
  const std::size_t before = live;
  peak = before;
  what();
  return peak - before;
}

TEST(WriterMemory, AFileMuchLargerThanTheBufferNeedsLittleMoreThanTheBuffer) {
  const temporary_folder folder;
  ravo_daq_writer_settings settings = settings_in(folder);
  settings.buffer_bytes = 2 * mebibyte;
  const payload block = noisy_spectrum(4096, 1);  // 16 KiB
  std::string file;
  const std::size_t most = peak_of([&] {
    ravo_daq_writer_2010 writer;
    must(writer, writer.open(settings));
    for (int i = 0; i < 20; ++i)
      must(writer, writer.add_channel(channel_of("C" + std::to_string(i), RAVO_BLOCK_1CHAN_2010)));
    for (std::uint32_t i = 0; i < 2000; ++i) {
      // The channels take turns in having much data: a channel must not keep the memory that it took.
      must(writer, writer.begin_event(event_of(i + 1, noon + i)));
      must(writer, writer.begin_server_block({"SERVER", {noon + i, 0}, 0, 0, 0}));
      must(writer, give(writer, static_cast<int>(i / 100), block));
      must(writer, writer.end_event());
    }
    must(writer, writer.close());
    file = writer.get_files().at(0);
  });
  EXPECT_GT(std::filesystem::file_size(file), 32 * mebibyte);
  // The buffer, and a mebibyte each for moving it out, reading it back and writing the file.
  EXPECT_LT(most, 2 * mebibyte + 2 * mebibyte + mebibyte / 2);
  EXPECT_EQ(raw_file(file).events(), 2000u);
}

TEST(WriterMemory, TheMemoryOfManyFilesIsThatOfOne) {
  const auto peak_with_files = [](std::uint32_t files) {
    const temporary_folder folder;
    ravo_daq_writer_settings settings = settings_in(folder);
    settings.max_events = 100;
    settings.buffer_bytes = mebibyte;
    const payload block = noisy_spectrum(1024, 1);
    return peak_of([&] {
      ravo_daq_writer_2010 writer;
      must(writer, writer.open(settings));
      must(writer, writer.add_channel(channel_of("A", RAVO_BLOCK_1CHAN_2010)));
      for (std::uint32_t i = 0; i < files * 100; ++i)
        must(writer, give_event(writer, event_of(i + 1, noon + i), {{0, block}}));
      must(writer, writer.close());
    });
  };
  EXPECT_LT(peak_with_files(12), peak_with_files(2) + mebibyte / 8);
}

TEST(WriterMemory, AnEventLargerThanTheBufferIsHeldOnlyAsLongAsItMust) {
  const temporary_folder folder;
  ravo_daq_writer_settings settings = settings_in(folder);
  settings.buffer_bytes = mebibyte;
  const payload block = noisy_spectrum(4 * mebibyte, 1);  // 16 MiB
  const payload small = noisy_spectrum(10, 1);
  ravo_daq_writer_2010 writer;
  must(writer, writer.open(settings));
  must(writer, writer.add_channel(channel_of("A", RAVO_BLOCK_1CHAN_2010)));
  const std::size_t before = live;
  must(writer, give_event(writer, event_of(1, noon), {{0, block}}));
  const std::size_t held = live - before;  // encoder, event and buffer
  must(writer, give_event(writer, event_of(2, noon), {{0, small}}));
  EXPECT_LT(live - before + 14 * mebibyte, held);
  must(writer, writer.close());
  EXPECT_EQ(raw_file(writer.get_files().at(0)).find("A").count, 2u);
}

TEST(WriterMemory, WhereMemoryIsRefusedTheCallIsAndTheRunGoesOn) {
  const temporary_folder folder;
  ravo_daq_writer_2010 writer;
  must(writer, writer.open(settings_in(folder)));
  must(writer, writer.add_channel(channel_of("A", RAVO_BLOCK_1CHAN_2010)));
  const payload large = noisy_spectrum(mebibyte, 1), small = noisy_spectrum(10, 2);
  must(writer, writer.begin_event(event_of(1, noon)));
  must(writer, writer.begin_server_block({"SERVER", {noon, 0}, 0, 0, 0}));
  allowed = mebibyte;
  EXPECT_EQ(give(writer, 0, large), RAVO_DAQ_WRITER_NO_MEMORY);
  EXPECT_STREQ(writer.get_last_error(),
               "there is not enough memory for this; use a smaller buffer_bytes or smaller events");
  EXPECT_EQ(give(writer, 0, small), RAVO_DAQ_WRITER_OK);
  allowed = 0;
  EXPECT_EQ(writer.end_event(), RAVO_DAQ_WRITER_NO_MEMORY);
  allowed = ~std::size_t{0};
  EXPECT_EQ(writer.end_event(), RAVO_DAQ_WRITER_OK);
  must(writer, writer.close());
  const raw_file file(writer.get_files().at(0));
  EXPECT_EQ(file.events(), 1u);
  EXPECT_EQ(file.block_at(file.find("A").row.at(0).chhd).data, small.file());
}

TEST(WriterMemory, RefusedAtAnyAllocationAnEventIsWholeOrNotThereAtAll) {
  // Every call is refused its first allocation, then its second, and so on until it needs no more.
  const temporary_folder undisturbed;
  const auto write = [](const temporary_folder& into, long first_refused) {
    ravo_daq_writer_settings settings = settings_in(into);
    settings.buffer_bytes = 3000;
    settings.max_events = 20;
    ravo_daq_writer_2010 writer;
    const auto insist = [&](auto call) {
      for (long passing = first_refused;; ++passing) {
        if (first_refused >= 0) before_refusal = passing;
        const int status = call();
        before_refusal = -1;
        if (status != RAVO_DAQ_WRITER_NO_MEMORY) return must(writer, status);
      }
    };
    must(writer, writer.open(settings));
    bit_descr bit{};
    dim_descr dim{};
    dim.nstats = 1;
    dim.stats.resize(1);
    chan_descr_2010 description{};
    description.nbits = description.ndims = 1;
    description.bits = {&bit};
    description.dims = {&dim};
    for (int i = 0; i < 2; ++i) {
      ravo_daq_writer_channel channel =
          channel_of("A NAME THAT TAKES MEMORY OF ITS OWN " + std::to_string(i), RAVO_BLOCK_1CHAN_2010,
                     ravo_compression::lzo1x);
      channel.key = static_cast<std::uint32_t>(100 + i);
      channel.env_index = i;
      channel.description = &description;
      insist([&] { return writer.add_channel(channel); });
    }
    for (std::uint32_t i = 0; i < 50; ++i) {
      const payload first = noisy_spectrum(i + 1, i), second = smooth_spectrum(7 * i + 1, 3);
      const ravo_daq_writer_server_block server{"SERVER", {noon + i, 0}, 0, 0, 0};
      insist([&] { return writer.begin_event(event_of(i + 1, noon + i)); });
      insist([&] { return writer.begin_server_block(server); });
      insist([&] { return give(writer, 0, first); });
      insist([&] { return give(writer, 1, second); });
      insist([&] { return writer.end_event(); });
    }
    insist([&] { return writer.close(); });
  };
  write(undisturbed, -1);
  // What a refused call has allocated stays: beginning later meets what was skipped.
  for (long first = 0; first < 8; ++first) {
    const temporary_folder folder;
    write(folder, first);
    ASSERT_EQ(names_in(folder.path()), names_in(undisturbed.path()));
    for (const std::string& name : names_in(folder.path()))
      EXPECT_EQ(read_file(folder.file(name)), read_file(undisturbed.file(name))) << name;
  }
}

TEST(WriterMemory, APointerTableThatWouldPassTwoGibibytesBeginsTheNextFile) {
  // 40000 rows of 16 bytes: 640000 bytes an event, so that 3355 events make 2147200012 bytes and one more
  // would pass 2147483647. The rows are empty but for one channel's: the file takes little room on the
  // disk.
  const temporary_folder folder;
  ravo_daq_writer_2010 writer;
  must(writer, writer.open(settings_in(folder)));
  for (int i = 0; i < 40000; ++i)
    must(writer, writer.add_channel(channel_of("C" + std::to_string(i), RAVO_UPD_BLOCK_2010)));
  const payload reading = update("P", noon, 1);
  for (std::uint32_t i = 0; i < 3356; ++i)
    must(writer, give_event(writer, event_of(i + 1, noon + i), {{39999, reading}}));
  must(writer, writer.close());
  ASSERT_EQ(writer.get_files().size(), 2u);

  const int file = ::open(writer.get_files()[0].c_str(), O_RDONLY);
  ASSERT_GE(file, 0);
  const auto word_at = [&](std::uint64_t offset) {
    unsigned char b[4] = {};
    EXPECT_EQ(pread(file, b, 4, static_cast<off_t>(offset)), 4);
    return std::uint32_t{b[0]} << 24 | std::uint32_t{b[1]} << 16 | std::uint32_t{b[2]} << 8 | b[3];
  };
  const std::uint64_t size = std::filesystem::file_size(writer.get_files()[0]);
  const std::uint32_t reference = word_at(size - 4);
  const std::uint64_t table = word_at(reference + 144);
  EXPECT_EQ(word_at(table + 4), 2147200012u);
  EXPECT_EQ(word_at(table + 8), 3355u);
  // The last row's last entry lies at the very end of the table; the environment dictionary follows.
  const std::uint32_t last = word_at(table + 2147200012u - 8);
  EXPECT_EQ(word_at(last + 268), 0x50000000u);  // "P" of the block's data
  EXPECT_EQ(word_at(table + 2147200012u), 0xeddeddf3u);
  EXPECT_EQ(word_at(table + 12), 0u);
  ::close(file);
  EXPECT_EQ(raw_file(writer.get_files()[1]).events(), 1u);
}

}  // namespace
