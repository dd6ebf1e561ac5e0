// The cost of the pointer table by list for names that the file does not have.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "bytes.h"
#include "ravo_evutl.h"
#include "raw_layouts.h"
#include "small_file.h"

namespace {

using ravo::test::bytes;

/// The small file with its pointer table moved after everything else, where each of its two rows has room
/// for `maxev` events: a sparse file that takes a few kilobytes of disk.
class sparse_file {
 public:
  explicit sparse_file(std::uint32_t maxev) : fd_(memfd_create("ravo_test", 0)) {
    const ravo::test::small_file small = ravo::test::build_small_file_of<ravo::test::layout_2010>();
    bytes front = small.content;
    const auto table = static_cast<std::uint32_t>(front.size());
    bytes head;
    const std::uint32_t length = 12 + 2 * 16 * maxev;
    head.u32(RAVO_EVENT_CHAN_POINTERS_PATTERN).u32(length).u32(maxev);
    bytes reference;
    for (std::uint32_t at = 0; at < 168; at += 4) reference.u32(front.word(small.reference + at));
    reference.set_u32(144, table);
    reference.u32(table + length);
    write(0, front);
    write(table, head);
    write(table + length, reference);
    size_ = table + length + static_cast<long>(reference.size());
  }
  ~sparse_file() { close(fd_); }

  int descriptor() const { return fd_; }
  long size() const { return size_; }

 private:
  void write(long at, const bytes& content) const {
    ASSERT_EQ(pwrite(fd_, content.data(), content.size(), at), static_cast<ssize_t>(content.size()));
  }

  int fd_;
  long size_ = 0;
};

/// How many of the pages that lie wholly in the memory are there.
std::size_t resident_pages(const void* memory, std::size_t size) {
  const auto page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
  const std::uintptr_t first = (reinterpret_cast<std::uintptr_t>(memory) + page - 1) / page * page;
  const std::uintptr_t end = (reinterpret_cast<std::uintptr_t>(memory) + size) / page * page;
  std::vector<unsigned char> there((end - first) / page);
  EXPECT_EQ(mincore(reinterpret_cast<void*>(first), end - first, there.data()), 0);
  std::size_t count = 0;
  for (const unsigned char one : there) count += one & 1u;
  return count;
}

/// The same of memory that calloc has just given: none, unless a sanitizer's calloc writes the zeros
/// itself.
std::size_t resident_pages_of_zeros(std::size_t size) {
  void* zeros = std::calloc(1, size);
  const std::size_t count = resident_pages(zeros, size);
  std::free(zeros);
  return count;
}

TEST(ListedRows, OfAbsentNamesCostNoMemory) {
  constexpr std::uint32_t maxev = 1'000'000;
  const sparse_file file(maxev);
  std::vector<unsigned char> tail(
      static_cast<std::size_t>(file.size() % 4096 == 0 ? 4096 : file.size() % 4096));
  ASSERT_EQ(
      pread(file.descriptor(), tail.data(), tail.size(), file.size() - static_cast<long>(tail.size())),
      static_cast<ssize_t>(tail.size()));
  ravo_file_reference_table_2010* reference = nullptr;
  ASSERT_EQ(get_ravo_file_reference_table_m_2010(tail.data(), static_cast<long>(tail.size()), file.size(),
                                                 file.descriptor(), &reference),
            0);
  ravo_chan_dictionary_table_2010* dictionary = nullptr;
  ASSERT_EQ(
      ravo_get_channel_dictionary_table_m_2010(file.size(), reference, file.descriptor(), &dictionary), 0);

  std::string known = dictionary->channel_entry()[0].chan_name;
  std::string absent = "NOBODY";
  std::vector<char*> names(20, absent.data());
  names.front() = known.data();
  ravo_event_chan_pointers_table* table = nullptr;
  ASSERT_EQ(ravo_get_event_chan_pointers_table_by_list_m_2010(file.size(), reference, file.descriptor(),
                                                              &names, dictionary, &table),
            0);
  EXPECT_EQ(table->length, static_cast<int>(12 + 20 * 16 * maxev));
  constexpr std::size_t absent_rows = std::size_t{19} * 16 * maxev;
  EXPECT_LT(resident_pages(table->chptr() + maxev, absent_rows),
            resident_pages_of_zeros(absent_rows) + 100);
  EXPECT_EQ(table->chptr()[maxev + 5].chhd, 0u);
  std::free(table);
  std::free(dictionary);
  std::free(reference);
}

}  // namespace
