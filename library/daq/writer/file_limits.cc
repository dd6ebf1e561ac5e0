// Whether a file stays within what its words can tell, and nothing else: a definition of it in a program
// takes its place, so that a test can come to the limit without gigabytes.
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
