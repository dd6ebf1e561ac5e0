// What the printers write, line by line, and that hostile contents neither lead them past the block
// nor reach the terminal.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "captured_output.h"
#include "decoded_block.h"
#include "payloads.h"
#include "ravo_data_types.h"
#include "ravo_evutl.h"

namespace {

using namespace ravo::test;
using testing::HasSubstr;
using testing::Not;

template <class Print>
std::string printed(Print print) {
  captured_output output;
  print();
  return output.stop();
}

template <class G>
std::string printed_block(decoded_block<G> block) {
  return printed([&] { G::print_block(block.get()); });
}

template <class G>
class PrintServerBlock : public testing::Test {};
TYPED_TEST_SUITE(PrintServerBlock, generations, generation_name);
template <class G>
class PrintChannelHead : public testing::Test {};
TYPED_TEST_SUITE(PrintChannelHead, generations, generation_name);
template <class G>
class PrintData : public testing::Test {};
TYPED_TEST_SUITE(PrintData, generations, generation_name);
template <class G>
class PrintTables : public testing::Test {};
TYPED_TEST_SUITE(PrintTables, generations, generation_name);

TEST(PrintZipHeader, NamesTheCompressorThatIsTried) {
  const auto text = [](std::uint32_t flags) {
    const ravo_zip_header header{flags, 1000, 300};
    return printed([&] { print_ravo_zip_header(&header); });
  };
  EXPECT_EQ(text(1), "zip header: flags 0x1 (zlib)  original length 1000  compressed length 300\n");
  EXPECT_EQ(text(2), "zip header: flags 0x2 (LZO1X)  original length 1000  compressed length 300\n");
  EXPECT_EQ(text(3), "zip header: flags 0x3 (zlib)  original length 1000  compressed length 300\n");
  EXPECT_EQ(text(4),
            "zip header: flags 0x4 (unknown compressor)  original length 1000  compressed length 300\n");
  EXPECT_EQ(printed([] { print_ravo_zip_header(nullptr); }), "zip header: none\n");
}

TEST(PrintEventHeader, ShowsTimeAsTextAndNumbers) {
  ravo_eventheader header{};
  header.pattern = 0xffeef3f3;
  header.event_length = 900;
  header.event_number = 1001;
  header.event_type = RAVO_EV_NORMAL;
  header.event_time = {1767323045, 6};
  header.tmask = 0x11;
  header.status = -1;
  header.num_svr_block = 2;
  EXPECT_EQ(printed([&] { dump_event_header_(&header); }),
            "event header: event 1001  type 1 (RAVO_EV_NORMAL)  pattern 0xffeef3f3\n"
            "  time 2026-01-02T03:04:05.000006Z (1767323045 s 6 us)\n"
            "  length 900  server blocks 2  tmask 0x11  status 0xffffffff\n");
  EXPECT_EQ(printed([] { dump_event_header_(nullptr); }), "event header: none\n");
}

TEST(PrintEventHeader, TakesAnyTypeAndTime) {
  ravo_eventheader header;
  std::memset(static_cast<void*>(&header), 0xff, sizeof header);
  const std::string text = printed([&] { dump_event_header_(&header); });
  EXPECT_THAT(text, HasSubstr("type -1 (UNKNOWN)"));
  EXPECT_THAT(text, HasSubstr("2106-02-07T06:28:15Z+4294967295us"));
}

TYPED_TEST(PrintServerBlock, NamesTheServerAndTheErrorBits) {
  typename TypeParam::server_block_record header{};
  std::strcpy(header.server, "LINAC.SERVER");
  header.time = {0, 0};
  header.ltotal = 1000;
  header.mpulse = 77;
  header.status = RAVO_SB_ERR_NO_DMA | RAVO_CHAN_ZIP_FLAG | static_cast<int>(0x80000000);
  header.nchan = 3;
  EXPECT_EQ(printed([&] { TypeParam::print_server_block(&header); }),
            "server block: server \"LINAC.SERVER\"  channels 3  length 1000\n"
            "  time 1970-01-01T00:00:00.000000Z (0 s 0 us)\n"
            "  macro-pulse 77  tmask 0x0  status 0xc0000008 (RAVO_SB_ERR_NO_DMA RAVO_CHAN_ZIP_FLAG "
            "0x80000000)\n");
  EXPECT_EQ(printed([] { TypeParam::print_server_block(nullptr); }), "server block: none\n");
}

TYPED_TEST(PrintChannelHead, NamesTypeAndOrigin) {
  typename TypeParam::subhead_record header{};
  std::strcpy(header.chname, "LINAC/BPM:1");
  header.dtype = 41 | 38 << 16;
  header.ldata = 304;
  EXPECT_EQ(printed([&] { TypeParam::print_subhead(&header); }),
            "channel block: channel \"LINAC/BPM:1\"  type 41 (RAVO_BLOCK_1CHAN_2010), cut from 38 "
            "(RAVO_BLOCK_BPM_2010)\n"
            "  length 304  error 0 (RAVO_SB_ERR_OK)\n");
  header.dtype = 99;
  EXPECT_THAT(printed([&] { TypeParam::print_subhead(&header); }), HasSubstr("type 99 (UNKNOWN)\n"));
  EXPECT_EQ(printed([] { TypeParam::print_subhead(nullptr); }), "channel block: none\n");
}

TYPED_TEST(PrintChannelHead, EscapesControlCharactersAndStopsAtTheField) {
  typename TypeParam::subhead_record header{};
  std::memset(header.chname, 'x', sizeof header.chname);
  std::memcpy(header.chname, "\x1b[2J\n", 5);
  header.dtype = 0x41414141;
  const std::string text = printed([&] { TypeParam::print_subhead(&header); });
  EXPECT_THAT(text, HasSubstr("\"\\x1b[2J\\x0axxx"));
  EXPECT_THAT(text, HasSubstr("xxx\"  type"));
  EXPECT_THAT(text, Not(HasSubstr("\x1b")));
}

TYPED_TEST(PrintData, ShowsASpectrumMemberByMember) {
  const std::string text =
      printed_block(decoded_block<TypeParam>("LINAC/RF", 43, spectrum<host_bytes>(2, 2, 5, 3)));
  EXPECT_THAT(text, HasSubstr("  spectrum: 2 members of 2 groups of 5 samples\n"
                              "  axis (time, us): start 0.5  increment 0.25  group increment 100\n"
                              "  [0] AMPLITUDE: mean 0  10 values  min 0  max 9  mean 4.5  first 0 1 2 "
                              "3 4 5 6 7 ...\n"
                              "      statistics, mask 0x80000001: [0] 0 [31] 31\n"
                              "  [1] PHASE: mean 10  10 values  min 100  max 109  mean 104.5  first 100"));
}

TYPED_TEST(PrintData, NamesTheMembersOfAGenericSpectrumByNumber) {
  const std::string text =
      printed_block(decoded_block<TypeParam>("A", 28, spectrum<host_bytes>(40, 1, 1, 0)));
  EXPECT_THAT(text, HasSubstr("  [31] CH31: 1 values  min 3100  max 3100  mean 3100  first 3100\n"));
  EXPECT_THAT(text, Not(HasSubstr("CH32")));
  EXPECT_THAT(text, HasSubstr("  ... 8 more members\n"));
}

TYPED_TEST(PrintData, ShowsThatAMemberHasNoValues) {
  EXPECT_THAT(printed_block(decoded_block<TypeParam>("A", 41, spectrum<host_bytes>(1, 1, 0, 0))),
              HasSubstr("  [0] CH0: 0 values\n"));
}

TYPED_TEST(PrintData, ShowsEveryOtherPayload) {
  EXPECT_THAT(printed_block(decoded_block<TypeParam>("A", 6, older_spectrum<host_bytes>(3, 2))),
              HasSubstr("  spectrum: 3 members of 2 samples\n"
                        "  axis (time, us): start 0.5  increment 0.25\n"
                        "  [0] X: mean 0  2 values  min 0  max 1  mean 0.5  first 0 1\n"));
  EXPECT_THAT(printed_block(decoded_block<TypeParam>("A", 13, image<host_bytes>())),
              HasSubstr("  image: 3 x 2 pixels at (5, 6)  bytes per pixel 1  increments 1 x 2\n"
                        "  frame 7  event 1234  compression 0  pixel bytes 6\n"
                        "  70 69 78 65 6c 73\n"));
  EXPECT_THAT(printed_block(decoded_block<TypeParam>("A", 27, image_ext<host_bytes>())),
              HasSubstr("  image: area 3 x 2 pixels at (10, 20) of a sensor of 640 x 480\n"
                        "  bytes per pixel 1  effective bits 8  binning 1 x 1  formats: source 0 image 1\n"
                        "  scale 0.5 x 0.25  rotation 90  flags 0x1\n"
                        "  frame 7  event 1234  pixel bytes 6\n"));
  EXPECT_THAT(printed_block(decoded_block<TypeParam>("A", 24, roi<host_bytes>())),
              HasSubstr("  region of interest: 3 x 2 pixels at (10, 20)\n"
                        "  [0] X: 3 values  min 1  max 3  mean 2  first 1 2 3\n"
                        "  [1] Y: 2 values  min 4  max 5  mean 4.5  first 4 5\n"));
  EXPECT_THAT(printed_block(decoded_block<TypeParam>("A", 22, name_value<host_bytes>())),
              HasSubstr("  name-value block 42: 2 records, comment \"settings\"\n"
                        "  [0] gain = 1.5\n  [1] offset = -2\n"));
  EXPECT_THAT(printed_block(decoded_block<TypeParam>("A", 23, text<host_bytes>())),
              HasSubstr("  text: \"beam on\"\n"));
  EXPECT_THAT(printed_block(decoded_block<TypeParam>("A", 33, update<host_bytes>(256))),
              HasSubstr("  update of \"MAGNET/CURRENT\": value 12.5  status 0x3  time "
                        "2026-01-01T00:00:00.000005Z (1767225600 s 5 us)\n"));
  EXPECT_THAT(printed_block(decoded_block<TypeParam>("A", 1, update<host_bytes>(80))),
              HasSubstr("  update of \"MAGNET/CURRENT\": value 12.5  status 0x3"));
  EXPECT_THAT(printed_block(decoded_block<TypeParam>("A", 3, environment<host_bytes>())),
              HasSubstr("  environment channel 4: value 21.5  status 0x0  time 2026-01-01"));
  EXPECT_THAT(printed_block(decoded_block<TypeParam>("A", 34, env_dictionary<host_bytes>())),
              HasSubstr("  environment dictionary: 2 entries\n  [0] key 13  index 4\n"));
}

TYPED_TEST(PrintData, OfEveryTypeIsNotAnExcuse) {
  for (const payload& one : all_payloads()) {
    const std::string text = printed_block(decoded_block<TypeParam>("A", one.dtype, one.host));
    EXPECT_THAT(text, Not(HasSubstr("not readable"))) << one.dtype;
    EXPECT_THAT(text, HasSubstr("(" + std::string(ravo::find_data_type(one.dtype)->name) + ")"));
  }
}

TYPED_TEST(PrintData, ShowsBytesOfWhatItCannotRead) {
  EXPECT_THAT(printed_block(decoded_block<TypeParam>("A", 41, bytes().raw("abc"))),
              HasSubstr("  data: 3 bytes, not readable: the counts in the data disagree with their "
                        "length\n  61 62 63\n"));
  EXPECT_THAT(printed_block(decoded_block<TypeParam>("A", 99, bytes().fill(100, 0xab))),
              HasSubstr("  data: 100 bytes, not readable: unknown data type\n"));
  EXPECT_THAT(printed_block(decoded_block<TypeParam>("A", 99, bytes().fill(100, 0xab))),
              HasSubstr("  ... 36 more bytes\n"));
  decoded_block<TypeParam> compressed("A", 41, bytes().raw("abc"));
  compressed.get()->error = RAVO_CHAN_ZIP_FLAG;
  EXPECT_THAT(printed([&] { TypeParam::print_block(compressed.get()); }),
              HasSubstr("  data: 3 bytes, still compressed\n  61 62 63\n"));
  decoded_block<TypeParam> short_one("A", 41, bytes());
  short_one.get()->ldata = static_cast<int>(TypeParam::subhead) - 1;
  EXPECT_THAT(printed([&] { TypeParam::print_block(short_one.get()); }),
              HasSubstr("  data: none, the length is less than the subheader's " +
                        std::to_string(TypeParam::subhead) + " bytes\n"));
  EXPECT_EQ(printed([] { TypeParam::print_block(nullptr); }), "channel block: none\n");
}

// The block's memory ends where its length says; a sanitizer sees any step beyond.
TYPED_TEST(PrintData, StaysInsideTheBlockWhateverItsWordsSay) {
  captured_output ignored;
  for (const payload& one : all_payloads())
    for (std::size_t at = 0; at + 4 <= std::min<std::size_t>(one.host.size(), 112); at += 4)
      for (const std::uint32_t value : {0u, 1u, 0xffffffffu, 0xffffff7fu, 0x80u, 0x41414141u}) {
        bytes data = one.host;
        decoded_block<TypeParam> block("A", one.dtype, data.set_u32(at, value));
        TypeParam::print_block(block.get());
      }
}

TYPED_TEST(PrintTables, ShowsEveryChannelOfADictionary) {
  const bytes memory = host_bytes()
                           .u32(0xdcadcaf3)
                           .i32(static_cast<int>(8 + 2 * TypeParam::dictionary_entry))
                           .u32(11)
                           .text("LINAC/BPM1", TypeParam::dictionary_name)
                           .u32(2)
                           .u32(1u << 9)
                           .i32(2)
                           .u32(12)
                           .text("LINAC\nNOTE", TypeParam::dictionary_name)
                           .u32(0)
                           .u32(0)
                           .i32(0)
                           .content();
  const auto* table = reinterpret_cast<const typename TypeParam::dictionary_table*>(memory.data());
  const int length = static_cast<int>(8 + 2 * TypeParam::dictionary_entry);
  EXPECT_EQ(printed([&] { TypeParam::print_dictionary(table); }),
            "channel dictionary: 2 channels  pattern 0xdcadcaf3  length " + std::to_string(length) +
                "\n"
                "[0] \"LINAC/BPM1\"  key 11  events 2\n"
                "  event types 0x2 (RAVO_EV_NORMAL)  data types 9 (RAVO_BLOCK_SINGLE)\n"
                "[1] \"LINAC\\x0aNOTE\"  key 12  events 0\n"
                "  event types 0  data types 0\n");
  EXPECT_EQ(printed([] { TypeParam::print_dictionary(nullptr); }), "channel dictionary: none\n");
}

TYPED_TEST(PrintTables, ShowsAnEntryOfTheEventIndex) {
  const bytes memory = host_bytes()
                           .i32(1)
                           .u32(1767225600)
                           .u32(0)
                           .u32(1767225600)
                           .u32(100000)
                           .u32(1000)
                           .u32(1000)
                           .i32(1)
                           .u32(1767225600)
                           .u32(5)
                           .u32(1000)
                           .u32(24)
                           .content();
  const auto* entry = reinterpret_cast<const ravo_event_index_entry*>(memory.data());
  EXPECT_EQ(printed([&] { TypeParam::print_index_entry(entry); }),
            "event index entry: type 1 (RAVO_EV_NORMAL)  events 1  numbers 1000 to 1000\n"
            "  first 2026-01-01T00:00:00.000000Z (1767225600 s 0 us)\n"
            "  last  2026-01-01T00:00:00.100000Z (1767225600 s 100000 us)\n"
            "  [0] event 1000  time 2026-01-01T00:00:00.000005Z (1767225600 s 5 us)  offset 24\n");
  EXPECT_EQ(printed([] { TypeParam::print_index_entry(nullptr); }), "event index entry: none\n");
}

TEST(PrintDescriptions, ShowsAChannelWithItsBitsAndDimensions) {
  chan_descr_2010 channel{};
  std::strcpy(channel.prop_name, "LINAC/BPM1");
  std::strcpy(channel.daq_name, "BPM.1");
  std::strcpy(channel.prop_desc, "Beam position");
  std::strcpy(channel.units, "mm");
  std::strcpy(channel.sb_name, "LINAC.SERVER");
  std::strcpy(channel.subsystem, "diagnostics");
  channel.dtype = 38;
  channel.ev_type = 0x22;
  channel.db_key = 11;
  bit_descr bit{0, "OK", "valid"};
  dim_descr dimension{};
  std::strcpy(dimension.dim_name, "time");
  std::strcpy(dimension.units, "us");
  stat_descr statistic{3, "rms", "spread", "mm"};
  dimension.stats = {statistic};
  channel.bits = {&bit, nullptr};
  channel.dims = {&dimension};
  channel.nbits = 1;
  channel.ndims = 1;
  const std::vector<chan_descr_2010*> list = {&channel, nullptr};
  EXPECT_EQ(printed([&] { print_ravo_chan_descr(&list); }),
            "channel description: LINAC/BPM1 [mm] - Beam position\n"
            "  DAQ name \"BPM.1\"  server block \"LINAC.SERVER\"  subsystem \"diagnostics\"\n"
            "  type 38 (RAVO_BLOCK_BPM_2010)  events 0x22 (RAVO_EV_NORMAL RAVO_EV_UPD)\n"
            "  stream 0  count 0  key 11  largest size 0  set point 0  bits 1  dimensions 1\n"
            "  bit 0: OK - valid\n"
            "  dimension 0: time [us]\n"
            "    statistic 3: rms [mm] - spread\n");
  EXPECT_EQ(printed([] { print_ravo_chan_descr(nullptr); }), "channel description: none\n");
}

}  // namespace
