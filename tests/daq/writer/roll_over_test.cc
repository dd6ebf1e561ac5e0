// When a file ends and the next one begins: by events, by time, by bytes, and what runs keep across files.
#include <gtest/gtest.h>

#include <numeric>

#include "raw_file.h"
#include "writing.h"

namespace {

using namespace ravo::test;

// Event i at `noon` plus i tenths of a second, with one plain block.
template <class G>
std::vector<std::string> write_tenths(const ravo_daq_writer_settings& settings, int count) {
  typename G::writer writer;
  must(writer, writer.open(settings));
  must(writer, writer.add_channel(channel_of("A", G::single)));
  for (int i = 0; i < count; ++i) {
    const auto tenth = static_cast<std::uint32_t>(i);
    must(writer, give_event(writer, event_of(tenth + 1, noon + tenth / 10, tenth % 10 * 100000),
                            {{0, spectrum<typename G::layout>(1, {static_cast<float>(i), 0})}}));
  }
  must(writer, writer.close());
  return writer.get_files();
}

template <class G>
std::vector<std::size_t> events_of(const std::vector<std::string>& files) {
  std::vector<std::size_t> counts;
  for (const std::string& file : files) counts.push_back(raw_file_of<typename G::layout>(file).events());
  return counts;
}

template <class G>
class WriterRollOver : public testing::Test {};
TYPED_TEST_SUITE(WriterRollOver, generations, generation_name);

TYPED_TEST(WriterRollOver, WithoutLimitsThereIsOneFile) {
  const temporary_folder folder;
  EXPECT_EQ(events_of<TypeParam>(write_tenths<TypeParam>(settings_in(folder), 25)),
            (std::vector<std::size_t>{25}));
}

TYPED_TEST(WriterRollOver, AFileEndsAfterTheGivenNumberOfEvents) {
  const temporary_folder folder;
  ravo_daq_writer_settings settings = settings_in(folder);
  settings.max_events = 10;
  const std::vector<std::string> files = write_tenths<TypeParam>(settings, 25);
  EXPECT_EQ(events_of<TypeParam>(files), (std::vector<std::size_t>{10, 10, 5}));
  EXPECT_EQ(files, (std::vector<std::string>{folder.file("linac_main_run1_file1_20231114T221320Z.raw"),
                                             folder.file("linac_main_run1_file2_20231114T221321Z.raw"),
                                             folder.file("linac_main_run1_file3_20231114T221322Z.raw")}));
}

TYPED_TEST(WriterRollOver, EventsOfAllTypesCountTogether) {
  const temporary_folder folder;
  ravo_daq_writer_settings settings = settings_in(folder);
  settings.max_events = 2;
  typename TypeParam::writer writer;
  must(writer, writer.open(settings));
  for (RAVO_EVTYPE type : {RAVO_EV_BOR, RAVO_EV_NORMAL, RAVO_EV_EOR})
    must(writer, give_event(writer, event_of(1, noon, 0, type), {}));
  must(writer, writer.close());
  EXPECT_EQ(events_of<TypeParam>(writer.get_files()), (std::vector<std::size_t>{2, 1}));
}

TYPED_TEST(WriterRollOver, AFileSpansLessThanTheGivenSeconds) {
  const temporary_folder folder;
  ravo_daq_writer_settings settings = settings_in(folder);
  settings.max_seconds = 1;
  // The event exactly one second after the first one belongs to the next file.
  EXPECT_EQ(events_of<TypeParam>(write_tenths<TypeParam>(settings, 25)),
            (std::vector<std::size_t>{10, 10, 5}));
}

TYPED_TEST(WriterRollOver, AGapInTimeMakesNoEmptyFile) {
  const temporary_folder folder;
  ravo_daq_writer_settings settings = settings_in(folder);
  settings.max_seconds = 1;
  typename TypeParam::writer writer;
  must(writer, writer.open(settings));
  must(writer, give_event(writer, event_of(1, noon), {}));
  must(writer, give_event(writer, event_of(2, noon + 100), {}));
  must(writer, writer.close());
  EXPECT_EQ(events_of<TypeParam>(writer.get_files()), (std::vector<std::size_t>{1, 1}));
}

TYPED_TEST(WriterRollOver, AFileIsAsLongAsTheLimitAllowsAndNotAByteLonger) {
  const temporary_folder whole;
  const std::uint64_t ten =
      std::filesystem::file_size(write_tenths<TypeParam>(settings_in(whole), 10).at(0));
  const temporary_folder exact;
  ravo_daq_writer_settings settings = settings_in(exact);
  settings.max_file_bytes = ten;
  EXPECT_EQ(events_of<TypeParam>(write_tenths<TypeParam>(settings, 25)),
            (std::vector<std::size_t>{10, 10, 5}));
  const temporary_folder below;
  settings = settings_in(below);
  settings.max_file_bytes = ten - 1;
  EXPECT_EQ(events_of<TypeParam>(write_tenths<TypeParam>(settings, 25)),
            (std::vector<std::size_t>{9, 9, 7}));
}

TYPED_TEST(WriterRollOver, EveryFileHoldsAnEventHoweverSmallTheLimit) {
  const temporary_folder folder;
  ravo_daq_writer_settings settings = settings_in(folder);
  settings.max_file_bytes = 1;
  EXPECT_EQ(events_of<TypeParam>(write_tenths<TypeParam>(settings, 3)),
            (std::vector<std::size_t>{1, 1, 1}));
}

TYPED_TEST(WriterRollOver, ALimitBeyondFourGigabytesIsNoLimitOfItsOwn) {
  const temporary_folder folder;
  ravo_daq_writer_settings settings = settings_in(folder);
  settings.max_file_bytes = 0xffffffffffffffffu;
  EXPECT_EQ(events_of<TypeParam>(write_tenths<TypeParam>(settings, 5)), (std::vector<std::size_t>{5}));
}

TYPED_TEST(WriterRollOver, EveryFileKnowsEveryChannelAndStartsItsTablesAnew) {
  const temporary_folder folder;
  ravo_daq_writer_settings settings = settings_in(folder);
  settings.max_events = 1;
  settings.run = 12;
  settings.first_file = 5;
  typename TypeParam::writer writer;
  must(writer, writer.open(settings));
  must(writer, writer.add_channel(channel_of("A", TypeParam::single)));
  must(writer, writer.add_channel(channel_of("B", RAVO_BLOCK_IMAGE)));
  must(writer,
       give_event(writer, event_of(1, noon), {{0, smooth_spectrum<typename TypeParam::layout>(4, 1)}}));
  must(writer, give_event(writer, event_of(2, noon, 0, RAVO_EV_IMAGE), {{1, image(3, 3, 7)}}));
  must(writer, writer.close());

  const raw_file_of<typename TypeParam::layout> first(
      folder.file("linac_main_run12_file5_20231114T221320Z.raw"));
  EXPECT_EQ(first.find("A").count, 1u);
  EXPECT_EQ(first.find("B").count, 0u);
  EXPECT_EQ(first.find("B").ev_mask, 0u);
  const raw_file_of<typename TypeParam::layout> second(
      folder.file("linac_main_run12_file6_20231114T221320Z.raw"));
  EXPECT_EQ(second.find("A").count, 0u);
  EXPECT_EQ(second.find("A").ev_mask, 0u);
  EXPECT_EQ(second.find("B").count, 1u);
  EXPECT_EQ(second.find("B").ev_mask, 1u << RAVO_EV_IMAGE);
  EXPECT_EQ(second.find("B").dtype_mask, 1u << RAVO_BLOCK_IMAGE);
  EXPECT_EQ(second.event_at(second.find("B").row[0].evhd).number, 2u);
}

TYPED_TEST(WriterRollOver, ACompletedFileIsThereBeforeTheRunEnds) {
  const temporary_folder folder;
  ravo_daq_writer_settings settings = settings_in(folder);
  settings.max_events = 1;
  typename TypeParam::writer writer;
  must(writer, writer.open(settings));
  must(writer, give_event(writer, event_of(1, noon), {}));
  EXPECT_TRUE(names_in(folder.path()).empty());
  must(writer, give_event(writer, event_of(2, noon), {}));
  EXPECT_EQ(names_in(folder.path()).size(), 1u);
  EXPECT_EQ(writer.get_files().size(), 1u);
}

TYPED_TEST(WriterRollOver, ARunWithoutEventsMakesNoFile) {
  const temporary_folder folder;
  typename TypeParam::writer writer;
  must(writer, writer.open(settings_in(folder)));
  must(writer, writer.add_channel(channel_of("A", TypeParam::single)));
  EXPECT_EQ(writer.close(), RAVO_DAQ_WRITER_OK);
  EXPECT_TRUE(writer.get_files().empty());
  EXPECT_TRUE(names_in(folder.path()).empty());
}

TYPED_TEST(WriterRollOver, AWriterTakesTheNextRunAfterClose) {
  const temporary_folder folder;
  ravo_daq_writer_settings settings = settings_in(folder);
  typename TypeParam::writer writer;
  for (int run = 1; run <= 2; ++run) {
    settings.run = run;
    must(writer, writer.open(settings));
    EXPECT_EQ(writer.add_channel(channel_of("A", TypeParam::single)), 0);
    must(writer,
         give_event(writer, event_of(1, noon), {{0, smooth_spectrum<typename TypeParam::layout>(4, 1)}}));
    must(writer, writer.close());
    EXPECT_EQ(writer.get_files().size(), 1u);
  }
  EXPECT_EQ(names_in(folder.path()),
            (std::vector<std::string>{"linac_main_run1_file1_20231114T221320Z.raw",
                                      "linac_main_run2_file1_20231114T221320Z.raw"}));
  EXPECT_EQ(read_file(folder.file("linac_main_run1_file1_20231114T221320Z.raw")),
            read_file(folder.file("linac_main_run2_file1_20231114T221320Z.raw")));
}

TYPED_TEST(WriterRollOver, TheNextRunOwesNothingToTheOneBefore) {
  const temporary_folder folder;
  ravo_daq_writer_settings settings = settings_in(folder);
  typename TypeParam::writer writer;
  ravo_daq_writer_channel channel = channel_of("A", TypeParam::environment);
  channel.key = 5;
  channel.env_index = 5;
  const chan_descr_2010 description{};
  channel.description = &description;
  std::vector<std::vector<unsigned char>> files;
  for (int run = 1; run <= 2; ++run) {
    settings.run = run;
    must(writer, writer.open(settings));
    // The same key, index and name again, and a time before the last event of the run before.
    EXPECT_EQ(writer.add_channel(channel), 0);
    EXPECT_EQ(give_event(writer, event_of(1, noon), {{0, environment(5, noon, 1)}}), RAVO_DAQ_WRITER_OK);
    EXPECT_EQ(give_event(writer, event_of(2, noon + 9), {}), RAVO_DAQ_WRITER_OK);
    must(writer, writer.close());
    files.push_back(read_file(writer.get_files().at(0)));
  }
  EXPECT_EQ(files[0], files[1]);
}

TYPED_TEST(WriterRollOver, AFileHasThePermissionsOfAnOrdinaryFile) {
  const temporary_folder folder;
  const std::string ordinary = folder.write("ordinary", {});
  const std::string file = write_tenths<TypeParam>(settings_in(folder), 1).at(0);
  EXPECT_EQ(std::filesystem::status(file).permissions(), std::filesystem::status(ordinary).permissions());
}

TYPED_TEST(WriterRollOver, AWriterThatIsDestroyedLeavesNothingOfItsOpenFile) {
  const temporary_folder folder;
  {
    ravo_daq_writer_settings settings = settings_in(folder);
    settings.buffer_bytes = 0;
    typename TypeParam::writer writer;
    must(writer, writer.open(settings));
    must(writer, writer.add_channel(channel_of("A", TypeParam::single)));
    for (std::uint32_t i = 1; i < 5; ++i)
      must(writer,
           give_event(writer, event_of(i, noon), {{0, smooth_spectrum<typename TypeParam::layout>(4, 1)}}));
  }
  EXPECT_TRUE(names_in(folder.path()).empty());
}

TYPED_TEST(WriterRollOver, ARelativeFolderIsTheOneOfTheOpening) {
  const temporary_folder folder, elsewhere;
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(folder.path());
  ravo_daq_writer_settings settings;
  settings.folder = ".";
  typename TypeParam::writer writer;
  must(writer, writer.open(settings));
  std::filesystem::current_path(elsewhere.path());
  must(writer, give_event(writer, event_of(1, noon), {}));
  must(writer, writer.close());
  std::filesystem::current_path(before);
  EXPECT_EQ(names_in(folder.path()).size(), 1u);
  EXPECT_TRUE(names_in(elsewhere.path()).empty());
}

}  // namespace
