// What a table-access library may answer beside the operations that it has to have (ravo_evutl.h). One that
// does not have an operation of this header links all the same: its address is null then, and who would ask
// does without the answer.
//
// This library has all of them. Each stands in a source file with an operation that every reader needs, so
// that a static library brings it along.
#ifndef RAVO_EVUTL_OPTIONAL_H
#define RAVO_EVUTL_OPTIONAL_H

/// Whether the 36 bytes at `header`, as they lie in the file, begin with the marker of an event header of
/// the current generation.
[[gnu::weak]] bool ravo_is_event_header_2010(const void* header);
/// The same of the older generation.
[[gnu::weak]] bool ravo_is_event_header(const void* header);

#endif
