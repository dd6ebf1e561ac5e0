// Time stamps as numbers of microseconds, for every layer that compares them.
#ifndef RAVO_DAQ_READER_MICROSECONDS_H
#define RAVO_DAQ_READER_MICROSECONDS_H

#include "format/time.h"

namespace ravo {

/// A time in microseconds, as in the classic interface: a double holds every time stamp exactly.
inline double as_microseconds(const time_stamp& time) { return static_cast<double>(in_microseconds(time)); }

}  // namespace ravo

#endif
