// The data access object over list files and older files: codes, texts and what is left behind.
#include <gtest/gtest.h>

#include "ravo_daq_data.h"
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
  EXPECT_EQ(listen([&] { EXPECT_EQ(data.GetData(), -2); }).error,
            "ravo_daq_data::GetData: data are not read\n");
  refused(nullptr, -1, "ravo_daq_data::Init: no input files\n");
  EXPECT_EQ(data.GetStatus(), 1);
  data.Clean();
  EXPECT_EQ(data.GetStatus(), 0);
  EXPECT_EQ(data.GetRes(), nullptr);
}

TEST_F(DataAccess, HasNoDataBeforeInit) {
  EXPECT_EQ(listen([&] { EXPECT_EQ(data.GetData(), -1); }).error,
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

}  // namespace
}  // namespace ravo::test
