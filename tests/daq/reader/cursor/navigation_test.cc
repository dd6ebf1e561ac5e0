// The cursor over one event of either generation: which channel is selected, what it is, and what is
// printed when none can be.
#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>

#include "handmade_event.h"
#include "ravo_daq_data.h"
#include "refusals.h"

namespace ravo::test {
namespace {

// Opens what a derived class may set.
struct open_cursor : ravo_daq_getdata {
  using ravo_daq_getdata::Ichan;
  using ravo_daq_getdata::Nptr;
  using ravo_daq_getdata::Status;
};

template <class generation>
struct Cursor : testing::Test {
  static constexpr int image_type = RAVO_BLOCK_IMAGE;
  open_cursor cursor;
  handmade_event event;

  std::size_t add_fast(std::string_view name) {
    return event.add<generation>(name, generation::spectrum_type, two_spectra<generation>());
  }
  std::size_t add_image(std::string_view name) {
    return event.add<generation>(name, image_type, plain_frame(2, 1, 1, "ab"), RAVO_EV_IMAGE);
  }
  std::size_t add_slow(std::string_view name, std::string_view property) {
    return event.add<generation>(name, generation::update_type, update_payload<generation>(property, 1.5f),
                                 RAVO_EV_UPD);
  }
};
TYPED_TEST_SUITE(Cursor, event_generations, event_generation_name);

TYPED_TEST(Cursor, RefusesNoResultAndAnEmptyOne) {
  std::vector<ravo_channel_entry_long*> empty;
  EXPECT_EQ(this->cursor.SetRes(nullptr), null_result);
  EXPECT_EQ(this->cursor.SetRes(&empty), empty_result);
  EXPECT_EQ(this->cursor.GetRes(), nullptr);
  EXPECT_EQ(this->cursor.GetNchan(), 0);
}

TYPED_TEST(Cursor, SelectsTheFirstChannelWithItsHeadersAndData) {
  const std::size_t i = this->add_fast("RF");
  ASSERT_EQ(this->cursor.SetRes(this->event.result()), 1);
  EXPECT_EQ(this->cursor.GetEventHead(), &this->event.header(i));
  const void* const srvb = reinterpret_cast<const void*>(this->event.addresses(i).sbhd);
  const void* const block = &this->event.template block<TypeParam>(i);
  const bool current = TypeParam::is_current;
  EXPECT_EQ(this->cursor.GetServBlockHead(), current ? nullptr : srvb);
  EXPECT_EQ(this->cursor.GetChanHead(), current ? nullptr : block);
  EXPECT_EQ(this->cursor.GetServBlockHead_2010(), current ? srvb : nullptr);
  EXPECT_EQ(this->cursor.GetChanHead_2010(), current ? block : nullptr);
  EXPECT_EQ(this->cursor.GetDataType(), TypeParam::spectrum_type);
  EXPECT_EQ(this->cursor.GetPropType(), 3);
  EXPECT_EQ(this->cursor.GetChanType(), 1);
  EXPECT_EQ(this->cursor.GetNmemb(), 2);
  EXPECT_STREQ(this->cursor.GetPropName(), "RF");
  float first[3];
  std::memcpy(first, this->cursor.GetData(), sizeof first);
  EXPECT_EQ(first[1], 1.0f);
}

TYPED_TEST(Cursor, AddsItsCountsUpUntilItIsCleaned) {
  this->add_fast("A");
  this->add_image("B");
  this->add_slow("C", "P");
  ASSERT_EQ(this->cursor.SetRes(this->event.result()), 3);
  ASSERT_EQ(this->cursor.SetRes(this->event.result()), 3);
  EXPECT_EQ(this->cursor.Get_NFast(), 2);
  EXPECT_EQ(this->cursor.Get_NImage(), 2);
  EXPECT_EQ(this->cursor.Get_NSlow(), 2);
  this->cursor.Clean();
  EXPECT_EQ(this->cursor.Get_NFast(), 0);
  EXPECT_EQ(this->cursor.GetRes(), nullptr);
  ASSERT_EQ(this->cursor.SetRes(this->event.result()), 3);
  EXPECT_EQ(this->cursor.Get_NFast(), 1);
  EXPECT_EQ(this->cursor.Get_NImage(), 1);
  EXPECT_EQ(this->cursor.Get_NSlow(), 1);
}

TYPED_TEST(Cursor, WalksTheChannelsAndStaysAtTheEnds) {
  this->add_fast("A");
  this->add_image("B");
  this->cursor.SetRes(this->event.result());
  EXPECT_EQ(this->cursor.SetChan(2), 0);
  EXPECT_EQ(this->cursor.SetChan(-1), 0);
  EXPECT_STREQ(this->cursor.GetPropName(), "A");
  EXPECT_EQ(this->cursor.SetNextChan(), 4);
  EXPECT_STREQ(this->cursor.GetPropName(), "B");
  EXPECT_EQ(this->cursor.SetNextChan(), 0);
  EXPECT_EQ(this->cursor.GetChanNumb(), 1);
  EXPECT_EQ(this->cursor.SetChan(0), 3);
}

TYPED_TEST(Cursor, FindsTheNthOfEveryKind) {
  this->add_image("I0");
  this->add_fast("F0");
  this->add_slow("S", "P0");
  this->add_fast("F1");
  this->add_slow("S", "P1");
  this->add_image("I1");
  this->cursor.SetRes(this->event.result());
  const auto name = [&] { return std::string(this->cursor.GetPropName()); };
  EXPECT_EQ(this->cursor.SetFast(0), 3);
  EXPECT_EQ(name(), "F0");
  EXPECT_EQ(this->cursor.SetFast(1), 3);
  EXPECT_EQ(name(), "F1");
  EXPECT_EQ(this->cursor.SetFast(2), 0);
  EXPECT_EQ(this->cursor.SetFast(-1), 0);
  EXPECT_EQ(this->cursor.SetSlow(0), 2);
  EXPECT_EQ(name(), "P0");
  EXPECT_EQ(this->cursor.SetSlow(1), 2);
  EXPECT_EQ(name(), "P1");
  EXPECT_EQ(this->cursor.SetImage(0), 4);
  EXPECT_EQ(name(), "I0");
  EXPECT_EQ(this->cursor.SetImage(1), 4);
  EXPECT_EQ(name(), "I1");
  this->cursor.SetChan(0);
  EXPECT_EQ(this->cursor.SetFastNext(), 3);
  EXPECT_EQ(this->cursor.SetSlowNext(), 2);
  EXPECT_EQ(this->cursor.SetImageNext(), 4);
  EXPECT_EQ(this->cursor.SetSlowNext(), 0);
  EXPECT_EQ(this->cursor.GetChanNumb(), 5);
}

TYPED_TEST(Cursor, AnswersAnErrorWhenAnotherChannelOnTheWayIsBroken) {
  this->add_fast("A");
  this->add_fast("B");
  this->cursor.SetRes(this->event.result());
  this->event.addresses(1).chhd = 0;
  const said heard = listen([&] {
    EXPECT_EQ(this->cursor.SetFastNext(), no_channel_header);
    EXPECT_EQ(this->cursor.SetFast(1), 0);
  });
  const std::string line = "ravo_daq_getdata::SetHead: channel header pointer = NULL\n";
  EXPECT_EQ(heard.error, line + line);
}

TYPED_TEST(Cursor, SaysWhichPointerIsMissing) {
  this->add_fast("A");
  const ravo_event_chan_ptr_long_entry whole = this->event.addresses(0);
  this->event.addresses(0).evhd = 0;
  EXPECT_EQ(listen([&] { EXPECT_EQ(this->cursor.SetRes(this->event.result()), no_event_header); }).error,
            "ravo_daq_getdata::SetHead: event header pointer = NULL\n");
  EXPECT_EQ(this->cursor.GetRes(), this->event.result());
  this->event.addresses(0) = whole;
  this->event.addresses(0).sbhd = 0;
  EXPECT_EQ(listen([&] { EXPECT_EQ(this->cursor.SetRes(this->event.result()), no_server_block); }).error,
            TypeParam::is_current ? "ravo_daq_getdata::SetHead_2010: srvb pointer = NULL\n"
                                  : "ravo_daq_getdata::SetHead: srvb pointer = NULL\n");
  this->event.addresses(0) = whole;
  this->event.addresses(0).chhd = 0;
  EXPECT_EQ(listen([&] { EXPECT_EQ(this->cursor.SetRes(this->event.result()), no_channel_header); }).error,
            "ravo_daq_getdata::SetHead: channel header pointer = NULL\n");
  std::vector<ravo_channel_entry_long*> none{nullptr};
  EXPECT_EQ(listen([&] { EXPECT_EQ(this->cursor.SetRes(&none), no_entry); }).error,
            "ravo_daq_getdata::SetHead: ent = NULL\n");
  EXPECT_EQ(this->cursor.Status, 0);
}

TYPED_TEST(Cursor, SelectsNothingWithoutADataPointerSetAndSaysNothing) {
  this->add_fast("A");
  this->cursor.Nptr = 0;
  const said heard =
      listen([&] { EXPECT_EQ(this->cursor.SetRes(this->event.result()), no_channel_header); });
  EXPECT_EQ(heard.error + heard.out, "");
}

TYPED_TEST(Cursor, RaisesOutOfRangeAfterTheVector) {
  this->add_fast("A");
  this->cursor.SetRes(this->event.result());
  this->cursor.Ichan = 1;
  EXPECT_THROW(this->cursor.SetHead(), std::out_of_range);
  this->cursor.Ichan = -1;
  EXPECT_THROW(this->cursor.SetHead(), std::out_of_range);
}

TYPED_TEST(Cursor, ComplainsByOperationWhenNothingIsSelected) {
  const auto complaint = [&](auto operation) {
    return listen([&] { EXPECT_EQ((this->cursor.*operation)(), nothing_selected); }).error;
  };
  const auto complaint_nth = [&](auto operation) {
    return listen([&] { EXPECT_EQ((this->cursor.*operation)(0), nothing_selected); }).error;
  };
  using getdata = ravo_daq_getdata;
  EXPECT_EQ(complaint(&getdata::SetNextChan), "ravo_daq_getdata::SetNextChan: Status= 0 Res= 0 Nchan= 0\n");
  EXPECT_EQ(complaint(&getdata::SetFastNext), "ravo_daq_getdata::SetFastNext: Status= 0 Res= 0 Nchan= 0\n");
  EXPECT_EQ(complaint(&getdata::SetSlowNext), "ravo_daq_getdata::SetSlowNext: Status= 0 Res= 0 Nchan= 0\n");
  EXPECT_EQ(complaint(&getdata::SetImageNext),
            "ravo_daq_getdata::SetImageNext: Status= 0 Res= 0 Nchan= 0\n");
  EXPECT_EQ(complaint_nth(&getdata::SetChan), "ravo_daq_getdata::SetChan: Status= 0 Res= 0 Nchan= 0\n");
  EXPECT_EQ(complaint_nth(&getdata::SetFast), "ravo_daq_getdata::SetFast: Status= 0 Res= 0 Nchan= 0\n");
  EXPECT_EQ(complaint_nth(&getdata::SetSlow), "ravo_daq_getdata::SetSlow: Status= 0 Res= 0 Nchan= 0\n");
  EXPECT_EQ(complaint_nth(&getdata::SetImage), "ravo_daq_getdata::SetImage: Status= 0 Res= 0 Nchan= 0\n");
  EXPECT_EQ(listen([&] { EXPECT_EQ(this->cursor.SetProp("A"), no_selection_to_search); }).error,
            "ravo_daq_getdata::SetProp: Status= 0 Res= 0 Nchan= 0\n");
}

TYPED_TEST(Cursor, FindsAChannelByNameAndASlowOneByItsProperty) {
  this->add_fast("A");
  this->add_slow("SERVER", "MAGNET/CURRENT");
  this->cursor.SetRes(this->event.result());
  EXPECT_EQ(this->cursor.SetProp("MAGNET/CURRENT"), 2);
  EXPECT_EQ(this->cursor.GetChanNumb(), 1);
  EXPECT_EQ(this->cursor.SetProp("SERVER"), no_such_name);
  EXPECT_EQ(this->cursor.SetProp("MAGNET"), no_such_name);
  EXPECT_EQ(this->cursor.SetProp("a"), no_such_name);
  EXPECT_EQ(this->cursor.SetProp("A"), 3);
  EXPECT_EQ(this->cursor.GetChanNumb(), 0);
}

TYPED_TEST(Cursor, PassesOverChannelsWithoutNameDataOrEntry) {
  this->add_slow("SERVER", "P");
  this->add_fast("A");
  this->add_fast("B");
  this->cursor.SetRes(this->event.result());
  this->event.addresses(0).data = 0;
  this->event.addresses(1).chhd = this->event.addresses(1).data = 0;
  EXPECT_EQ(this->cursor.SetProp(nullptr), no_such_name);
  EXPECT_EQ(this->cursor.SetProp("P"), no_such_name);
  EXPECT_EQ(this->cursor.SetProp("A"), no_such_name);
  EXPECT_EQ(this->cursor.SetProp("B"), 3);
  this->event.result()->at(1) = nullptr;
  EXPECT_EQ(this->cursor.SetProp("B"), 3);
}

TYPED_TEST(Cursor, ReadsNoNameBeyondACutBlock) {
  this->add_fast("A");
  this->event.template add<TypeParam>("SERVER", TypeParam::update_type, "PROP", RAVO_EV_UPD);
  this->cursor.SetRes(this->event.result());
  EXPECT_EQ(this->cursor.SetProp("PROP"), no_such_name);
  EXPECT_EQ(this->cursor.SetProp(std::string(300, 'x').c_str()), no_such_name);
}

TYPED_TEST(Cursor, HasNoDataWhereTheBlockIsItsHeaderOnly) {
  this->event.template add<TypeParam>("A", TypeParam::spectrum_type, "");
  ASSERT_EQ(this->event.template block<TypeParam>(0).ldata, TypeParam::head_size);
  ASSERT_EQ(this->cursor.SetRes(this->event.result()), 1);
  EXPECT_EQ(this->cursor.GetData(), nullptr);
}

TYPED_TEST(Cursor, FallsBackToTheEntrysDataWhereASpectrumContradictsItself) {
  const std::size_t i = this->add_fast("A");
  *this->event.template data<std::int32_t>(i) = 1000000;
  ASSERT_EQ(this->cursor.SetRes(this->event.result()), 1);
  EXPECT_EQ(this->cursor.GetData(), this->event.data(i));
}

TYPED_TEST(Cursor, TakesAnyOtherPatternForTheCurrentGeneration) {
  this->event.template add<current_event>("A", RAVO_BLOCK_2CHAN_2010, two_spectra<current_event>());
  this->event.header(0).pattern = 0;
  ASSERT_EQ(this->cursor.SetRes(this->event.result()), 1);
  EXPECT_NE(this->cursor.GetChanHead_2010(), nullptr);
  EXPECT_EQ(this->cursor.GetChanHead(), nullptr);
}

TYPED_TEST(Cursor, SaysWhenAnEventHasAnUnknownStructureAndKeepsTheKindOfChannel) {
  this->add_slow("S", "P");
  const std::size_t i = this->add_fast("A");
  this->event.header(i).event_type = static_cast<RAVO_EVTYPE>(99);
  const said counted = listen([&] { EXPECT_EQ(this->cursor.SetRes(this->event.result()), 2); });
  EXPECT_EQ(counted.out, "Unknown event structure !!!! 99\n");
  EXPECT_EQ(counted.error, "");
  EXPECT_EQ(this->cursor.Get_NFast() + this->cursor.Get_NImage(), 0);
  const said selected = listen([&] { EXPECT_EQ(this->cursor.SetChan(1), 3); });
  EXPECT_EQ(selected.out, "SetHead() unknown event structure\n");
  EXPECT_EQ(this->cursor.GetChanType(), 2);
}

TYPED_TEST(Cursor, ClassifiesByTheLow16Bits) {
  const std::size_t i = this->add_fast("A");
  const auto class_of = [&](int dtype) {
    this->event.template block<TypeParam>(i).dtype = dtype;
    this->cursor.Clean();
    this->cursor.SetRes(this->event.result());
    return this->cursor.GetPropType();
  };
  EXPECT_EQ(class_of(23), 1);
  for (const int dtype : {-1, 0, 1, 2, 3, 4, 5, 22}) EXPECT_EQ(class_of(dtype), 2) << dtype;
  for (const int dtype : {6, 12, 21, 24, 28, 31, 32, 38, 63, 0x7fff})
    EXPECT_EQ(class_of(dtype), 3) << dtype;
  for (const int dtype : {13, 27}) EXPECT_EQ(class_of(dtype), 4) << dtype;
  for (const int dtype : {33, 34, 35, 36, 37}) EXPECT_EQ(class_of(dtype), TypeParam::is_current ? 2 : 3);
  EXPECT_EQ(class_of(38 << 16 | 23), 1);
  EXPECT_EQ(this->cursor.GetDeviceType(), 38);
  EXPECT_EQ(class_of(23), 1);
  EXPECT_EQ(this->cursor.GetDeviceType(), 23);
}

TYPED_TEST(Cursor, KnowsTheMembersOfTheTypeByName) {
  this->event.template add<TypeParam>("RF", TypeParam::is_current ? 43 : 11, two_spectra<TypeParam>());
  this->cursor.SetRes(this->event.result());
  EXPECT_EQ(this->cursor.GetMembNumb("PHASE"), 1);
  EXPECT_EQ(this->cursor.GetMembNumb("none"), no_member);
  EXPECT_STREQ(this->cursor.GetMembName(0), "AMPLITUDE");
  EXPECT_EQ(this->cursor.GetMembName(2), nullptr);
  EXPECT_EQ(this->cursor.GetMembName(-1), nullptr);
}

TYPED_TEST(Cursor, NamesServerBlockAndChannel) {
  this->add_fast("A");
  this->cursor.SetRes(this->event.result());
  unsigned up = 0, low = 0;
  int ltotal = 0, mpulse = 0, tmask = 0, status = 0, nchan = 0;
  ASSERT_EQ(this->cursor.GetServBlockInfo(&up, &low, &ltotal, &mpulse, &tmask, &status, &nchan), 0);
  EXPECT_EQ(up, 1600000001u);
  EXPECT_EQ(low, 17u);
  EXPECT_EQ(ltotal, 11);
  EXPECT_EQ(mpulse, 12);
  EXPECT_EQ(tmask, 13);
  EXPECT_EQ(status, 14);
  EXPECT_EQ(nchan, 15);
  char* name = nullptr;
  int dtype = 0, error = 0, ldata = 0;
  ASSERT_EQ(this->cursor.GetChanInfo(&name, &dtype, &error, &ldata), 0);
  EXPECT_STREQ(name, "A");
  EXPECT_EQ(dtype, TypeParam::spectrum_type);
  EXPECT_EQ(error, 21);
  EXPECT_EQ(ldata, this->event.template block<TypeParam>(0).ldata);
  EXPECT_EQ(this->cursor.GetServBlockInfo(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr),
            0);
  EXPECT_EQ(this->cursor.GetChanInfo(nullptr, nullptr, nullptr, nullptr), 0);
}

TYPED_TEST(Cursor, ComplainsWhenThereIsNothingToReport) {
  EXPECT_EQ(listen([&] {
              EXPECT_EQ(this->cursor.GetServBlockInfo(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                                      nullptr),
                        nothing_selected);
            }).error,
            "ravo_daq_getdata::GetServBlockInfo: wrong Status= 0 SrvbHeader 0\n");
  EXPECT_EQ(listen([&] {
              EXPECT_EQ(this->cursor.GetChanInfo(nullptr, nullptr, nullptr, nullptr), nothing_selected);
            }).error,
            "ravo_daq_getdata::GetChanInfo: wrong Status= 0 ChanHeader 0\n");
  EXPECT_EQ(listen([&] {
              EXPECT_EQ(
                  this->cursor.GetEventInfo(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr),
                  nothing_selected);
            }).error,
            "ravo_daq_getdata::GetEventInfo: wrong Status= 0 EventHeader 0\n");
}

TYPED_TEST(Cursor, DescribesTheEventByItsFirstFastChannel) {
  this->event.header(this->add_slow("S", "P")).event_number = 50;
  this->event.header(this->add_fast("A")).event_number = 101;
  this->event.header(this->add_fast("B")).event_number = 102;
  this->cursor.SetRes(this->event.result());
  this->cursor.SetChan(2);
  unsigned number = 0, length = 0, up = 0, low = 0;
  int type = 0, status = 0, blocks = 0;
  ASSERT_EQ(this->cursor.GetEventInfo(&number, &type, &length, &up, &low, &status, &blocks), 0);
  EXPECT_EQ(number, 101u);
  EXPECT_EQ(type, RAVO_EV_NORMAL);
  EXPECT_EQ(length, 444u);
  EXPECT_EQ(up, 1600000000u);
  EXPECT_EQ(low, 250000u);
  EXPECT_EQ(status, 2);
  EXPECT_EQ(blocks, 3);
  EXPECT_EQ(this->cursor.GetChanNumb(), 2);
}

TYPED_TEST(Cursor, DescribesAnEventOfSlowChannelsByTheHighestNumber) {
  for (const unsigned number : {50u, 70u, 60u})
    this->event.header(this->add_slow("S", "P")).event_number = number;
  this->cursor.SetRes(this->event.result());
  unsigned number = 0;
  ASSERT_EQ(this->cursor.GetEventInfo(&number, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(number, 70u);
}

TYPED_TEST(Cursor, TakesAnEventWithoutNumberByItsTimeOnly) {
  ravo_eventheader& header = this->event.header(this->add_slow("S", "P"));
  header.event_number = 0;
  this->cursor.SetRes(this->event.result());
  unsigned up = 0;
  EXPECT_EQ(this->cursor.GetEventInfo(nullptr, nullptr, nullptr, &up, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(up, 1600000000u);
  header.event_time.timeup = 0;
  EXPECT_EQ(this->cursor.GetEventInfo(nullptr, nullptr, nullptr, &up, nullptr, nullptr, nullptr), no_event);
}

TYPED_TEST(Cursor, SaysAtWhichChannelTheLookForTheEventFailed) {
  this->event.header(this->add_slow("S", "P")).event_number = 1;
  this->add_fast("A");
  this->cursor.SetRes(this->event.result());
  this->event.addresses(1).evhd = 0;
  EXPECT_EQ(listen([&] {
              EXPECT_EQ(
                  this->cursor.GetEventInfo(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr),
                  no_event_header);
            }).error,
            "ravo_daq_getdata::SetHead: event header pointer = NULL\n"
            "ravo_daq_getdata::GetEventInfo: failed to SetHead() for  1\n");
  EXPECT_EQ(this->cursor.GetChanNumb(), 1);
}

TYPED_TEST(Cursor, GivesTextsOfOlderEventsOnly) {
  this->event.template add<TypeParam>("T", RAVO_BLOCK_NAME_VALUE_STRING, std::string("beam on\0", 8));
  this->cursor.SetRes(this->event.result());
  int length = -1;
  char* text = nullptr;
  const said heard = listen([&] { text = this->cursor.GetString(0, &length); });
  if (TypeParam::is_current) {
    EXPECT_EQ(text, nullptr);
    EXPECT_EQ(heard.error, "ravo_daq_getdata::GetString: 1");
  } else {
    EXPECT_STREQ(text, "beam on");
    EXPECT_EQ(length, 7);
    EXPECT_EQ(heard.error, "");
  }
}

// The pattern alone decides the generation. Older headers are shorter: everything that is read lies in the
// block.
TEST(OlderCursor, ReadsABlockOfACurrentReaderAsThePatternSays) {
  handmade_event event;
  event.add<current_event>("A", RAVO_BLOCK_2CHAN_2010, two_spectra<current_event>());
  event.header(0).pattern = older_event::pattern;
  ravo_daq_getdata cursor;
  EXPECT_EQ(listen([&] { EXPECT_EQ(cursor.SetRes(event.result()), 1); }).error, "");
  EXPECT_EQ(reinterpret_cast<std::uint64_t>(cursor.GetChanHead()), event.addresses(0).chhd);
  EXPECT_EQ(reinterpret_cast<std::uint64_t>(cursor.GetServBlockHead()), event.addresses(0).sbhd);
  EXPECT_EQ(cursor.GetChanHead_2010(), nullptr);
  EXPECT_STREQ(cursor.GetPropName(), "A");
  EXPECT_EQ(cursor.GetData(),
            nullptr);  // the name, at the place of the length in older blocks, says 0
}

TEST(OlderCursor, HasNoDataOfACurrentBlockThatIsShorterThanItWouldSay) {
  handmade_event event;
  event.add<current_event>(std::string(250, 'N'), RAVO_BLOCK_2CHAN_2010, two_spectra<current_event>());
  event.header(0).pattern = older_event::pattern;
  ravo_daq_getdata cursor;
  ASSERT_EQ(cursor.SetRes(event.result()), 1);
  int ldata = 0;
  EXPECT_EQ(cursor.GetChanInfo(nullptr, nullptr, nullptr, &ldata), 0);
  EXPECT_EQ(ldata, 0x4e4e4e4e);  // "NNNN"
  EXPECT_EQ(cursor.GetData(), nullptr);
}

// Its name reads as an older update of 200 bytes, which end before the data begin.
TEST(OlderCursor, HasNoDataOfACurrentBlockWhoseDataLieAfterItsEnd) {
  handmade_event event;
  event.add<current_event>("A", RAVO_BLOCK_2CHAN_2010, two_spectra<current_event>());
  event.header(0).pattern = older_event::pattern;
  auto* const block = reinterpret_cast<ravo_serv_block_subhead*>(event.addresses(0).chhd);
  block->dtype = RAVO_UPD_BLOCK;
  block->ldata = 200;
  ravo_daq_getdata cursor;
  ASSERT_EQ(cursor.SetRes(event.result()), 1);
  EXPECT_EQ(cursor.GetData(), nullptr);
  float value = 0;
  EXPECT_EQ(cursor.GetSlowPrm(&value, nullptr, nullptr), 1);
}

// Current headers are longer: what an older block does not have of them reads as zeros, and a sanitizer
// sees every byte that is read after it.
TEST(CurrentCursor, ReadsABlockOfAnOlderReaderAsThePatternSays) {
  handmade_event event;
  event.add<older_event>("A", RAVO_BLOCK_RF_250K, two_spectra<older_event>());
  event.header(0).pattern = current_event::pattern;
  ravo_daq_getdata cursor;
  EXPECT_EQ(listen([&] { EXPECT_EQ(cursor.SetRes(event.result()), 1); }).error, "");
  EXPECT_EQ(cursor.GetChanHead(), nullptr);
  ASSERT_NE(cursor.GetChanHead_2010(), nullptr);
  ASSERT_NE(cursor.GetServBlockHead_2010(), nullptr);
  EXPECT_EQ(cursor.GetServBlockHead_2010()->nchan, 0);
  EXPECT_STREQ(cursor.GetPropName(), "A");
  EXPECT_EQ(cursor.GetData(), nullptr);
  char* name = nullptr;
  int dtype = 1, error = 1, ldata = 1;
  EXPECT_EQ(cursor.GetChanInfo(&name, &dtype, &error, &ldata), 0);
  EXPECT_STREQ(name, "A");
  EXPECT_EQ(dtype, 0);
  EXPECT_EQ(error, 0);
  EXPECT_EQ(ldata, 0);
  listen([&] {
    EXPECT_EQ(cursor.GetSingle(0), 0.0f);
    EXPECT_EQ(cursor.GetSpectPar(nullptr, nullptr, nullptr, nullptr, 0, nullptr, nullptr, nullptr),
              no_data);
    EXPECT_EQ(cursor.GetSlowPrm(nullptr, nullptr, nullptr), 1);
    EXPECT_EQ(cursor.GetValNamPrm(nullptr, nullptr, nullptr, nullptr, nullptr), 1);
    EXPECT_EQ(cursor.GetRoiPar(nullptr, nullptr, nullptr, nullptr, nullptr, 0), other_kind);
    cursor.PrintProp(0);
  });
}

TEST(OlderCursor, IsOneForCurrentEventsAgainAfterClean) {
  handmade_event event;
  event.add<older_event>("A", RAVO_BLOCK_RF_250K, two_spectra<older_event>());
  ravo_daq_getdata cursor;
  ASSERT_EQ(cursor.SetRes(event.result()), 1);
  cursor.Clean();
  EXPECT_EQ(listen([&] { EXPECT_EQ(cursor.GetSingle(0), 0.0f); }).error,
            "ravo_daq_getdata::GetSingle: 0 ChanHeader_2010 == NULL");
}

// Readers may be destroyed by then, and their blocks with them.
TEST(CurrentCursor, RemembersAfterCleanWhatTheLastHeaderSaid) {
  auto event = std::make_unique<handmade_event>();
  event->add<current_event>("A", RAVO_BLOCK_2CHAN_2010, two_spectra<current_event>());
  ravo_daq_getdata cursor;
  ASSERT_EQ(cursor.SetRes(event->result()), 1);
  const void* const block = cursor.GetChanHead_2010();
  const void* const server = cursor.GetServBlockHead_2010();
  cursor.Clean();
  event.reset();
  EXPECT_EQ(cursor.GetChanHead_2010(), block);
  EXPECT_EQ(cursor.GetServBlockHead_2010(), server);
  EXPECT_EQ(listen([&] { EXPECT_EQ(cursor.GetSingle(0), 0.0f); }).error,
            "ravo_daq_getdata::GetSingle: 0 DType45");
  EXPECT_EQ(listen([&] { EXPECT_EQ(cursor.GetValNamChan(nullptr, nullptr, 0), 1); }).error,
            "ravo_daq_getdata::GetValNamChan() 0 DType45");
  EXPECT_EQ(cursor.GetSlowPrm(nullptr, nullptr, nullptr), 1);
  EXPECT_EQ(cursor.GetValNamPrm(nullptr, nullptr, nullptr, nullptr, nullptr), 1);
  EXPECT_EQ(cursor.GetRoiPar(nullptr, nullptr, nullptr, nullptr, nullptr, 0), other_kind);
  EXPECT_EQ(cursor.GetDescr(), no_data);
  EXPECT_EQ(listen([&] {
              EXPECT_EQ(cursor.GetChanInfo(nullptr, nullptr, nullptr, nullptr), nothing_selected);
            }).error,
            "ravo_daq_getdata::GetChanInfo: wrong Status= 0 ChanHeader " + printed(block) + "\n");
}

TYPED_TEST(Cursor, IsAfterCleanAsItWasMade) {
  this->add_image("CAM");
  ASSERT_EQ(this->cursor.SetRes(this->event.result()), 1);
  ASSERT_NE(this->cursor.ConvertImage(), nullptr);
  this->cursor.Nptr = 5;
  this->cursor.Clean();
  EXPECT_EQ(this->cursor.Status, 0);
  EXPECT_EQ(this->cursor.Nptr, 1);
  EXPECT_EQ(this->cursor.Ichan, 0);
  EXPECT_EQ(this->cursor.GetNchan() + this->cursor.GetNmemb() + this->cursor.GetDataType() +
                this->cursor.GetPropType() + this->cursor.GetChanType(),
            0);
  EXPECT_EQ(this->cursor.GetRes(), nullptr);
  EXPECT_EQ(this->cursor.GetPropName(), nullptr);
  EXPECT_EQ(this->cursor.GetEventHead(), nullptr);
  EXPECT_EQ(this->cursor.GetServBlockHead(), nullptr);
  EXPECT_EQ(this->cursor.GetChanHead(), nullptr);
  EXPECT_EQ(this->cursor.GetData(), nullptr);
  EXPECT_EQ(this->cursor.GetImageFloat(), nullptr);
}

TYPED_TEST(Cursor, AnswersTheErrorWhenTheFirstChannelIsBroken) {
  this->add_fast("A");
  this->add_image("B");
  this->add_slow("C", "P");
  ASSERT_EQ(this->cursor.SetRes(this->event.result()), 3);
  this->event.addresses(0).evhd = 0;
  listen([&] {
    EXPECT_EQ(this->cursor.SetFast(0), no_event_header);
    EXPECT_EQ(this->cursor.SetImage(0), no_event_header);
    EXPECT_EQ(this->cursor.SetSlow(0), no_event_header);
    EXPECT_EQ(this->cursor.SetProp("A"), no_event_header);
  });
}

TYPED_TEST(Cursor, IsStillOnTheOldResultAfterARefusedOne) {
  this->add_fast("A");
  ASSERT_EQ(this->cursor.SetRes(this->event.result()), 1);
  EXPECT_EQ(this->cursor.SetRes(nullptr), null_result);
  EXPECT_EQ(this->cursor.Status, 1);
  EXPECT_EQ(listen([&] { EXPECT_EQ(this->cursor.SetChan(0), nothing_selected); }).error,
            "ravo_daq_getdata::SetChan: Status= 1 Res= 0 Nchan= 0\n");
  EXPECT_EQ(listen([&] {
              EXPECT_EQ(
                  this->cursor.GetEventInfo(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr),
                  nothing_selected);
            }).error,
            "ravo_daq_getdata::SetHead: ent = NULL\n");
}

TYPED_TEST(Cursor, NamesASlowChannelByItsDataWhateverTheseAre) {
  for (const char* payload : {"", "PROP"}) {
    this->event.template add<TypeParam>("SERVER", TypeParam::update_type, payload, RAVO_EV_UPD);
    this->cursor.Clean();
    this->cursor.SetRes(this->event.result());
    const int last = this->cursor.GetNchan() - 1;
    this->cursor.SetChan(last);
    EXPECT_EQ(this->cursor.GetChanType(), 2);
    EXPECT_EQ(this->cursor.GetPropName(), this->event.data(static_cast<std::size_t>(last)));
  }
}

TYPED_TEST(Cursor, HasNoDataWhereTheLengthIsThatOfTheHeaderOrLess) {
  this->add_fast("A");
  for (const int ldata : {0, 1, 43, 44, 45, 267, 268, 269, -1, -2147483647 - 1}) {
    this->event.template block<TypeParam>(0).ldata = ldata;
    this->cursor.Clean();
    ASSERT_EQ(this->cursor.SetRes(this->event.result()), 1);
    const bool none = static_cast<unsigned>(ldata) <= static_cast<unsigned>(TypeParam::head_size);
    EXPECT_EQ(this->cursor.GetData(), none ? nullptr : this->event.data(0)) << ldata;
  }
}

TYPED_TEST(Cursor, CountsTheMembersOfAGenericSpectrumInItsBlock) {
  this->event.template add<TypeParam>(
      "G", RAVO_BLOCK_GENERIC_SPECT,
      bytes_of(ravo_spect_head_2010{3, 1, 1, 0, 1, 0, 0, 0}) + floats({5, 6, 7}));
  this->cursor.SetRes(this->event.result());
  EXPECT_EQ(this->cursor.GetNmemb(), 3);
  EXPECT_EQ(this->cursor.GetSpectVal(2, 0), 7.0f);
  EXPECT_STREQ(this->cursor.GetMembName(0), "CH0");
  EXPECT_EQ(this->cursor.GetMembName(1), nullptr);
  EXPECT_EQ(this->cursor.GetMembNumb(nullptr), no_member);
}

TEST(OlderCursor, GivesNoTextWithoutAnEnd) {
  handmade_event event;
  event.add<older_event>("T", RAVO_BLOCK_NAME_VALUE_STRING, "beam");
  ravo_daq_getdata cursor;
  cursor.SetRes(event.result());
  const said heard = listen([&] { EXPECT_EQ(cursor.GetString(0, nullptr), nullptr); });
  EXPECT_EQ(heard.error, "ravo_daq_getdata::GetString: 1");
}

TEST(MixedEvent, IsReadByEachHeadersGeneration) {
  handmade_event event;
  event.add<current_event>("NEW", RAVO_BLOCK_2CHAN_2010, two_spectra<current_event>());
  event.add<older_event>("OLD", RAVO_BLOCK_IMAGE, plain_frame(1, 1, 1, "a"), RAVO_EV_IMAGE);
  ravo_daq_getdata cursor;
  ASSERT_EQ(cursor.SetRes(event.result()), 2);
  EXPECT_NE(cursor.GetChanHead_2010(), nullptr);
  EXPECT_EQ(cursor.SetProp("OLD"), 4);
  EXPECT_NE(cursor.GetChanHead(), nullptr);
  EXPECT_EQ(cursor.GetChanHead_2010(), nullptr);
  EXPECT_NE(cursor.GetServBlockHead(), nullptr);
  EXPECT_EQ(cursor.GetServBlockHead_2010(), nullptr);
  EXPECT_EQ(cursor.SetProp("NEW"), 3);
  EXPECT_EQ(cursor.GetChanHead(), nullptr);
  EXPECT_EQ(cursor.GetServBlockHead(), nullptr);
  EXPECT_NE(cursor.GetServBlockHead_2010(), nullptr);
}

// The byte of its name that older blocks have their type in makes a current block an update to an older
// selection.
TEST(MixedEvent, HasNoPropertyNameThatEndsAfterItsBlock) {
  handmade_event event;
  event.add<older_event>("OLD", RAVO_BLOCK_IMAGE, plain_frame(1, 1, 1, "a"), RAVO_EV_IMAGE);
  event.add<current_event>(std::string(32, 'N') + '\1', RAVO_BLOCK_2CHAN_2010, std::string("PROP\0", 5));
  ravo_daq_getdata cursor;
  ASSERT_EQ(cursor.SetRes(event.result()), 2);
  EXPECT_EQ(cursor.SetProp("PROP"), 3);
  ASSERT_EQ(cursor.SetProp("OLD"), 4);
  event.block<current_event>(1).ldata -= 1;
  EXPECT_EQ(cursor.SetProp("PROP"), no_such_name);
}

}  // namespace
}  // namespace ravo::test
