// Finds the basket of each channel, which nothing but the channel's first pointer leads to, and judges its
// head; then looks whether any two parts of the file overlap.
#ifndef RAVO_VERIFY_BASKETS_H
#define RAVO_VERIFY_BASKETS_H

#include "verify/checked_file.h"
#include "verify/file_map.h"
#include "verify/finding_list.h"

namespace ravo::verify {

/// Where the basket of a row's channel has to be by its first pointer; 0: it has none, or it leads nowhere.
std::uint64_t first_basket(const checked_file& file, const file_map& map, std::size_t row);

/// Sets the baskets of the channels, and which of them are usable.
template <class G>
void check_baskets(const checked_file& file, file_map& map, finding_list& findings);

}  // namespace ravo::verify

#endif
