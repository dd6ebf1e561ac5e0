// What a program needs to prepare a request: seconds from a calendar time, and the files that the run
// catalogue has for a period.
#include <ctime>
#include <iostream>
#include <stdexcept>

#include "files/catalogue_answer.h"
#include "ravo_daq_data.h"
#include "ravo_evutl.h"

long ravo_daq_time(int year, int month, int day, int hour, int min, int sec) {
  std::tm calendar{};
  calendar.tm_sec = sec;
  calendar.tm_min = min;
  calendar.tm_hour = hour;
  calendar.tm_mday = day;
  // Unsigned, so that no int overflows; mktime refuses what does not fit a year.
  calendar.tm_mon = static_cast<int>(static_cast<unsigned>(month) - 1u);
  calendar.tm_year = static_cast<int>(static_cast<unsigned>(year) - 1900u);
  calendar.tm_isdst = -1;
  const std::time_t seconds = std::mktime(&calendar);
  char text[64] = "";
  const char* const printed = ctime_r(&seconds, text);
  std::cout << "ravo_daq_time: " << (printed ? printed : "") << std::endl;
  return seconds;
}

int GetFileList(char* dir, char* exps, long tstart, long tend) {
  std::cout << "GetFileList: dir " << dir << " exp " << exps << " start " << tstart << " end " << tend
            << std::endl;
  if (exps == nullptr) throw std::logic_error("GetFileList: no experiment");
  constexpr int raw_format = 1;
  std::cout << "RAVO_DAQ_DATA_RAW_FORMAT= " << raw_format << std::endl;
  ravo::catalogue_answer found;
  const int result = get_files_for_period(static_cast<unsigned>(tstart), static_cast<unsigned>(tend),
                                          found.get(), exps, "", "/daq/ravo/adm", 1);
  std::cout << "ret= " << result << std::endl;
  return 0;
}
