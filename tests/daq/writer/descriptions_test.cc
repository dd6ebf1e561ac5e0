// Channel descriptions: copied when the channel is added, and carried by every file of the run.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>

#include "ravo_xml.h"
#include "raw_file.h"
#include "writing.h"

namespace {

using namespace ravo::test;

// The descriptions of a file, as the XML library loads them.
template <class G>
class loaded_descriptions {
 public:
  explicit loaded_descriptions(const std::string& path) {
    const std::string xml = raw_file_of<typename G::layout>(path).descriptions();
    std::vector<std::uint32_t> table(2 + xml.size() / 4 + 1);
    auto* header = reinterpret_cast<ravo_xml_chan_descr_header_2010*>(table.data());
    header->pattern = RAVO_XML_CHAN_DESCR_PATTERN;
    header->length = static_cast<std::int32_t>(8 + xml.size());
    std::memcpy(table.data() + 2, xml.data(), xml.size());
    if (ravo_load_chan_descr(header, &list_) != 0) throw std::runtime_error("descriptions: " + xml);
  }
  ~loaded_descriptions() { ravo_free_chan_descr(&list_); }
  loaded_descriptions(const loaded_descriptions&) = delete;
  loaded_descriptions& operator=(const loaded_descriptions&) = delete;
  const std::vector<chan_descr_2010*>& list() const { return list_; }

 private:
  std::vector<chan_descr_2010*> list_;
};

template <class G>
std::vector<std::string> write_two_files(
    const temporary_folder& folder, std::vector<ravo_daq_writer_channel> channels,
    const std::function<void()>& after_adding = [] {}) {
  ravo_daq_writer_settings settings = settings_in(folder);
  settings.max_events = 1;
  typename G::writer writer;
  must(writer, writer.open(settings));
  for (const ravo_daq_writer_channel& channel : channels) must(writer, writer.add_channel(channel));
  after_adding();
  must(writer, give_event(writer, event_of(1, noon), {}));
  must(writer, give_event(writer, event_of(2, noon), {}));
  must(writer, writer.close());
  return writer.get_files();
}

template <class G>
class WriterDescriptions : public testing::Test {};
TYPED_TEST_SUITE(WriterDescriptions, generations, generation_name);

TYPED_TEST(WriterDescriptions, EveryFileCarriesTheCopyMadeWhenTheChannelWasAdded) {
  const temporary_folder folder;
  bit_descr bit{3, "INTERLOCK", "beam is off"};
  dim_descr dim{};
  std::strcpy(dim.dim_name, "TIME");
  dim.nstats = 1;
  dim.stats = {{4, "MEAN", "mean value", "nC"}};
  chan_descr_2010 description{};
  description.db_key = 77;
  std::strcpy(description.prop_name, "LINAC/TOROID");
  std::strcpy(description.units, "nC");
  description.bits = {&bit};
  description.nbits = 1;
  description.dims = {&dim};
  description.ndims = 1;
  ravo_daq_writer_channel channel = channel_of("LINAC/TOROID", TypeParam::single);
  channel.description = &description;
  const std::vector<std::string> files =
      write_two_files<TypeParam>(folder, {channel, channel_of("PLAIN", TypeParam::single)}, [&] {
        std::strcpy(bit.bit_name, "CHANGED");
        std::strcpy(dim.stats[0].stat_name, "CHANGED");
        description = {};
      });
  ASSERT_EQ(files.size(), 2u);
  for (const std::string& file : files) {
    const loaded_descriptions<TypeParam> loaded(file);
    ASSERT_EQ(loaded.list().size(), 1u);
    const chan_descr_2010& read = *loaded.list()[0];
    EXPECT_STREQ(read.prop_name, "LINAC/TOROID");
    EXPECT_STREQ(read.units, "nC");
    EXPECT_EQ(read.db_key, 77);
    ASSERT_EQ(read.bits.size(), 1u);
    EXPECT_EQ(read.bits[0]->bit, 3);
    EXPECT_STREQ(read.bits[0]->bit_name, "INTERLOCK");
    ASSERT_EQ(read.dims.size(), 1u);
    ASSERT_EQ(read.dims[0]->stats.size(), 1u);
    EXPECT_STREQ(read.dims[0]->stats[0].stat_name, "MEAN");
  }
}

TYPED_TEST(WriterDescriptions, ADescriptionWithoutAPropertyNameTakesTheChannels) {
  const temporary_folder folder;
  const chan_descr_2010 nameless{};
  ravo_daq_writer_channel channel =
      channel_of(std::string(TypeParam::block_name - 1, 'n'), TypeParam::single);
  channel.description = &nameless;
  const loaded_descriptions<TypeParam> loaded(write_two_files<TypeParam>(folder, {channel}).at(0));
  ASSERT_EQ(loaded.list().size(), 1u);
  EXPECT_EQ(loaded.list()[0]->prop_name, std::string(TypeParam::block_name - 1, 'n'));
}

TYPED_TEST(WriterDescriptions, OfOtherChannelsAreCarriedInTheirOrder) {
  const temporary_folder folder;
  typename TypeParam::writer writer;
  chan_descr_2010 description{};
  EXPECT_EQ(writer.add_description(description), RAVO_DAQ_WRITER_NOT_ALLOWED);
  must(writer, writer.open(settings_in(folder)));
  must(writer, writer.add_channel(channel_of("A", TypeParam::single)));
  for (const char* name : {"ELSEWHERE", "A", "A"}) {
    std::strcpy(description.prop_name, name);
    ++description.db_key;
    must(writer, writer.add_description(description));
  }
  description.nbits = 1;
  EXPECT_EQ(writer.add_description(description), RAVO_DAQ_WRITER_INV_PARAM);
  description.nbits = 0;
  must(writer, give_event(writer, event_of(1, noon), {}));
  EXPECT_EQ(writer.add_description(description), RAVO_DAQ_WRITER_NOT_ALLOWED);
  EXPECT_STREQ(writer.get_last_error(),
               "the run has events already; add all descriptions before the first one");
  must(writer, writer.close());
  const loaded_descriptions<TypeParam> loaded(writer.get_files().at(0));
  ASSERT_EQ(loaded.list().size(), 3u);
  EXPECT_STREQ(loaded.list()[0]->prop_name, "ELSEWHERE");
  EXPECT_STREQ(loaded.list()[2]->prop_name, "A");
  EXPECT_EQ(loaded.list()[2]->db_key, 3);
}

TYPED_TEST(WriterDescriptions, WithoutDescriptionsTheTextIsThatOfNone) {
  const temporary_folder folder;
  const std::string file = write_two_files<TypeParam>(folder, {channel_of("A", TypeParam::single)}).at(0);
  EXPECT_EQ(raw_file_of<typename TypeParam::layout>(file).descriptions(), ravo_store_chan_descr({}));
  EXPECT_TRUE(loaded_descriptions<TypeParam>(file).list().empty());
}

TYPED_TEST(WriterDescriptions, AFileWithoutChannelsHasEmptyTables) {
  const temporary_folder folder;
  const raw_file_of<typename TypeParam::layout> file(write_two_files<TypeParam>(folder, {}).at(0));
  EXPECT_TRUE(file.channels().empty());
  EXPECT_TRUE(file.environment().empty());
  EXPECT_EQ(file.reference(164), 0u);
  EXPECT_EQ(file.events(), 1u);
}

}  // namespace
