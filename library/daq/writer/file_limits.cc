// Decides whether a file stays within what its words can hold, and nothing else: a program can replace this
// definition by its own, so that a test reaches the limit without gigabytes.
#include <algorithm>

#include "file_layout.h"

namespace ravo::writer {

bool file_layout::fits() const {
  return total <= largest_file &&
         std::max({event_headers_length, server_blocks_length, longest_basket_length,
                   channel_dictionary_length, pointer_table_length, environment_dictionary_length,
                   descriptions_length}) <= largest_length;
}

}  // namespace ravo::writer
