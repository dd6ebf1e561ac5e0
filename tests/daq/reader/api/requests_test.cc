// Requests from end to end: files that the writer made, a catalogue built over them, and events that must
// be those which the same files give when they are named one by one. And inspections of single real files.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <map>
#include <set>
#include <sstream>
#include <stdexcept>
#include <type_traits>

#include "captured_output.h"
#include "catalogue_mark.h"
#include "counted_new.h"
#include "environment_variable.h"
#include "ravo_run_catalogue_builder.h"
#include "written_run.h"

namespace ravo::test {
namespace {

/// Six files of twenty events, two seconds each, and the catalogue of them; made once for all tests.
template <class generation>
struct catalogued_run {
  catalogued_run() : run(6, 20) {
    catalogue::build_settings settings;
    settings.raw_folder = run.folder().path().string();
    settings.catalogue_directory = catalogue_folder.path().string();
    settings.closed_after = -1;
    const catalogue::build_result result = catalogue::build(settings, {});
    if (!result.problems.empty() || result.runs != 1) throw std::runtime_error("no catalogue");
  }
  written_run<generation> run;
  temporary_folder catalogue_folder;
};

template <class generation>
const catalogued_run<generation>& the_run() {
  static const catalogued_run<generation> made;
  return made;
}

/// What a reader delivered: event numbers with the channels and bytes of each.
using delivery = std::vector<std::string>;

template <class generation>
class Requests : public testing::Test {
 protected:
  using subhead = typename generation::records::subhead;
  using run_type = written_run<generation>;
  static const catalogued_run<generation>& the() { return the_run<generation>(); }
  Requests() {
    set_up();
    for (std::string& name : channel_names) {
      entries_of_channels.push_back({name.data(), {}});
    }
    for (daq_channel_entry& entry : entries_of_channels) channels.push_back(&entry);
  }
  /// A reader without files or channels, and a request without a period or runs.
  void set_up() {
    reader.clean_up();
    request = {};
    std::strcpy(request.exp_name, "linac");
    std::strcpy(request.stream_name, "main");
    std::snprintf(request.cdir, sizeof request.cdir, "%s", the().catalogue_folder.path().c_str());
    std::snprintf(request.ddir, sizeof request.ddir, "%s", the().run.folder().path().c_str());
    request.time_diff = {0, 50000};
    request.period = {1, {0, 100000}};
  }
  void ask_for_run() { request.run_first = request.run_last = 7; }
  void ask_for_period(unsigned start, unsigned stop) {
    request.start_time.time = {run_type::epoch + start, 0};
    request.stop_time.time = {run_type::epoch + stop, 0};
  }
  void forget_catalogue() { std::strcpy(request.cdir, "/nowhere"); }
  int init() {
    captured_output captured;
    const int status = reader.init(&request, &channels);
    output = captured.stop();
    return status;
  }
  delivery deliver(int expected_end = RAVO_DAQ_READER_OUT_OF_WINDOW) {
    EXPECT_EQ(reader.start(), 0) << reader.get_last_error();
    delivery all;
    std::vector<ravo_channel_entry_long*> entries;
    int status = 0;
    while (all.size() < 1000 && (status = reader.get_data(nullptr, &entries, 1)) == 0) {
      std::string event = std::to_string(reader.current_event_id.event_number);
      for (const ravo_channel_entry_long* entry : entries) {
        const auto* head = reinterpret_cast<const subhead*>(entry->sbchdata[0].chhd);
        event += std::string(" ") + head->chname + "=";
        event.append(reinterpret_cast<const char*>(entry->sbchdata[0].data),
                     static_cast<std::size_t>(head->ldata) - sizeof *head);
      }
      all.push_back(event);
    }
    EXPECT_EQ(status, expected_end);
    return all;
  }
  /// What the files themselves deliver, cut by the same period.
  delivery deliver_named_files() {
    std::vector<std::string> texts = the().run.files();
    std::vector<char*> paths;
    for (std::string& text : texts) paths.push_back(text.data());
    EXPECT_EQ(reader.init(&paths, &channels), 0);
    reader.set_start_point(&request.start_time);
    reader.set_stop_point(&request.stop_time);
    delivery all = deliver();
    reader.clean_up();
    return all;
  }

