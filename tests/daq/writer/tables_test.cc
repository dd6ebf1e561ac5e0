// The table-access library takes the writer's files: every table of a file with channels of all kinds, of a
// file without any channel data, and of one without channels.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "ravo_evutl.h"
#include "writing.h"

namespace {

using namespace ravo::test;

// Everything that a loader asks of a file.
class tables {
 public:
  explicit tables(const std::string& path) : fd_(::open(path.c_str(), O_RDONLY)) {
    struct stat about {};
    if (fd_ < 0 || fstat(fd_, &about) != 0) throw std::runtime_error("cannot open " + path);
    length_ = about.st_size;
    long rest = 0;
    const long tail = ravo_get_page_offset(length_, length_ - 4, &rest);
    const auto size = static_cast<std::size_t>(length_ - tail);
    void* mapped = mmap(nullptr, size, PROT_READ, MAP_SHARED, fd_, tail);
    if (mapped == MAP_FAILED) throw std::runtime_error("cannot map " + path);
    status_ = get_ravo_file_reference_table_m_2010(static_cast<unsigned char*>(mapped),
                                                   static_cast<long>(size), length_, fd_, &reference);
    munmap(mapped, size);
    if (status_ != 0) return;
    if (status_ == 0) status_ = ravo_get_event_index_table_m_2010(length_, reference, fd_, &index);
    if (status_ == 0)
      status_ = ravo_get_channel_dictionary_table_m_2010(length_, reference, fd_, &dictionary);
    if (status_ == 0)
      status_ = ravo_get_event_chan_pointers_table_m_2010(length_, reference, fd_, &pointers);
    if (status_ == 0)
      status_ = ravo_get_env_index_dictionary_table_m_2010(length_, reference, fd_, &environment);
    if (status_ == 0) status_ = ravo_get_chan_descr_table_m_2010(length_, reference, fd_, &descriptions);
  }
  ~tables() {
    free(reference);
    free(index);
    free(dictionary);
    free(pointers);
    free(environment);
    free(descriptions);
    ::close(fd_);
  }
  tables(const tables&) = delete;
  tables& operator=(const tables&) = delete;
  int status() const { return status_; }

  ravo_file_reference_table_2010* reference = nullptr;
  ravo_event_index_table_2010* index = nullptr;
  ravo_chan_dictionary_table_2010* dictionary = nullptr;
  ravo_event_chan_pointers_table* pointers = nullptr;
  ravo_env_dictionary_table_2010* environment = nullptr;
  ravo_xml_chan_descr_header_2010* descriptions = nullptr;

 private:
  int fd_;
  long length_ = 0;
  int status_ = 0;
};

TEST(WriterTables, AFileWithChannelsOfAllKindsIsTaken) {
  const temporary_folder folder;
  ravo_daq_writer_2010 writer;
  must(writer, writer.open(settings_in(folder)));
  must(writer, writer.add_channel(channel_of("A", RAVO_BLOCK_1CHAN_2010, ravo_compression::zlib)));
  must(writer, writer.add_channel(channel_of("NEVER", RAVO_BLOCK_1CHAN_2010)));
  must(writer, writer.add_channel(channel_of("TEXT", RAVO_BLOCK_NAME_VALUE_STRING)));
  ravo_daq_writer_channel reading = channel_of("E", RAVO_ENV_BLOCK);
  reading.env_index = 3;
  must(writer, writer.add_channel(reading));
  for (std::uint32_t i = 0; i < 5; ++i)
    must(writer,
         give_event(writer, event_of(i + 1, noon + i, 0, i == 0 ? RAVO_EV_BOR : RAVO_EV_NORMAL),
                    {{0, smooth_spectrum(100, 1)}, {2, text("odd")}, {3, environment(3, noon, 1)}}));
  must(writer, give_event(writer, event_of(9, noon + 9, 0, RAVO_EV_EOR), {}));
  must(writer, writer.close());

  const tables read(writer.get_files().at(0));
  ASSERT_EQ(read.status(), 0);
  EXPECT_EQ(read.index->nevent_types, 3);
  EXPECT_EQ(read.pointers->maxev, 5);
  ravo_chan_dictionary_entry_2010* entry = nullptr;
  EXPECT_EQ(ravo_find_channel_by_name_2010(read.dictionary, "TEXT", &entry), 2);
  EXPECT_EQ(entry->count, 5);
  EXPECT_EQ(entry->ev_mask, 1u << RAVO_EV_BOR | 1u << RAVO_EV_NORMAL);
  EXPECT_EQ(read.environment->dictionary_entry()->index, 3);
}

TEST(WriterTables, AFileWithoutChannelDataIsTaken) {
  const temporary_folder folder;
  ravo_daq_writer_2010 writer;
  must(writer, writer.open(settings_in(folder)));
  must(writer, writer.add_channel(channel_of("NEVER", RAVO_BLOCK_1CHAN_2010)));
  must(writer, give_event(writer, event_of(1, noon, 0, RAVO_EV_HB), {}));
  must(writer, writer.close());
  const tables read(writer.get_files().at(0));
  ASSERT_EQ(read.status(), 0);
  EXPECT_EQ(read.pointers->maxev, 0);
  EXPECT_EQ(read.dictionary->channel_entry()->count, 0);
}

TEST(WriterTables, AFileWithoutChannelsIsTaken) {
  const temporary_folder folder;
  ravo_daq_writer_2010 writer;
  must(writer, writer.open(settings_in(folder)));
  must(writer, give_event(writer, event_of(1, noon, 0, RAVO_EV_BOR), {}));
  must(writer, writer.close());
  EXPECT_EQ(tables(writer.get_files().at(0)).status(), 0);
}

TEST(WriterTables, TheNameOfAFileTellsItsTime) {
  const temporary_folder folder;
  ravo_daq_writer_2010 writer;
  must(writer, writer.open(settings_in(folder)));
  must(writer, give_event(writer, event_of(1, 4294967295, 5), {}));
  must(writer, writer.close());
  time_stamp time{};
  EXPECT_EQ(get_time_from_file_name(writer.get_files().at(0).c_str(), &time), 0);
  EXPECT_EQ(time.timeup, 4294967295u);
}

}  // namespace
