// Checks that the layers make on their arguments, values for arguments that may be left out, and how
// messages name objects and texts.
#ifndef RAVO_DAQ_READER_ARGUMENTS_H
#define RAVO_DAQ_READER_ARGUMENTS_H

#include <cstdint>

#include "ravo_daq_status.h"

namespace ravo {

inline bool is_request_type(int type) {
  return type >= RAVO_DAQ_READ_CHAN_EVENT_FIRST && type <= RAVO_DAQ_READ_CHAN_EVENT_LAST;
}

/// Stores a value where the caller wants it; null: the caller does not.
template <class Value, class Given>
void deliver(Value* output, Given what) {
  if (output != nullptr) *output = static_cast<Value>(what);
}

/// A number that identifies an object in messages.
inline unsigned identity(const void* object) {
  return static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(object));
}

inline const char* text_or_empty(const char* text) { return text != nullptr ? text : ""; }

}  // namespace ravo

#endif
