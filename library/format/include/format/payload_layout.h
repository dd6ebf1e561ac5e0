// Judges whether the data of a block can be what their type says, and tells which of their bytes are
// words and which are text or pixels. Conversion, splitting and printing all ask here first.
#ifndef RAVO_PAYLOAD_LAYOUT_H
#define RAVO_PAYLOAD_LAYOUT_H

#include <cstddef>

#include "format/byte_view.h"
#include "ravo_data_types.h"
#include "ravo_evutl_status.h"

namespace ravo {

/// Where the words of a payload are: leading words, a text, words, then records of a text and words.
/// Bytes behind all that are not words.
struct word_map {
  std::size_t leading_words = 0;
  std::size_t text_bytes = 0;
  std::size_t middle_words = 0;
  std::size_t records = 0;
  std::size_t record_text_bytes = 0;
  std::size_t record_words = 0;
};

/// Holds the counts and texts in `data` against the shape and the length of the data. On success
/// `words` tells where the words are; every word that it names lies inside the data.
ravo_data_status check_payload(const data_type& type, const byte_view& data, word_map& words);

}  // namespace ravo

#endif
