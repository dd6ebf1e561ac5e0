// The request types, as channel reader and slicer check them.
#ifndef RAVO_DAQ_READER_REQUEST_TYPE_H
#define RAVO_DAQ_READER_REQUEST_TYPE_H

#include "ravo_daq_status.h"

namespace ravo {

inline bool is_request_type(int type) {
  return type >= RAVO_DAQ_READ_CHAN_EVENT_FIRST && type <= RAVO_DAQ_READ_CHAN_EVENT_LAST;
}

}  // namespace ravo

#endif
