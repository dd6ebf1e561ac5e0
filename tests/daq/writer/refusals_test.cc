// Every call that the writer refuses, with its status and its whole sentence, and what still works after.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "raw_file.h"
#include "writing.h"

namespace {

using namespace ravo::test;

class WriterRefusals : public testing::Test {
 protected:
  void expect_refused(int status, int expected, const std::string& text) {
    EXPECT_EQ(status, expected);
    EXPECT_EQ(writer_.get_last_error(), text);
  }
  void open() { must(writer_, writer_.open(settings_in(folder_))); }
  int add(const std::string& name = "A") {
    const int index = writer_.add_channel(channel_of(name, RAVO_BLOCK_1CHAN_2010));
    must(writer_, index);
    return index;
  }
  void begin(std::uint32_t number = 1) { must(writer_, writer_.begin_event(event_of(number, noon))); }
  void begin_with_server() {
    begin();
    must(writer_, writer_.begin_server_block({"SERVER", {noon, 0}, 0, 0, 0}));
  }
  std::string path() const { return folder_.path().string(); }

  const temporary_folder folder_;
  ravo_daq_writer_2010 writer_;
};

TEST_F(WriterRefusals, NothingIsWrongToBeginWith) { EXPECT_STREQ(writer_.get_last_error(), ""); }

TEST_F(WriterRefusals, SuccessfulCallsLeaveNoText) {
  open();
  add();
  must(writer_, give_event(writer_, event_of(1, noon), {{0, smooth_spectrum(4, 1)}}));
  EXPECT_EQ(writer_.close(), RAVO_DAQ_WRITER_OK);
  EXPECT_STREQ(writer_.get_last_error(), "");
}

// ---- open -----------------------------------------------------------------------------------------

TEST_F(WriterRefusals, AFolderThatIsMissing) {
  ravo_daq_writer_settings settings = settings_in(folder_);
  settings.folder += "/absent";
  expect_refused(writer_.open(settings), RAVO_DAQ_WRITER_IO,
                 "cannot open the folder " + settings.folder +
                     ": No such file or directory; create it, or name one that may be read and written");
}

TEST_F(WriterRefusals, AFolderThatIsAFile) {
  ravo_daq_writer_settings settings = settings_in(folder_);
  settings.folder = folder_.write("plain", {});
  expect_refused(writer_.open(settings), RAVO_DAQ_WRITER_IO,
                 "cannot open the folder " + settings.folder +
                     ": Not a directory; create it, or name one that may be read and written");
}

TEST_F(WriterRefusals, AFolderThatMayNotBeWritten) {
  // The kernel lets nobody write here. Permissions refuse an ordinary user at once; the superuser,
  // for whom they do not count, learns it when the file is created.
  ravo_daq_writer_settings settings;
  settings.folder = "/proc/self/net";
  int status = writer_.open(settings);
  if (status == RAVO_DAQ_WRITER_OK) {
    must(writer_, give_event(writer_, event_of(1, noon), {}));
    status = writer_.close();
  }
  EXPECT_EQ(status, RAVO_DAQ_WRITER_IO);
  EXPECT_THAT(writer_.get_last_error(),
              testing::MatchesRegex("cannot (write to the folder|create a file in the folder) "
                                    "/proc/self/net: .*; .*"));
}

TEST_F(WriterRefusals, NoFolder) {
  expect_refused(writer_.open({}), RAVO_DAQ_WRITER_INV_PARAM,
                 "no folder is given; name the one the files go to");
}

TEST_F(WriterRefusals, AnExperimentThatWouldLeadToAnotherFolder) {
  ravo_daq_writer_settings settings = settings_in(folder_);
  settings.experiment = "../linac";
  expect_refused(writer_.open(settings), RAVO_DAQ_WRITER_INV_PARAM,
                 "the experiment \"../linac\" cannot be part of a file name; use letters, digits, '-', "
                 "'_', '+' and, not in the first place, '.'");
}

TEST_F(WriterRefusals, AnEmptyStream) {
  ravo_daq_writer_settings settings = settings_in(folder_);
  settings.stream = "";
  expect_refused(writer_.open(settings), RAVO_DAQ_WRITER_INV_PARAM,
                 "the stream \"\" cannot be part of a file name; use letters, digits, '-', '_', '+' and, "
                 "not in the first place, '.'");
}

TEST_F(WriterRefusals, AStreamThatWouldHideTheFileOrBreakItsName) {
  for (const char* stream : {".main", "a/b", "a b", "a:b", "a;b", "a\nb", "\xc3\xa4"}) {
    ravo_daq_writer_settings settings = settings_in(folder_);
    settings.experiment = stream;
    EXPECT_EQ(writer_.open(settings), RAVO_DAQ_WRITER_INV_PARAM) << stream;
  }
}

TEST_F(WriterRefusals, AFileNameThatIsTooLong) {
  ravo_daq_writer_settings settings = settings_in(folder_);
  settings.experiment = std::string(90, 'e');
  settings.stream = std::string(91, 's');
  expect_refused(writer_.open(settings), RAVO_DAQ_WRITER_INV_PARAM,
                 "experiment and stream make the file name too long; keep them within 180 bytes together");
}

TEST_F(WriterRefusals, TheLongestNamesAreAccepted) {
  ravo_daq_writer_settings settings = settings_in(folder_);
  settings.experiment = std::string(90, 'e');
  settings.stream = std::string(90, 's');
  settings.run = settings.first_file = 2147483647;
  must(writer_, writer_.open(settings));
  must(writer_, give_event(writer_, event_of(1, noon), {}));
  EXPECT_EQ(writer_.close(), RAVO_DAQ_WRITER_OK);
  EXPECT_EQ(raw_file(writer_.get_files().at(0)).events(), 1u);
}

TEST_F(WriterRefusals, NegativeRunAndFileNumbers) {
  ravo_daq_writer_settings settings = settings_in(folder_);
  settings.run = -1;
  expect_refused(writer_.open(settings), RAVO_DAQ_WRITER_INV_PARAM,
                 "run and file numbers are not negative; give numbers from 0 on");
  settings.run = 0;
  settings.first_file = -1;
  EXPECT_EQ(writer_.open(settings), RAVO_DAQ_WRITER_INV_PARAM);
}

TEST_F(WriterRefusals, ASecondOpen) {
  open();
  expect_refused(writer_.open(settings_in(folder_)), RAVO_DAQ_WRITER_NOT_ALLOWED,
                 "a run is open already; close it before the next one");
}

// ---- channels -------------------------------------------------------------------------------------

TEST_F(WriterRefusals, AChannelBeforeOpen) {
  expect_refused(writer_.add_channel(channel_of("A", RAVO_BLOCK_1CHAN_2010)), RAVO_DAQ_WRITER_NOT_ALLOWED,
                 "no run is open; open one before adding channels");
}

TEST_F(WriterRefusals, AChannelAfterTheFirstEventBegan) {
  open();
  begin();
  const char* text = "the run has events already; add all channels before the first one";
  expect_refused(writer_.add_channel(channel_of("A", RAVO_BLOCK_1CHAN_2010)), RAVO_DAQ_WRITER_NOT_ALLOWED,
                 text);
  must(writer_, writer_.end_event());
  expect_refused(writer_.add_channel(channel_of("A", RAVO_BLOCK_1CHAN_2010)), RAVO_DAQ_WRITER_NOT_ALLOWED,
                 text);
}

TEST_F(WriterRefusals, AChannelNameOfTheWrongLength) {
  open();
  expect_refused(writer_.add_channel(channel_of("", RAVO_BLOCK_1CHAN_2010)), RAVO_DAQ_WRITER_INV_PARAM,
                 "a channel name of 0 bytes is not possible; use 1 to 255");
  expect_refused(writer_.add_channel(channel_of(std::string(256, 'x'), RAVO_BLOCK_1CHAN_2010)),
                 RAVO_DAQ_WRITER_INV_PARAM, "a channel name of 256 bytes is not possible; use 1 to 255");
  EXPECT_EQ(writer_.add_channel(channel_of(std::string(255, 'x'), RAVO_BLOCK_1CHAN_2010)), 0);
}

TEST_F(WriterRefusals, AChannelNameThatRequestsCouldNotName) {
  open();
  expect_refused(writer_.add_channel(channel_of("A:1", RAVO_BLOCK_1CHAN_2010)), RAVO_DAQ_WRITER_INV_PARAM,
                 "the channel name A:1 contains ':', ';' or a zero byte, which requests use to end a name; "
                 "leave them out");
  EXPECT_EQ(writer_.add_channel(channel_of("A;n", RAVO_BLOCK_1CHAN_2010)), RAVO_DAQ_WRITER_INV_PARAM);
  EXPECT_EQ(writer_.add_channel(channel_of(std::string("A\0B", 3), RAVO_BLOCK_1CHAN_2010)),
            RAVO_DAQ_WRITER_INV_PARAM);
}

TEST_F(WriterRefusals, AChannelNameTwice) {
  open();
  add("A");
  expect_refused(writer_.add_channel(channel_of("A", RAVO_BLOCK_1CHAN_2010)), RAVO_DAQ_WRITER_INV_PARAM,
                 "there is a channel A already; give each its own name");
  EXPECT_EQ(add("B"), 1);
}

TEST_F(WriterRefusals, ADataTypeThatIsNoChannelsOfThisGeneration) {
  open();
  expect_refused(writer_.add_channel(channel_of("A", RAVO_BLOCK_BPM)), RAVO_DAQ_WRITER_INV_PARAM,
                 "the data type 6 of channel A is not a channel type of this generation; take one from "
                 "ravo_data_types.h");
  for (int type : {-1, 0, 1, 2, 29, 34, 54, 63, 64, 0x10000 + RAVO_BLOCK_1CHAN_2010})
    EXPECT_EQ(writer_.add_channel(channel_of("A", static_cast<RAVO_SUBBLOCK_TYPE>(type))),
              RAVO_DAQ_WRITER_INV_PARAM)
        << type;
}

TEST_F(WriterRefusals, AZlibLevelThatThereIsNot) {
  open();
  ravo_daq_writer_channel channel = channel_of("A", RAVO_BLOCK_1CHAN_2010, ravo_compression::zlib);
  channel.zlib_level = 10;
  expect_refused(writer_.add_channel(channel), RAVO_DAQ_WRITER_INV_PARAM,
                 "the zlib level 10 of channel A is not possible; use 1 to 9");
  channel.zlib_level = 0;
  EXPECT_EQ(writer_.add_channel(channel), RAVO_DAQ_WRITER_INV_PARAM);
}

TEST_F(WriterRefusals, ACompressionThatThereIsNot) {
  open();
  expect_refused(
      writer_.add_channel(channel_of("A", RAVO_BLOCK_1CHAN_2010, static_cast<ravo_compression>(3))),
      RAVO_DAQ_WRITER_INV_PARAM, "the compression of channel A is not known; use none, zlib or lzo1x");
}

TEST_F(WriterRefusals, AKeyTwice) {
  open();
  ravo_daq_writer_channel channel = channel_of("A", RAVO_BLOCK_1CHAN_2010);
  channel.key = 7;
  must(writer_, writer_.add_channel(channel));
  channel.name = "B";
  expect_refused(writer_.add_channel(channel), RAVO_DAQ_WRITER_INV_PARAM,
                 "the key 7 of channel B is taken; give each its own, or 0 to have it numbered");
}

TEST_F(WriterRefusals, AnEnvironmentIndexTwiceOrNegative) {
  open();
  ravo_daq_writer_channel channel = channel_of("A", RAVO_ENV_BLOCK_2010);
  channel.env_index = 3;
  must(writer_, writer_.add_channel(channel));
  channel.name = "B";
  expect_refused(writer_.add_channel(channel), RAVO_DAQ_WRITER_INV_PARAM,
                 "the environment index 3 of channel B is taken; give each its own");
  channel.env_index = -2;
  expect_refused(writer_.add_channel(channel), RAVO_DAQ_WRITER_INV_PARAM,
                 "the environment index -2 of channel B is negative; use 0 or more, or -1 for none");
}

TEST_F(WriterRefusals, ADescriptionThatDoesNotAgreeWithItself) {
  open();
  const std::string text =
      "the description does not agree with itself; nbits, ndims and nstats are the lengths of their lists, "
      "no element is null, and a zero byte ends every text";
  bit_descr bit{};
  dim_descr dim{};
  ravo_daq_writer_channel channel = channel_of("A", RAVO_BLOCK_1CHAN_2010);
  const auto expect_refused_after = [&](auto damage) {
    chan_descr_2010 description{};
    description.bits = {&bit};
    description.nbits = 1;
    description.dims = {&dim};
    description.ndims = 1;
    damage(description);
    channel.description = &description;
    expect_refused(writer_.add_channel(channel), RAVO_DAQ_WRITER_INV_PARAM, text);
  };
  expect_refused_after([](chan_descr_2010& d) { d.nbits = 2; });
  expect_refused_after([](chan_descr_2010& d) { d.nbits = -1; });
  expect_refused_after([](chan_descr_2010& d) { d.ndims = 0; });
  expect_refused_after([](chan_descr_2010& d) { d.bits[0] = nullptr; });
  expect_refused_after([](chan_descr_2010& d) { d.dims[0] = nullptr; });
  expect_refused_after([](chan_descr_2010& d) { std::fill_n(d.prop_desc, 256, 'x'); });
  expect_refused_after([](chan_descr_2010& d) { std::fill_n(d.subsystem, 64, 'x'); });
  expect_refused_after([](chan_descr_2010& d) { std::fill_n(d.bits[0]->bit_name, 64, 'x'); });
  bit = {};
  expect_refused_after([](chan_descr_2010& d) { d.dims[0]->nstats = 1; });
  dim.nstats = 1;
  dim.stats.resize(1);
  expect_refused_after([](chan_descr_2010& d) { std::fill_n(d.dims[0]->stats[0].units, 16, 'x'); });
}

TEST_F(WriterRefusals, ARefusedChannelLeavesNoTrace) {
  open();
  chan_descr_2010 wrong{};
  wrong.nbits = 1;
  ravo_daq_writer_channel channel = channel_of("A", RAVO_ENV_BLOCK_2010);
  channel.key = 5;
  channel.env_index = 5;
  channel.description = &wrong;
  EXPECT_EQ(writer_.add_channel(channel), RAVO_DAQ_WRITER_INV_PARAM);
  channel.description = nullptr;
  EXPECT_EQ(writer_.add_channel(channel), 0);
}

// ---- events ---------------------------------------------------------------------------------------

TEST_F(WriterRefusals, AnEventBeforeOpen) {
  expect_refused(writer_.begin_event(event_of(1, noon)), RAVO_DAQ_WRITER_NOT_ALLOWED,
                 "no run is open; open one before the first event");
}

TEST_F(WriterRefusals, AnEventWithinAnEvent) {
  open();
  begin();
  expect_refused(writer_.begin_event(event_of(2, noon)), RAVO_DAQ_WRITER_NOT_ALLOWED,
                 "an event is open already; end it before the next one");
}

TEST_F(WriterRefusals, AnEventTypeThatThereIsNot) {
  open();
  expect_refused(writer_.begin_event(event_of(1, noon, 0, RAVO_EV_EVMAX)), RAVO_DAQ_WRITER_INV_PARAM,
                 "there is no event type 32; use 0 to 31");
  EXPECT_EQ(writer_.begin_event(event_of(1, noon, 0, static_cast<RAVO_EVTYPE>(-1))),
            RAVO_DAQ_WRITER_INV_PARAM);
}

TEST_F(WriterRefusals, TheEventNumberThatMeansNotDecoded) {
  open();
  expect_refused(writer_.begin_event(event_of(0xffffffff, noon)), RAVO_DAQ_WRITER_INV_PARAM,
                 "the event number 4294967295 means \"not decoded\" to readers; use another one");
}

TEST_F(WriterRefusals, AnEventWithoutATime) {
  open();
  expect_refused(
      writer_.begin_event(event_of(1, 0, 5)), RAVO_DAQ_WRITER_INV_PARAM,
      "the event time 0 s 5 us is not valid; give seconds above 0 and microseconds below 1000000");
  EXPECT_EQ(writer_.begin_event(event_of(1, noon, 1000000)), RAVO_DAQ_WRITER_INV_PARAM);
  EXPECT_EQ(writer_.begin_event(event_of(1, noon, 999999)), RAVO_DAQ_WRITER_OK);
}

TEST_F(WriterRefusals, AnEventBeforeTheLastOne) {
  open();
  must(writer_, give_event(writer_, event_of(1, noon, 10), {}));
  expect_refused(writer_.begin_event(event_of(2, noon, 9)), RAVO_DAQ_WRITER_INV_PARAM,
                 "the event lies before the one that was given last; give events in the order of their "
                 "times");
  EXPECT_EQ(give_event(writer_, event_of(2, noon, 10), {}), RAVO_DAQ_WRITER_OK);
  EXPECT_EQ(writer_.close(), RAVO_DAQ_WRITER_OK);
  EXPECT_EQ(raw_file(writer_.get_files().at(0)).events(), 2u);
}

TEST_F(WriterRefusals, AServerBlockOutsideAnEvent) {
  open();
  expect_refused(writer_.begin_server_block({}), RAVO_DAQ_WRITER_NOT_ALLOWED,
                 "no event is open; begin one before its server blocks");
}

TEST_F(WriterRefusals, AServerNameThatDoesNotFit) {
  open();
  begin();
  const char* text = "the server name is longer than 255 bytes or contains a zero byte; shorten it";
  expect_refused(writer_.begin_server_block({std::string(256, 's'), {noon, 0}, 0, 0, 0}),
                 RAVO_DAQ_WRITER_INV_PARAM, text);
  expect_refused(writer_.begin_server_block({std::string("a\0b", 3), {noon, 0}, 0, 0, 0}),
                 RAVO_DAQ_WRITER_INV_PARAM, text);
  EXPECT_EQ(writer_.begin_server_block({std::string(255, 's'), {noon, 0}, 0, 0, 0}), RAVO_DAQ_WRITER_OK);
}

TEST_F(WriterRefusals, DataOutsideAnEvent) {
  open();
  add();
  expect_refused(give(writer_, 0, smooth_spectrum(4, 1)), RAVO_DAQ_WRITER_NOT_ALLOWED,
                 "no event is open; begin one before its data");
}

TEST_F(WriterRefusals, DataWithoutAServerBlock) {
  open();
  add();
  begin();
  expect_refused(give(writer_, 0, smooth_spectrum(4, 1)), RAVO_DAQ_WRITER_NOT_ALLOWED,
                 "the event has no server block; begin one before its data");
}

TEST_F(WriterRefusals, DataOfAnUnknownChannel) {
  open();
  add();
  begin_with_server();
  expect_refused(give(writer_, 1, smooth_spectrum(4, 1)), RAVO_DAQ_WRITER_INV_PARAM,
                 "there is no channel 1; use an index that add_channel returned");
  EXPECT_EQ(give(writer_, -1, smooth_spectrum(4, 1)), RAVO_DAQ_WRITER_INV_PARAM);
}

TEST_F(WriterRefusals, AChannelTwiceInAnEvent) {
  open();
  add();
  begin_with_server();
  must(writer_, give(writer_, 0, smooth_spectrum(4, 1)));
  must(writer_, writer_.begin_server_block({"OTHER", {noon, 0}, 0, 0, 0}));
  expect_refused(give(writer_, 0, smooth_spectrum(4, 1)), RAVO_DAQ_WRITER_NOT_ALLOWED,
                 "channel A is in this event already; give its data once an event");
}

TEST_F(WriterRefusals, NullData) {
  open();
  add();
  begin_with_server();
  expect_refused(writer_.add_data(0, nullptr, 4), RAVO_DAQ_WRITER_INV_PARAM,
                 "no data are given for channel A; leave it out instead");
}

TEST_F(WriterRefusals, TheZipFlagFromOutside) {
  open();
  add();
  begin_with_server();
  expect_refused(
      give(writer_, 0, smooth_spectrum(4, 1), RAVO_CHAN_ZIP_FLAG | 1), RAVO_DAQ_WRITER_INV_PARAM,
      "the error word of channel A carries RAVO_CHAN_ZIP_FLAG; leave it out, the writer sets it");
}

TEST_F(WriterRefusals, DataThatDoNotAgreeWithTheirType) {
  open();
  add();
  begin_with_server();
  expect_refused(give(writer_, 0, update("A", 1, 1)), RAVO_DAQ_WRITER_INV_PARAM,
                 "the data of channel A (272 bytes) do not agree with its data type RAVO_BLOCK_1CHAN_2010; "
                 "lay them out as ravo_payload.h says");
  EXPECT_EQ(writer_.add_data(0, "", 0), RAVO_DAQ_WRITER_INV_PARAM);
}

TEST_F(WriterRefusals, DataLongerThanALengthWord) {
  open();
  add();
  begin_with_server();
  // The length alone is refused: not one byte of the data is read.
  expect_refused(writer_.add_data(0, "x", 0x80000000u), RAVO_DAQ_WRITER_TOO_LARGE,
                 "the data of channel A are longer than a length word can hold; split them");
  EXPECT_EQ(writer_.add_data(0, "x", 0xffffffffffffffffu), RAVO_DAQ_WRITER_TOO_LARGE);
}

TEST_F(WriterRefusals, RefusedDataLeaveTheEventAsItWas) {
  open();
  add("A");
  add("B");
  begin_with_server();
  EXPECT_EQ(give(writer_, 0, update("A", 1, 1)), RAVO_DAQ_WRITER_INV_PARAM);
  EXPECT_EQ(give(writer_, 1, smooth_spectrum(4, 2)), RAVO_DAQ_WRITER_OK);
  EXPECT_EQ(give(writer_, 0, smooth_spectrum(4, 1)), RAVO_DAQ_WRITER_OK);
  must(writer_, writer_.end_event());
  must(writer_, writer_.close());
  const raw_file file(writer_.get_files().at(0));
  EXPECT_EQ(file.block_at(file.find("A").row.at(0).chhd).data, smooth_spectrum(4, 1).file());
  EXPECT_EQ(file.block_at(file.find("B").row.at(0).chhd).data, smooth_spectrum(4, 2).file());
  EXPECT_EQ(file.server_block_at(file.find("A").row.at(0).sbhd).channels, 2u);
}

TEST_F(WriterRefusals, AnEndWithoutABegin) {
  open();
  expect_refused(writer_.end_event(), RAVO_DAQ_WRITER_NOT_ALLOWED,
                 "no event is open; begin one before ending it");
}

// ---- files ----------------------------------------------------------------------------------------

TEST_F(WriterRefusals, ACloseWithoutAnOpen) {
  expect_refused(writer_.close(), RAVO_DAQ_WRITER_NOT_ALLOWED, "no run is open; there is nothing to close");
}

TEST_F(WriterRefusals, ACloseWithinAnEvent) {
  open();
  begin();
  expect_refused(writer_.close(), RAVO_DAQ_WRITER_NOT_ALLOWED, "an event is open; end it before closing");
  must(writer_, writer_.end_event());
  EXPECT_EQ(writer_.close(), RAVO_DAQ_WRITER_OK);
}

TEST_F(WriterRefusals, AnExistingNameIsReportedAtTheFirstEvent) {
  const std::string name = "linac_main_run1_file1_20231114T221320Z.raw";
  folder_.write(name, {});
  open();
  add();
  expect_refused(
      give_event(writer_, event_of(1, noon), {{0, smooth_spectrum(4, 1)}}), RAVO_DAQ_WRITER_IO,
      "there is a file " + folder_.file(name) + " already; move it away and end the event again");
  EXPECT_EQ(read_file(folder_.file(name)).size(), 0u);
  std::filesystem::remove(folder_.file(name));
  EXPECT_EQ(writer_.end_event(), RAVO_DAQ_WRITER_OK);
  EXPECT_EQ(writer_.close(), RAVO_DAQ_WRITER_OK);
  EXPECT_EQ(raw_file(folder_.file(name)).find("A").count, 1u);
}

TEST_F(WriterRefusals, AFileThatCameInBetweenIsNotOverwritten) {
  const std::string name = "linac_main_run1_file1_20231114T221320Z.raw";
  open();
  must(writer_, give_event(writer_, event_of(1, noon), {}));
  folder_.write(name, std::vector<unsigned char>{1, 2, 3});
  expect_refused(writer_.close(), RAVO_DAQ_WRITER_IO,
                 "cannot give the finished file its name " + folder_.file(name) +
                     ": File exists; move the file of that name away and repeat the call");
  EXPECT_EQ(read_file(folder_.file(name)), (std::vector<unsigned char>{1, 2, 3}));
  EXPECT_TRUE(writer_.get_files().empty());
  std::filesystem::remove(folder_.file(name));
  EXPECT_EQ(writer_.close(), RAVO_DAQ_WRITER_OK);
  EXPECT_EQ(raw_file(folder_.file(name)).events(), 1u);
}

TEST_F(WriterRefusals, FileNumbersThatAreUsedUp) {
  ravo_daq_writer_settings settings = settings_in(folder_);
  settings.first_file = 2147483647;
  settings.max_events = 1;
  must(writer_, writer_.open(settings));
  must(writer_, give_event(writer_, event_of(1, noon), {}));
  expect_refused(give_event(writer_, event_of(2, noon + 1), {}), RAVO_DAQ_WRITER_NOT_ALLOWED,
                 "the file numbers of the run are used up; begin the next run");
}

TEST_F(WriterRefusals, AFolderThatWasRemoved) {
  ravo_daq_writer_settings settings = settings_in(folder_);
  settings.folder += "/gone";
  std::filesystem::create_directory(settings.folder);
  must(writer_, writer_.open(settings));
  must(writer_, give_event(writer_, event_of(1, noon), {}));
  std::filesystem::remove(settings.folder);
  expect_refused(writer_.close(), RAVO_DAQ_WRITER_IO,
                 "cannot create a file in the folder " + settings.folder +
                     ": No such file or directory; make the folder writable and repeat the call");
}

// ---- the older generation -------------------------------------------------------------------------
// What differs: the room for names, and the types.

class OlderWriterRefusals : public testing::Test {
 protected:
  OlderWriterRefusals() { must(writer_, writer_.open(settings_in(folder_))); }
  void expect_refused(int status, const std::string& text) {
    EXPECT_EQ(status, RAVO_DAQ_WRITER_INV_PARAM);
    EXPECT_EQ(writer_.get_last_error(), text);
  }

