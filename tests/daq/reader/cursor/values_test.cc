// The values of a channel through the cursor, on good, foreign and hostile blocks of both generations.
#include <gtest/gtest.h>

#include "handmade_event.h"
#include "ravo_daq_data.h"
#include "refusals.h"

namespace ravo::test {
namespace {

template <class generation>
struct Values : testing::Test {
  handmade_event event;
  ravo_daq_getdata cursor;

  void show(int type, const std::string& payload, RAVO_EVTYPE event_type = RAVO_EV_NORMAL) {
    event.add<generation>("CHAN", type, payload, event_type);
    cursor.Clean();
    ASSERT_GT(cursor.SetRes(event.result()), 0);
    cursor.SetChan(cursor.GetNchan() - 1);
  }
  void show_slow() {
    show(generation::update_type, update_payload<generation>("PROP", 12.5f), RAVO_EV_UPD);
  }
  void show_spectra() { show(generation::spectrum_type, two_spectra<generation>()); }
  void show_records(int ndata) {
    ravo_name_value_block head{42, "settings", ndata};
    show(RAVO_BLOCK_NAME_VALUE, bytes_of(head) + bytes_of(ravo_name_value_channel{"gain", 1.5f}) +
                                    bytes_of(ravo_name_value_channel{"offset", -2}));
  }
};
TYPED_TEST_SUITE(Values, event_generations, event_generation_name);

TYPED_TEST(Values, GiveTheSlowValueWithStatusAndTime) {
  this->show_slow();
  float value = 0;
  int status = 0;
  long seconds = 0;
  EXPECT_EQ(this->cursor.GetSlowPrm(&value, &status, &seconds), 0);
  EXPECT_EQ(value, 12.5f);
  EXPECT_EQ(status, 3);
  EXPECT_EQ(seconds, 1700000000);
  EXPECT_EQ(this->cursor.GetSlowPrm(nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(this->cursor.GetSingle(0), 12.5f);
}

TEST(CurrentValues, AreAbsentAfterCleanThoughTheHeaderIsStillKnown) {
  handmade_event event;
  event.add<current_event>("S", RAVO_UPD_BLOCK_2010, update_payload<current_event>("PROP", 12.5f),
                           RAVO_EV_UPD);
  event.add<current_event>("N", RAVO_BLOCK_NAME_VALUE, bytes_of(ravo_name_value_block{1, "", 0}));
  ravo_daq_getdata cursor;
  cursor.SetRes(event.result());
  cursor.Clean();
  EXPECT_EQ(listen([&] { EXPECT_EQ(cursor.GetSingle(0), 0.0f); }).error,
            "ravo_daq_getdata::GetSingle: 0 DType33");
  EXPECT_EQ(cursor.GetSlowPrm(nullptr, nullptr, nullptr), 1);
  cursor.SetRes(event.result());
  cursor.SetChan(1);
  cursor.Clean();
  EXPECT_EQ(listen([&] { EXPECT_EQ(cursor.GetValNamChan(nullptr, nullptr, 0), 1); }).error,
            "ravo_daq_getdata::GetValNamChan() 0 DType22");
  EXPECT_EQ(cursor.GetValNamPrm(nullptr, nullptr, nullptr, nullptr, nullptr), 1);
}

TYPED_TEST(Values, AreAbsentInACutSlowBlock) {
  const std::string whole = update_payload<TypeParam>("PROP", 12.5f);
  this->show(TypeParam::update_type, whole.substr(0, whole.size() - 1), RAVO_EV_UPD);
  EXPECT_EQ(this->cursor.GetSlowPrm(nullptr, nullptr, nullptr), 1);
  EXPECT_EQ(this->cursor.GetSingle(0), 0.0f);
  float value = 7;
  EXPECT_EQ(this->cursor.GetDataPtrs(nullptr, &value, nullptr, 0), 2);
  this->show(TypeParam::update_type, "", RAVO_EV_UPD);
  EXPECT_EQ(this->cursor.GetSingle(0), 0.0f);
}

TYPED_TEST(Values, AreComplainedOfWithoutAHeaderAndForAnotherType) {
  EXPECT_EQ(listen([&] { EXPECT_EQ(this->cursor.GetSingle(0), 0.0f); }).error,
            "ravo_daq_getdata::GetSingle: 0 ChanHeader_2010 == NULL");
  EXPECT_EQ(listen([&] { EXPECT_EQ(this->cursor.GetValNamChan(nullptr, nullptr, 0), 1); }).error,
            "ravo_daq_getdata::GetValNamChan() 0 ChanHeader_2010 == NULL");
  this->show_spectra();
  const std::string type = std::to_string(TypeParam::spectrum_type);
  EXPECT_EQ(listen([&] { EXPECT_EQ(this->cursor.GetSingle(0), 0.0f); }).error,
            "ravo_daq_getdata::GetSingle: 1 DType" + type);
  EXPECT_EQ(listen([&] { EXPECT_EQ(this->cursor.GetValNamChan(nullptr, nullptr, 0), 1); }).error,
            "ravo_daq_getdata::GetValNamChan() 1 DType" + type);
  const said silent = listen([&] {
    EXPECT_EQ(this->cursor.GetSlowPrm(nullptr, nullptr, nullptr), 1);
    EXPECT_EQ(this->cursor.GetValNamPrm(nullptr, nullptr, nullptr, nullptr, nullptr), 1);
  });
  EXPECT_EQ(silent.error + silent.out, "");
}

TYPED_TEST(Values, TakeTheOtherGenerationsUpdateTypeForNone) {
  const int foreign = TypeParam::is_current ? 1 : 33;
  this->show(foreign, update_payload<TypeParam>("PROP", 12.5f), RAVO_EV_UPD);
  EXPECT_EQ(listen([&] { EXPECT_EQ(this->cursor.GetSingle(0), 0.0f); }).error,
            "ravo_daq_getdata::GetSingle: 1 DType" + std::to_string(foreign));
  EXPECT_EQ(this->cursor.GetSlowPrm(nullptr, nullptr, nullptr), 1);
}

TYPED_TEST(Values, GiveNameValueRecords) {
  this->show_records(2);
  ravo_name_value_block* block = nullptr;
  int id = 0, ndata = 0;
  char* comment = nullptr;
  ravo_name_value_channel* records = nullptr;
  ASSERT_EQ(this->cursor.GetValNamPrm(&block, &id, &comment, &ndata, &records), 0);
  EXPECT_EQ(reinterpret_cast<char*>(block), this->event.data(0));
  EXPECT_EQ(id, 42);
  EXPECT_STREQ(comment, "settings");
  EXPECT_EQ(ndata, 2);
  EXPECT_STREQ(records[1].name, "offset");
  char* name = nullptr;
  float value = 0;
  ASSERT_EQ(this->cursor.GetValNamChan(&name, &value, 1), 0);
  EXPECT_STREQ(name, "offset");
  EXPECT_EQ(value, -2.0f);
  EXPECT_EQ(this->cursor.GetSingle(0), 1.5f);
  EXPECT_EQ(this->cursor.GetDataPtrs("CHAN", &value, nullptr, 0), 0);
  EXPECT_EQ(value, 1.5f);
}

TYPED_TEST(Values, EndAtTheLastRecord) {
  this->show_records(2);
  EXPECT_EQ(listen([&] { EXPECT_EQ(this->cursor.GetSingle(2), 0.0f); }).error,
            "ravo_daq_getdata::GetSingle: member number is too big 2 max: 2");
  EXPECT_EQ(listen([&] { EXPECT_EQ(this->cursor.GetValNamChan(nullptr, nullptr, 2), 1); }).error,
            "ravo_daq_getdata::GetValNamChan()  channel is too big 2 max: 2");
  EXPECT_EQ(this->cursor.GetSingle(-1), 0.0f);
  EXPECT_EQ(this->cursor.GetValNamChan(nullptr, nullptr, -1), 1);
  EXPECT_EQ(this->cursor.GetDataPtrs(nullptr, nullptr, nullptr, 2), 2);
}

TYPED_TEST(Values, AreAbsentInANameValueBlockThatLies) {
  for (const int ndata : {3, -1, 0x7fffffff}) {
    this->show_records(ndata);
    EXPECT_EQ(this->cursor.GetValNamPrm(nullptr, nullptr, nullptr, nullptr, nullptr), 1) << ndata;
    EXPECT_EQ(this->cursor.GetSingle(0), 0.0f) << ndata;
    EXPECT_EQ(this->cursor.GetValNamChan(nullptr, nullptr, 0), 1) << ndata;
    EXPECT_EQ(this->cursor.GetDataPtrs(nullptr, nullptr, nullptr, 0), 2) << ndata;
  }
}

// A name has 80 bytes, and all of them may be letters, even in the last record.
TYPED_TEST(Values, GiveRecordsWhoseNamesFillTheirField) {
  const ravo_name_value_block head{42, "settings", 2};
  ravo_name_value_channel full{"", 1.5f};
  std::memset(full.name, 'x', sizeof full.name);
  const ravo_name_value_channel usual{"offset", -2};
  for (const bool is_last : {false, true}) {
    this->show(RAVO_BLOCK_NAME_VALUE,
               bytes_of(head) + bytes_of(is_last ? usual : full) + bytes_of(is_last ? full : usual));
    int ndata = 0;
    ravo_name_value_channel* records = nullptr;
    ASSERT_EQ(this->cursor.GetValNamPrm(nullptr, nullptr, nullptr, &ndata, &records), 0);
    EXPECT_EQ(ndata, 2);
    char* name = nullptr;
    float value = 0;
    const int which = is_last ? 1 : 0;
    ASSERT_EQ(this->cursor.GetValNamChan(&name, &value, which), 0);
    EXPECT_EQ(std::string(name, 80), std::string(80, 'x'));
    EXPECT_EQ(value, 1.5f);
    EXPECT_EQ(this->cursor.GetSingle(which), 1.5f);
  }
}

TYPED_TEST(Values, GiveAListWithoutRecordsWhoseCommentFillsItsField) {
  ravo_name_value_block head{42, "", 0};
  std::memset(head.comment, 'x', sizeof head.comment);
  this->show(RAVO_BLOCK_NAME_VALUE, bytes_of(head));
  char* comment = nullptr;
  ASSERT_EQ(this->cursor.GetValNamPrm(nullptr, nullptr, &comment, nullptr, nullptr), 0);
  EXPECT_EQ(std::string(comment, 80), std::string(80, 'x'));
}

TYPED_TEST(Values, GiveSpectraWithTheirAxes) {
  this->show_spectra();
  float start = 0, inc = 0, groups_inc = -1;
  int ndata = 0, groups = 0;
  float* mean = nullptr;
  ASSERT_EQ(this->cursor.GetSpectPar(&start, &inc, &mean, &ndata, 1, &groups, &groups_inc, nullptr), 0);
  EXPECT_EQ(start, 0.5f);
  EXPECT_EQ(inc, 0.25f);
  EXPECT_EQ(ndata, 3);
  EXPECT_EQ(groups, 1);
  EXPECT_EQ(groups_inc, TypeParam::is_current ? 100.0f : 0.0f);
  ASSERT_NE(this->cursor.GetSpect(1), nullptr);
  EXPECT_EQ(this->cursor.GetSpect(1)[2], 12.0f);
  EXPECT_EQ(this->cursor.GetSpectVal(0, 2), 2.0f);
  float* values = nullptr;
  EXPECT_EQ(this->cursor.GetDataPtrs("CHAN", nullptr, &values, 1), 0);
  EXPECT_EQ(values, this->cursor.GetSpect(1));
}

TYPED_TEST(Values, EndAtTheLastMemberAndSample) {
  this->show_spectra();
  const said member = listen([&] { EXPECT_EQ(this->cursor.GetSpect(2), nullptr); });
  EXPECT_EQ(member.out, "GetSpect() invalid memb:2  max: 2\n");
  EXPECT_EQ(member.error, "");
  for (const int i : {3, -1})
    EXPECT_EQ(listen([&] { EXPECT_EQ(this->cursor.GetSpectVal(0, i), 0.0f); }).out,
              "GetSpectVal() index is too big: " + std::to_string(i) + " max: 3\n");
}

TEST(CurrentValues, CountGroupsTimesSamplesAndReportTheSamples) {
  handmade_event event;
  event.add<current_event>(
      "G", RAVO_BLOCK_1CHAN_2010,
      bytes_of(ravo_spect_head_2010{1, 2, 3, 0, 1, 10, 0, 0}) + floats({0, 1, 2, 3, 4, 5}));
  ravo_daq_getdata cursor;
  cursor.SetRes(event.result());
  EXPECT_EQ(cursor.GetSpectVal(0, 5), 5.0f);
  EXPECT_EQ(listen([&] { EXPECT_EQ(cursor.GetSpectVal(0, 6), 0.0f); }).out,
            "GetSpectVal() index is too big: 6 max: 2\n");
}

TYPED_TEST(Values, AreAbsentInASpectrumThatLies) {
  this->show_spectra();
  this->event.template data<std::int32_t>(0)[1] = 1000;
  this->cursor.SetChan(0);
  const std::string line =
      "ravo_daq_getdata::GetSpectPar: error datatype:" + std::to_string(TypeParam::spectrum_type) +
      " data_2010: " + (TypeParam::is_current ? "1\n" : "0\n");
  EXPECT_EQ(listen([&] { EXPECT_EQ(this->cursor.GetSpectVal(0, 0), 0.0f); }).error, line);
  EXPECT_EQ(this->cursor.GetSpect(0), nullptr);
  float* values = reinterpret_cast<float*>(&this->cursor);
  EXPECT_EQ(listen([&] { EXPECT_EQ(this->cursor.GetDataPtrs(nullptr, nullptr, &values, 0), 0); }).error,
            line);
  EXPECT_EQ(values, nullptr);
}

TYPED_TEST(Values, AreMissingWithoutData) {
  this->show(TypeParam::spectrum_type, "");
  EXPECT_EQ(this->cursor.GetSpectPar(nullptr, nullptr, nullptr, nullptr, 0, nullptr, nullptr, nullptr),
            no_data);
  EXPECT_EQ(this->cursor.GetSpect(0), nullptr);
  EXPECT_EQ(this->cursor.GetDataPtrs(nullptr, nullptr, nullptr, 0), no_data);
  EXPECT_EQ(this->cursor.GetDescr(), no_data);
  this->show(RAVO_BLOCK_IMG_ROI1, "");
  EXPECT_EQ(this->cursor.GetRoiPar(nullptr, nullptr, nullptr, nullptr, nullptr, 0), no_data);
}

TYPED_TEST(Values, GiveRegionsOfInterest) {
  this->show(RAVO_BLOCK_IMG_ROI3, bytes_of(ravo_roi_head{10, 20, 2, 1}) + floats({1, 2, 3}));
  void* block = nullptr;
  float start = 0, inc = 0;
  int ndata = 0;
  ASSERT_EQ(this->cursor.GetRoiPar(&block, &start, &inc, nullptr, &ndata, 1), 0);
  EXPECT_EQ(block, this->event.data(0));
  EXPECT_EQ(start, 20.0f);
  EXPECT_EQ(inc, 1.0f);
  EXPECT_EQ(ndata, 1);
  EXPECT_EQ(listen([&] {
              EXPECT_EQ(this->cursor.GetRoiPar(nullptr, nullptr, nullptr, nullptr, nullptr, 2), other_kind);
            }).error,
            "ravo_daq_getdata::GetSpectPar: error datatype26\n");
}

TYPED_TEST(Values, OfARegionAreComplainedOfInOlderEventsOnly) {
  this->show_spectra();
  const said heard = listen([&] {
    EXPECT_EQ(this->cursor.GetRoiPar(nullptr, nullptr, nullptr, nullptr, nullptr, 0), other_kind);
  });
  EXPECT_EQ(heard.out, "");
  EXPECT_EQ(heard.error, TypeParam::is_current ? "" : "ravo_daq_getdata::GetRoiPrm: 1 DType11");
}

TYPED_TEST(Values, ByNameReportWhyTheyAreMissing) {
  EXPECT_EQ(listen([&] {
              EXPECT_EQ(this->cursor.GetDataPtrs("A", nullptr, nullptr, 0), nothing_selected);
            }).error,
            "ravo_daq_getdata::GetDataPtrs: wrong status= 0\n");
  this->show_slow();
  EXPECT_EQ(this->cursor.GetDataPtrs("none", nullptr, nullptr, 0), 3);
  float value = 0;
  EXPECT_EQ(this->cursor.GetDataPtrs("PROP", &value, nullptr, 0), 0);
  EXPECT_EQ(value, 12.5f);
  this->show(RAVO_BLOCK_NAME_VALUE_STRING, std::string("text\0", 5));
  EXPECT_EQ(this->cursor.GetDataPtrs(nullptr, nullptr, nullptr, 0), 3);
  this->show(RAVO_BLOCK_IMAGE, plain_frame(1, 1, 1, "a"));
  EXPECT_EQ(this->cursor.GetDataPtrs(nullptr, nullptr, nullptr, 0), 3);
  this->show(TypeParam::update_type, update_payload<TypeParam>("PROP", 1));
  EXPECT_EQ(this->cursor.GetDataPtrs(nullptr, nullptr, nullptr, 0), 3);
}

TYPED_TEST(Values, AreDescribedInCurrentEventsOnly) {
  this->show_spectra();
  const said heard = listen([&] { EXPECT_EQ(this->cursor.GetDescr(), TypeParam::is_current ? 0 : -1); });
  EXPECT_EQ(heard.out.empty(), !TypeParam::is_current);
}

TYPED_TEST(Values, ComeWithTheirEvent) {
  EXPECT_EQ(listen([&] { this->cursor.PrintEvent(); }).error,
            "ravo_daq_getdata::PrintEvent: wrong Status= 0\n");
  this->show_spectra();
  EXPECT_EQ(listen([&] { this->cursor.PrintEvent(); }).out,
            "event 100 evtype 1 len 444 time 1600000000-250000 Nsvrb 3status(hex) 2 \n");
}

TYPED_TEST(Values, AreComplainedOfWhenTheHeaderOfTheSelectionIsMissing) {
  this->show_spectra();
  this->show_spectra();
  this->event.addresses(0).chhd = 0;
  const std::string null = TypeParam::is_current ? "1 ChanHeader_2010 == NULL" : "1 ChanHeader == NULL";
  EXPECT_EQ(listen([&] { EXPECT_EQ(this->cursor.SetChan(0), no_channel_header); }).error,
            "ravo_daq_getdata::SetHead: channel header pointer = NULL\n");
  EXPECT_EQ(listen([&] { EXPECT_EQ(this->cursor.GetSingle(0), 0.0f); }).error,
            "ravo_daq_getdata::GetSingle: " + null);
  EXPECT_EQ(listen([&] { EXPECT_EQ(this->cursor.GetValNamChan(nullptr, nullptr, 0), 1); }).error,
            "ravo_daq_getdata::GetValNamChan() " + null);
  EXPECT_EQ(listen([&] {
              EXPECT_EQ(this->cursor.GetRoiPar(nullptr, nullptr, nullptr, nullptr, nullptr, 0), other_kind);
            }).error,
            TypeParam::is_current ? "" : "ravo_daq_getdata::GetRoiPrm: " + null);
  EXPECT_EQ(listen([&] {
              EXPECT_EQ(this->cursor.GetChanInfo(nullptr, nullptr, nullptr, nullptr), nothing_selected);
            }).error,
            "ravo_daq_getdata::GetChanInfo: wrong Status= 1 ChanHeader 0\n");
  EXPECT_EQ(listen([&] { EXPECT_EQ(this->cursor.GetString(0, nullptr), nullptr); }).error,
            "ravo_daq_getdata::GetString: 1");
  listen([&] {
    EXPECT_EQ(this->cursor.GetSpect(0), nullptr);
    EXPECT_EQ(this->cursor.GetSpectVal(0, 0), 0.0f);
    EXPECT_EQ(this->cursor.GetDescr(), TypeParam::is_current ? 1 : -1);
  });
}

TYPED_TEST(Values, AreAbsentForANegativeMember) {
  this->show_spectra();
  const said heard = listen([&] {
    EXPECT_EQ(this->cursor.GetSpect(-1), nullptr);
    EXPECT_EQ(this->cursor.GetSpectPar(nullptr, nullptr, nullptr, nullptr, -1, nullptr, nullptr, nullptr),
              other_kind);
    EXPECT_EQ(this->cursor.GetSpectVal(-1, 0), 0.0f);
  });
  EXPECT_EQ(heard.out, "GetSpect() invalid memb:-1  max: 2\n");
  const std::string line =
      "ravo_daq_getdata::GetSpectPar: error datatype:" + std::to_string(TypeParam::spectrum_type) +
      " data_2010: " + (TypeParam::is_current ? "1\n" : "0\n");
  EXPECT_EQ(heard.error, line + line);
  this->show(RAVO_BLOCK_IMG_ROI1, bytes_of(ravo_roi_head{10, 20, 2, 1}) + floats({1, 2, 3}));
  EXPECT_EQ(listen([&] {
              EXPECT_EQ(this->cursor.GetRoiPar(nullptr, nullptr, nullptr, nullptr, nullptr, -1),
                        other_kind);
            }).error,
            "ravo_daq_getdata::GetSpectPar: error datatype24\n");
}

TYPED_TEST(Values, OfARegionAreAbsentWhereItLiesAboutItsSize) {
  for (const auto& [width, height] : {std::pair{3, 1}, {2, 0}, {-1, 4}, {0x7fffffff, -0x7fffffff + 3}}) {
    this->show(RAVO_BLOCK_IMG_ROI1, bytes_of(ravo_roi_head{10, 20, width, height}) + floats({1, 2, 3}));
    EXPECT_EQ(listen([&] {
                EXPECT_EQ(this->cursor.GetRoiPar(nullptr, nullptr, nullptr, nullptr, nullptr, 0),
                          other_kind);
              }).error,
              "ravo_daq_getdata::GetSpectPar: error datatype24\n");
  }
}

TYPED_TEST(Values, KeepOutputsThatTheBlockDoesNotFill) {
  this->show(RAVO_BLOCK_NAME_VALUE, bytes_of(ravo_name_value_block{42, "settings", 1}));
  ravo_name_value_block* block = nullptr;
  int id = -5, ndata = -5;
  EXPECT_EQ(this->cursor.GetValNamPrm(&block, &id, nullptr, &ndata, nullptr), 1);
  EXPECT_EQ(block, nullptr);
  EXPECT_EQ(id, -5);
  EXPECT_EQ(ndata, -5);
  float start = -5, groups_inc = -5;
  int groups = -5;
  listen([&] {
    EXPECT_EQ(this->cursor.GetSpectPar(&start, nullptr, nullptr, nullptr, 0, &groups, &groups_inc, nullptr),
              other_kind);
  });
  EXPECT_EQ(start, -5.0f);
  EXPECT_EQ(groups, 1);
  EXPECT_EQ(groups_inc, 0.0f);
}

TYPED_TEST(Values, ByNameAreAbsentWhereTheNamedChannelHasNoData) {
  this->event.template add<TypeParam>("EMPTY", RAVO_BLOCK_NAME_VALUE, "");
  this->event.template add<TypeParam>("SLOW", RAVO_BLOCK_NAME_VALUE, "", RAVO_EV_UPD);
  this->show_spectra();
  EXPECT_EQ(this->cursor.GetDataPtrs("SLOW", nullptr, nullptr, 0), 2);
  this->cursor.SetProp("CHAN");
  EXPECT_EQ(this->cursor.GetDataPtrs("EMPTY", nullptr, nullptr, 0), 2);
  EXPECT_EQ(this->cursor.GetDataPtrs("CHAN", nullptr, nullptr, 0), no_data);
}

TYPED_TEST(Values, AreOfNoKnownClassWhereADerivedCursorSaysSo) {
  struct open_cursor : ravo_daq_getdata {
    using ravo_daq_getdata::PropType;
  } open;
  this->event.template add<TypeParam>("A", TypeParam::spectrum_type, two_spectra<TypeParam>());
  ASSERT_EQ(open.SetRes(this->event.result()), 1);
  open.PropType = 5;
  EXPECT_EQ(open.GetDataPtrs(nullptr, nullptr, nullptr, 0), 4);
}

}  // namespace
}  // namespace ravo::test
