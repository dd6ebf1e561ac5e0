// The unzip worker: what it makes of every kind of block, what it says of a damaged one, and what becomes
// of the other entries. Compressed bytes come straight from zlib and LZO, expected payloads from the test.
#include "failing_allocation.h"
#include "ravo_evutl.h"
#include "ravo_payload.h"
#include "reading.h"

namespace {

using namespace ravo::test;

/// One channel with the given blocks, one event each; started and finished, with all it printed.
struct decoded {
  explicit decoded(std::vector<handmade_block> blocks, int subchannel = -1, int threads = 1,
                   const reading::damage& spoil = {}) {
    handmade_file content;
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
  std::unique_ptr<ravo_daq_read_chan_2010> reader;
  int status = 0;
  std::string text;
};

handmade_block block(int dtype, bytes payload) {
  handmade_block made;
  made.dtype = dtype;
  made.payload = std::move(payload);
  return made;
}

handmade_block zlib(float value) { return zipped(scalar(0, value), 1); }

bytes update_payload(const std::string& name, float value) {
  bytes payload;
  return payload.text(name, 256).i32(3).u32(1700000001).u32(250000).f32(value);
}

const auto* update_of(const ravo_channel_entry_long& entry) {
  return reinterpret_cast<const ravo_upd_data_block_2010*>(entry.sbchdata[0].data);
}

// ---- headers ----

TEST(UnzipWorker, BringsTheHeadersIntoHostOrder) {
  const decoded result({scalar(0, 1.5f)});
  const auto* event = reinterpret_cast<const ravo_eventheader*>(result.entry().sbchdata[0].evhd);
  EXPECT_EQ(event->pattern, RAVO_EVENT_HEADER_PATTERN_2010);
  EXPECT_EQ(event->event_number, 100u);
  EXPECT_EQ(event->event_type, RAVO_EV_NORMAL);
  EXPECT_EQ(event->event_time.timeup, 1700000000u);
  EXPECT_EQ(event->num_svr_block, 1);
  const auto* server = reinterpret_cast<const ravo_serv_block_head_2010*>(result.entry().sbchdata[0].sbhd);
  EXPECT_STREQ(server->server, "server1");
  EXPECT_EQ(server->mpulse, 7);
  EXPECT_EQ(server->nchan, 1);
  EXPECT_STREQ(block_of(result.entry())->chname, "CHAN");
  EXPECT_EQ(block_of(result.entry())->dtype, RAVO_BLOCK_1CHAN_2010);
  EXPECT_EQ(block_of(result.entry())->ldata, 268 + 36);
  EXPECT_EQ(result.entry().sbchdata[0].data, result.entry().sbchdata[0].chhd + 268);
  EXPECT_EQ(result.entry().event_id.event_number, 100u);
  EXPECT_EQ(samples_of(result.entry()), std::vector<float>{1.5f});
  EXPECT_EQ(result.text, "");
}

TEST(UnzipWorker, EndsTextsThatHaveNoEnd) {
  const decoded result({scalar(0, 1)}, -1, 1, [](handmade_file& file, bytes& content) {
    for (std::size_t i = 0; i < 256; i += 4) content.set_u32(file.at["servers"] + 8 + 16 + i, 0x41414141);
    for (std::size_t i = 0; i < 256; i += 4) content.set_u32(file.at["CHAN"] + 8 + i, 0x42424242);
  });
  const auto* server = reinterpret_cast<const ravo_serv_block_head_2010*>(result.entry().sbchdata[0].sbhd);
  EXPECT_EQ(strnlen(server->server, 256), 255u);
  EXPECT_EQ(strnlen(block_of(result.entry())->chname, 256), 255u);
}

// ---- compressed blocks ----

TEST(UnzipWorker, InflatesBothCompressions) {
  const decoded result({zipped(scalar(0, 1), 1), zipped(scalar(0, 2), 2)});
  EXPECT_EQ(samples_of(result.entry(0)), std::vector<float>{1});
  EXPECT_EQ(samples_of(result.entry(1)), std::vector<float>{2});
  EXPECT_EQ(block_of(result.entry(0))->error & RAVO_CHAN_ZIP_FLAG, 0);
  EXPECT_EQ(block_of(result.entry(0))->ldata, 268 + 36);
}

TEST(UnzipWorker, KeepsTheOtherErrorBits) {
  handmade_block flagged = zlib(1);
  flagged.error = RAVO_FE_ADC_OVERLOAD;
  EXPECT_EQ(block_of(decoded({flagged}).entry())->error, RAVO_FE_ADC_OVERLOAD);
}

TEST(UnzipWorker, TakesZlibWhenBothBitsAreSet) {
  const decoded result({zipped(scalar(0, 4), 3)});
  EXPECT_EQ(samples_of(result.entry()), std::vector<float>{4});
  EXPECT_EQ(result.text, "");
}

TEST(UnzipWorker, EndsAtAnUnknownCompression) {
  for (const std::uint32_t flags : {0u, 4u}) {
    handmade_block strange = scalar(0, 1);
    strange.zip_flag_set = true;
    strange.zip_flags = flags;
    const decoded result({scalar(0, 1), strange, scalar(0, 3)});
    EXPECT_THAT(result.text, testing::ContainsRegex("Unknown unzipper: 0x" + std::to_string(flags) +
                                                    "!!! exiting tid:[0-9]+\n"));
    captured_output output;
    const ravo_zip_header header{flags, 36, 36};
    print_ravo_zip_header(&header);
    EXPECT_THAT(result.text, testing::HasSubstr(output.stop()));
    EXPECT_TRUE(result.is_there(0));
    EXPECT_FALSE(result.is_there(1));
    EXPECT_FALSE(result.is_there(2));  // the only worker has ended
    EXPECT_EQ(result.reader->out_done, 1);
    EXPECT_FALSE(result.reader->is_done());
  }
}

TEST(UnzipWorker, LeavesABlockThatCannotBeInflatedAndGoesOn) {
  handmade_block broken = zlib(1);
  broken.zipp_length = 10;
  const decoded result({zlib(0), broken, zlib(2)});
  EXPECT_THAT(result.text,
              testing::ContainsRegex("make_zlib\\(\\) -  !!!! inflate\\(\\) returnd 0 !!!!Failed to uncompress PID "
                                     "[0-9]+!!!\n"));
  EXPECT_TRUE(result.is_there(0));
  EXPECT_FALSE(result.is_there(1));
  EXPECT_EQ(result.entry(1).sbchdata[0].evhd, 0u);
  EXPECT_TRUE(result.is_there(2));
  EXPECT_EQ(result.reader->out_done, 2);
  EXPECT_FALSE(result.reader->is_done());  // but the master had its signal
}

TEST(UnzipWorker, LeavesABlockWhoseCompressedBytesEndOutsideTheBasket) {
  handmade_block broken = zlib(1);
  broken.zipp_length = 0x7fffffff;
  broken.orig_length = 0x7ffffff0;
  failing_allocation::largest = 0;
  const decoded result({zlib(0), broken});
  EXPECT_LT(failing_allocation::largest, 10000u);  // the lengths alone do not decide
  EXPECT_THAT(result.text, testing::StartsWith("make_zlib() invalid parameter(s)\nFailed to uncompress PID "));
  EXPECT_FALSE(result.is_there(1));
}

TEST(UnzipWorker, TellsLzoFailuresInLzosWords) {
  handmade_block broken = zipped(scalar(0, 1), 2);
  broken.zipp_length = 3;
  const decoded result({broken});
  EXPECT_THAT(result.text, testing::ContainsRegex("make_lzo - internal error - decompression failed: -[0-9]+\n"
                                                  "Failed to uncompress PID [0-9]+!!!\n"));
}

TEST(UnzipWorker, EndsWhenTheLengthsDiffer) {
  handmade_block wrong = zlib(1);
  wrong.orig_length = 40;
  const decoded result({zlib(0), wrong, zlib(2)});
  EXPECT_THAT(result.text, testing::ContainsRegex("Orig size \\(40\\) != unzip size \\(36\\) tid:[0-9]+\n"));
  EXPECT_TRUE(result.is_there(0));
  EXPECT_FALSE(result.is_there(1));
  EXPECT_FALSE(result.is_there(2));
}

TEST(UnzipWorker, LetsTheOthersDecodeTheRestWhenOneEnds) {
  std::vector<handmade_block> blocks(40, zlib(7));
  blocks[5].orig_length = 40;
  const decoded result(blocks, -1, 4);
  for (int i = 0; i < 40; ++i) EXPECT_EQ(result.is_there(i), i != 5);
  EXPECT_EQ(result.reader->out_done, 39);
}

TEST(UnzipWorker, DoesNotAskForMoreMemoryThanTheBytesCanHold) {
  handmade_block bomb = zlib(1);
  bomb.orig_length = 0xfffffff0u;
  failing_allocation::largest = 0;
  const decoded result({bomb});
  EXPECT_LT(failing_allocation::largest, 100000u);
  EXPECT_THAT(result.text, testing::ContainsRegex("Orig size \\(-16\\) != unzip size \\(36\\) tid:[0-9]+\n"));
}

TEST(UnzipWorker, KeepsTheHeadersOfABlockThatCannotBeConverted) {
  handmade_block broken = zipped(block(RAVO_BLOCK_1CHAN_2010, bytes().fill(36, 0x7f)), 1);
  const decoded result({zlib(0), broken, zlib(2)});
  EXPECT_THAT(result.text,
              testing::ContainsRegex("^Failed to convert  err: -?[0-9]+  len: 36  \\(possible corrupted or "
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

TEST(UnzipWorker, TheLastBlockMayBeOneThatCannotBeConverted) {
  const decoded result({zlib(0), zipped(block(RAVO_BLOCK_1CHAN_2010, bytes().fill(36, 0x7f)), 1)});
  EXPECT_TRUE(result.reader->is_done());
  EXPECT_EQ(result.reader->event_last.event_number, 100u);
}

// ---- plain blocks ----

TEST(UnzipWorker, GivesUpdatesBeginsAndEndsOfRunsOneShape) {
  for (const int dtype : {RAVO_UPD_BLOCK_2010, RAVO_BOR_BLOCK_2010, RAVO_EOR_BLOCK_2010}) {
    const decoded result({block(dtype, update_payload("MAGNET/CURRENT", 12.5f))});
    ASSERT_TRUE(result.is_there(0));
    EXPECT_EQ(block_of(result.entry())->dtype, RAVO_UPD_BLOCK_2010);
    EXPECT_EQ(block_of(result.entry())->ldata, 540);
    EXPECT_STREQ(update_of(result.entry())->upd_prop, "MAGNET/CURRENT");
    EXPECT_EQ(update_of(result.entry())->upd_ch_status, 3);
    EXPECT_EQ(update_of(result.entry())->upd_ch_time.timelow, 250000u);
    EXPECT_EQ(update_of(result.entry())->upd_ch_data, 12.5f);
  }
}

TEST(UnzipWorker, GivesEnvironmentReadingsTheShapeOfUpdates) {
  bytes payload;
  payload.i32(9).i32(5).u32(1700000002).u32(30).f32(-4.5f);
  const decoded result({block(RAVO_ENV_BLOCK, payload)});
  ASSERT_TRUE(result.is_there(0));
  EXPECT_EQ(block_of(result.entry())->dtype, RAVO_UPD_BLOCK_2010);
  EXPECT_EQ(block_of(result.entry())->ldata, 540);
  EXPECT_STREQ(update_of(result.entry())->upd_prop, "CHAN");
  EXPECT_EQ(update_of(result.entry())->upd_ch_status, 5);
  EXPECT_EQ(update_of(result.entry())->upd_ch_time.timeup, 1700000002u);
  EXPECT_EQ(update_of(result.entry())->upd_ch_data, -4.5f);
}

TEST(UnzipWorker, ReadsSlowDataAtTheirOwnOffset) {
  // The second event's data word leads to the first event's data.
  const decoded result({block(RAVO_UPD_BLOCK_2010, update_payload("A", 1)),
                        block(RAVO_UPD_BLOCK_2010, update_payload("B", 2))},
                       -1, 1, [](handmade_file& file, bytes& content) {
                         const std::size_t row = file.at["pointers"] + 12;
                         content.set_u32(row + 16 + 12, content.word(row + 12));
                       });
  EXPECT_STREQ(update_of(result.entry(1))->upd_prop, "A");
}

TEST(UnzipWorker, ReadsPlainDataBehindTheSubheader) {
  const decoded result({scalar(0, 1), scalar(0, 2)}, -1, 1, [](handmade_file& file, bytes& content) {
    const std::size_t row = file.at["pointers"] + 12;
    content.set_u32(row + 16 + 12, content.word(row + 12));
  });
  EXPECT_EQ(samples_of(result.entry(1)), std::vector<float>{2});
}

TEST(UnzipWorker, EndsWhenSlowDataAreNotThere) {
  for (const int dtype : {RAVO_UPD_BLOCK_2010, RAVO_ENV_BLOCK}) {
    const decoded result({block(dtype, bytes().fill(4))});  // the basket ends before the data do
    EXPECT_THAT(result.text, testing::ContainsRegex("^Failed to convert env  [0-9]+ .. exiting\n$"));
    EXPECT_FALSE(result.is_there(0));
  }
}

TEST(UnzipWorker, EndsWhenAPlainBlockCannotBeConverted) {
  handmade_block shorter = scalar(0, 1);
  for (const std::int32_t ldata : {268, 267, 0, -1, 0x7fffffff, 268 + 32}) {
    shorter.ldata = ldata;
    const decoded result({scalar(0, 0), shorter, scalar(0, 2)});
    EXPECT_THAT(result.text, testing::ContainsRegex("^Failed to convert_data  [0-9]+ .. exiting\n$")) << ldata;
    EXPECT_TRUE(result.is_there(0));
    EXPECT_FALSE(result.is_there(1));
    EXPECT_FALSE(result.is_there(2));
  }
}

TEST(UnzipWorker, ComparesTypesByTheirLow16Bits) {
  const decoded result({block(RAVO_UPD_BLOCK_2010 | 41 << 16, update_payload("A", 1))});
  ASSERT_TRUE(result.is_there(0));
  EXPECT_EQ(block_of(result.entry())->ldata, 540);
  EXPECT_EQ(block_of(result.entry())->dtype, RAVO_UPD_BLOCK_2010);
}

TEST(UnzipWorker, LeavesPixelsAlone) {
  bytes payload;
  payload.u32(2).u32(2).u32(1).i32(0).u32(77).u32(100).i32(4).raw("\x01\x02\x03\x04");
  for (const std::uint32_t flags : {0u, 1u, 2u}) {
    handmade_block image = block(RAVO_BLOCK_IMAGE, payload);
    if (flags != 0) image = zipped(image, flags);
    const decoded result({image});
    const auto* frame = reinterpret_cast<const ravo_image_frame_head*>(result.entry().sbchdata[0].data);
    EXPECT_EQ(frame->frame, 77u);
    EXPECT_EQ(std::memcmp(frame + 1, "\x01\x02\x03\x04", 4), 0);
  }
}

// ---- entries that point nowhere ----

TEST(UnzipWorker, EndsAtAnEntryThatPointsOutsideItsBaskets) {
  for (const std::size_t word : {0u, 1u, 2u})
    for (const std::uint32_t value : {0u, 1u, 0x7fffffffu, 0xffffffffu}) {
      const decoded result({scalar(0, 0), scalar(0, 1), scalar(0, 2)}, -1, 1,
                           [&](handmade_file& file, bytes& content) {
                             content.set_u32(file.at["pointers"] + 12 + 16 + word * 4, value);
                           });
      ASSERT_NE(result.reader->out, nullptr);
      EXPECT_THAT(result.text,
                  testing::ContainsRegex("^Failed to obtain pointer to event data pointer [0-9]+\n$"));
      EXPECT_TRUE(result.is_there(0));
      EXPECT_FALSE(result.is_there(1));
    }
}

// ---- subchannels ----

bytes three_members() { return spectrum({{1, 2}, {3, 4}, {5, 6}}); }

TEST(UnzipWorker, CutsOneSubchannelOut) {
  for (const std::uint32_t flags : {0u, 1u}) {
    handmade_block bpm = block(RAVO_BLOCK_BPM_2010, three_members());
    if (flags != 0) bpm = zipped(bpm, flags);
    const decoded result({bpm}, 1);
    EXPECT_EQ(samples_of(result.entry()), (std::vector<float>{3, 4}));
    EXPECT_STREQ(block_of(result.entry())->chname, "CHAN:1");
    EXPECT_EQ(block_of(result.entry())->dtype & 0xffff, RAVO_BLOCK_1CHAN_2010);
    EXPECT_EQ(block_of(result.entry())->dtype >> 16, RAVO_BLOCK_BPM_2010);
    EXPECT_EQ(result.entry().sbchdata[0].data, result.entry().sbchdata[0].chhd + 268);
  }
}

TEST(UnzipWorker, KeepsTheWholeBlockWithoutASubchannel) {
  const decoded result({block(RAVO_BLOCK_BPM_2010, three_members())}, -1);
  EXPECT_EQ(samples_of(result.entry()), (std::vector<float>{1, 2, 3, 4, 5, 6}));
  EXPECT_STREQ(block_of(result.entry())->chname, "CHAN");
}

TEST(UnzipWorker, KeepsTheWholeBlockWhenTheSubchannelIsNotThere) {
  const decoded result({block(RAVO_BLOCK_BPM_2010, three_members())}, 3);
  EXPECT_EQ(result.text, "device_to_one_channel_2010() failed for CHAN:3\n");
  EXPECT_EQ(samples_of(result.entry()).size(), 6u);
  EXPECT_STREQ(block_of(result.entry())->chname, "CHAN");
}

TEST(UnzipWorker, CutsAGenericSpectrumOnlyWhenAskedTo) {
  const handmade_block generic = block(RAVO_BLOCK_GENERIC_SPECT, three_members());
  EXPECT_EQ(samples_of(decoded({generic}, -1).entry()).size(), 6u);
  const decoded cut({generic}, 0);
  EXPECT_EQ(samples_of(cut.entry()), (std::vector<float>{1, 2}));
  EXPECT_STREQ(block_of(cut.entry())->chname, "CHAN:0");
}

TEST(UnzipWorker, CutsASingleChannelOnlyWhenItIsCompressed) {
  EXPECT_STREQ(block_of(decoded({zlib(1)}, 0).entry())->chname, "CHAN:0");
  EXPECT_STREQ(block_of(decoded({scalar(0, 1)}, 0).entry())->chname, "CHAN");
  EXPECT_STREQ(block_of(decoded({zlib(1)}, 1).entry())->chname, "CHAN");
}

// ---- memory ----

struct exhaustion {
  const char* what;
  handmade_block made;
  long successes;
  const char* text;
};

TEST(UnzipWorker, SaysWhichMemoryWasNotToBeHad) {
  const handmade_block update = block(RAVO_UPD_BLOCK_2010, update_payload("A", 1));
  const std::vector<exhaustion> cases{
      {"event header", scalar(0, 1), 0, "Failed to malloc additional event header [0-9]+ .. exiting\n"},
      {"server block", scalar(0, 1), 1, "Failed to malloc additional server block header [0-9]+ .. exiting\n"},
      {"subheader", scalar(0, 1), 2, "Failed to malloc additional server block subheader [0-9]+ .. exiting\n"},
      {"plain", scalar(0, 1), 3, "Failed to malloc working memory \\(NOTZIPPPED\\) [0-9]+ .. exiting\n"},
      {"update", update, 3, "Failed to malloc working memory \\(UPD\\) [0-9]+ .. exiting\n"},
      {"lzo work", zipped(scalar(0, 1), 2), 3, "Failed to malloc additional memory [0-9]+ .. exiting\n"},
      {"lzo block", zipped(scalar(0, 1), 2), 4, "Failed to malloc working memory [0-9]+ .. exiting\n"},
      {"zlib block", zlib(1), 3, "Failed to malloc working memory [0-9]+ .. exiting\n"},
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(one.what);
    decoded result({one.made});
    EXPECT_EQ(result.text, "");
    // Two allocations, array and basket, come before the worker's.
    const failing_allocation due(2 + one.successes);
    result.run();
    EXPECT_TRUE(failing_allocation::happened());
    EXPECT_THAT(result.text, testing::ContainsRegex("^" + std::string(one.text) + "$"));
    EXPECT_FALSE(result.is_there(0));
  }
}

TEST(UnzipWorker, StartSaysWhenTheArrayOrTheBasketDoesNotFit) {
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

// ---- the thread's body on its own ----

std::intptr_t run_body(void* reader, std::string* text) {
  captured_output output;
  const auto result = reinterpret_cast<std::intptr_t>(unzip_thread_2010(reader));
  *text = output.stop();
  return result;
}

TEST(UnzipWorker, RefusesToWorkWithoutAReader) {
  std::string text;
  EXPECT_EQ(run_body(nullptr, &text), -1);
  EXPECT_THAT(text, testing::ContainsRegex("^No object to work with tid:[0-9]+... exiting\n$"));
}

TEST(UnzipWorker, SignalsWhenThereAreNoBaskets) {
  ravo_daq_read_chan_2010 reader(nullptr, nullptr, -1, nullptr);
  std::string text;
  EXPECT_EQ(run_body(&reader, &text), -2);
  EXPECT_EQ(text, "");
  EXPECT_EQ(reader.mcnt, 1);
}

TEST(UnzipWorker, SignalsWhenThereIsNoArray) {
  decoded result({scalar(0, 1)});
  auto* const array = result.reader->out;
  result.reader->out = nullptr;
  std::string text;
  EXPECT_EQ(run_body(result.reader.get(), &text), -3);
  result.reader->out = array;
  EXPECT_THAT(text, testing::ContainsRegex("^Wrong out from object tid:[0-9]+... exiting\n$"));
  EXPECT_EQ(result.reader->mcnt, 1);
}

TEST(UnzipWorker, MarksItsSlotWhenNothingIsLeft) {
  decoded result({scalar(0, 1)});
  result.reader->tid[0] = pthread_self();
  std::string text;
  EXPECT_EQ(run_body(result.reader.get(), &text), 0);
  EXPECT_EQ(result.reader->tid[0], static_cast<pthread_t>(-1));
}

TEST(UnzipWorker, TakesNothingWhenItIsToldToStop) {
  decoded result({scalar(0, 1)});
  result.reader->out_taken = 0;
  result.reader->stop = 1;
  std::string text;
  EXPECT_EQ(run_body(result.reader.get(), &text), 0);
  EXPECT_EQ(result.reader->out_taken, 0);
  result.reader->out_taken = 1;
}

TEST(UnzipWorker, TellsItsTimeAtNegativeDebugLevelsOfTheLoader) {
  decoded result({scalar(0, 1), scalar(0, 2)});
  result.file->loader.debug = -1;
  result.run();
  EXPECT_THAT(result.text, testing::ContainsRegex("thread: finished [0-9]+  2  in [0-9.]+ msec\n"));
}

TEST(UnzipWorker, WithOneEntryOnlyOneWorkerFindsWork) {
  decoded result({scalar(0, 1)});
  for (int other = 1; other < 5; ++other) {
    result.reader->nthreads = 5;
    result.reader->tid[other] = pthread_self();
    std::string text;
    EXPECT_EQ(run_body(result.reader.get(), &text), 0);
    EXPECT_EQ(result.reader->tid[other], static_cast<pthread_t>(-1));
  }
  EXPECT_EQ(result.reader->out_taken, 1);
  EXPECT_EQ(result.reader->out_done, 1);
}

TEST(UnzipWorker, AnyNumberOfWorkersDecodesTheSame) {
  for (const int threads : {1, 2, 5, 10}) {
    std::vector<handmade_block> blocks;
    for (int i = 0; i < 200; ++i) blocks.push_back(zipped(scalar(0, static_cast<float>(i)), 1 + static_cast<unsigned>(i) % 2));
    const decoded result(blocks, -1, threads);
    ASSERT_TRUE(result.reader->is_done());
    for (int i = 0; i < 200; ++i) ASSERT_EQ(samples_of(result.entry(i)), std::vector<float>{static_cast<float>(i)});
  }
}

}  // namespace