  const temporary_folder folder_;
  ravo_daq_writer writer_;
};

TEST_F(OlderWriterRefusals, AChannelNameThatItsBlocksCannotHold) {
  expect_refused(writer_.add_channel(channel_of(std::string(32, 'x'), RAVO_BLOCK_SINGLE)),
                 "a channel name of 32 bytes is not possible; use 1 to 31");
  expect_refused(writer_.add_channel(channel_of("", RAVO_BLOCK_SINGLE)),
                 "a channel name of 0 bytes is not possible; use 1 to 31");
  EXPECT_EQ(writer_.add_channel(channel_of(std::string(31, 'x'), RAVO_BLOCK_SINGLE)), 0);
}

TEST_F(OlderWriterRefusals, AServerNameThatDoesNotFit) {
  must(writer_, writer_.begin_event(event_of(1, noon)));
  const char* text = "the server name is longer than 47 bytes or contains a zero byte; shorten it";
  expect_refused(writer_.begin_server_block({std::string(48, 's'), {noon, 0}, 0, 0, 0}), text);
  EXPECT_EQ(writer_.begin_server_block({std::string(47, 's'), {noon, 0}, 0, 0, 0}), RAVO_DAQ_WRITER_OK);
}

TEST_F(OlderWriterRefusals, ADataTypeOfTheCurrentGeneration) {
  expect_refused(writer_.add_channel(channel_of("A", RAVO_BLOCK_1CHAN_2010)),
                 "the data type 41 of channel A is not a channel type of this generation; take one from "
                 "ravo_data_types.h");
  for (int type : {-1, 0, 2, 29, 32, 33, 35, 62, 63, 0x10000 + RAVO_BLOCK_SINGLE})
    EXPECT_EQ(writer_.add_channel(channel_of("A", static_cast<RAVO_SUBBLOCK_TYPE>(type))),
              RAVO_DAQ_WRITER_INV_PARAM)
        << type;
}

TEST_F(OlderWriterRefusals, DataThatDoNotAgreeWithTheirType) {
  must(writer_, writer_.add_channel(channel_of("A", RAVO_BLOCK_SINGLE)));
  must(writer_, writer_.begin_event(event_of(1, noon)));
  must(writer_, writer_.begin_server_block({"SERVER", {noon, 0}, 0, 0, 0}));
  const payload current_one = spectrum<layout_2010>(1, {1, 2});
  expect_refused(give(writer_, 0, current_one),
                 "the data of channel A (40 bytes) do not agree with its data type RAVO_BLOCK_SINGLE; lay "
                 "them out as ravo_payload.h says");
  EXPECT_EQ(give(writer_, 0, spectrum<layout_2009>(1, {1, 2})), RAVO_DAQ_WRITER_OK);
}

// Readers look for an update's data where they lie, and never unpack them.
TEST_F(OlderWriterRefusals, SlowBlocksAreStoredPlainWhateverIsAsked) {
  const RAVO_SUBBLOCK_TYPE slow[] = {RAVO_UPD_BLOCK, RAVO_ENV_BLOCK, RAVO_BOR_BLOCK, RAVO_EOR_BLOCK};
  std::vector<std::pair<int, payload>> data;
  for (const RAVO_SUBBLOCK_TYPE type : slow) {
    const int index =
        writer_.add_channel(channel_of("S" + std::to_string(type), type, ravo_compression::zlib));
    must(writer_, index);
    data.emplace_back(
        index, type == RAVO_ENV_BLOCK ? environment(1, noon, 1) : update<layout_2009>("PROPERTY", noon, 1));
  }
  must(writer_, give_event(writer_, event_of(1, noon, 0, RAVO_EV_UPD), data));
  must(writer_, writer_.close());
  const raw_file_of<layout_2009> file(writer_.get_files().at(0));
  for (std::size_t i = 0; i < data.size(); ++i) {
    const auto block = file.block_at(file.channels()[i].row.at(0).chhd);
    EXPECT_EQ(block.zip_flags, 0u);
    EXPECT_EQ(block.data, data[i].second.file());
  }
}

}  // namespace
