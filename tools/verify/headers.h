// Reads the heads of a file's events and server blocks and
// checks them against the event index and against their baskets.
#ifndef RAVO_VERIFY_HEADERS_H
#define RAVO_VERIFY_HEADERS_H

#include "checked_file.h"
#include "file_map.h"
#include "finding_list.h"

namespace ravo::checks {

/// Adds events and server blocks to the map. If a basket's own head
/// is wrong, the event index or the event headers determine its size.
template <class G>
void read_headers(const checked_file& file, file_map& map, finding_list& findings);

}  // namespace ravo::checks

#endif
