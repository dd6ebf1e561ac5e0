// Reads the heads of a file's events and server blocks and
// checks them against the event index and against their baskets.
#ifndef RAVO_VERIFY_HEADERS_H
#define RAVO_VERIFY_HEADERS_H

#include "verify/checked_file.h"
#include "verify/file_map.h"
#include "verify/finding_list.h"

namespace ravo::verify {

/// Adds events and server blocks to the map. If a basket's own head
/// is wrong, the event index or the event headers determine its size.
template <class G>
void read_headers(const checked_file& file, file_map& map, finding_list& findings);

}  // namespace ravo::verify

#endif
