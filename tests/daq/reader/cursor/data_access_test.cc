// The data access object over list files and older files: codes, texts and the state afterwards.
#include <gtest/gtest.h>

#include "ravo_daq_data.h"
#include "ravo_daq_writer_2010.h"
#include "refusals.h"
#include "small_older_file.h"

namespace ravo::test {
namespace {

struct DataAccess : testing::Test {
  temporary_folder folder;
  char label[8] = "label", channel[8] = "TOR";
  ravo_sprop property{label, 5, channel, 5, 1, 10};
  std::vector<ravo_sprop*> properties{&property};
  ravo_daq_data data;

  std::string list(const std::string& text) {
    return folder.write("list.txt", {reinterpret_cast<const unsigned char*>(text.data()), text.size()});
  }
  // The code and the text of an Init.
  void refused(const char* list_file, int code, const std::string& text) {
    ravo_time_id period{1, {0, 0}}, start{}, stop{};
    const said heard =
        listen([&] { EXPECT_EQ(data.Init(list_file, &properties, 0, &period, &start, &stop), code); });
    EXPECT_EQ(heard.error, text);
  }
};

TEST_F(DataAccess, ReadsEventAfterEventToTheEnd) {
  const small_older_file file;
  refused(list("# comment\n" + std::string(file.path()) + " ignored\n").c_str(), 0, "");
  EXPECT_EQ(data.GetStatus(), 1);
  EXPECT_EQ(data.GetNfile(), 1);
  EXPECT_EQ(data.GetNprop(), 1);
  EXPECT_STREQ(data.GetFiles()->at(0), file.path());
  EXPECT_EQ(data.GetReader_2010(), nullptr);
  ravo_daq_getdata cursor;
  for (unsigned event = 1; event <= 2; ++event) {
    ASSERT_EQ(data.GetData(), 0);
    cursor.Clean();
    ASSERT_EQ(cursor.SetRes(data.GetRes()), 1);
    unsigned number = 0;
    ASSERT_EQ(cursor.GetEventInfo(&number, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(number, event);
    EXPECT_EQ(cursor.GetSpectVal(0, 0), 1.0f);
  }
  EXPECT_EQ(listen([&] { EXPECT_EQ(data.GetData(), end_of_data); }).error,
            "ravo_daq_data::GetData: data are not read\n");
  refused(nullptr, -1, "ravo_daq_data::Init: no input files\n");
  EXPECT_EQ(data.GetStatus(), 1);
  data.Clean();
  EXPECT_EQ(data.GetStatus(), 0);
  EXPECT_EQ(data.GetRes(), nullptr);
}

TEST_F(DataAccess, HasNoDataBeforeInit) {
  EXPECT_EQ(listen([&] { EXPECT_EQ(data.GetData(), not_initialised); }).error,
            "ravo_daq_data::GetData: wrong status= 0\n");
}

TEST_F(DataAccess, RefusesAListWithoutFiles) {
  refused("/no/such/list", -2, "ravo_daq_data::Init: can not open file /no/such/list\n");
  refused("", -2, "ravo_daq_data::Init: can not open file \n");
  refused(list("# comment\n%comment\n*comment\n\n      \nab\n").c_str(), -3,
          "ravo_daq_data::Init: no data files\n");
  EXPECT_EQ(data.GetStatus(), 0);
}

TEST_F(DataAccess, RefusesToReadWithoutProperties) {
  const small_older_file file;
  const std::string files = list(file.path());
  property.prlen = 2;
  refused(files.c_str(), -4, "ravo_daq_data::Init: no properties\n");
  properties.clear();
  refused(files.c_str(), -1, "ravo_daq_data::Init: no list of properties\n");
}

TEST_F(DataAccess, RefusesWhatTheReaderRefuses) {
  const small_older_file file;
  const std::string files = list(file.path());
  ravo_time_id zero{};
  const auto code = [&](ravo_time_id* period, ravo_time_id* start, ravo_time_id* stop) {
    int result = 0;
    const said heard =
        listen([&] { result = data.Init(files.c_str(), &properties, 0, period, start, stop); });
    EXPECT_EQ(data.GetStatus(), 0);
    return std::to_string(result) + " " + heard.error;
  };
  EXPECT_EQ(code(nullptr, &zero, &zero), "-6 ravo_daq_data::Init: can not set period\n");
  EXPECT_EQ(code(&zero, nullptr, &zero), "-7 ravo_daq_data::Init: can not set start point\n");
  EXPECT_EQ(code(&zero, &zero, nullptr), "-8 ravo_daq_data::Init: can not set stop point\n");
  channel[0] = 0;
  EXPECT_EQ(code(&zero, &zero, &zero), "-10 ravo_daq_data::Init: can not add channel\n");
}

TEST_F(DataAccess, RefusesFilesThatAreMissingOrInvalid) {
  refused(list("/no/such/file.raw\n").c_str(), -9, "ravo_daq_data::Init: can not add file\n");
  const unsigned char garbage[] = "this is no raw file of any kind, but a text of some length";
  const std::string none = folder.write("none.raw", {garbage, sizeof garbage});
  refused(list(none + "\n").c_str(), -5, "ravo_daq_data::Init: can not start Reader\n");
  EXPECT_EQ(data.GetNfile(), 1);
  EXPECT_EQ(data.GetNprop(), 1);
}

TEST_F(DataAccess, IsReadyAgainAfterARefusal) {
  refused(list("/no/such/file.raw\n").c_str(), -9, "ravo_daq_data::Init: can not add file\n");
  const small_older_file file;
  refused(list(file.path()).c_str(), 0, "");
  EXPECT_EQ(data.GetData(), 0);
}

// Every call asks for the first event once more, and every call ends.
TEST_F(DataAccess, NeverLeavesTheFirstEventWithAStepOfNothing) {
  const small_older_file file;
  ravo_time_id nothing{}, start{}, stop{};
  ASSERT_EQ(data.Init(list(file.path()).c_str(), &properties, 0, &nothing, &start, &stop), 0);
  for (int call = 0; call < 5; ++call) {
    ASSERT_EQ(data.GetData(), 0);
    EXPECT_EQ(data.GetRes()->at(0)->event_id.event_number, 1u);
  }
  start.event_number = 2;
  ASSERT_EQ(data.Init(list(file.path()).c_str(), &properties, 0, &nothing, &start, &stop), 0);
  EXPECT_EQ(listen([&] { EXPECT_EQ(data.GetData(), end_of_data); }).error,
            "ravo_daq_data::GetData: data are not read\n");
}

TEST_F(DataAccess, KeepsToTheStartAndTheStopOfTheRequest) {
  const small_older_file file;
  ravo_time_id period{1, {0, 0}}, start{2, {0, 0}}, stop{};
  ASSERT_EQ(data.Init(list(file.path()).c_str(), &properties, 0, &period, &start, &stop), 0);
  ASSERT_EQ(data.GetData(), 0);
  EXPECT_EQ(data.GetRes()->at(0)->event_id.event_number, 2u);
  listen([&] { EXPECT_EQ(data.GetData(), end_of_data); });
  start.event_number = stop.event_number = 1;
  ASSERT_EQ(data.Init(list(file.path()).c_str(), &properties, 0, &period, &start, &stop), 0);
  ASSERT_EQ(data.GetData(), 0);
  listen([&] { EXPECT_EQ(data.GetData(), end_of_data); });
}

// A file of the current generation with an event of TOR, in a folder.
std::string write_current_file(const temporary_folder& folder) {
  ravo_daq_writer_2010 writer;
  ravo_daq_writer_settings settings;
  settings.folder = folder.path().string();
  const std::string payload = bytes_of(ravo_spect_head_2010{1, 1, 1, 0, 1, 0, 0, 0}) + floats({1});
  const time_stamp time{1700000003, 0};
  if (writer.open(settings) != 0 ||
      writer.add_channel({.name = "TOR", .dtype = RAVO_BLOCK_1CHAN_2010}) != 0 ||
      writer.begin_event({.event_number = 3, .time = time}) != 0 ||
      writer.begin_server_block({.server = "SERVER", .time = time}) != 0 ||
      writer.add_data(0, payload.data(), payload.size()) != 0 || writer.end_event() != 0 ||
      writer.close() != 0)
    throw std::runtime_error(writer.get_last_error());
  return writer.get_files().at(0);
}

// What comes after such a file is not read, and GetData() returns the status of a good end: programs that
// want to know have to check the list, or read with the dataset layer.
TEST_F(DataAccess, EndsAtAListedFileThatItCannotGoOnWith) {
  const small_older_file one(1), three(3), without_tor(3, "OTHER"), five(5);
  const unsigned char garbage[] = "this is no raw file of any kind, but a text of some length";
  const std::string none =
      folder.write("linac_main_run7_file2_20231114T221322Z.raw", {garbage, sizeof garbage});
  const auto events_of = [&](const std::vector<std::string>& files) {
    std::string lines;
    for (const std::string& file : files) lines += file + "\n";
    std::vector<unsigned> numbers;
    const said heard = listen([&] {
      ravo_time_id period{1, {0, 0}}, start{}, stop{};
      ASSERT_EQ(data.Init(list(lines).c_str(), &properties, 0, &period, &start, &stop), 0);
      int code = 0;
      while ((code = data.GetData()) == 0) numbers.push_back(data.GetRes()->at(0)->event_id.event_number);
      EXPECT_EQ(code, end_of_data);
    });
    EXPECT_EQ(heard.error, "ravo_daq_data::GetData: data are not read\n");
    return numbers;
  };
  using numbers = std::vector<unsigned>;
  EXPECT_EQ(events_of({one.path(), three.path(), five.path()}), (numbers{1, 2, 3, 4, 5, 6}));
  EXPECT_EQ(events_of({one.path(), one.path(), three.path()}), (numbers{1, 2}));   // twice
  EXPECT_EQ(events_of({three.path(), one.path(), five.path()}), (numbers{3, 4}));  // out of order
  EXPECT_EQ(events_of({one.path(), none, three.path()}), (numbers{1, 2}));         // no raw file
  EXPECT_EQ(events_of({one.path(), write_current_file(folder), five.path()}), (numbers{1, 2}));
  EXPECT_EQ(events_of({one.path(), without_tor.path(), five.path()}),
            (numbers{1, 2}));  // without the channel
}

// Readers do not compare the markers of event headers: a site's files have their own.
TEST_F(DataAccess, DeliversEventsWhateverTheirMarker) {
  small_older_file file;
  file.belie_generation();
  refused(list(file.path()).c_str(), 0, "");
  EXPECT_EQ(data.GetData(), 0);
  EXPECT_EQ(data.GetData(), 0);
  EXPECT_EQ(listen([&] { EXPECT_EQ(data.GetData(), end_of_data); }).error,
            "ravo_daq_data::GetData: data are not read\n");
}

}  // namespace
}  // namespace ravo::test
