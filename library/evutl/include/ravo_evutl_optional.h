// What a table-access library may answer beside the operations that it has to have (ravo_evutl.h). One that
// does not have an operation of this header links all the same: its address is null then, and who would ask
// does without the answer.
//
// This library has all of them. Each stands in a source file with an operation that every reader needs, so
// that a static library brings it along.
#ifndef RAVO_EVUTL_OPTIONAL_H
#define RAVO_EVUTL_OPTIONAL_H

#include "ravo_export.h"
#include "ravo_raw_format.h"

/// Whether the 36 bytes at `header`, as they lie in the file, begin with the marker of an event header of
/// the current generation.
[[gnu::weak]] RAVO_EXPORT bool ravo_is_event_header_2010(const void* header);
/// The same of the older generation.
[[gnu::weak]] RAVO_EXPORT bool ravo_is_event_header(const void* header);

/// What loading takes memory for.
enum ravo_table_kind : int {
  RAVO_TABLE_OF_EVENTS = 0,       ///< the event index table
  RAVO_TABLE_OF_CHANNELS = 1,     ///< the channel dictionary
  RAVO_TABLE_OF_POINTERS = 2,     ///< the event channel pointer table with a row per dictionary entry
  RAVO_ROW_OF_POINTERS = 3,       ///< the same by a list of names: for each name
  RAVO_TABLE_OF_ENVIRONMENT = 4,  ///< the environment index dictionary
  RAVO_TABLE_OF_DESCRIPTIONS = 5  ///< the XML channel description header with its text
};

/// The most bytes that the operation which loads a table has allocated at any time, by what the file says
/// of the table; they are the bytes of the table itself unless loading it takes more. For both generations,
/// whose reference tables are the same. Non-zero: the table is not readable, and loading it is refused too.
[[gnu::weak]] RAVO_EXPORT int ravo_get_table_memory(long len,
                                                    const ravo_file_reference_table_2010* reference, int fd,
                                                    int table, unsigned long* bytes);

#endif
