// The inverse of ravo_convert_data, for writers of raw files. It is apart from ravo_evutl.h because
// readers do not need it and a site's own table-access library does not have it.
#ifndef RAVO_STORE_H
#define RAVO_STORE_H

#include "ravo_export.h"

/// Brings the data of a block of type `dtype` (low 16 bits) from host order into file order. `length`
/// bytes are read and written; destination may equal source. Non-zero: the data are inconsistent with
/// their type (the same checks as ravo_convert_data), and the destination is undefined.
RAVO_EXPORT int ravo_store_data(const void* source, void* destination, int dtype, int length);

#endif
