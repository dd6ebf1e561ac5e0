// The unzip worker: what it makes of every kind of block, what it says of a damaged one, and what becomes
// of the other entries. Compressed bytes come straight from zlib and LZO, expected payloads from the test.
#include "failing_allocation.h"
#include "ravo_evutl.h"
#include "ravo_payload.h"
#include "reading.h"

namespace {

using namespace ravo::test;

/// One channel with the given blocks, one event each; started and finished, with all it printed.
template <class generation>
struct decoded_blocks : channel_reading<generation> {
  using reading = typename channel_reading<generation>::reading;
  using read_chan = typename generation::read_chan;

  explicit decoded_blocks(std::vector<handmade_block> blocks, int subchannel = -1, int threads = 1,
                          const typename reading::damage& spoil = {}) {
    typename channel_reading<generation>::file_type content;
    content.events = ten_hertz(static_cast<unsigned>(blocks.size()));
    handmade_channel channel("CHAN");
    for (std::size_t i = 0; i < blocks.size(); ++i) {
      blocks[i].event = i;
      channel.blocks.push_back(blocks[i]);
    }
    content.channels.push_back(channel);
    file = std::make_unique<reading>(content, spoil);
    reader = file->reader("CHAN", subchannel);
    reader->set_number_of_threads(threads);
    run();
  }
  void run() {
    captured_output output;
    status = start_and_wait(*reader);
    wait_until_idle();
    text = output.stop();
  }
  // A worker may still be on its way out when the master has its signal.
  void wait_until_idle() const {
    pthread_mutex_lock(&reader->mx);
    while (reader->running > 0) pthread_cond_wait(&reader->idle, &reader->mx);
    pthread_mutex_unlock(&reader->mx);
  }
  const ravo_channel_entry_long& entry(int i = 0) const { return reader->out[i]; }
  bool is_there(int i) const { return entry(i).event_id.event_number == 100u + static_cast<unsigned>(i); }

  std::unique_ptr<reading> file;
  std::unique_ptr<read_chan> reader;
  int status = 0;
  std::string text;
};

template <class generation>
class UnzipWorker : public channel_reader_test<generation> {
 protected:
  using decoded = decoded_blocks<generation>;
  using update_type = typename generation::records::update_block;
  using server_type = typename generation::records::server_block_head;

  static handmade_block block(int dtype, bytes payload) {
    handmade_block made;
    made.dtype = dtype;
    made.payload = std::move(payload);
    return made;
  }
  static handmade_block zlib(float value) { return zipped(UnzipWorker::scalar(0, value), 1); }
  /// A compressed block whose data do not fit its type.
  static handmade_block nonsense() { return zipped(block(generation::single, bytes().fill(36, 0x7f)), 1); }
  static bytes update_payload(const std::string& name, float value) {
    bytes payload;
    return payload.text(name, generation::update_name).i32(3).u32(1700000001).u32(250000).f32(value);
  }
  static const update_type* update_of(const ravo_channel_entry_long& entry) {
    return reinterpret_cast<const update_type*>(entry.sbchdata[0].data);
  }
  static bytes three_members() { return spectrum<typename generation::layout>({{1, 2}, {3, 4}, {5, 6}}); }

