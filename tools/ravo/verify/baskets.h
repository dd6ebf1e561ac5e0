// Finds the basket of each channel, which nothing but the channel's pointers lead to, and judges its head;
// then looks whether any two parts of the file overlap.
#ifndef RAVO_VERIFY_BASKETS_H
#define RAVO_VERIFY_BASKETS_H

#include "verify/checked_file.h"
#include "verify/file_map.h"
#include "verify/finding_list.h"

namespace ravo::verify {

/// Sets where the baskets of the channels are: by the first pointer of a row, or, when no basket is there,
/// by the one that leads farthest to the front. 0: there is none, or it leads nowhere.
template <class G>
void find_baskets(const checked_file& file, file_map& map, finding_list& findings);

/// Sets how long the baskets are that were found, and which of them are usable.
template <class G>
void check_baskets(const checked_file& file, file_map& map, finding_list& findings);

}  // namespace ravo::verify

#endif
