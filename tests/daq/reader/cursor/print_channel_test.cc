// What the cursor prints of one channel: the line of its headers, then its members by its class.
#include <gtest/gtest.h>

#include <iostream>

#include "handmade_event.h"
#include "ravo_daq_data.h"

namespace ravo::test {
namespace {

template <class generation>
struct PrintedChannel : testing::Test {
  handmade_event event;
  ravo_daq_getdata cursor;

  std::string print(std::string_view name, int dtype, const std::string& payload,
                    RAVO_EVTYPE event_type = RAVO_EV_NORMAL) {
    const auto i = static_cast<int>(event.add<generation>(name, dtype, payload, event_type));
    cursor.Clean();
    EXPECT_GT(cursor.SetRes(event.result()), 0);
    const said heard = listen([&] { cursor.PrintProp(i); });
    EXPECT_TRUE(std::cout.good());
    EXPECT_EQ(cursor.GetChanNumb(), i);
    error = heard.error;
    return heard.out;
  }
  // The lines of the headers, which the handmade event has for every channel.
  static std::string head(const std::string& name, int dtype, int proptype, std::size_t payload,
                          int members) {
    return " channel " + name + " dtype " + std::to_string(dtype) + " error 21 proptype " +
           std::to_string(proptype) + " mpls 12 tmask(hex) d status(hex) e\n time 1600000001-17 Ldata " +
           std::to_string(payload + generation::head_size) + " Nmemb= " + std::to_string(members) + "\n";
  }
  std::string error;
};
TYPED_TEST_SUITE(PrintedChannel, event_generations, event_generation_name);

TYPED_TEST(PrintedChannel, IsRefusedBeforeSelectionAndBeyondTheEvent) {
  EXPECT_EQ(listen([&] { this->cursor.PrintProp(0); }).error,
            "ravo_daq_getdata::PrintProp: wrong Status= 0\n");
  this->print("A", TypeParam::spectrum_type, two_spectra<TypeParam>());
  for (const int ich : {-1, 1, 0x7fffffff}) {
    const said heard = listen([&] { this->cursor.PrintProp(ich); });
    EXPECT_EQ(heard.error,
              "ravo_daq_getdata::PrintProp: wrong ich= " + std::to_string(ich) + " Nchan= 1\n");
    EXPECT_EQ(heard.out, "");
  }
}

TYPED_TEST(PrintedChannel, HasEverySpectrumWithItsValues) {
  const int type = TypeParam::is_current ? RAVO_BLOCK_RF_250K_2010 : RAVO_BLOCK_RF_250K;
  const std::string payload = two_spectra<TypeParam>();
  const std::string axis = " start 0.5 inc 0.25 ndata 3 groups 1 groups_inc ";
  const std::string groups_inc = TypeParam::is_current ? "100\n" : "0\n";
  EXPECT_EQ(this->print("RF", type, payload), this->head("RF", type, 3, payload.size(), 2) + "AMPLITUDE" +
                                                  axis + groups_inc + "           0 1 2\nPHASE" + axis +
                                                  groups_inc + "           10 11 12\n");
  EXPECT_EQ(this->error, "");
}

TYPED_TEST(PrintedChannel, HasTenValuesInALine) {
  const std::string values = floats({0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11});
  const std::string payload = TypeParam::is_current
                                  ? bytes_of(ravo_spect_head_2010{1, 6, 2, 0, 1, 6, 0, 0}) + values
                                  : bytes_of(ravo_spect_head{1, 12, 0, 1}) + floats({0}) + values;
  const int type = TypeParam::is_current ? RAVO_BLOCK_TOROID_2010 : RAVO_BLOCK_TOROID;
  EXPECT_EQ(this->print("T", type, payload),
            this->head("T", type, 3, payload.size(), 1) +
                (TypeParam::is_current ? "CHARGE start 0 inc 1 ndata 6 groups 2 groups_inc 6\n"
                                       : "CHARGE start 0 inc 1 ndata 12 groups 1 groups_inc 0\n") +
                "           0 1 2 3 4 5 6 7 8 9\n           10 11\n");
}

TYPED_TEST(PrintedChannel, HasTheValueOfASlowOne) {
  const std::string payload = update_payload<TypeParam>("PROP", 12.5f);
  EXPECT_EQ(this->print("S", TypeParam::update_type, payload, RAVO_EV_UPD),
            this->head("S", TypeParam::update_type, 2, payload.size(), 1) + "VALUE value= 12.5\n");
}

TYPED_TEST(PrintedChannel, HasEveryRecordOfANameValueBlock) {
  const std::string payload = bytes_of(ravo_name_value_block{42, "settings", 2}) +
                              bytes_of(ravo_name_value_channel{"gain", 1.5f}) +
                              bytes_of(ravo_name_value_channel{"offset", -2});
  EXPECT_EQ(
      this->print("S", RAVO_BLOCK_NAME_VALUE, payload),
      this->head("S", RAVO_BLOCK_NAME_VALUE, 2, payload.size(), 1) + "gain value= 1.5\noffset value= -2\n");
}

TYPED_TEST(PrintedChannel, HasTheTextOfAnOlderEventOnly) {
  const std::string printed = this->print("T", RAVO_BLOCK_NAME_VALUE_STRING, std::string("beam on\0", 8));
  const std::string head = this->head("T", RAVO_BLOCK_NAME_VALUE_STRING, 1, 8, 1);
  EXPECT_EQ(printed,
            head + (TypeParam::is_current ? "TEXT string:  len= 0\n" : "TEXT string: beam on len= 7\n"));
  EXPECT_EQ(this->error, TypeParam::is_current ? "ravo_daq_getdata::GetString: 1" : "");
}

TYPED_TEST(PrintedChannel, HasTheSizeOfAFrame) {
  const std::string payload = plain_frame(5u << 16 | 3, 6u << 16 | 2, 8u << 18 | 9u << 4, "abcdef");
  EXPECT_EQ(this->print("CAM", RAVO_BLOCK_IMAGE, payload, RAVO_EV_IMAGE),
            this->head("CAM", RAVO_BLOCK_IMAGE, 4, payload.size(), 1) +
                "IMAGE xstart 5 xinc 8 ystart 6 yinc 9 nx 3 ny 2 len 6\n");
}

TYPED_TEST(PrintedChannel, HasNamesOnlyWhereTheBlockLiesOrIsEmpty) {
  const int type = TypeParam::is_current ? RAVO_BLOCK_RF_250K_2010 : RAVO_BLOCK_RF_250K;
  EXPECT_EQ(this->print("A", type, ""), this->head("A", type, 3, 0, 2) + "AMPLITUDE\nPHASE\n");
  const std::string cut = two_spectra<TypeParam>().substr(0, 20);
  EXPECT_EQ(this->print("B", type, cut), this->head("B", type, 3, 20, 2) + "AMPLITUDE\nPHASE\n");
  EXPECT_EQ(this->print("C", TypeParam::update_type, "", RAVO_EV_UPD),
            this->head("C", TypeParam::update_type, 2, 0, 1) + "VALUE\n");
  const std::string records = bytes_of(ravo_name_value_block{42, "settings", 7});
  EXPECT_EQ(this->print("D", RAVO_BLOCK_NAME_VALUE, records),
            this->head("D", RAVO_BLOCK_NAME_VALUE, 2, records.size(), 1) + "VALUE\n");
  EXPECT_EQ(this->print("E", RAVO_BLOCK_IMAGE, "abc", RAVO_EV_IMAGE),
            this->head("E", RAVO_BLOCK_IMAGE, 4, 3, 1) +
                "IMAGE xstart 0 xinc 0 ystart 0 yinc 0 nx 0 ny 0 len -2\n");
  EXPECT_EQ(this->print("F", 999, "abc"), this->head("F", 999, 3, 3, 0));
}

TYPED_TEST(PrintedChannel, HasNoMoreMembersThanItsBlockHasBytes) {
  const std::string payload = bytes_of(ravo_spect_head_2010{RAVO_SPECT_MOST_MEMBERS, 0, 1, 0, 1, 0, 0, 0});
  const std::string printed = this->print("G", RAVO_BLOCK_GENERIC_SPECT, payload);
  EXPECT_EQ(printed.substr(0, printed.find('\n', printed.find('\n') + 1) + 1),
            this->head("G", RAVO_BLOCK_GENERIC_SPECT, 3, payload.size(), RAVO_SPECT_MOST_MEMBERS));
  EXPECT_EQ(std::count(printed.begin(), printed.end(), '\n') - 2, 32 + TypeParam::head_size);
}

TYPED_TEST(PrintedChannel, IsAbsentWithoutItsHeader) {
  this->print("A", TypeParam::spectrum_type, two_spectra<TypeParam>());
  this->event.addresses(0).chhd = 0;
  this->event.addresses(0).data = 0;
  const said heard = listen([&] { this->cursor.PrintProp(0); });
  EXPECT_EQ(heard.error, "ravo_daq_getdata::SetHead: channel header pointer = NULL\n");
  EXPECT_EQ(heard.out, "");
}

TYPED_TEST(PrintedChannel, EndsAtTheFieldOfItsName) {
  const std::string name(sizeof(TypeParam::subhead::chname), 'n');
  EXPECT_EQ(this->print(name, 999, "abc"), this->head(name, 999, 3, 3, 0));
}

}  // namespace
}  // namespace ravo::test
