// Finds the basket of each channel, which only the channel's pointers lead to,
// and checks its head; then checks whether any two parts of the file overlap.
#ifndef RAVO_VERIFY_BASKETS_H
#define RAVO_VERIFY_BASKETS_H

#include "checked_file.h"
#include "file_map.h"
#include "finding_list.h"

namespace ravo::checks {

/// Sets the offsets of the channels' baskets: by the first pointer of a row, or, if no basket is there,
/// by the pointer with the lowest offset. 0: the channel has no basket, or its pointer leads nowhere.
template <class G>
void find_baskets(const checked_file& file, file_map& map, finding_list& findings);

/// Sets the lengths of the baskets that were found, and which of them are usable.
template <class G>
void check_baskets(const checked_file& file, file_map& map, finding_list& findings);

}  // namespace ravo::checks

#endif
