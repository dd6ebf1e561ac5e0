// The table-access library takes the writers' files: every table of a file with channels of all kinds, of a
// file without any channel data, and of one without channels.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "ravo_data_types.h"
#include "ravo_evutl.h"
#include "ravo_file_generation.h"
#include "table_operations.h"
#include "writing.h"

namespace {

using namespace ravo::test;

// What a loader of each generation asks.
struct current_calls : current_generation, table_operations_2010 {
  static constexpr auto generation = ravo_file_generation::current;
};
struct older_calls : older_generation, table_operations_2009 {
  static constexpr auto generation = ravo_file_generation::older;
};

template <class G>
class WriterTables : public testing::Test {};
using calls = testing::Types<current_calls, older_calls>;
TYPED_TEST_SUITE(WriterTables, calls, generation_name);

// Everything that a loader asks of a file.
template <class G>
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
    status_ = G::get_reference(static_cast<unsigned char*>(mapped), static_cast<long>(size), length_, fd_,
                               &reference);
    munmap(mapped, size);
    if (status_ != 0) return;
    if (status_ == 0) status_ = G::get_event_index(length_, reference, fd_, &index);
    if (status_ == 0) status_ = G::get_dictionary(length_, reference, fd_, &dictionary);
    if (status_ == 0) status_ = G::get_pointers(length_, reference, fd_, &pointers);
    if (status_ == 0) status_ = G::get_environment(length_, reference, fd_, &environment);
    if (status_ == 0) status_ = G::get_descriptions(length_, reference, fd_, &descriptions);
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

  ravo_file_reference_table* reference = nullptr;
  ravo_event_index_table* index = nullptr;
  typename G::dictionary_table* dictionary = nullptr;
  ravo_event_chan_pointers_table* pointers = nullptr;
  ravo_env_dictionary_table* environment = nullptr;
  ravo_xml_chan_descr_header* descriptions = nullptr;

 private:
  int fd_;
  long length_ = 0;
  int status_ = 0;
};

TYPED_TEST(WriterTables, AFileWithChannelsOfAllKindsIsTaken) {
  const temporary_folder folder;
  typename TypeParam::writer writer;
  must(writer, writer.open(settings_in(folder)));
  must(writer, writer.add_channel(channel_of("A", TypeParam::single, ravo_compression::zlib)));
  must(writer, writer.add_channel(channel_of("NEVER", TypeParam::single)));
  must(writer, writer.add_channel(channel_of("TEXT", RAVO_BLOCK_NAME_VALUE_STRING)));
  ravo_daq_writer_channel reading = channel_of("E", RAVO_ENV_BLOCK);
  reading.env_index = 3;
  must(writer, writer.add_channel(reading));
  for (std::uint32_t i = 0; i < 5; ++i)
    must(writer, give_event(writer, event_of(i + 1, noon + i, 0, i == 0 ? RAVO_EV_BOR : RAVO_EV_NORMAL),
                            {{0, smooth_spectrum<typename TypeParam::layout>(100, 1)},
                             {2, text("odd")},
                             {3, environment(3, noon, 1)}}));
  must(writer, give_event(writer, event_of(9, noon + 9, 0, RAVO_EV_EOR), {}));
  must(writer, writer.close());

  const tables<TypeParam> read(writer.get_files().at(0));
  ASSERT_EQ(read.status(), 0);
  EXPECT_EQ(read.index->nevent_types, 3);
  EXPECT_EQ(read.pointers->maxev, 5);
  typename TypeParam::dictionary_entry_record* entry = nullptr;
  EXPECT_EQ(TypeParam::find_channel(read.dictionary, "TEXT", &entry), 2);
  EXPECT_EQ(entry->count, 5);
  EXPECT_EQ(entry->ev_mask, 1u << RAVO_EV_BOR | 1u << RAVO_EV_NORMAL);
  EXPECT_EQ(read.environment->dictionary_entry()->index, 3);
}

TYPED_TEST(WriterTables, AFileWithoutChannelDataIsTaken) {
  const temporary_folder folder;
  typename TypeParam::writer writer;
  must(writer, writer.open(settings_in(folder)));
  must(writer, writer.add_channel(channel_of("NEVER", TypeParam::single)));
  must(writer, give_event(writer, event_of(1, noon, 0, RAVO_EV_HB), {}));
  must(writer, writer.close());
  const tables<TypeParam> read(writer.get_files().at(0));
  ASSERT_EQ(read.status(), 0);
  EXPECT_EQ(read.pointers->maxev, 0);
  EXPECT_EQ(read.dictionary->channel_entry()->count, 0);
}

TYPED_TEST(WriterTables, AFileWithoutChannelsIsTaken) {
  const temporary_folder folder;
  typename TypeParam::writer writer;
  must(writer, writer.open(settings_in(folder)));
  must(writer, give_event(writer, event_of(1, noon, 0, RAVO_EV_BOR), {}));
  must(writer, writer.close());
  EXPECT_EQ(tables<TypeParam>(writer.get_files().at(0)).status(), 0);
}

TYPED_TEST(WriterTables, TheNameOfAFileHasItsTime) {
  const temporary_folder folder;
  typename TypeParam::writer writer;
  must(writer, writer.open(settings_in(folder)));
  must(writer, give_event(writer, event_of(1, 4294967295, 5), {}));
  must(writer, writer.close());
  time_stamp time{};
  EXPECT_EQ(get_time_from_file_name(writer.get_files().at(0).c_str(), &time), 0);
  EXPECT_EQ(time.timeup, 4294967295u);
}

TYPED_TEST(WriterTables, TheGenerationOfAFileIsRecognised) {
  const temporary_folder folder;
  typename TypeParam::writer writer;
  must(writer, writer.open(settings_in(folder)));
  must(writer, give_event(writer, event_of(1, noon), {}));
  must(writer, writer.close());
  ravo_file_generation generation{};
  EXPECT_EQ(ravo_get_file_generation(writer.get_files().at(0).c_str(), &generation), 0);
  EXPECT_EQ(generation, TypeParam::generation);
}

TYPED_TEST(WriterTables, AChannelOfEachTypeOfTheGenerationIsTaken) {
  const temporary_folder folder;
  typename TypeParam::writer writer;
  must(writer, writer.open(settings_in(folder)));
  int channels = 0;
  for (const ravo::data_type& type : ravo::data_types) {
    const bool own = type.generation == ravo::type_generation::both ||
                     (type.generation == ravo::type_generation::older) ==
                         (TypeParam::generation == ravo_file_generation::older);
    const int index = writer.add_channel(channel_of(std::string(type.name), type.code));
    if (own && type.members > 0)
      EXPECT_EQ(index, channels++) << type.name << ": " << writer.get_last_error();
    else
      EXPECT_EQ(index, RAVO_DAQ_WRITER_INV_PARAM) << type.name;
  }
  must(writer, give_event(writer, event_of(1, noon), {}));
  must(writer, writer.close());
  const tables<TypeParam> read(writer.get_files().at(0));
  ASSERT_EQ(read.status(), 0);
  EXPECT_EQ(read.dictionary->length,
            static_cast<int>(8 + static_cast<std::size_t>(channels) * TypeParam::dictionary_entry));
}

}  // namespace
