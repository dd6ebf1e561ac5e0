// What a channel reader prints of its channel.
#include <ctime>

#include "ravo_evutl.h"
#include "reading.h"

namespace {

using namespace ravo::test;

std::string printed(const std::function<void()>& print) {
  captured_output output;
  print();
  return output.stop();
}

template <class generation>
class ChannelReaderPrints : public channel_reader_test<generation> {
 protected:
  using reading = reading_of<generation>;

  void SetUp() override {
    auto content = this->one_channel_file(2);
    content.channels[0].ev_mask = 1u << RAVO_EV_NORMAL | 1u << RAVO_EV_UPD;
    file = std::make_unique<reading>(content);
    reader = file->reader();
    start_and_wait(*reader);
  }
  std::unique_ptr<reading> file;
  std::unique_ptr<typename generation::read_chan> reader;
};
TYPED_TEST_SUITE(ChannelReaderPrints, generations, generation_name);
using CurrentChannelReaderPrints = ChannelReaderPrints<current_generation>;

std::string calendar(std::time_t seconds) {
  char text[64];
  ctime_r(&seconds, text);
  text[24] = '\0';
  return text;
}

TYPED_TEST(ChannelReaderPrints, ItsLimits) {
  const std::string time = calendar(1700000000);
  EXPECT_EQ(printed([&] { this->reader->print_time_limits(); }),
            "CHAN First:  EventID: 100 Time: " + time + " : 0\nCHAN Last :  EventID: 101 Time: " + time +
                " : 100000\n");
}

TYPED_TEST(ChannelReaderPrints, ItsLimitsWithTheSubchannelAndUnknownOnes) {
  const auto unstarted = this->file->reader("CHAN", 2);
  EXPECT_EQ(printed([&] { unstarted->print_time_limits(); }),
            "CHAN:2 First:  Unknown\nCHAN:2 Last :  Unknown\n");
}

TYPED_TEST(ChannelReaderPrints, ItsDictionaryEntry) {
  EXPECT_EQ(printed([&] { this->reader->print_cdt_entry(); }),
            "[0]\tKey:1001\tChan:CHAN\tCount:2\tEvents:RAVO_EV_NORMAL:RAVO_EV_UPD\n");
  typename TestFixture::read_chan none(nullptr, nullptr, -1, nullptr);
  EXPECT_EQ(printed([&] { none.print_cdt_entry(); }), "print_cdt_entry(): CDT is not initialized\n");
}

TYPED_TEST(ChannelReaderPrints, ItsPointers) {
  typename TestFixture::file_type layout = this->one_channel_file(2);
  layout.build();
  const std::size_t head = layout.at["CHAN"] + 8;
  const std::size_t block = TypeParam::subhead + static_cast<std::size_t>(this->scalar_size);
  const std::string row =
      "(" + std::to_string(layout.at["events"] + 8) + " " + std::to_string(layout.at["servers"] + 8) + " " +
      std::to_string(head) + " " + std::to_string(head + TypeParam::subhead) + ") (" +
      std::to_string(layout.at["events"] + 44) + " " +
      std::to_string(layout.at["servers"] + 8 + TypeParam::server_block) + " " +
      std::to_string(head + block) + " " + std::to_string(head + block + TypeParam::subhead) + ") ";
  // Of a basket that stays mapped, the low half of its address; a copied one has no mapping any more.
  const std::string base =
      std::to_string(static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(this->reader->get_chn_base())));
  EXPECT_EQ(base == "0", TypeParam::records::copies_channel_basket);
  EXPECT_EQ(printed([&] { this->reader->print_event_chan_pointers_entry(); }),
            "=================ECP=enrty= cdtl:0  chn_base:" + base + "======\n" + row +
                "==========END=OF=ECP=enrty=======\n");
}

/// The frame of an entry-wise print, with what the library prints for each entry.
std::string framed(const std::string& head, const std::string& tail,
                   const std::function<void(int)>& entry) {
  return head + "100 1700000000:0\n" + printed([&] { entry(0); }) + "101 1700000000:100000\n" +
         printed([&] { entry(1); }) + tail;
}

TEST_F(CurrentChannelReaderPrints, ItsEventHeaders) {
  EXPECT_EQ(
      printed([&] { reader->print_event_headers(); }),
      framed("=================EVENT HEADERS======\n", "==========END=OF=EVENT=HEADERS=======\n",
             [&](int i) {
               dump_event_header_(reinterpret_cast<ravo_eventheader*>(reader->out[i].sbchdata[0].evhd));
             }));
}

TEST_F(CurrentChannelReaderPrints, ItsServerBlockHeaders) {
  EXPECT_EQ(
      printed([&] { reader->print_server_block_headers(); }),
      framed("=================SB HEADERS======\n", "==========END=OF=SB=HEADERS=======\n", [&](int i) {
        dump_event_subheader_2010(
            reinterpret_cast<ravo_serv_block_head_2010*>(reader->out[i].sbchdata[0].sbhd));
      }));
}

TEST_F(CurrentChannelReaderPrints, ItsChannelHeaders) {
  EXPECT_EQ(printed([&] { reader->print_channel_headers(); }),
            framed("=================CHANNEL HEADERS======\n", "==========END=OF=CHANNEL=HEADERS=======\n",
                   [&](int i) { dump_event_chanhead_2010(block_of(reader->out[i])); }));
}

TEST_F(CurrentChannelReaderPrints, ItsData) {
  EXPECT_EQ(printed([&] { reader->print_channel(); }),
            framed("=================CHANNEL======\n", "==========END=OF=CHANNEL========\n",
                   [&](int i) { print_data_type_2010(block_of(reader->out[i])); }));
}

TEST_F(CurrentChannelReaderPrints, NothingOfEntriesThatAreNotThere) {
  const auto unstarted = file->reader();
  EXPECT_EQ(printed([&] {
              unstarted->print_event_headers();
              unstarted->print_server_block_headers();
              unstarted->print_channel_headers();
              unstarted->print_channel();
            }),
            "");
}

TYPED_TEST(ChannelReaderPrints, ItsDescription) {
  EXPECT_EQ(printed([&] { this->reader->print_chan_descr(); }), "CHAN NO DESCRIPTION SET\n");
  chan_descr_2010 description{};
  std::strcpy(description.prop_name, "LINAC/CHAN");
  typename TestFixture::read_chan described(&this->file->loader, "CHAN", -1, &description);
  const std::vector<chan_descr_2010*> list{&description};
  const std::string expected = printed([&] { print_ravo_chan_descr(&list); });
  EXPECT_THAT(expected, testing::HasSubstr("LINAC/CHAN"));
  EXPECT_EQ(printed([&] { described.print_chan_descr(); }), expected);
}

}  // namespace
