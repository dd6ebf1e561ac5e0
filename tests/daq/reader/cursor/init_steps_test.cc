// The data access object over a scripted reader: what it asks of the reader and in which order, which lines
// of a list file name files, which properties name channels, and every refusal with its state.
#include <gtest/gtest.h>

#include <memory>

#include "refusals.h"
#include "scripted/started_data.h"

namespace ravo::test {
namespace {

using steps = std::vector<std::string>;
using InitSteps = scripted_data;

TEST_F(InitSteps, AskTheReaderInTheirOrder) {
  EXPECT_EQ(listen([&] { EXPECT_EQ(init(list("file.raw\n")), 0); }).error, "");
  EXPECT_EQ(script.asked, (steps{"made", "clean_up", "set_synch_mode 0", "set_debug 7",
                                 "set_period 1:0.200000", "set_start_point 2:3.4", "set_stop_point 5:6.7",
                                 "add_file file.raw append", "add_channel TOR -1 -1 -1 -1", "start"}));
  EXPECT_EQ(data.GetStatus(), 1);
  EXPECT_EQ(data.GetFileName(), folder.path().string() + "/list.txt");
  EXPECT_EQ(data.GetLprop(), &properties);
  EXPECT_EQ(data.GetDebug(), 0);
  EXPECT_EQ(data.GetPeriod(), nullptr);
  EXPECT_EQ(data.GetStart(), nullptr);
  EXPECT_EQ(data.GetStop(), nullptr);
  EXPECT_NE(data.GetReader(), nullptr);
  EXPECT_EQ(data.GetReader_2010(), nullptr);
  ASSERT_NE(data.GetRes(), nullptr);
  EXPECT_TRUE(data.GetRes()->empty());
}

struct refusal {
  const char* operation;
  int code;
  const char* text;
  int files;
};

class RefusedInit : public scripted_data, public testing::WithParamInterface<refusal> {};

TEST_P(RefusedInit, SaysWhichStepAndStaysNotReady) {
  script.results[GetParam().operation] = RAVO_DAQ_READER_INV_PARAM;
  const said heard = listen([&] { EXPECT_EQ(init(list("file.raw\n")), GetParam().code); });
  EXPECT_EQ(heard.error, std::string(GetParam().text) + "\n");
  EXPECT_EQ(heard.out, "");
  EXPECT_EQ(data.GetStatus(), 0);
  EXPECT_NE(data.GetReader(), nullptr);
  EXPECT_EQ(data.GetNfile(), GetParam().files);
  EXPECT_EQ(data.GetLprop() != nullptr, GetParam().code > -6 || GetParam().code < -8);
  EXPECT_EQ(listen([&] { EXPECT_EQ(data.GetData(), not_initialised); }).error,
            "ravo_daq_data::GetData: wrong status= 0\n");
}

INSTANTIATE_TEST_SUITE_P(
    EveryStep, RefusedInit,
    testing::Values(refusal{"start", -5, "ravo_daq_data::Init: can not start Reader", 1},
                    refusal{"set_period", -6, "ravo_daq_data::Init: can not set period", 0},
                    refusal{"set_start_point", -7, "ravo_daq_data::Init: can not set start point", 0},
                    refusal{"set_stop_point", -8, "ravo_daq_data::Init: can not set stop point", 0},
                    refusal{"add_file", -9, "ravo_daq_data::Init: can not add file", 0},
                    refusal{"add_channel", -10, "ravo_daq_data::Init: can not add channel", 1}),
    [](const auto& test) { return std::string(test.param.operation); });

TEST_F(InitSteps, EndAtASynchModeThatIsRefused) {
  script.results["set_synch_mode"] = RAVO_DAQ_READER_NOT_ALLOWED;
  EXPECT_EQ(listen([&] { EXPECT_EQ(init(list("file.raw\n")), synch_mode_refused); }).error,
            "ravo_daq_data::Init: can not synch mode\n");
  EXPECT_EQ(script.asked, (steps{"made", "clean_up", "set_synch_mode 0"}));
  EXPECT_EQ(data.GetStatus(), 0);
  EXPECT_EQ(data.GetLprop(), nullptr);
}

TEST_F(InitSteps, DoNotAskWhetherTheDebugLevelWasTaken) {
  script.results["set_debug"] = RAVO_DAQ_READER_NO_DATA;
  EXPECT_EQ(init(list("file.raw\n")), 0);
}

TEST_F(InitSteps, KeepTheFilesBeforeARefusedOne) {
  script.refused_file = "bad.raw";
  EXPECT_EQ(listen([&] { EXPECT_EQ(init(list("good.raw\nbad.raw\nnext.raw\n")), file_refused); }).error,
            "ravo_daq_data::Init: can not add file\n");
  EXPECT_EQ(data.GetNfile(), 1);
  ASSERT_EQ(data.GetFiles()->size(), 1u);
  EXPECT_STREQ(data.GetFiles()->at(0), "good.raw");
}

TEST_F(InitSteps, LeaveAStartedObjectAloneWithoutAListFileOrProperties) {
  ASSERT_EQ(init(list("file.raw\n")), 0);
  script.asked.clear();
  EXPECT_EQ(listen([&] {
              EXPECT_EQ(data.Init(nullptr, &properties, 0, &period, &start, &stop), no_files_or_properties);
            }).error,
            "ravo_daq_data::Init: no input files\n");
  std::vector<ravo_sprop*> none;
  for (std::vector<ravo_sprop*>* props : {static_cast<std::vector<ravo_sprop*>*>(nullptr), &none})
    EXPECT_EQ(listen([&] {
                EXPECT_EQ(data.Init("list", props, 0, &period, &start, &stop), no_files_or_properties);
              }).error,
              "ravo_daq_data::Init: no list of properties\n");
  EXPECT_EQ(data.GetStatus(), 1);
  EXPECT_EQ(script.asked, steps{});
}

TEST_F(InitSteps, OfASecondCallStartOverEvenWithTheOldNameOfTheListFile) {
  ASSERT_EQ(init(list("file.raw\nother.raw\n")), 0);
  script.asked.clear();
  EXPECT_EQ(data.Init(data.GetFileName(), &properties, 7, &period, &start, &stop), 0);
  EXPECT_EQ(steps(script.asked.begin(), script.asked.begin() + 4),
            (steps{"clean_up", "destroyed", "made", "clean_up"}));
  EXPECT_EQ(data.GetNfile(), 2);
  EXPECT_EQ(data.GetNprop(), 1);
}

TEST_F(InitSteps, AreUndoneByClean) {
  ASSERT_EQ(init(list("file.raw\n")), 0);
  script.asked.clear();
  data.Clean();
  EXPECT_EQ(script.asked, (steps{"clean_up", "destroyed"}));
  EXPECT_EQ(data.GetStatus() + data.GetNfile() + data.GetNprop() + data.GetDebug(), 0);
  EXPECT_EQ(data.GetFileName(), nullptr);
  EXPECT_EQ(data.GetFiles(), nullptr);
  EXPECT_EQ(data.GetLprop(), nullptr);
  EXPECT_EQ(data.GetRes(), nullptr);
  EXPECT_EQ(data.GetReader(), nullptr);
  data.Clean();
  EXPECT_EQ(script.asked.size(), 2u);
}

TEST_F(InitSteps, AreUndoneByTheDestructor) {
  auto owned = std::make_unique<ravo_daq_data>();
  ASSERT_EQ(owned->Init(list("file.raw\n").c_str(), &properties, 0, &period, &start, &stop), 0);
  script.asked.clear();
  owned.reset();
  EXPECT_EQ(script.asked, (steps{"clean_up", "destroyed"}));
}

TEST_F(InitSteps, ReadTheNextEventIntoTheResult) {
  ASSERT_EQ(init(list("file.raw\n")), 0);
  ravo_channel_entry_long entry{};
  script.event = {&entry};
  script.asked.clear();
  EXPECT_EQ(data.GetData(), 0);
  EXPECT_EQ(script.asked, steps{"get_data null 1"});
  EXPECT_EQ(*data.GetRes(), script.event);
}

TEST_F(InitSteps, AreFollowedByNoEventWhereTheReaderHasNone) {
  ASSERT_EQ(init(list("file.raw\n")), 0);
  EXPECT_EQ(listen([&] { EXPECT_EQ(data.GetData(), end_of_data); }).error,
            "ravo_daq_data::GetData: wrong data size= 0\n");
  for (const int result : {-3, 1}) {
    script.results["get_data"] = result;
    EXPECT_EQ(listen([&] { EXPECT_EQ(data.GetData(), end_of_data); }).error,
              "ravo_daq_data::GetData: data are not read\n");
  }
  EXPECT_EQ(data.GetStatus(), 1);
}

// ---- lines of the list file

struct lines {
  std::string text;
  steps files;
};

class ListFile : public scripted_data, public testing::WithParamInterface<lines> {};

TEST_P(ListFile, NamesFilesByTheFirstWordsOfItsLines) {
  const bool any = !GetParam().files.empty();
  EXPECT_EQ(listen([&] { EXPECT_EQ(init(list(GetParam().text)), any ? 0 : -3); }).error,
            any ? "" : "ravo_daq_data::Init: no data files\n");
  steps added;
  for (const std::string& step : script.asked)
    if (step.starts_with("add_file ")) added.push_back(step.substr(9, step.size() - 9 - 7));
  EXPECT_EQ(added, GetParam().files);
  ASSERT_NE(data.GetFiles(), nullptr);
  EXPECT_EQ(steps(data.GetFiles()->begin(), data.GetFiles()->end()), GetParam().files);
  EXPECT_EQ(data.GetNfile(), static_cast<int>(GetParam().files.size()));
}

const std::string x255(255, 'x');

INSTANTIATE_TEST_SUITE_P(
    Lines, ListFile,
    testing::Values(lines{"", {}}, lines{"\n\n\n", {}}, lines{"       \n", {}}, lines{"         ", {}},
                    lines{"\t\v\f\r \n", {}}, lines{"#a.raw\n%b.raw\n*c.raw\n", {}},
                    // A blank before the sign makes it part of a name.
                    lines{" #a.raw\n %b.raw\n\t*c.raw\n", {"#a.raw", "%b.raw", "*c.raw"}},
                    lines{"x#a.raw\n", {"x#a.raw"}}, lines{"abcde\n", {"abcde"}}, lines{"ab\n", {}},
                    lines{"abc\n", {}}, lines{"abcd\n", {"abcd"}}, lines{"a   \n", {"a"}},
                    // The last line may lack its end, which counts where there is one.
                    lines{"abcde", {"abcde"}}, lines{"abcd", {}},
                    lines{"one.raw\ntwo.raw", {"one.raw", "two.raw"}},
                    lines{"  one.raw  with more words\n", {"one.raw"}}, lines{"one.raw\r\n", {"one.raw"}},
                    lines{"same.raw\nsame.raw\n", {"same.raw", "same.raw"}},
                    // A line of more than 255 characters is read in pieces, each for itself.
                    lines{x255.substr(1) + "\n", {x255.substr(1)}}, lines{x255 + "\n", {x255}},
                    lines{x255 + "yyyyy\n", {x255, "yyyyy"}}, lines{x255 + "yyy\n", {x255}},
                    lines{x255 + "#yyyyy\n", {x255}}, lines{x255 + x255 + "z.raw\n", {x255, x255, "z.raw"}},
                    lines{"#" + x255.substr(1) + "in.raw\n", {"in.raw"}},
                    lines{std::string(255, ' ') + "in.raw\n", {"in.raw"}}));

// ---- properties

struct counted_name {
  std::string prname;  // with its zeroes
  int prlen;
  std::string channel;  // empty: left out
};

class Property : public scripted_data, public testing::WithParamInterface<counted_name> {};

TEST_P(Property, NamesAChannelByAsMuchAsItCounts) {
  const std::string& name = GetParam().prname;
  const std::unique_ptr<char[]> exact(new char[name.size()]);
  std::copy(name.begin(), name.end(), exact.get());
  property.prname = exact.get();
  property.prlen = GetParam().prlen;
  const bool taken = !GetParam().channel.empty();
  EXPECT_EQ(listen([&] { EXPECT_EQ(init(list("file.raw\n")), taken ? 0 : -4); }).error,
            taken ? "" : "ravo_daq_data::Init: no properties\n");
  EXPECT_EQ(data.GetNprop(), taken ? 1 : 0);
  if (taken) {
    EXPECT_EQ(script.asked.at(script.asked.size() - 2),
              "add_channel " + GetParam().channel + " -1 -1 -1 -1");
  }
}

INSTANTIATE_TEST_SUITE_P(Lengths, Property,
                         testing::Values(counted_name{std::string("TOR\0", 4), 2, ""},
                                         counted_name{std::string("TOR\0", 4), 0, ""},
                                         counted_name{std::string("TOR\0", 4), -2147483647 - 1, ""},
                                         counted_name{std::string("TOR\0", 4), 3, "TO"},
                                         counted_name{std::string("TOR\0", 4), 4, "TOR"},
                                         counted_name{std::string("TOR\0", 4), 5, "TOR"},
                                         counted_name{std::string("TOR\0", 4), 2147483647, "TOR"},
                                         counted_name{std::string("TOR\0TAIL", 8), 9, "TOR"},
                                         // No zero in reach, and nothing is read after what is counted.
                                         counted_name{"TOR", 4, "TOR"},
                                         counted_name{"TOR:3;nick", 11, "TOR:3;nick"}));

TEST_F(InitSteps, LeaveOutPropertiesThatNameNothing) {
  ravo_sprop nameless{label, 5, nullptr, 5, 1, 10};
  char other[8] = "RF";
  ravo_sprop second{nullptr, 0, other, 4, 0, 0};
  properties = {nullptr, &nameless, &property, &second};
  EXPECT_EQ(init(list("file.raw\n")), 0);
  EXPECT_EQ(data.GetNprop(), 2);
  EXPECT_EQ(steps(script.asked.end() - 3, script.asked.end()),
            (steps{"add_channel TOR -1 -1 -1 -1", "add_channel RF -1 -1 -1 -1", "start"}));
}

}  // namespace
}  // namespace ravo::test
