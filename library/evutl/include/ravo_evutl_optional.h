// Operations that a table-access library may have besides those that it must have (ravo_evutl.h). A library
// without an operation of this header can be linked all the same: the operation's address is then null, and
// callers do without the answer.
//
// This library has all of them. Each is in a source file with an operation that every reader needs, so
// that linking a static library includes it.
#ifndef RAVO_EVUTL_OPTIONAL_H
#define RAVO_EVUTL_OPTIONAL_H

#include "ravo_export.h"
#include "ravo_raw_format.h"

/// Whether the 36 bytes at `header`, as they lie in the file, begin with the marker of an event header of
/// the current generation.
[[gnu::weak]] RAVO_EXPORT bool ravo_is_event_header_2010(const void* header);
/// The same for the older generation.
[[gnu::weak]] RAVO_EXPORT bool ravo_is_event_header(const void* header);

/// What memory is needed for when a table is loaded.
enum ravo_table_kind : int {
  RAVO_TABLE_OF_EVENTS = 0,       ///< the event index table
  RAVO_TABLE_OF_CHANNELS = 1,     ///< the channel dictionary
  RAVO_TABLE_OF_POINTERS = 2,     ///< the event channel pointer table with a row per dictionary entry
  RAVO_ROW_OF_POINTERS = 3,       ///< the same by a list of names: for each name
  RAVO_TABLE_OF_ENVIRONMENT = 4,  ///< the environment index dictionary
  RAVO_TABLE_OF_DESCRIPTIONS = 5  ///< the XML channel description header with its text
};

/// The most bytes that loading a table allocates at any time, according to what the file says about the
/// table; they are the bytes of the table itself unless loading it takes more. For both generations, whose
/// reference tables are the same. Non-zero: the table is not readable, and loading it is refused too.
[[gnu::weak]] RAVO_EXPORT int ravo_get_table_memory(long len,
                                                    const ravo_file_reference_table_2010* reference, int fd,
                                                    int table, unsigned long* bytes);

#endif
