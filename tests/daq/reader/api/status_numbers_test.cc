// The numbers of statuses, directions and modes: programs compare with them, store them and print them, so
// that none may ever change.
#include <gtest/gtest.h>

#include <string>

#include "ravo_daq_status.h"

namespace {

struct named_number {
  const char* name;
  int number;
  int expected;
};

// So that a failing test and its name say which one it is.
#define NAMED(enumerator) #enumerator, enumerator

constexpr named_number numbers[] = {
    {NAMED(RAVO_DAQ_READ_CHAN_OK), 0},
    {NAMED(RAVO_DAQ_READ_CHAN_NO_DATA), -1},
    {NAMED(RAVO_DAQ_READ_CHAN_NOT_READY), -2},
    {NAMED(RAVO_DAQ_READ_CHAN_OUT_OF_WINDOW), -3},
    {NAMED(RAVO_DAQ_READ_CHAN_NOT_INIT), -4},
    {NAMED(RAVO_DAQ_READ_CHAN_NOT_FOUND), -5},
    {NAMED(RAVO_DAQ_READ_CHAN_INTERN_ERROR), -6},
    {NAMED(RAVO_DAQ_READ_CHAN_INV_PARAM), -7},

    {NAMED(RAVO_DAQ_SLICER_OK), 0},
    {NAMED(RAVO_DAQ_SLICER_NO_DATA), -1},
    {NAMED(RAVO_DAQ_SLICER_NOT_READY), -2},
    {NAMED(RAVO_DAQ_SLICER_OUT_OF_WINDOW), -3},
    {NAMED(RAVO_DAQ_SLICER_NOT_INIT), -4},
    {NAMED(RAVO_DAQ_SLICER_NOT_FOUND), -5},
    {NAMED(RAVO_DAQ_SLICER_INTERN_ERROR), -6},
    {NAMED(RAVO_DAQ_SLICER_INV_PARAM), -7},
    {NAMED(RAVO_DAQ_SLICER_NOT_ALLOWED), -8},

    {NAMED(RAVO_DAQ_READER_OK), 0},
    {NAMED(RAVO_DAQ_READER_NO_DATA), -1},
    {NAMED(RAVO_DAQ_READER_NOT_READY), -2},
    {NAMED(RAVO_DAQ_READER_OUT_OF_WINDOW), -3},
    {NAMED(RAVO_DAQ_READER_NOT_INIT), -4},
    {NAMED(RAVO_DAQ_READER_NOT_FOUND), -5},
    {NAMED(RAVO_DAQ_READER_INTERN_ERROR), -6},
    {NAMED(RAVO_DAQ_READER_INV_PARAM), -7},
    {NAMED(RAVO_DAQ_READER_NOT_ALLOWED), -8},
    {NAMED(RAVO_DAQ_READER_BAD_FILE_FORMAT), -9},
    {NAMED(RAVO_DAQ_READER_FILES_NOT_FOUND), -10},

    {NAMED(RAVO_DAQ_READ_CHAN_EVENT_FIRST), -2},
    {NAMED(RAVO_DAQ_READ_CHAN_EVENT_PREV), -1},
    {NAMED(RAVO_DAQ_READ_CHAN_EVENT_CUR), 0},
    {NAMED(RAVO_DAQ_READ_CHAN_EVENT_NEXT), 1},
    {NAMED(RAVO_DAQ_READ_CHAN_EVENT_LAST), 2},

    {NAMED(RAVO_DAQ_SLICER_SYNCH_MODE_EVID), 0},
    {NAMED(RAVO_DAQ_SLICER_SYNCH_MODE_TIME), 1},
};
#undef NAMED

class StatusNumbers : public testing::TestWithParam<named_number> {};

TEST_P(StatusNumbers, AreThoseOfTheInterface) { EXPECT_EQ(GetParam().number, GetParam().expected); }

INSTANTIATE_TEST_SUITE_P(OfEachEnumerator, StatusNumbers, testing::ValuesIn(numbers),
                         [](const auto& row) { return std::string(row.param.name); });

}  // namespace
