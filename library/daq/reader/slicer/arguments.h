// What the slicer's messages say of objects and texts, for several of its sources.
#ifndef RAVO_DAQ_READER_SLICER_ARGUMENTS_H
#define RAVO_DAQ_READER_SLICER_ARGUMENTS_H

#include <cstdint>

namespace ravo {

/// A number that tells one object from another in messages.
inline unsigned identity(const void* object) {
  return static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(object));
}

inline const char* text_or_empty(const char* text) { return text != nullptr ? text : ""; }

}  // namespace ravo

#endif
