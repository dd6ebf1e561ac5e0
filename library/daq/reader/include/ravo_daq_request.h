// A caller's request to a reader: runs or a period, the experiment and stream, and how channels are
// aligned.
#ifndef RAVO_DAQ_REQUEST_H
#define RAVO_DAQ_REQUEST_H

#include <cstddef>
#include <cstdint>

#include "ravo_core_records.h"

/// A request. The texts are zero-terminated. An all-zero time means that no time is given.
struct ravo_daq_request {
  ravo_time_id start_time;  ///< start point: event number, time, or both
  ravo_time_id stop_time;   ///< stop point
  std::int32_t run_first;   ///< first run; 0: no run request
  std::int32_t run_last;    ///< last run
  char exp_name[32];        ///< experiment
  char stream_name[32];     ///< stream
  char cdir[1024];          ///< directory of the run catalogue
  char ddir[1024];          ///< directory of the raw files, or several separated by ":"
  time_stamp time_diff;     ///< largest difference within one event
  ravo_time_id period;      ///< event step
  std::int32_t synch_mode;  ///< ravo_daq_slicer_synch_mode
};
static_assert(offsetof(ravo_daq_request, run_first) == 24);
static_assert(offsetof(ravo_daq_request, exp_name) == 32);
static_assert(offsetof(ravo_daq_request, cdir) == 96);
static_assert(offsetof(ravo_daq_request, ddir) == 1120);
static_assert(offsetof(ravo_daq_request, time_diff) == 2144);
static_assert(offsetof(ravo_daq_request, period) == 2152);
static_assert(sizeof(ravo_daq_request) == 2168);

#endif
