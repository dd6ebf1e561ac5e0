// The lower step of the decoder: finds one stored block (its subheader, how it is stored, how long it will
// be) without inflating anything, and decodes its payload into memory that the caller provides. It
// allocates nothing, takes no lock and prints nothing. To get the headers of the event and of the server
// too, call decode_block(), which builds on this.
#ifndef RAVO_DECODE_STORED_BLOCK_H
#define RAVO_DECODE_STORED_BLOCK_H

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>

#include "decode/unzip.h"
#include "format/byte_view.h"
#include "ravo_raw_format.h"

namespace ravo {

/// The range of a file's bytes that is a part.
struct part_extent {
  unsigned long first_offset = 0;
  std::size_t size = 0;
  /// Whether `length` bytes from a file offset on all lie in the range.
  bool holds(unsigned long offset, std::size_t length) const {
    if (offset < first_offset || offset - first_offset > size) return false;
    return length <= size - (offset - first_offset);
  }
};

/// A part of a file in memory, which is addressed by file offsets and knows where it ends.
class file_part {
 public:
  file_part() : file_part(nullptr, 0, 0) {}
  file_part(const void* bytes, std::size_t size, unsigned long first_offset)
      : bytes_(bytes, size, word_order::file), first_offset_(first_offset) {}

  /// `length` bytes from a file offset on; `nullopt` if they do not all lie in the part.
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

/// How decoding ended.
enum class decode_outcome {
  decoded,
  outside,      ///< an offset of the entry lies outside its basket
  misdirected,  ///< an offset points into the middle of a server block's head, or not to an event
  no_event_header_memory,
  no_server_block_memory,
  no_subheader_memory,
  no_work_memory,
  no_block_memory,
  no_update_memory,
  no_plain_memory,
  unknown_unzipper,
  unzip_failed,
  length_mismatch,           ///< the unzipped length differs from that in the block
  unzipped_not_convertible,  ///< the headers are there, the block is not
  update_not_convertible,
  plain_not_convertible,  ///< the last one
};
inline constexpr std::size_t decode_outcome_count =
    static_cast<std::size_t>(decode_outcome::plain_not_convertible) + 1;

/// How the data of a block are stored in the file, and what they are decoded to.
enum class stored_form {
  compressed,
  update,       ///< an update, begin or end of run: becomes an update
  environment,  ///< an environment reading: becomes an update too
  plain,
};

/// A block's data where they are stored, and how much memory they will take.
struct stored_payload {
  stored_form form = stored_form::plain;
  const unsigned char* bytes = nullptr;  ///< null: they do not lie where the block says
  std::size_t size = 0;                  ///< bytes as stored
  /// The most bytes that decoding writes, and exactly as many if the block is sound. It is limited not only
  /// by the length in the block, but also by what its compressed bytes can hold.
  std::size_t room = 0;
  ravo_zip_header zip{};
  unzipper by = unzipper::zlib;
};

/// The result of decoding a payload.
struct decoded_payload {
  decode_outcome outcome = decode_outcome::outside;
  std::size_t length = 0;  ///< bytes written, when decoded
  unzip_result unzipped;
  int error = 0;  ///< of the conversion
};

/// Whether an event header is that of an event. The table-access library checks the marker; this checks
/// that the number is not that of entries without an event.
inline bool is_of_an_event(const ravo_eventheader& header) {
  return header.event_number != RAVO_EVENT_NUMBER_UNDECODED;
}

/// Checks the offset of a server block's head, in a part that holds only such heads: decoded, outside or
/// misdirected. Heads have no marker: all that can be checked is whether one begins there.
template <class G>
decode_outcome check_server_block(const part_extent& heads, unsigned long offset) {
  constexpr std::size_t size = sizeof(typename G::server_block_head);
  if (!heads.holds(offset, size)) return decode_outcome::outside;
  return (offset - heads.first_offset) % size == 0 ? decode_outcome::decoded : decode_outcome::misdirected;
}

/// The subheader at a file offset, in host order; `nullopt` if it does not lie in the part.
template <class G>
std::optional<typename G::subhead> read_subheader(const file_part& channel, unsigned long offset);

/// Finds the data of the block whose subheader lies at `subheader`. `data` is the offset of updates and
/// readings; their type determines their length, whatever the block says. `decoded`: found, `payload` says
/// where and how. If data end outside the part, decode_payload() reports it with the outcome for their
/// form.
template <class G>
decode_outcome locate_payload(const file_part& channel, unsigned long subheader, unsigned long data,
                              const typename G::subhead& head, stored_payload& payload);

/// Decodes the data into `room` bytes at `into`, in host order. `work`: memory for LZO, which does not use
/// it to decompress, so that it may be null.
template <class G>
decoded_payload decode_payload(const stored_payload& payload, const typename G::subhead& head,
                               const char* channel, unsigned char* into, unsigned char* work);

/// Inflates compressed data into `room` bytes and leaves them in file order: the first half of
/// decode_payload().
decoded_payload inflate_payload(const stored_payload& payload, unsigned char* into, unsigned char* work);

/// Whether the classic readers cut a member out of a block. The type is the block's type in the file, even
/// if the block has become an update, and its number of members decides. For types with one member (such as
/// name-value lists and older generic spectra) they cut member 0 out of compressed blocks only, and return
/// the whole block otherwise: this asymmetry is intended. The dataset layer does not use this: there a
/// member is that member, however it is stored.
template <class G>
bool is_member_cut(const stored_payload& payload, std::int32_t stored_dtype, int member);

/// Cuts a member out of a decoded block. True: it failed; `part` null: the whole block is the answer.
template <class G>
bool cut_member(const stored_payload& payload, const typename G::subhead* block, int member,
                typename G::subhead** part);

/// The data type of the decoded block, all 32 bits.
template <class G>
std::int32_t decoded_type(const stored_payload& payload, const typename G::subhead& head) {
  const bool becomes_update =
      payload.form == stored_form::update || payload.form == stored_form::environment;
  return becomes_update ? static_cast<std::int32_t>(G::update_dtype) : head.dtype;
}

}  // namespace ravo

#endif
