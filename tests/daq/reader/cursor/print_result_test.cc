// What the data access object prints of its files, its properties and its last event, to the letter.
#include <gtest/gtest.h>

#include <iostream>

#include "refusals.h"
#include "scripted/started_data.h"

namespace ravo::test {
namespace {

struct PrintedResult : scripted_data {
  handmade_event event;

  std::size_t add(std::string_view name, int dtype, const std::string& payload,
                  RAVO_EVTYPE type = RAVO_EV_NORMAL) {
    return event.add<older_event>(name, dtype, payload, type);
  }
  using operation = void (ravo_daq_data::*)() const;
  std::string print(operation what) {
    const said heard = listen([&] {
      (data.*what)();
      std::cout.clear();
    });
    EXPECT_EQ(heard.error, "");
    return heard.out;
  }
};

TEST_F(PrintedResult, IsNothingBeforeInit) {
  for (const operation what :
       {&ravo_daq_data::PrintFiles, &ravo_daq_data::PrintProp, &ravo_daq_data::PrintHeader,
        &ravo_daq_data::PrintFast, &ravo_daq_data::PrintNameVal, &ravo_daq_data::PrintSlow,
        &ravo_daq_data::PrintImage, &ravo_daq_data::PrintAll})
    EXPECT_EQ(print(what), "");
}

TEST_F(PrintedResult, ListsFilesAlsoOfAnInitThatFailed) {
  script.results["start"] = RAVO_DAQ_READER_NO_DATA;
  listen([&] { EXPECT_EQ(init(list("one.raw\ntwo.raw\n")), reader_not_started); });
  EXPECT_EQ(print(&ravo_daq_data::PrintFiles),
            "ravo_daq_data: Nfile= 2 = 2 Files " + printed(data.GetFiles()) + "\n0: one.raw\n1: two.raw\n");
  EXPECT_EQ(print(&ravo_daq_data::PrintHeader), "");
}

TEST_F(PrintedResult, ListsThePropertiesAsTheyWereGiven) {
  char other_label[8] = "short", other[8] = "RF";
  ravo_sprop left_out{other_label, 6, other, 2, 2, 11};
  properties = {&property, nullptr, &left_out};
  ASSERT_EQ(init(list("file.raw\n")), 0);
  EXPECT_EQ(print(&ravo_daq_data::PrintProp), "ravo_daq_data: Nprop= 1 = 3 Lprop " + printed(&properties) +
                                                  "\n0: label len 5 TOR prlen 5 nmemb 1 dtype 10\n"
                                                  "2: short len 6 RF prlen 2 nmemb 2 dtype 11\n");
}

TEST_F(PrintedResult, FailsTheStreamAtANullText) {
  ravo_sprop nameless{nullptr, 0, channel, 5, 1, 10};
  properties = {&nameless, &property};
  ASSERT_EQ(init(list("file.raw\n")), 0);
  const std::string head = "ravo_daq_data: Nprop= 2 = 2 Lprop " + printed(&properties) + "\n";
  listen([&] {
    data.PrintProp();
    EXPECT_TRUE(std::cout.fail());
    std::cout.clear();
  });
  EXPECT_EQ(print(&ravo_daq_data::PrintProp), head + "0: ");
  nameless = {label, 0, nullptr, 5, 1, 10};
  EXPECT_EQ(print(&ravo_daq_data::PrintProp), head + "0: label len 0 ");
}

TEST_F(PrintedResult, IdentifiesTheEventByItsFirstChannel) {
  add("TOR", RAVO_BLOCK_TOROID, "");
  add("RF", RAVO_BLOCK_RF_250K, "");
  event.header(1).event_number = 999;
  (*event.result())[0]->event_id.time = {123, 456};
  read(*event.result());
  EXPECT_EQ(print(&ravo_daq_data::PrintHeader),
            "ravo_daq_data::PrintHeader: nprop= 2\n"
            " event 100 time 123 - 456 type 1 status 2 Nsvrb 3 len 444\n");
}

TEST_F(PrintedResult, HasOnlyTheNumberOfChannelsWithoutAnEventHeader) {
  add("TOR", RAVO_BLOCK_TOROID, "");
  read({nullptr, event.result()->at(0)});
  EXPECT_EQ(print(&ravo_daq_data::PrintHeader), "ravo_daq_data::PrintHeader: nprop= 2\n");
  event.addresses(0).evhd = 0;
  read(*event.result());
  EXPECT_EQ(print(&ravo_daq_data::PrintHeader), "ravo_daq_data::PrintHeader: nprop= 1\n");
  script.event.clear();
  listen([&] { EXPECT_EQ(data.GetData(), end_of_data); });
  EXPECT_EQ(print(&ravo_daq_data::PrintHeader), "ravo_daq_data::PrintHeader: nprop= 0\n");
}

TEST_F(PrintedResult, GivesOfAnArrayTheMemberWithTheNumberOfTheChannel) {
  for (const char* name : {"A", "B", "C"}) add(name, RAVO_BLOCK_RF_250K, two_spectra<older_event>());
  std::vector<ravo_channel_entry_long*> entries = *event.result();
  entries.insert(entries.begin() + 1, nullptr);
  read(entries);
  const char* const first = event.data(0) + 16 + 8;
  const std::string line = " dtype 11 error 21 length 92 start 0.5 inc 0.25 ndata 3 arr ";
  EXPECT_EQ(print(&ravo_daq_data::PrintFast), "  0 fast: A" + line + printed(first) + "\n  2 fast: B" +
                                                  line + "0\n  3 fast: C" + line + "0\n");
  read({event.result()->at(1), event.result()->at(0)});
  EXPECT_EQ(print(&ravo_daq_data::PrintFast), "  0 fast: B" + line + printed(event.data(1) + 24) +
                                                  "\n  1 fast: A" + line + printed(first + 12) + "\n");
}

TEST_F(PrintedResult, TakesTheTypes6To21But13ForArrays) {
  std::string expected;
  for (int type = 4; type <= 28; ++type) add("T" + std::to_string(type), type | 9 << 16, "");
  read(*event.result());
  for (int type = 6; type <= 21; ++type)
    if (type != 13)
      expected += "  " + std::to_string(type - 4) + " fast: T" + std::to_string(type) + " dtype " +
                  std::to_string(type | 9 << 16) + " error 21 length 44 start 0 inc 1 ndata 0 arr 0\n";
  EXPECT_EQ(print(&ravo_daq_data::PrintFast), expected);
}

TEST_F(PrintedResult, ListsNameValueBlocksByTheirWholeType) {
  const std::string block =
      bytes_of(ravo_name_value_block{42, "settings", 1}) + bytes_of(ravo_name_value_channel{"gain", 1.5f});
  add("OTHER", RAVO_BLOCK_NAME_VALUE | 1 << 16, block);
  add("SET", RAVO_BLOCK_NAME_VALUE, block);
  read(*event.result());
  EXPECT_EQ(print(&ravo_daq_data::PrintNameVal),
            "  1 NameValue: SET dtype 22 error 21 length 216 start 0 inc 1 ndata 0\n");
}

TEST_F(PrintedResult, ListsSlowValuesByTheirProperties) {
  add("TOR", RAVO_BLOCK_TOROID, "");
  const std::size_t i =
      add("SERVER", RAVO_UPD_BLOCK, update_payload<older_event>("MAGNET", 1.5f), RAVO_EV_UPD);
  (*event.result())[i]->event_id.time = {77, 88};
  add("ENV", RAVO_ENV_BLOCK, std::string(20, '\0'), RAVO_EV_ENV);
  add("CUT", RAVO_UPD_BLOCK, "MAGNET", RAVO_EV_UPD);
  read(*event.result());
  EXPECT_EQ(print(&ravo_daq_data::PrintSlow), "  1 slow: MAGNET dtype 1 stat 3 time 77 - 88 value 1.5\n");
}

TEST_F(PrintedResult, ListsFramesOfBothLayouts) {
  add("TOR", RAVO_BLOCK_TOROID, "");
  add("CAM", RAVO_BLOCK_IMAGE, plain_frame(5u << 16 | 3, 6u << 16 | 2, 0, "abcdef"), RAVO_EV_IMAGE);
  const ravo_image_ext_frame_head head{1,  2,  3,    2,    5,    6,    1,    8,  9,  10, 11, 12, 13,
                                       14, 15, 16.5, 17.5, 18.5, 19.5, 20.5, 21, 22, 23, 24, 6};
  add("EXT", RAVO_BLOCK_IMAGE_EXT, bytes_of(head) + "abcdef", RAVO_EV_IMAGE);
  read(*event.result());
  EXPECT_EQ(print(&ravo_daq_data::PrintImage),
            "  1 image: CAM dtype 13 error 21 length 78 x 3 y 2 bpp 1 ev_num 1234\n"
            "  2 image_ext: EXT dtype 27 error 21 ev_num 14 len 6 width 1 height 2 aoi_width 3 aoi_height 2"
            " x_start 5 y_start 6 bpp 1 ebitpp 8 hbin 9 vbin 10 source_format 11 image_format 12 frame 13"
            " event 14 scale_x 15 scale_y 16.5 image_rotation 17.5 fspare2 18.5 fspare3 19.5 fspare4 20.5"
            " image_flags 21 ispare2 22 ispare3 23 ispare4 24\n");
}

TEST_F(PrintedResult, HasZeroesForBlocksThatLie) {
  add("RF", RAVO_BLOCK_RF_250K, two_spectra<older_event>());
  event.data<std::int32_t>(0)[1] = 0x7fffffff;
  add("CAM", RAVO_BLOCK_IMAGE, plain_frame(3, 2, 1, "abcdef").substr(0, 33), RAVO_EV_IMAGE);
  for (const int ldata : {0, 43, 44, 45, -1, -2147483647 - 1}) {
    event.block<older_event>(0).ldata = ldata;
    event.block<older_event>(1).ldata = ldata;
    read(*event.result());
    const std::string length = std::to_string(ldata);
    EXPECT_EQ(print(&ravo_daq_data::PrintFast),
              "  0 fast: RF dtype 11 error 21 length " + length + " start 0 inc 1 ndata 0 arr 0\n");
    EXPECT_EQ(print(&ravo_daq_data::PrintImage),
              "  1 image: CAM dtype 13 error 21 length " + length + " x 0 y 0 bpp 0 ev_num 0\n");
  }
}

TEST_F(PrintedResult, ReadsNoNameBeyondItsField) {
  add(std::string(32, 'n'), RAVO_BLOCK_TOROID, "");
  event.block<older_event>(0).dtype = RAVO_BLOCK_TOROID;
  read(*event.result());
  EXPECT_EQ(print(&ravo_daq_data::PrintFast).substr(0, 10 + 32 + 9),
            "  0 fast: " + std::string(32, 'n') + " dtype 10");
}

TEST_F(PrintedResult, LeavesOutInvalidChannels) {
  event.add<current_event>("NEW", RAVO_BLOCK_2CHAN_2010, two_spectra<current_event>());
  add("GONE", RAVO_BLOCK_TOROID, "");
  event.addresses(1).chhd = 0;
  event.addresses(1).data = 0;
  read(*event.result());
  EXPECT_EQ(print(&ravo_daq_data::PrintFast) + print(&ravo_daq_data::PrintSlow) +
                print(&ravo_daq_data::PrintNameVal) + print(&ravo_daq_data::PrintImage),
            "");
}

TEST_F(PrintedResult, ComesWholeInTheOrderOfTheKinds) {
  add("CAM", RAVO_BLOCK_IMAGE, plain_frame(1, 1, 1, "a"), RAVO_EV_IMAGE);
  add("SERVER", RAVO_UPD_BLOCK, update_payload<older_event>("MAGNET", 1.5f), RAVO_EV_UPD);
  add("SET", RAVO_BLOCK_NAME_VALUE, bytes_of(ravo_name_value_block{42, "settings", 0}));
  add("TOR", RAVO_BLOCK_TOROID, "");
  read(*event.result());
  const std::string all = print(&ravo_daq_data::PrintAll);
  EXPECT_EQ(all, print(&ravo_daq_data::PrintHeader) + print(&ravo_daq_data::PrintFast) +
                     print(&ravo_daq_data::PrintNameVal) + print(&ravo_daq_data::PrintSlow) +
                     print(&ravo_daq_data::PrintImage));
  EXPECT_LT(all.find("nprop= 4"), all.find("  3 fast: TOR"));
  EXPECT_LT(all.find("  3 fast: TOR"), all.find("  2 NameValue: SET"));
  EXPECT_LT(all.find("  2 NameValue: SET"), all.find("  1 slow: MAGNET"));
  EXPECT_LT(all.find("  1 slow: MAGNET"), all.find("  0 image: CAM"));
}

}  // namespace
}  // namespace ravo::test
