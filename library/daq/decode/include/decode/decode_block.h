// The decoder: turns one event's block of a channel into host-order memory. A pure function of bytes in
// and a block out: it takes no lock, prints nothing and starts nothing, and says in its result what went
// wrong. The unzip workers call it, and other code that reads whole channels may too.
#ifndef RAVO_DECODE_DECODE_BLOCK_H
#define RAVO_DECODE_DECODE_BLOCK_H

#include "decode/stored_block.h"
#include "format/malloc_owner.h"
#include "ravo_raw_format.h"

namespace ravo {

/// The parts of a file that hold a channel's events.
struct block_source {
  file_part event_headers;
  file_part server_blocks;
  file_part channel;
};

/// The result of decoding one event of a channel. It owns the blocks until they are released.
template <class G>
struct decode_result {
  decode_outcome outcome = decode_outcome::outside;
  malloc_owner<ravo_eventheader> event_header;
  malloc_owner<typename G::server_block_head> server_block;
  malloc_owner<typename G::subhead> block;  ///< subheader, then data; null unless `decoded`
  bool cut_failed = false;                  ///< the subchannel could not be cut out: the block is whole
  ravo_zip_header zip{};
  unzip_result unzipped;
  int error = 0;  ///< of the conversion
};

/// Decodes the event whose pieces lie at `where`. `channel` is the name that an environment reading gets
/// (the name in the block is not compared: it may be the name that the front end uses); a `subchannel` of 0
/// or more is cut out of a block that holds several.
template <class G>
decode_result<G> decode_block(const block_source& source,
                              const typename G::chan_pointers_table_entry& where, const char* channel,
                              int subchannel);

}  // namespace ravo

#endif
