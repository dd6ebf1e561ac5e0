// The one decoder: turns one event's block of a channel into host-order memory. A pure function of bytes
// in and a block out: it takes no lock, prints nothing and starts nothing, and says in its result what
// went wrong. The unzip workers call it, and whoever else reads channels.
#ifndef RAVO_DAQ_READER_DECODE_BLOCK_H
#define RAVO_DAQ_READER_DECODE_BLOCK_H

#include <optional>

#include "byte_view.h"
#include "decode/unzip.h"
#include "malloc_owner.h"
#include "ravo_raw_format.h"

namespace ravo {

/// A part of a file in memory, which is asked by file offsets and knows where it ends.
class file_part {
 public:
  file_part() : file_part(nullptr, 0, 0) {}
  file_part(const void* bytes, std::size_t size, unsigned long first_offset)
      : bytes_(bytes, size, word_order::file), first_offset_(first_offset) {}

  /// `length` bytes from a file offset on, or nothing when they do not all lie in the part.
  std::optional<byte_view> at(unsigned long offset, std::size_t length) const {
    if (offset < first_offset_) return std::nullopt;
    return bytes_.sub(offset - first_offset_, length);
  }
  bool empty() const { return bytes_.data() == nullptr; }

 private:
  byte_view bytes_;
  unsigned long first_offset_;
};

/// The parts of a file that hold a channel's events.
struct block_source {
  file_part event_headers;
  file_part server_blocks;
  file_part channel;
};

/// How a decoding ended.
enum class decode_outcome {
  decoded,
  outside,                   ///< an offset of the entry lies outside its basket
  no_event_header_memory,
  no_server_block_memory,
  no_subheader_memory,
  no_work_memory,
  no_block_memory,
  no_update_memory,
  no_plain_memory,
  unknown_unzipper,
  unzip_failed,
  length_mismatch,           ///< unzipped to another length than the block says
  unzipped_not_convertible,  ///< the headers are there, the block is not
  update_not_convertible,
  plain_not_convertible,
};

/// What became of one event of a channel. The blocks belong to the result until they are released.
template <class G>
struct decode_result {
  decode_outcome outcome = decode_outcome::outside;
  malloc_owner<ravo_eventheader> event_header;
  malloc_owner<typename G::server_block_head> server_block;
  malloc_owner<typename G::subhead> block;  ///< subheader, then data; null but for `decoded`
  bool cut_failed = false;                  ///< the subchannel could not be cut out: the block is whole
  ravo_zip_header zip{};
  unzip_result unzipped;
  int error = 0;  ///< of the conversion
};

/// Decodes the event whose pieces lie at `where`. `channel` names the block of an environment reading;
/// `subchannel` 0 or more cuts that one out of a block that holds several.
template <class G>
decode_result<G> decode_block(const block_source& source, const typename G::chan_pointers_table_entry& where,
                              const char* channel, int subchannel);

}  // namespace ravo

#endif
