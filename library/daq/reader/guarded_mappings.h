// What parts of files the library has mapped at the moment, for the guard that a program may turn on
// (ravo_mapping_guard.h): only faults in these are the guard's, and which of them had one is kept here.
#ifndef RAVO_DAQ_READER_GUARDED_MAPPINGS_H
#define RAVO_DAQ_READER_GUARDED_MAPPINGS_H

#include <cstddef>

namespace ravo::guarded_mappings {

/// Enters a mapping. Without memory for the list it stays without a guard.
void add(const void* base, std::size_t size);
/// To be called before it is unmapped.
void remove(const void* base);
/// Whether pages of the mapping that begins at `base` were gone from the file when they were looked at, and
/// read as zeros since. False for what is no mapping.
bool is_damaged(const void* base);

}  // namespace ravo::guarded_mappings

#endif
