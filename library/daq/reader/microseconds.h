// Time stamps as numbers of microseconds, for every layer that compares them.
#ifndef RAVO_DAQ_READER_MICROSECONDS_H
#define RAVO_DAQ_READER_MICROSECONDS_H

#include "ravo_core_records.h"

namespace ravo {

/// A time in microseconds; a double holds every time stamp exactly.
inline double in_microseconds(const time_stamp& time) { return time.timeup * 1e6 + time.timelow; }

}  // namespace ravo

#endif
