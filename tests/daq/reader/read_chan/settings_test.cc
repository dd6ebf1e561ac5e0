// A channel reader's construction, settings and copied description.
#include "failing_allocation.h"
#include "reading.h"

namespace {

using namespace ravo::test;

template <class generation>
class ChannelReader : public channel_reader_test<generation> {};
TYPED_TEST_SUITE(ChannelReader, generations, generation_name);
using CurrentChannelReader = ChannelReader<current_generation>;
using OlderChannelReader = ChannelReader<older_generation>;

template <class read_chan>
concept has_current_fields = requires(read_chan& one) {
  one.index_to_start_search;
  one.by_time_fix;
  one.event_cur;
};

TYPED_TEST(ChannelReader, HasItsDefaults) {
  const typename TestFixture::read_chan reader(nullptr, nullptr, 3, nullptr);
  EXPECT_EQ(reader.fd, -1);
  EXPECT_EQ(reader.nthreads, 0);
  EXPECT_EQ(reader.nthreadsmax, 10);
  EXPECT_EQ(reader.event_time_diff.timeup, 0u);
  EXPECT_EQ(reader.event_time_diff.timelow, 95000u);
  EXPECT_EQ(reader.time_diff, 95000.0);
  EXPECT_EQ(reader.event_step.event_number, 1u);
  EXPECT_EQ(reader.event_step.time.timelow, 200000u);
  // The older generation has none of the three.
  EXPECT_EQ(has_current_fields<typename TestFixture::read_chan>, either<TypeParam>(true, false));
  if constexpr (has_current_fields<typename TestFixture::read_chan>) {
    EXPECT_EQ(reader.index_to_start_search, -1);
    EXPECT_TRUE(reader.by_time_fix);
    EXPECT_EQ(reader.event_cur.event_number, 0u);
  }
  EXPECT_EQ(reader.ecpl, -1);
  EXPECT_EQ(reader.subchan, -1);
  for (const pthread_t slot : reader.tid) EXPECT_EQ(slot, static_cast<pthread_t>(-1));
}

TYPED_TEST(ChannelReader, StaysUninitialisedWithoutAFileOrAName) {
  typename TestFixture::reading file(this->one_channel_file(2));
  typename TestFixture::loader_type empty(0);
  for (const auto& [cfg, name] :
       {std::pair<typename TestFixture::loader_type*, const char*>{nullptr, "CHAN"},
        {&empty, "CHAN"},
        {&file.loader, nullptr},
        {&file.loader, ""}}) {
    typename TestFixture::read_chan reader(cfg, name, -1, nullptr);
    captured_output output;
    EXPECT_EQ(start_and_wait(reader), RAVO_DAQ_READ_CHAN_NOT_INIT);
    EXPECT_EQ(output.stop(), either<TypeParam>("ravo_daq_read_chan_2010:start()  not initialized\n",
                                               "ravo_daq_read_chan:start()   not initialized\n"));
    EXPECT_FALSE(reader.is_done());
    reader.clean();
    reader.clean_descr();
  }
}

TYPED_TEST(ChannelReader, TakesTablesAndNameFromTheLoader) {
  typename TestFixture::reading file(this->one_channel_file(2));
  const auto reader = file.reader("CHAN", 4);
  int subchannel = 0;
  EXPECT_STREQ(reader->get_chan_name(&subchannel), "CHAN");
  EXPECT_EQ(subchannel, 4);
  EXPECT_STREQ(reader->get_chan_name(nullptr), "CHAN");
  EXPECT_EQ(reader->get_cfg(), &file.loader);
  EXPECT_EQ(reader->get_evh_base(), file.loader.get_evh_base());
  EXPECT_EQ(reader->get_sbh_offset(), file.loader.get_sbh_offset());
  EXPECT_EQ(reader->len, file.loader.get_file_len());
}

TEST_F(CurrentChannelReader, UsesTheHeapCopiesOfAListedFile) {
  reading file(one_channel_file(2));
  std::vector<char*> names{const_cast<char*>("OTHER"), const_cast<char*>("CHAN")};
  ASSERT_EQ(file.loader.get_all_tables(file.path().c_str(), 0, &names), 0);
  ASSERT_EQ(file.loader.basket_copy_mode, 1);
  const auto reader = file.reader();
  EXPECT_EQ(reader->ecpl, 1);
  EXPECT_EQ(reader->get_evh_base(), reinterpret_cast<unsigned char*>(file.loader.get_evh_basket()));
  ASSERT_EQ(start_and_wait(*reader), 0);
  EXPECT_EQ(ask(*reader, last).number(), 101u);
  EXPECT_EQ(samples_of(*ask(*reader, last).entry), std::vector<float>{0.5f});
}

TEST_F(OlderChannelReader, UsesTheMappingsAlsoOfAListedFile) {
  reading file(one_channel_file(2));
  std::vector<char*> names{const_cast<char*>("OTHER"), const_cast<char*>("CHAN")};
  ASSERT_EQ(file.loader.get_all_tables(file.path().c_str(), 0, &names), 0);
  const auto reader = file.reader();
  EXPECT_EQ(reader->ecpl, 1);
  EXPECT_EQ(reader->get_evh_base(), file.loader.get_evh_base());
  EXPECT_EQ(reader->get_sbh_base(), file.loader.get_sbh_base());
  ASSERT_EQ(start_and_wait(*reader), 0);
  EXPECT_EQ(samples_of(*ask(*reader, last).entry), std::vector<float>{0.5f});
}

TYPED_TEST(ChannelReader, PassesOverANullInTheListOfNames) {
  typename TestFixture::reading file(this->one_channel_file(2));
  std::vector<char*> names{nullptr, const_cast<char*>("CHAN")};
  ASSERT_EQ(file.loader.get_all_tables(file.path().c_str(), 0, &names), 0);
  EXPECT_EQ(file.reader()->ecpl, 1);
}

TYPED_TEST(ChannelReader, CutsALongName) {
  typename TestFixture::reading file(this->one_channel_file(2));
  const std::string name(300, 'x');
  const auto reader = file.reader(name.c_str());
  EXPECT_EQ(std::string(reader->get_chan_name(nullptr)), std::string(TypeParam::dictionary_name - 1, 'x'));
}

TYPED_TEST(ChannelReader, TakesOneToTenThreads) {
  typename TestFixture::read_chan reader(nullptr, nullptr, -1, nullptr);
  EXPECT_EQ(reader.set_number_of_threads(3), 0);
  EXPECT_EQ(reader.set_max_number_of_threads(7), 0);
  for (const int refused : {0, 11, -1}) {
    EXPECT_EQ(reader.set_number_of_threads(refused), 1);
    EXPECT_EQ(reader.set_max_number_of_threads(refused), 1);
  }
  EXPECT_EQ(reader.nthreads, 3);
  EXPECT_EQ(reader.nthreadsmax, 7);
  EXPECT_EQ(reader.set_number_of_threads(1), 0);
  EXPECT_EQ(reader.set_number_of_threads(10), 0);
}

TYPED_TEST(ChannelReader, TurnsATimeDifferenceIntoMicroseconds) {
  typename TestFixture::read_chan reader(nullptr, nullptr, -1, nullptr);
  const time_stamp second{1, 0};
  EXPECT_EQ(reader.set_time_diff(&second), 0);
  EXPECT_EQ(reader.time_diff, 1000000.0);
  const time_stamp part{0, 50000};
  EXPECT_EQ(reader.set_time_diff(&part), 0);
  EXPECT_EQ(reader.time_diff, 50000.0);
  EXPECT_EQ(reader.set_time_diff(nullptr), RAVO_DAQ_READ_CHAN_INV_PARAM);
  EXPECT_EQ(reader.get_time_diff()->timelow, 50000u);
}

TYPED_TEST(ChannelReader, TakesAStep) {
  typename TestFixture::read_chan reader(nullptr, nullptr, -1, nullptr);
  const ravo_time_id step{2, {1, 5}};
  EXPECT_EQ(reader.set_step(&step), 0);
  EXPECT_EQ(reader.set_step(nullptr), RAVO_DAQ_READ_CHAN_INV_PARAM);
  EXPECT_EQ(reader.get_step()->event_number, 2u);
  EXPECT_EQ(reader.get_step()->time.timeup, 1u);
  if constexpr (TypeParam::records::has_by_time_fix) {
    reader.set_by_time_fix(false);
    EXPECT_FALSE(reader.is_by_time_fix());
  }
}

/// A description with two bits and two dimensions; deletes them.
struct description {
  description() {
    value.nbits = value.ndims = 2;
    for (int i = 0; i < 2; ++i) {
      value.bits.push_back(new bit_descr{i, "", ""});
      value.dims.push_back(new dim_descr{i, "", "", "mm", 1, {{i, "mean", "", ""}}});
    }
    std::strcpy(value.prop_name, "CHAN");
    std::strcpy(value.sb_name, "BLOCK");
    std::strcpy(value.units, "nC");
    std::strcpy(value.subsystem, "BPM");
    value.db_key = 5;
    value.set_point = 6;
    value.count = 7;
  }
  ~description() {
    for (auto* bit : value.bits) delete bit;
    for (auto* dim : value.dims) delete dim;
  }
  chan_descr_2010 value{};
};

TYPED_TEST(ChannelReader, CopiesTheDescriptionButForThreeFields) {
  typename TestFixture::reading file(this->one_channel_file(1));
  auto from = std::make_unique<description>();
  typename TestFixture::read_chan reader(&file.loader, "CHAN", -1, &from->value);
  from.reset();
  EXPECT_STREQ(reader.descr.prop_name, "CHAN");
  EXPECT_STREQ(reader.descr.sb_name, "BLOCK");
  EXPECT_STREQ(reader.descr.units, "nC");
  EXPECT_EQ(reader.descr.count, 7);
  EXPECT_EQ(reader.descr.db_key, 0);
  EXPECT_EQ(reader.descr.set_point, 0);
  EXPECT_STREQ(reader.descr.subsystem, "");
  EXPECT_EQ(reader.descr.nbits, 2);
  EXPECT_EQ(reader.descr.ndims, 2);
  ASSERT_EQ(reader.descr.bits.size(), 2u);
  EXPECT_EQ(reader.descr.bits[1]->bit, 1);
  ASSERT_EQ(reader.descr.dims.size(), 2u);
  EXPECT_STREQ(reader.descr.dims[1]->stats.at(0).stat_name, "mean");
  reader.clean_descr();
  EXPECT_TRUE(reader.descr.bits.empty());
}

TYPED_TEST(ChannelReader, CopiesNoMoreElementsThanTheDescriptionCounts) {
  typename TestFixture::reading file(this->one_channel_file(1));
  description from;
  from.value.nbits = 1;
  from.value.ndims = 9;
  const typename TestFixture::read_chan reader(&file.loader, "CHAN", -1, &from.value);
  EXPECT_EQ(reader.descr.bits.size(), 1u);
  EXPECT_EQ(reader.descr.dims.size(), 2u);
}

TYPED_TEST(ChannelReader, ReportsThatADescriptionCannotBeCopied) {
  typename TestFixture::reading file(this->one_channel_file(1));
  const description from;
  for (const auto& [successes, text, bits, dims] :
       {std::tuple{1, "Failed to malloc bits entry for CHAN\n", 1u, 2u},
        std::tuple{3, "Failed to malloc dim desription  entry for CHAN\n", 2u, 1u}}) {
    const failing_allocation one(successes);
    captured_output output;
    const typename TestFixture::read_chan reader(&file.loader, "CHAN", -1, &from.value);
    EXPECT_EQ(output.stop(), text);
    EXPECT_EQ(reader.descr.bits.size(), bits);
    EXPECT_EQ(reader.descr.dims.size(), dims);
  }
}

}  // namespace