  /// The thread's body, in the calling thread.
  static std::intptr_t run_body(void* reader, std::string* text) {
    captured_output output;
    void* const result = either<generation>(&unzip_thread_2010, &unzip_thread)(reader);
    *text = output.stop();
    return reinterpret_cast<std::intptr_t>(result);
  }
  /// Pieces of memory that a start takes before its workers: the array, and a copied basket.
  static constexpr long taken_by_start = generation::records::copies_channel_basket ? 2 : 1;
};
TYPED_TEST_SUITE(UnzipWorker, generations, generation_name);
using CurrentUnzipWorker = UnzipWorker<current_generation>;
using OlderUnzipWorker = UnzipWorker<older_generation>;

// ---- headers ----

TYPED_TEST(UnzipWorker, BringsTheHeadersIntoHostOrder) {
  const typename TestFixture::decoded result({this->scalar(0, 1.5f)});
  const auto* event = reinterpret_cast<const ravo_eventheader*>(result.entry().sbchdata[0].evhd);
  EXPECT_EQ(event->pattern, TypeParam::event_header_marker);
  EXPECT_EQ(event->event_number, 100u);
  EXPECT_EQ(event->event_type, RAVO_EV_NORMAL);
  EXPECT_EQ(event->event_time.timeup, 1700000000u);
  EXPECT_EQ(event->num_svr_block, 1);
  const auto* server =
      reinterpret_cast<const typename TestFixture::server_type*>(result.entry().sbchdata[0].sbhd);
  EXPECT_STREQ(server->server, "server1");
  EXPECT_EQ(server->mpulse, 7);
  EXPECT_EQ(server->nchan, 1);
  EXPECT_STREQ(this->block_of(result.entry())->chname, "CHAN");
  EXPECT_EQ(this->block_of(result.entry())->dtype, TypeParam::single);
  EXPECT_EQ(this->block_of(result.entry())->ldata, this->subhead + this->scalar_size);
  EXPECT_EQ(result.entry().sbchdata[0].data, result.entry().sbchdata[0].chhd + TypeParam::subhead);
  EXPECT_EQ(result.entry().event_id.event_number, 100u);
  EXPECT_EQ(this->samples_of(result.entry()), std::vector<float>{1.5f});
  EXPECT_EQ(result.text, "");
}

TYPED_TEST(UnzipWorker, EndsTextsThatHaveNoEnd) {
  const typename TestFixture::decoded result(
      {this->scalar(0, 1)}, -1, 1, [](typename TestFixture::file_type& file, bytes& content) {
        for (std::size_t i = 0; i < TypeParam::server_name; i += 4)
          content.set_u32(file.at["servers"] + 8 + 16 + i, 0x41414141);
      });
  const auto* server =
      reinterpret_cast<const typename TestFixture::server_type*>(result.entry().sbchdata[0].sbhd);
  EXPECT_EQ(strnlen(server->server, TypeParam::server_name), TypeParam::server_name - 1);
}

// ---- compressed blocks ----

TYPED_TEST(UnzipWorker, InflatesBothCompressions) {
  const typename TestFixture::decoded result(
      {zipped(this->scalar(0, 1), 1), zipped(this->scalar(0, 2), 2)});
  EXPECT_EQ(this->samples_of(result.entry(0)), std::vector<float>{1});
  EXPECT_EQ(this->samples_of(result.entry(1)), std::vector<float>{2});
  EXPECT_EQ(this->block_of(result.entry(0))->error & RAVO_CHAN_ZIP_FLAG, 0);
  EXPECT_EQ(this->block_of(result.entry(0))->ldata, this->subhead + this->scalar_size);
}

TYPED_TEST(UnzipWorker, KeepsTheOtherErrorBits) {
  handmade_block flagged = this->zlib(1);
  flagged.error = RAVO_FE_ADC_OVERLOAD;
  EXPECT_EQ(this->block_of(typename TestFixture::decoded({flagged}).entry())->error, RAVO_FE_ADC_OVERLOAD);
}

TYPED_TEST(UnzipWorker, TakesZlibWhenBothBitsAreSet) {
  const typename TestFixture::decoded result({zipped(this->scalar(0, 4), 3)});
  EXPECT_EQ(this->samples_of(result.entry()), std::vector<float>{4});
  EXPECT_EQ(result.text, "");
}

TYPED_TEST(UnzipWorker, EndsAtAnUnknownCompression) {
  for (const std::uint32_t flags : {0u, 4u}) {
    handmade_block strange = this->scalar(0, 1);
    strange.zip_flag_set = true;
    strange.zip_flags = flags;
    const typename TestFixture::decoded result({this->scalar(0, 1), strange, this->scalar(0, 3)});
    EXPECT_THAT(result.text, testing::ContainsRegex("Unknown unzipper: 0x" + std::to_string(flags) +
                                                    "!!! exiting tid:[0-9]+\n"));
    captured_output output;
    const ravo_zip_header header{flags, this->scalar_size, this->scalar_size};
    print_ravo_zip_header(&header);
    EXPECT_THAT(result.text, testing::HasSubstr(output.stop()));
    EXPECT_TRUE(result.is_there(0));
    EXPECT_FALSE(result.is_there(1));
    EXPECT_FALSE(result.is_there(2));  // the only worker has ended
    EXPECT_EQ(result.reader->out_done, 1);
    EXPECT_FALSE(result.reader->is_done());
  }
}

TYPED_TEST(UnzipWorker, LeavesABlockThatCannotBeInflatedAndGoesOn) {
  handmade_block broken = this->zlib(1);
  broken.zipp_length = 10;
  const typename TestFixture::decoded result({this->zlib(0), broken, this->zlib(2)});
  EXPECT_THAT(
      result.text,
      testing::ContainsRegex("make_zlib\\(\\) -  !!!! inflate\\(\\) returnd 0 !!!!Failed to uncompress PID "
                             "[0-9]+!!!\n"));
  EXPECT_TRUE(result.is_there(0));
  EXPECT_FALSE(result.is_there(1));
  EXPECT_EQ(result.entry(1).sbchdata[0].evhd, 0u);
  EXPECT_TRUE(result.is_there(2));
  EXPECT_EQ(result.reader->out_done, 2);
  EXPECT_FALSE(result.reader->is_done());  // but the master had its signal
}

TYPED_TEST(UnzipWorker, LeavesABlockWhoseCompressedBytesEndOutsideTheBasket) {
  handmade_block broken = this->zlib(1);
  broken.zipp_length = 0x7fffffff;
  broken.orig_length = 0x7ffffff0;
  failing_allocation::largest = 0;
  const typename TestFixture::decoded result({this->zlib(0), broken});
  EXPECT_LT(failing_allocation::largest, 10000u);  // the lengths alone do not decide
  EXPECT_THAT(result.text,
              testing::StartsWith("make_zlib() invalid parameter(s)\nFailed to uncompress PID "));
  EXPECT_FALSE(result.is_there(1));
}

TYPED_TEST(UnzipWorker, ReportsLzoFailuresWithTheTextOfLzo) {
  handmade_block broken = zipped(this->scalar(0, 1), 2);
  broken.zipp_length = 3;
  const typename TestFixture::decoded result({broken});
  EXPECT_THAT(result.text,
              testing::ContainsRegex("make_lzo - internal error - decompression failed: -[0-9]+\n"
                                     "Failed to uncompress PID [0-9]+!!!\n"));
}

TYPED_TEST(UnzipWorker, EndsWhenTheLengthsDiffer) {
  handmade_block wrong = this->zlib(1);
  wrong.orig_length = 40;
  const typename TestFixture::decoded result({this->zlib(0), wrong, this->zlib(2)});
  EXPECT_THAT(result.text, testing::ContainsRegex(std::string("Orig size \\(40\\) != unzip size \\(") +
                                                  std::to_string(this->scalar_size) + "\\) tid:[0-9]+\n"));
  EXPECT_TRUE(result.is_there(0));
  EXPECT_FALSE(result.is_there(1));
  EXPECT_FALSE(result.is_there(2));
}

TYPED_TEST(UnzipWorker, LetsTheOthersDecodeTheRestWhenOneEnds) {
  std::vector<handmade_block> blocks(40, this->zlib(7));
  blocks[5].orig_length = 40;
  const typename TestFixture::decoded result(blocks, -1, 4);
  for (int i = 0; i < 40; ++i) EXPECT_EQ(result.is_there(i), i != 5);
  EXPECT_EQ(result.reader->out_done, 39);
}

TYPED_TEST(UnzipWorker, DoesNotAskForMoreMemoryThanTheBytesCanHold) {
  handmade_block bomb = this->zlib(1);
  bomb.orig_length = 0xfffffff0u;
  failing_allocation::largest = 0;
  const typename TestFixture::decoded result({bomb});
  EXPECT_LT(failing_allocation::largest, 100000u);
  EXPECT_THAT(result.text, testing::ContainsRegex(std::string("Orig size \\(-16\\) != unzip size \\(") +
                                                  std::to_string(this->scalar_size) + "\\) tid:[0-9]+\n"));
}

TEST_F(CurrentUnzipWorker, KeepsTheHeadersOfABlockThatCannotBeConverted) {
  handmade_block broken = nonsense();
  const decoded result({zlib(0), broken, zlib(2)});
  EXPECT_THAT(result.text, testing::ContainsRegex(
                               "^Failed to convert  err: -?[0-9]+  len: 36  \\(possible corrupted or "
                               "inconsistent data\\).. skipping\nHERE 1\nHERE 2\nHERE 3\nCONTINUE\n$"));
  EXPECT_FALSE(result.is_there(1));
  EXPECT_EQ(result.entry(1).event_id.event_number, 0xFFFFFFFFu);
  EXPECT_NE(result.entry(1).sbchdata[0].evhd, 0u);
  EXPECT_NE(result.entry(1).sbchdata[0].sbhd, 0u);
  EXPECT_EQ(result.entry(1).sbchdata[0].chhd, 0u);
  EXPECT_EQ(result.entry(1).sbchdata[0].data, 0u);
  EXPECT_TRUE(result.is_there(2));
  EXPECT_EQ(result.reader->out_done, 3);
  EXPECT_TRUE(result.reader->is_done());
}

TEST_F(CurrentUnzipWorker, TheLastBlockMayBeOneThatCannotBeConverted) {
  const decoded result({zlib(0), nonsense()});
  EXPECT_TRUE(result.reader->is_done());
  EXPECT_EQ(result.reader->event_last.event_number, 100u);
}

TEST_F(OlderUnzipWorker, EndsAtABlockThatCannotBeConverted) {
  const decoded result({zlib(0), nonsense(), zlib(2)});
  EXPECT_THAT(result.text, testing::ContainsRegex(
                               "^Failed to convert unzipped err: -?[0-9]+  len: 36 [0-9]+ .. exiting\n$"));
  EXPECT_TRUE(result.is_there(0));
  EXPECT_FALSE(result.is_there(1));
  EXPECT_EQ(result.entry(1).sbchdata[0].evhd, 0u);  // not even its headers
  EXPECT_FALSE(result.is_there(2));                 // the only worker has ended
  EXPECT_EQ(result.reader->out_done, 1);
  EXPECT_FALSE(result.reader->is_done());  // but the master had its signal
}

TEST_F(OlderUnzipWorker, LetsTheOthersDecodeTheRestWhenABlockCannotBeConverted) {
  std::vector<handmade_block> blocks(40, zlib(7));
  blocks[5] = nonsense();
  const decoded result(blocks, -1, 4);
  for (int i = 0; i < 40; ++i) EXPECT_EQ(result.is_there(i), i != 5);
  EXPECT_EQ(result.reader->out_done, 39);
}

TEST_F(OlderUnzipWorker, GivesABeginOfRunTheTypeAndLengthOfAnUpdate) {
  const decoded result({block(RAVO_BOR_BLOCK, update_payload("RUN", 12))});
  ASSERT_TRUE(result.is_there(0));
  EXPECT_EQ(block_of(result.entry())->dtype, 1);
  EXPECT_EQ(block_of(result.entry())->ldata, 140);
}

TEST_F(OlderUnzipWorker, ReadsItsBlocksOutOfTheMappedBasket) {
  const decoded result({scalar(0, 1)});
  EXPECT_EQ(result.reader->chn_offset, 0u);  // of the mapped page
  EXPECT_NE(result.reader->get_chn_base(), nullptr);
  EXPECT_EQ(reinterpret_cast<unsigned char*>(result.reader->get_chn_basket()),
            result.reader->get_chn_base() + (result.reader->get_data_table_pointer(0)->chhd - 8));
}

// Its type says of one member, and nothing else counts.
TEST_F(OlderUnzipWorker, CutsAGenericSpectrumOnlyWhenItIsCompressed) {
  bytes payload;
  payload.i32(1).i32(1).i32(1).f32(0).f32(1).f32(0).u32(0).i32(0).f32(9);
  const handmade_block generic = block(RAVO_BLOCK_GENERIC_SPECT, payload);
  EXPECT_STREQ(block_of(decoded({generic}, 0).entry())->chname, "CHAN");
  EXPECT_STREQ(block_of(decoded({zipped(generic, 1)}, 0).entry())->chname, "CHAN:0");
  EXPECT_STREQ(block_of(decoded({zipped(generic, 1)}, -1).entry())->chname, "CHAN");
}

// ---- plain blocks ----

TYPED_TEST(UnzipWorker, GivesUpdatesBeginsAndEndsOfRunsOneShape) {
  for (const int dtype : {TypeParam::update, TypeParam::begin_of_run, TypeParam::end_of_run}) {
    const typename TestFixture::decoded result(
        {this->block(dtype, this->update_payload("MAGNET/CURRENT", 12.5f))});
    ASSERT_TRUE(result.is_there(0));
    EXPECT_EQ(this->block_of(result.entry())->dtype, TypeParam::update);
    EXPECT_EQ(this->block_of(result.entry())->ldata, this->update_size);
    EXPECT_STREQ(this->update_of(result.entry())->upd_prop, "MAGNET/CURRENT");
    EXPECT_EQ(this->update_of(result.entry())->upd_ch_status, 3);
    EXPECT_EQ(this->update_of(result.entry())->upd_ch_time.timelow, 250000u);
    EXPECT_EQ(this->update_of(result.entry())->upd_ch_data, 12.5f);
  }
}

TYPED_TEST(UnzipWorker, GivesEnvironmentReadingsTheShapeOfUpdates) {
  bytes payload;
  payload.i32(9).i32(5).u32(1700000002).u32(30).f32(-4.5f);
  const typename TestFixture::decoded result({this->block(RAVO_ENV_BLOCK, payload)});
  ASSERT_TRUE(result.is_there(0));
  EXPECT_EQ(this->block_of(result.entry())->dtype, TypeParam::update);
  EXPECT_EQ(this->block_of(result.entry())->ldata, this->update_size);
  EXPECT_STREQ(this->update_of(result.entry())->upd_prop, "CHAN");
  EXPECT_EQ(this->update_of(result.entry())->upd_ch_status, 5);
  EXPECT_EQ(this->update_of(result.entry())->upd_ch_time.timeup, 1700000002u);
  EXPECT_EQ(this->update_of(result.entry())->upd_ch_data, -4.5f);
}

TYPED_TEST(UnzipWorker, ReadsSlowDataAtTheirOwnOffset) {
  // The second event's data word leads to the first event's data.
  const typename TestFixture::decoded result({this->block(TypeParam::update, this->update_payload("A", 1)),
                                              this->block(TypeParam::update, this->update_payload("B", 2))},
                                             -1, 1,
                                             [](typename TestFixture::file_type& file, bytes& content) {
                                               const std::size_t row = file.at["pointers"] + 12;
                                               content.set_u32(row + 16 + 12, content.word(row + 12));
                                             });
  EXPECT_STREQ(this->update_of(result.entry(1))->upd_prop, "A");
}

TYPED_TEST(UnzipWorker, ReadsPlainDataAfterTheSubheader) {
  const typename TestFixture::decoded result({this->scalar(0, 1), this->scalar(0, 2)}, -1, 1,
                                             [](typename TestFixture::file_type& file, bytes& content) {
                                               const std::size_t row = file.at["pointers"] + 12;
                                               content.set_u32(row + 16 + 12, content.word(row + 12));
                                             });
  EXPECT_EQ(this->samples_of(result.entry(1)), std::vector<float>{2});
}

TYPED_TEST(UnzipWorker, EndsWhenSlowDataAreNotThere) {
  for (const int dtype : {TypeParam::update, RAVO_ENV_BLOCK}) {
    const typename TestFixture::decoded result(
        {this->block(dtype, bytes().fill(4))});  // the basket ends before the data do
    EXPECT_THAT(result.text, testing::ContainsRegex("^Failed to convert env  [0-9]+ .. exiting\n$"));
    EXPECT_FALSE(result.is_there(0));
  }
}

TYPED_TEST(UnzipWorker, EndsWhenAPlainBlockCannotBeConverted) {
  handmade_block shorter = this->scalar(0, 1);
  for (const std::int32_t ldata :
       {this->subhead, this->subhead - 1, 0, -1, 0x7fffffff, this->subhead + this->spectrum_head}) {
    shorter.ldata = ldata;
    const typename TestFixture::decoded result({this->scalar(0, 0), shorter, this->scalar(0, 2)});
    EXPECT_THAT(result.text, testing::ContainsRegex("^Failed to convert_data  [0-9]+ .. exiting\n$"))
        << ldata;
    EXPECT_TRUE(result.is_there(0));
    EXPECT_FALSE(result.is_there(1));
    EXPECT_FALSE(result.is_there(2));
  }
}

TYPED_TEST(UnzipWorker, ComparesTypesByTheirLow16Bits) {
  const typename TestFixture::decoded result(
      {this->block(TypeParam::update | TypeParam::single << 16, this->update_payload("A", 1))});
  ASSERT_TRUE(result.is_there(0));
  EXPECT_EQ(this->block_of(result.entry())->ldata, this->update_size);
  EXPECT_EQ(this->block_of(result.entry())->dtype, TypeParam::update);
}

TYPED_TEST(UnzipWorker, LeavesPixelsAlone) {
  bytes payload;
  payload.u32(2).u32(2).u32(1).i32(0).u32(77).u32(100).i32(4).raw("\x01\x02\x03\x04");
  for (const std::uint32_t flags : {0u, 1u, 2u}) {
    handmade_block image = this->block(RAVO_BLOCK_IMAGE, payload);
    if (flags != 0) image = zipped(image, flags);
    const typename TestFixture::decoded result({image});
    const auto* frame = reinterpret_cast<const ravo_image_frame_head*>(result.entry().sbchdata[0].data);
    EXPECT_EQ(frame->frame, 77u);
    EXPECT_EQ(std::memcmp(frame + 1, "\x01\x02\x03\x04", 4), 0);
  }
}

// ---- entries that point nowhere ----

TYPED_TEST(UnzipWorker, EndsAtAnEntryThatPointsOutsideItsBaskets) {
  for (const std::size_t word : {0u, 1u, 2u})
    for (const std::uint32_t value : {0u, 1u, 0x7fffffffu, 0xffffffffu}) {
      const typename TestFixture::decoded result(
          {this->scalar(0, 0), this->scalar(0, 1), this->scalar(0, 2)}, -1, 1,
          [&](typename TestFixture::file_type& file, bytes& content) {
            content.set_u32(file.at["pointers"] + 12 + 16 + word * 4, value);
          });
      ASSERT_NE(result.reader->out, nullptr);
      EXPECT_THAT(result.text,
                  testing::ContainsRegex("^Failed to obtain pointer to event data pointer [0-9]+\n$"));
      EXPECT_TRUE(result.is_there(0));
      EXPECT_FALSE(result.is_there(1));
    }
}

TYPED_TEST(UnzipWorker, PassesOverAnEntryThatLeadsToNoEvent) {
  using handmade = typename TestFixture::file_type;
  const auto row = [](handmade& file) { return file.at["pointers"] + 12 + 16; };
  const std::function<void(handmade&, bytes&)> spoils[] = {
      // Into the middle of a server block's head, and to an event with the number that no event has.
      [&](handmade& file, bytes& content) {
        content.set_u32(row(file) + 4, content.word(row(file) + 4) - 4);
      },
      [](handmade& file, bytes& content) { content.set_u32(file.at["events"] + 8 + 36 + 8, 0xffffffff); },
  };
  for (const auto& spoil : spoils) {
    const typename TestFixture::decoded result({this->scalar(0, 0), this->scalar(0, 1), this->scalar(0, 2)},
                                               -1, 1, spoil);
    EXPECT_EQ(result.text, "CHAN entry 1 leads to no event or into the middle of a server block\n");
    EXPECT_TRUE(result.is_there(0));
    EXPECT_FALSE(result.is_there(1));
    EXPECT_TRUE(result.is_there(2));
  }
}

// Markers are the table-access library's: a file of another writer may have any.
TYPED_TEST(UnzipWorker, ComparesNoMarker) {
  const typename TestFixture::decoded result({this->scalar(0, 0), this->scalar(0, 1)}, -1, 1,
                                             [](typename TestFixture::file_type& file, bytes& content) {
                                               for (const char* basket : {"events", "servers", "CHAN"})
                                                 content.set_u32(file.at[basket], 0x12345678);
                                               for (const std::size_t event : {0u, 1u})
                                                 content.set_u32(file.at["events"] + 8 + 36 * event,
                                                                 0x87654321);
                                             });
  EXPECT_EQ(result.text, "");
  EXPECT_TRUE(result.is_there(0));
  EXPECT_TRUE(result.is_there(1));
  EXPECT_EQ(this->samples_of(result.entry(1)), std::vector<float>{1});
}

// The front end may know the channel by another name.
TYPED_TEST(UnzipWorker, TakesABlockWhateverItsName) {
  for (const std::string& name :
       {std::string("FRONT_END/7"), std::string(), std::string(TypeParam::block_name, 'N')}) {
    const typename TestFixture::decoded result(
        {this->scalar(0, 0), this->scalar(0, 1)}, -1, 1,
        [&](typename TestFixture::file_type& file, bytes& content) {
          unsigned char* const at = content.data() + content.word(file.at["pointers"] + 12 + 16 + 8);
          std::memset(at, 0, TypeParam::block_name);
          std::memcpy(at, name.data(), name.size());
        });
    EXPECT_EQ(result.text, "");
    EXPECT_EQ(this->samples_of(result.entry(1)), std::vector<float>{1});
    EXPECT_EQ(this->block_of(result.entry(1))->chname, name.substr(0, TypeParam::block_name - 1));
  }
}

// The length of a reading is that of its type, whatever the block says of its own.
TYPED_TEST(UnzipWorker, TakesAReadingWhateverTheLengthOfItsBlock) {
  for (const std::int32_t length : {0, 1, static_cast<int>(TypeParam::subhead), -1, 0x7fffffff}) {
    for (const int dtype : {TypeParam::update, TypeParam::begin_of_run, TypeParam::end_of_run}) {
      handmade_block short_of_it = this->block(dtype, this->update_payload("A", 2.5f));
      short_of_it.ldata = length;
      const typename TestFixture::decoded result({short_of_it, this->scalar(0, 1)});
      EXPECT_EQ(result.text, "");
      EXPECT_EQ(this->update_of(result.entry())->upd_ch_data, 2.5f) << length;
      EXPECT_EQ(this->block_of(result.entry())->ldata, this->update_size);
      EXPECT_TRUE(result.is_there(1));
    }
  }
}

// ... and it ends the worker where it does not lie in the basket.
TYPED_TEST(UnzipWorker, TakesNoReadingFromAfterTheBasket) {
  for (const int dtype : {TypeParam::update, TypeParam::begin_of_run, RAVO_ENV_BLOCK}) {
    const typename TestFixture::decoded result({this->scalar(0, 0), this->block(dtype, bytes().fill(16))},
                                               -1, 1);
    EXPECT_THAT(result.text, testing::ContainsRegex("^Failed to convert env  [0-9]+ .. exiting\n$"));
    EXPECT_TRUE(result.is_there(0));
    EXPECT_FALSE(result.is_there(1));
  }
}

// ---- subchannels ----

TYPED_TEST(UnzipWorker, CutsOneSubchannelOut) {
  for (const std::uint32_t flags : {0u, 1u}) {
    handmade_block bpm = this->block(TypeParam::bpm, this->three_members());
    if (flags != 0) bpm = zipped(bpm, flags);
    const typename TestFixture::decoded result({bpm}, 1);
    EXPECT_EQ(this->samples_of(result.entry()), (std::vector<float>{3, 4}));
    EXPECT_STREQ(this->block_of(result.entry())->chname, "CHAN:1");
    EXPECT_EQ(this->block_of(result.entry())->dtype & 0xffff, TypeParam::single);
    EXPECT_EQ(this->block_of(result.entry())->dtype >> 16, TypeParam::bpm);
    EXPECT_EQ(result.entry().sbchdata[0].data, result.entry().sbchdata[0].chhd + TypeParam::subhead);
  }
}

TYPED_TEST(UnzipWorker, KeepsTheWholeBlockWithoutASubchannel) {
  const typename TestFixture::decoded result({this->block(TypeParam::bpm, this->three_members())}, -1);
  EXPECT_EQ(this->samples_of(result.entry()), (std::vector<float>{1, 2, 3, 4, 5, 6}));
  EXPECT_STREQ(this->block_of(result.entry())->chname, "CHAN");
}

TYPED_TEST(UnzipWorker, KeepsTheWholeBlockWhenTheSubchannelIsNotThere) {
  const typename TestFixture::decoded result({this->block(TypeParam::bpm, this->three_members())}, 3);
  EXPECT_EQ(result.text, either<TypeParam>("device_to_one_channel_2010() failed for CHAN:3\n",
                                           "device_to_one_channel() failed for CHAN:3\n"));
  EXPECT_EQ(this->samples_of(result.entry()).size(), 6u);
  EXPECT_STREQ(this->block_of(result.entry())->chname, "CHAN");
}

TEST_F(CurrentUnzipWorker, CutsAGenericSpectrumOnlyWhenAskedTo) {
  const handmade_block generic = block(RAVO_BLOCK_GENERIC_SPECT, three_members());
  EXPECT_EQ(samples_of(decoded({generic}, -1).entry()).size(), 6u);
  const decoded cut({generic}, 0);
  EXPECT_EQ(samples_of(cut.entry()), (std::vector<float>{1, 2}));
  EXPECT_STREQ(block_of(cut.entry())->chname, "CHAN:0");
}

TYPED_TEST(UnzipWorker, CutsASingleChannelOnlyWhenItIsCompressed) {
  EXPECT_STREQ(this->block_of(typename TestFixture::decoded({this->zlib(1)}, 0).entry())->chname, "CHAN:0");
  EXPECT_STREQ(this->block_of(typename TestFixture::decoded({this->scalar(0, 1)}, 0).entry())->chname,
               "CHAN");
  EXPECT_STREQ(this->block_of(typename TestFixture::decoded({this->zlib(1)}, 1).entry())->chname, "CHAN");
}

// ---- memory ----

struct exhaustion {
  const char* what;
  handmade_block made;
  long successes;
  const char* text;
};

TYPED_TEST(UnzipWorker, SaysWhichMemoryWasNotToBeHad) {
  const handmade_block update = this->block(TypeParam::update, this->update_payload("A", 1));
  const std::vector<exhaustion> cases{
      {"event header", this->scalar(0, 1), 0,
       "Failed to malloc additional event header [0-9]+ .. exiting\n"},
      {"server block", this->scalar(0, 1), 1,
       "Failed to malloc additional server block header [0-9]+ .. exiting\n"},
      {"subheader", this->scalar(0, 1), 2,
       "Failed to malloc additional server block subheader [0-9]+ .. exiting\n"},
      {"plain", this->scalar(0, 1), 3,
       "Failed to malloc working memory \\(NOTZIPPPED\\) [0-9]+ .. exiting\n"},
      {"update", update, 3, "Failed to malloc working memory \\(UPD\\) [0-9]+ .. exiting\n"},
      {"lzo work", zipped(this->scalar(0, 1), 2), 3,
       "Failed to malloc additional memory [0-9]+ .. exiting\n"},
      {"lzo block", zipped(this->scalar(0, 1), 2), 4,
       "Failed to malloc working memory [0-9]+ .. exiting\n"},
      {"zlib block", this->zlib(1), 3, "Failed to malloc working memory [0-9]+ .. exiting\n"},
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(one.what);
    typename TestFixture::decoded result({one.made});
    EXPECT_EQ(result.text, "");
    const failing_allocation due(this->taken_by_start + one.successes);
    result.run();
    EXPECT_TRUE(failing_allocation::happened());
    EXPECT_THAT(result.text, testing::ContainsRegex("^" + std::string(one.text) + "$"));
    EXPECT_FALSE(result.is_there(0));
  }
}

TEST_F(CurrentUnzipWorker, StartSaysWhenTheArrayOrTheBasketDoesNotFit) {
  decoded result({scalar(0, 1)});
  {
    const failing_allocation array(0);
    result.run();
    EXPECT_EQ(result.status, RAVO_DAQ_READ_CHAN_INTERN_ERROR);
    EXPECT_EQ(result.text, "CHAN Failed to create out array for 1 entries\n");
  }
  const failing_allocation basket(1);
  result.run();
  EXPECT_EQ(result.status, RAVO_DAQ_READ_CHAN_INTERN_ERROR);
  EXPECT_EQ(result.text, "CHAN Failed to map channel basket\n");
}

TEST_F(OlderUnzipWorker, StartAsksForNoMemoryButTheArray) {
  decoded result({scalar(0, 1)});
  const failing_allocation array(0);
  result.run();
  EXPECT_EQ(result.status, RAVO_DAQ_READ_CHAN_INTERN_ERROR);
  EXPECT_EQ(result.text, "CHAN Failed to create out array for 1 entries\n");
}

// ---- the thread's body on its own ----

// What it returns when it cannot work, as a number.
enum body_refusal : int { no_reader = -1, no_baskets = -2, no_array = -3 };

TYPED_TEST(UnzipWorker, RefusesToWorkWithoutAReader) {
  std::string text;
  EXPECT_EQ(this->run_body(nullptr, &text), no_reader);
  EXPECT_THAT(text, testing::ContainsRegex("^No object to work with tid:[0-9]+... exiting\n$"));
}

TYPED_TEST(UnzipWorker, SignalsWhenThereAreNoBaskets) {
  typename TestFixture::read_chan reader(nullptr, nullptr, -1, nullptr);
  std::string text;
  EXPECT_EQ(this->run_body(&reader, &text), no_baskets);
  EXPECT_EQ(text, "");
  EXPECT_EQ(reader.mcnt, 1);
}

TYPED_TEST(UnzipWorker, SignalsWhenThereIsNoArray) {
  typename TestFixture::decoded result({this->scalar(0, 1)});
  auto* const array = result.reader->out;
  result.reader->out = nullptr;
  std::string text;
  EXPECT_EQ(this->run_body(result.reader.get(), &text), no_array);
  result.reader->out = array;
  EXPECT_THAT(text, testing::ContainsRegex("^Wrong out from object tid:[0-9]+... exiting\n$"));
  EXPECT_EQ(result.reader->mcnt, 1);
}

TYPED_TEST(UnzipWorker, MarksItsSlotWhenNothingIsLeft) {
  typename TestFixture::decoded result({this->scalar(0, 1)});
  result.reader->tid[0] = pthread_self();
  std::string text;
  EXPECT_EQ(this->run_body(result.reader.get(), &text), 0);
  EXPECT_EQ(result.reader->tid[0], static_cast<pthread_t>(-1));
}

TYPED_TEST(UnzipWorker, MarksNoOtherWorkersSlot) {
  typename TestFixture::decoded result({this->scalar(0, 1)});
  result.reader->nthreads = 3;
  const pthread_t other = pthread_self() + 1;  // an id is only compared
  result.reader->tid[0] = other;
  result.reader->tid[1] = pthread_self();
  result.reader->tid[2] = other;
  result.reader->set_thread_exited(pthread_self());
  EXPECT_EQ(result.reader->tid[0], other);
  EXPECT_EQ(result.reader->tid[1], static_cast<pthread_t>(-1));
  EXPECT_EQ(result.reader->tid[2], other);
}

TYPED_TEST(UnzipWorker, TakesNothingWhenItIsAskedToStop) {
  typename TestFixture::decoded result({this->scalar(0, 1)});
  result.reader->out_taken = 0;
  result.reader->stop = 1;
  std::string text;
  EXPECT_EQ(this->run_body(result.reader.get(), &text), 0);
  EXPECT_EQ(result.reader->out_taken, 0);
  result.reader->out_taken = 1;
}

TYPED_TEST(UnzipWorker, ReportsItsTimeAtNegativeDebugLevelsOfTheLoader) {
  typename TestFixture::decoded result({this->scalar(0, 1), this->scalar(0, 2)});
  result.file->loader.debug = -1;
  result.run();
  EXPECT_THAT(result.text, testing::ContainsRegex("thread: finished [0-9]+  2  in [0-9.]+ msec\n"));
}

TYPED_TEST(UnzipWorker, WithOneEntryOnlyOneWorkerFindsWork) {
  typename TestFixture::decoded result({this->scalar(0, 1)});
  for (int other = 1; other < 5; ++other) {
    result.reader->nthreads = 5;
    result.reader->tid[other] = pthread_self();
    std::string text;
    EXPECT_EQ(this->run_body(result.reader.get(), &text), 0);
    EXPECT_EQ(result.reader->tid[other], static_cast<pthread_t>(-1));
  }
  EXPECT_EQ(result.reader->out_taken, 1);
  EXPECT_EQ(result.reader->out_done, 1);
}

TYPED_TEST(UnzipWorker, AnyNumberOfWorkersDecodesTheSame) {
  for (const int threads : {1, 2, 5, 10}) {
    std::vector<handmade_block> blocks;
    for (int i = 0; i < 200; ++i)
      blocks.push_back(zipped(this->scalar(0, static_cast<float>(i)), 1 + static_cast<unsigned>(i) % 2));
    const typename TestFixture::decoded result(blocks, -1, threads);
    ASSERT_TRUE(result.reader->is_done());
    for (int i = 0; i < 200; ++i)
      ASSERT_EQ(this->samples_of(result.entry(i)), std::vector<float>{static_cast<float>(i)});
  }
}

}  // namespace