  environment_variable take_all{"RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME", "1"};
  ravo_daq_request request{};
  std::vector<std::string> channel_names{"BPM", "TOR:0", "HALF", "SLOW"};
  std::vector<daq_channel_entry> entries_of_channels;
  std::vector<daq_channel_entry*> channels;
  typename generation::reader reader;
  std::string output;
};
TYPED_TEST_SUITE(Requests, generations, generation_name);

TYPED_TEST(Requests, ARunFromTheCatalogueHasTheEventsOfItsFiles) {
  const delivery expected = this->deliver_named_files();
  ASSERT_GT(expected.size(), 90u);
  this->ask_for_run();
  ASSERT_EQ(this->init(), 0);
  EXPECT_EQ(this->output, "");
  EXPECT_EQ(this->reader.get_number_of_files(), 6);
  EXPECT_EQ(this->deliver(), expected);
}

TYPED_TEST(Requests, ARunByItsFilesNamesHasTheEventsOfItsFiles) {
  const delivery expected = this->deliver_named_files();
  this->forget_catalogue();
  this->ask_for_run();
  ASSERT_EQ(this->init(), 0);
  EXPECT_FALSE(is_marked_by_catalogue(this->reader));
  EXPECT_EQ(this->reader.get_number_of_files(), 6);
  EXPECT_EQ(this->deliver(), expected);
}

constexpr std::pair<unsigned, unsigned> some_periods[] = {{0, 100}, {3, 8}, {5, 6}, {7, 200}, {1, 2}};

TYPED_TEST(Requests, PeriodsHaveTheEventsOfTheFilesEitherWay) {
  for (const auto& [start, stop] : some_periods) {
    SCOPED_TRACE(std::to_string(start) + " to " + std::to_string(stop));
    this->set_up();
    this->ask_for_period(start, stop);
    const delivery expected = this->deliver_named_files();
    ASSERT_FALSE(expected.empty());
    ASSERT_EQ(this->init(), 0);
    EXPECT_EQ(is_marked_by_catalogue(this->reader), either<TypeParam>(true, false));
    EXPECT_EQ(this->deliver(), expected) << "by period, from the catalogue";
    this->ask_for_run();
    ASSERT_EQ(this->init(), 0);
    EXPECT_EQ(is_marked_by_catalogue(this->reader), either<TypeParam>(true, false));
    EXPECT_EQ(this->deliver(), expected) << "by run and period, from the catalogue";
    this->forget_catalogue();
    ASSERT_EQ(this->init(), 0) << this->output;
    EXPECT_FALSE(is_marked_by_catalogue(this->reader));
    EXPECT_EQ(this->deliver(), expected) << "by run and period, by names";
  }
}

// Names alone: here the order of the directory decides where the period lies within one file; where a file
// begins in the period, it does not.
TYPED_TEST(Requests, PeriodsHaveTheEventsOfTheFilesByNamesWhereAFileBeginsInThem) {
  for (const auto& [start, stop] : some_periods) {
    SCOPED_TRACE(std::to_string(start) + " to " + std::to_string(stop));
    this->set_up();
    this->ask_for_period(start, stop);
    const delivery expected = this->deliver_named_files();
    this->forget_catalogue();
    ASSERT_EQ(this->init(), 0);
    EXPECT_EQ(this->deliver(), expected);
  }
}

TYPED_TEST(Requests, APeriodInsideOneFileComesFromTheCatalogue) {
  this->ask_for_period(4, 5);
  this->request.start_time.time.timelow = 300000;
  const delivery expected = this->deliver_named_files();
  ASSERT_FALSE(expected.empty());
  ASSERT_EQ(this->init(), 0);
  EXPECT_EQ(this->deliver(), expected);
}

TYPED_TEST(Requests, ASecondRequestOnAStartedReaderStartsOver) {
  const delivery expected = this->deliver_named_files();
  this->ask_for_run();
  ASSERT_EQ(this->init(), 0);
  ASSERT_EQ(this->reader.start(), 0);
  std::vector<ravo_channel_entry_long*> entries;
  ASSERT_EQ(this->reader.get_data(nullptr, &entries, 1), 0);
  ASSERT_EQ(this->init(), 0);
  EXPECT_EQ(this->deliver(), expected);
}

TYPED_TEST(Requests, ARunThatNobodyKnowsIsNotFound) {
  this->request.run_first = this->request.run_last = 8;
  EXPECT_EQ(this->init(), RAVO_DAQ_READER_FILES_NOT_FOUND);
  EXPECT_STREQ(this->reader.get_last_error(), "Files not found");
}

TYPED_TEST(Requests, AChannelThatNoFileKnowsIsNotFound) {
  char name[] = "UNKNOWN";
  daq_channel_entry unknown{name, {}};
  this->channels = {&unknown};
  this->ask_for_run();
  EXPECT_EQ(this->init(), RAVO_DAQ_READER_NOT_FOUND);
  EXPECT_STREQ(this->reader.get_last_error(), "Channel not found");
}

TYPED_TEST(Requests, AChannelThatNoFileKnowsIsLeftOutAmongOthers) {
  this->ask_for_run();
  ASSERT_EQ(this->init(), 0);
  const delivery expected = this->deliver();
  char name[] = "UNKNOWN";
  daq_channel_entry unknown{name, {}};
  this->channels.insert(this->channels.begin(), &unknown);
  this->reader.clean_up();
  EXPECT_EQ(this->init(), 0);
  const captured_output quiet;
  EXPECT_EQ(this->deliver(), expected);
}

// ---- without memory -------------------------------------------------------------------------------

/// Lets each allocation of a call fail in turn; the call must answer, not throw. That nothing leaks is seen
/// by running this under the address sanitizer. Returns how many there were.
template <class Call>
int refuse_each_allocation(Call call) {
  int refused = 0;
  for (long successes = 0; successes < 20000; ++successes) {
    captured_output quiet;
    counted_new::successes = successes;
    EXPECT_NO_THROW(call()) << successes;
    const bool was_refused = counted_new::successes == -1;
    counted_new::successes = -1;
    if (!was_refused) return refused;
    ++refused;
  }
  ADD_FAILURE() << "there is no end of allocations";
  return refused;
}

TYPED_TEST(Requests, MemoryThatRunsOutInARequestIsAStatus) {
  for (const bool has_catalogue : {true, false}) {
    if (!has_catalogue) this->forget_catalogue();
    for (const int run : {7, 0}) {
      this->request.run_first = this->request.run_last = run;
      this->ask_for_period(1, 5);
      EXPECT_GT(refuse_each_allocation([&] { this->reader.init(&this->request, &this->channels); }), 10);
      EXPECT_EQ(this->init(), 0) << "and afterwards all is well";
    }
  }
}

/// A copy of the run's folder that a test may spoil.
template <class generation>
class SpoiledFiles : public Requests<generation> {
 protected:
  SpoiledFiles() {
    for (const std::string& file : this->the().run.files()) {
      paths.push_back(folder.file(std::filesystem::path(file).filename().string()));
      std::filesystem::copy_file(file, paths.back());
    }
    std::snprintf(this->request.ddir, sizeof this->request.ddir, "%s", folder.path().c_str());
    this->ask_for_run();
  }
  temporary_folder folder;
  std::vector<std::string> paths;
};
TYPED_TEST_SUITE(SpoiledFiles, generations, generation_name);

using SpoiledCurrentFiles = SpoiledFiles<current_generation>;
using SpoiledOlderFiles = SpoiledFiles<older_generation>;

TEST_F(SpoiledCurrentFiles, AFirstFileThatIsGoneBetweenListingAndOpeningIsABadFormat) {
  std::filesystem::remove(paths.front());
  EXPECT_EQ(init(), RAVO_DAQ_READER_BAD_FILE_FORMAT)
      << "taken without a check, because the environment says so";
  EXPECT_STREQ(reader.get_last_error(), "Invalid file format");
}

TEST_F(SpoiledOlderFiles, AFirstFileThatIsGoneIsLeftOut) {
  std::filesystem::remove(paths.front());
  ASSERT_EQ(init(), 0);
  EXPECT_EQ(reader.get_number_of_files(), 5);
  EXPECT_EQ(reader.get_file_name(0), paths[1]);
}

TYPED_TEST(SpoiledFiles, AFileThatVanishesBeforeStartEndsTheDataWithAnError) {
  ASSERT_EQ(this->init(), 0);
  std::filesystem::remove(this->paths[5]);
  captured_output quiet;
  const delivery before = this->deliver(RAVO_DAQ_READER_INTERN_ERROR);
  EXPECT_EQ(before.size(), 100u) << "the events of the five files before it";
}

/// The files of the same run in the other generation, which have the same names.
template <class generation>
const std::vector<std::string>& files_of_other() {
  using other = std::conditional_t<std::is_same_v<generation, older_generation>, current_generation,
                                   older_generation>;
  return the_run<other>().run.files();
}

TYPED_TEST(SpoiledFiles, AFirstFileOfTheOtherGenerationIsABadFormat) {
  std::filesystem::copy_file(files_of_other<TypeParam>()[0], this->paths[0],
                             std::filesystem::copy_options::overwrite_existing);
  EXPECT_EQ(this->init(), RAVO_DAQ_READER_BAD_FILE_FORMAT);
  EXPECT_STREQ(this->reader.get_last_error(), "Invalid file format");
  this->forget_catalogue();
  EXPECT_EQ(this->init(), RAVO_DAQ_READER_BAD_FILE_FORMAT) << "nor do names help";
}

TYPED_TEST(SpoiledFiles, ALaterFileOfTheOtherGenerationEndsTheDataThereWithAnError) {
  std::filesystem::copy_file(files_of_other<TypeParam>()[3], this->paths[3],
                             std::filesystem::copy_options::overwrite_existing);
  ASSERT_EQ(this->init(), 0);
  captured_output quiet;
  EXPECT_EQ(this->deliver(RAVO_DAQ_READER_INTERN_ERROR).size(), 60u)
      << "the events of the three files before it";
}

TYPED_TEST(SpoiledFiles, AnUnreadableFirstFileIsABadFormat) {
  std::filesystem::resize_file(this->paths.front(), 100);
  EXPECT_EQ(this->init(), RAVO_DAQ_READER_BAD_FILE_FORMAT);
  std::filesystem::resize_file(this->paths.front(), 0);
  this->forget_catalogue();
  EXPECT_EQ(this->init(), RAVO_DAQ_READER_BAD_FILE_FORMAT);
}

TEST_F(SpoiledCurrentFiles, AnUnreadableEarlierFileIsReportedAndPassedOverByTheScan) {
  std::filesystem::resize_file(paths[0], 100);
  forget_catalogue();
  ask_for_period(7, 9);
  ASSERT_EQ(init(), 0);
  EXPECT_NE(output.find("Failed to get tables for: " + paths[0] + "\n"), std::string::npos);
  EXPECT_NE(output.find("-**--->Found file " + std::filesystem::path(paths[3]).filename().string()),
            std::string::npos)
      << output;
}

TEST_F(SpoiledOlderFiles, AnUnreadableEarlierFileIsNotOpened) {
  std::filesystem::resize_file(paths[0], 100);
  forget_catalogue();
  ask_for_period(7, 9);
  ASSERT_EQ(init(), 0);
  EXPECT_EQ(output.find("Failed to get tables for"), std::string::npos) << output;
  // The file of second 8, and its neighbours.
  EXPECT_EQ(reader.get_number_of_files(), 3);
  EXPECT_EQ(reader.get_file_name(0), paths[3]);
}

TEST_F(SpoiledOlderFiles, FilesWrittenAMomentAgoAreTaken) {
  environment_variable close_time{"RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME", nullptr};
  EXPECT_EQ(init(), 0);
  EXPECT_EQ(output, "");
  EXPECT_EQ(reader.get_number_of_files(), 6);
}

TEST_F(SpoiledCurrentFiles, FilesWrittenAMomentAgoAreNotTakenYet) {
  environment_variable close_time{"RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME", nullptr};
  EXPECT_EQ(init(), RAVO_DAQ_READER_FILES_NOT_FOUND);
  for (const std::string& path : paths)
    EXPECT_NE(output.find("add_file() file " + path + " skipped (not closed)\n"), std::string::npos);
}

// ---- single files ---------------------------------------------------------------------------------

template <class generation>
class SingleFile : public Requests<generation> {
 protected:
  SingleFile() { this->reader.set_data_dir(this->the().run.folder().path().c_str()); }
  const char* file() const { return this->the().run.files()[0].c_str(); }
  template <class Call>
  std::string output_of(Call call) {
    captured_output captured;
    call();
    return captured.stop();
  }
  static int lines_with(const std::string& text, const std::string& part) {
    std::istringstream in(text);
    int count = 0;
    for (std::string line; std::getline(in, line);) count += line.find(part) != std::string::npos;
    return count;
  }
};
TYPED_TEST_SUITE(SingleFile, generations, generation_name);

TYPED_TEST(SingleFile, ItsChannelsAreCountedAndNamed) {
  int count = 0;
  ASSERT_EQ(this->reader.get_number_of_channels(this->file(), &count, 0), 0);
  EXPECT_EQ(count, 7);
  EXPECT_EQ(this->reader.get_number_of_files(), 0);
  std::vector<std::string> names;
  for (int i = 0; i < count; ++i)
    names.push_back(this->reader.get_channel_name(i, nullptr, nullptr, nullptr));
  EXPECT_EQ(std::set<std::string>(names.begin(), names.end()),
            (std::set<std::string>{"BPM", "TOR", "RF", "GROW", "HALF", "SLOW", "IDLE"}));
}

TYPED_TEST(SingleFile, MayBeNamedWithoutItsDirectory) {
  int count = 0;
  const std::string name = std::filesystem::path(this->file()).filename().string();
  EXPECT_EQ(this->reader.get_number_of_channels(name.c_str(), &count, 1), 0);
  EXPECT_EQ(count, 7);
}

TYPED_TEST(SingleFile, ItsDictionaryIsPrinted) {
  const std::string text = this->output_of([&] { this->reader.print_all_channels(this->file()); });
  EXPECT_EQ(this->lines_with(text, "channel dictionary: 7 channels"), 1);
  EXPECT_EQ(this->lines_with(text, "\"BPM\"  key "), 1);
  EXPECT_EQ(this->lines_with(text, "  events 16"), 4) << text;
}

TYPED_TEST(SingleFile, WithoutDescriptionsThereAreNoData) {
  std::vector<chan_descr_2010*> found;
  EXPECT_EQ(this->reader.fill_chan_descr(this->file(), &found), RAVO_DAQ_READER_NO_DATA);
}

TYPED_TEST(SingleFile, ItsDescriptionsCarryTheCountsOfItsEvents) {
  const temporary_folder folder;
  writer_of<TypeParam> writer;
  ravo_daq_writer_settings settings;
  settings.folder = folder.path().string();
  ASSERT_EQ(writer.open(settings), 0);
  for (const char* name : {"ONE", "TWO", "NONE"}) {
    chan_descr_2010 description{};
    description.count = 99;
    ravo_daq_writer_channel channel;
    channel.name = name;
    channel.dtype = TypeParam::single;
    channel.description = &description;
    ASSERT_GE(writer.add_channel(channel), 0);
  }
  for (const int number : {1, 2}) {
    ravo_daq_writer_event event;
    event.event_number = static_cast<unsigned>(number);
    event.event_type = RAVO_EV_NORMAL;
    event.time = {TestFixture::run_type::epoch, static_cast<unsigned>(number)};
    ASSERT_EQ(writer.begin_event(event), 0);
    ravo_daq_writer_server_block server;
    server.server = "SERVER";
    ASSERT_EQ(writer.begin_server_block(server), 0);
    const std::string data = TestFixture::run_type::spectrum(1, 3, 1);
    for (int channel = number - 1; channel < 2; ++channel)
      ASSERT_EQ(writer.add_data(channel, data.data(), data.size()), 0);
    ASSERT_EQ(writer.end_event(), 0);
  }
  ASSERT_EQ(writer.close(), 0);
  std::vector<chan_descr_2010*> found;
  ASSERT_EQ(this->reader.fill_chan_descr(writer.get_files().at(0).c_str(), &found), 0);
  std::map<std::string, int> counts;
  for (const chan_descr_2010* one : found) counts[one->prop_name] = one->count;
  EXPECT_EQ(counts, (std::map<std::string, int>{{"ONE", 1}, {"TWO", 2}, {"NONE", 0}}));
  EXPECT_EQ(this->reader.get_descr_list()->size(), 3u) << "they are the reader's";
}

TYPED_TEST(SingleFile, ItsEventIndexIsPrinted) {
  const std::string all =
      this->output_of([&] { EXPECT_EQ(this->reader.print_event_index_table(this->file(), -1), 0); });
  EXPECT_EQ(this->lines_with(all, "event index entry:"), 2);
  EXPECT_EQ(this->lines_with(all, "] event "), 20);
  const std::string updates =
      this->output_of([&] { this->reader.print_event_index_table(this->file(), RAVO_EV_UPD); });
  EXPECT_EQ(this->lines_with(updates, "] event "), 4);
  EXPECT_EQ(this->lines_with(updates, "] event 5  time 2025-01-01T00:00:00.500000Z"), 1) << updates;
}

// Only the current generation prints the channels of a file.
using SingleCurrentFile = SingleFile<current_generation>;

TEST_F(SingleCurrentFile, TheHeadersAndDataOfAChannelArePrinted) {
  const std::string events = output_of([&] { reader.print_channel_event_headers(file(), "HALF"); });
  EXPECT_EQ(lines_with(events, "EVENT HEADERS"), 1);
  EXPECT_EQ(lines_with(events, "event header: event "), 8);
  const std::string servers = output_of([&] { reader.print_channel_server_block_headers(file(), "HALF"); });
  EXPECT_EQ(lines_with(servers, "server block: server \"SERVER\""), 8);
  const std::string heads = output_of([&] { reader.print_channel_channel_headers(file(), "HALF"); });
  EXPECT_EQ(lines_with(heads, "channel block: channel \"HALF\""), 8);
  const std::string data = output_of([&] { reader.print_channel_channel(file(), "HALF"); });
  EXPECT_EQ(lines_with(data, "2 values"), 8) << data;
  EXPECT_EQ(reader.get_number_of_files(), 0);
}

TEST_F(SingleCurrentFile, AChannelWithoutEventsPrintsNoneAndDoesNotHang) {
  const std::string text = output_of([&] { reader.print_channel_event_headers(file(), "IDLE"); });
  EXPECT_EQ(lines_with(text, "event header:"), 0);
}

TEST_F(SingleCurrentFile, AMissingChannelIsReported) {
  EXPECT_EQ(
      output_of([&] { reader.print_channel_channel(file(), "UNKNOWN"); }),
      std::string(
          "ravo_daq_reader_2010::print_channel_event_headers() channel: UNKNOWN not found in file: ") +
          file() + "\n");
}

TYPED_TEST(SingleFile, MemoryThatRunsOutInAnInspectionLeavesNoFileInTheList) {
  EXPECT_GT(refuse_each_allocation([&] {
              int count = 0;
              this->reader.get_number_of_channels(this->file(), &count, 1);
              EXPECT_EQ(this->reader.get_number_of_files(), 0);
            }),
            0);
  std::vector<chan_descr_2010*> found;
  refuse_each_allocation([&] { this->reader.fill_chan_descr(this->file(), &found); });
  refuse_each_allocation([&] {
    this->reader.print_event_index_table(this->file(), -1);
    EXPECT_EQ(this->reader.get_number_of_files(), 0);
  });
  if constexpr (requires { this->reader.print_channel_channel_headers("", ""); }) {
    refuse_each_allocation([&] {
      this->reader.print_channel_channel_headers(this->file(), "HALF");
      EXPECT_EQ(this->reader.get_number_of_files(), 0);
    });
  }
}

TYPED_TEST(SingleFile, ALookIntoAFileDoesNotHinderARequest) {
  const delivery expected = this->deliver_named_files();
  this->reader.set_data_dir(this->the().run.folder().path().c_str());
  this->output_of([&] { this->reader.print_all_channels(this->file()); });
  this->ask_for_run();
  ASSERT_EQ(this->init(), 0);
  EXPECT_EQ(this->deliver(), expected);
}

}  // namespace
}  // namespace ravo::test
