// The lower step of the one decoder: finds one stored block (its subheader, how it is stored, how long it
// will be) without inflating anything, and decodes its payload into memory that the caller gives. It
// allocates nothing, takes no lock and prints nothing. Whoever wants the headers of the event and of the
// server too calls decode_block(), which stands on this.
#ifndef RAVO_DAQ_READER_STORED_BLOCK_H
#define RAVO_DAQ_READER_STORED_BLOCK_H

#include <cstdint>
#include <limits>
#include <optional>

#include "decode/unzip.h"
#include "format/byte_view.h"
#include "ravo_raw_format.h"

namespace ravo {

/// Which bytes of a file a part is.
struct part_extent {
  unsigned long first_offset = 0;
  std::size_t size = 0;
  /// Whether `length` bytes from a file offset on all lie in it.
  bool holds(unsigned long offset, std::size_t length) const {
    if (offset < first_offset || offset - first_offset > size) return false;
    return length <= size - (offset - first_offset);
  }
};

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
  part_extent extent() const { return {first_offset_, bytes_.size()}; }
  bool empty() const { return bytes_.data() == nullptr; }

 private:
  byte_view bytes_;
  unsigned long first_offset_;
};

/// How a decoding ended.
enum class decode_outcome {
  decoded,
  outside,      ///< an offset of the entry lies outside its basket
  misdirected,  ///< an offset leads into the middle of a server block's head, or to no event
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

/// How the data of a block lie in the file, and what is made of them.
enum class stored_form {
  compressed,
  update,       ///< an update, begin or end of run: handed out as an update
  environment,  ///< an environment reading: handed out as an update too
  plain,
};

/// A block's data where they are stored, and how much memory they will take.
struct stored_payload {
  stored_form form = stored_form::plain;
  const unsigned char* bytes = nullptr;  ///< null: they do not lie where the block says
  std::size_t size = 0;                  ///< bytes as stored
  /// The most bytes that decoding writes, and all that it makes when the block is sound. What a block says
  /// of its length does not decide it alone: no more than its compressed bytes could hold.
  std::size_t room = 0;
  ravo_zip_header zip{};
  unzipper by = unzipper::zlib;
};

/// What became of a payload.
struct decoded_payload {
  decode_outcome outcome = decode_outcome::outside;
  std::size_t length = 0;  ///< bytes written, when decoded
  unzip_result unzipped;
  int error = 0;  ///< of the conversion
};

/// Whether an event header is that of an event. Its marker is the table-access library's; this is the
/// number that entries have which no event fills.
inline bool is_of_an_event(const ravo_eventheader& header) {
  return header.event_number != RAVO_EVENT_NUMBER_UNDECODED;
}

/// Where an entry says that the head of its server block lies, among nothing but such heads: decoded,
/// outside or misdirected. Heads bear no marker: where one begins is all that is known.
template <class G>
decode_outcome check_server_block(const part_extent& heads, unsigned long offset) {
  constexpr std::size_t size = sizeof(typename G::server_block_head);
  if (!heads.holds(offset, size)) return decode_outcome::outside;
  return (offset - heads.first_offset) % size == 0 ? decode_outcome::decoded : decode_outcome::misdirected;
}

/// The subheader at a file offset, in host order; nothing when it does not lie in the part.
template <class G>
std::optional<typename G::subhead> read_subheader(const file_part& channel, unsigned long offset);

/// Finds the data of the block whose subheader lies at `subheader`; `data` is where updates and readings
/// are said to be, whose length is that of their type whatever the block says of its own. `decoded`: found,
/// `payload` says where and how. Data that end outside the part are reported by decode_payload(), which
/// gives the outcome for their form.
template <class G>
decode_outcome locate_payload(const file_part& channel, unsigned long subheader, unsigned long data,
                              const typename G::subhead& head, stored_payload& payload);

/// Decodes the data into `room` bytes at `into`, in host order. `work`: memory for LZO, which needs none to
/// decompress, so that it may be null.
template <class G>
decoded_payload decode_payload(const stored_payload& payload, const typename G::subhead& head,
                               const char* channel, unsigned char* into, unsigned char* work);

/// Inflates compressed data into `room` bytes and leaves them in file order: the first half of
/// decode_payload().
decoded_payload inflate_payload(const stored_payload& payload, unsigned char* into, unsigned char* work);

/// Whether the classic readers cut a member out of a block of this type, the one that it has in the file,
/// also when it has become an update. They go by the number of members that the type has. Of types of one
/// member (name-value lists are such, and older generic spectra) they cut member 0 out of compressed blocks
/// only, and hand over the whole block for anything else: an asymmetry that is intended. The dataset layer
/// does not ask this: there a member is that member, however it is stored.
template <class G>
bool is_member_cut(const stored_payload& payload, std::int32_t stored_dtype, int member);

/// Cuts a member out of a decoded block. True: that failed; `part` null: the block is what was asked for.
template <class G>
bool cut_member(const stored_payload& payload, const typename G::subhead* block, int member,
                typename G::subhead** part);

/// The data type of what decoding makes of a block, in all 32 bits.
template <class G>
std::int32_t decoded_type(const stored_payload& payload, const typename G::subhead& head) {
  const bool becomes_update =
      payload.form == stored_form::update || payload.form == stored_form::environment;
  return becomes_update ? static_cast<std::int32_t>(G::update_dtype) : head.dtype;
}

}  // namespace ravo

#endif
