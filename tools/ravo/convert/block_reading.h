// Reads single blocks of a raw file and decodes them with the readers' decoder. The file is read piece
// by piece and not mapped: if it is truncated meanwhile, a read ends short and the program goes on.
#ifndef RAVO_TOOL_BLOCK_READING_H
#define RAVO_TOOL_BLOCK_READING_H

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "common/failure.h"
#include "common/raw_file.h"
#include "decode/decode_block.h"
#include "ravo_evutl.h"

namespace ravo::tool {

/// Why a block could not be decoded, as the end of a sentence.
inline const char* text_of(decode_outcome outcome) {
  switch (outcome) {
    case decode_outcome::decoded:
      return "it can";
    case decode_outcome::outside:
      return "it does not lie where the tables say";
    case decode_outcome::misdirected:
      return "the tables lead to no event or into the middle of a server block";
    case decode_outcome::unknown_unzipper:
      return "it is compressed in an unknown way";
    case decode_outcome::unzip_failed:
      return "its compressed data are damaged";
    case decode_outcome::length_mismatch:
      return "it does not inflate to the length that it states";
    case decode_outcome::unzipped_not_convertible:
    case decode_outcome::update_not_convertible:
    case decode_outcome::plain_not_convertible:
      return "its data do not agree with its type";
    default:
      return "there is not enough memory for it";
  }
}

/// Whether the failure is one of memory, not of the block.
inline bool is_of_memory(decode_outcome outcome) {
  using enum decode_outcome;
  switch (outcome) {
    case no_event_header_memory:
    case no_server_block_memory:
    case no_subheader_memory:
    case no_work_memory:
    case no_block_memory:
    case no_update_memory:
    case no_plain_memory:
      return true;
    default:
      return false;
  }
}

/// A part of a file that was read into memory.
class file_bytes {
 public:
  /// Reads fewer bytes if the file ends earlier.
  void read(const raw_file& file, std::uint32_t offset, std::uint64_t length) {
    offset_ = offset;
    const std::uint64_t remaining = file.size() > offset ? file.size() - offset : 0;
    bytes_.resize(length < remaining ? length : remaining);
    if (!bytes_.empty() && !file.read_at(offset, bytes_)) bytes_.clear();
  }
  file_part part() const { return {bytes_.data(), bytes_.size(), offset_}; }
  const std::vector<unsigned char>& bytes() const { return bytes_; }

 private:
  std::vector<unsigned char> bytes_;
  std::uint32_t offset_ = 0;
};

/// A block with its headers, and the stored form that the decoder does not return because it turns blocks
/// into updates.
template <class G>
struct read_block {
  decode_result<G> decoded;
  RAVO_SUBBLOCK_TYPE stored_type;      ///< of the block as it lies in the file
  std::int32_t stored_error;           ///< the whole word
  std::vector<unsigned char> reading;  ///< of an environment block: the stored data, in host order
};

template <class G>
class block_reader {
 public:
  explicit block_reader(const raw_file& file) : file_(file) {}

  /// Throws data_failure if the block cannot be decoded.
  read_block<G> read(const ravo_event_chan_ptr_entry& where, const char* channel) {
    constexpr std::size_t head_size = sizeof(typename G::subhead);
    event_header_.read(file_, where.evhd, sizeof(ravo_eventheader));
    server_block_.read(file_, where.sbhd, sizeof(typename G::server_block_head));
    block_.read(file_, where.chhd, head_size);
    if (block_.bytes().size() < head_size) refuse(where, channel, decode_outcome::outside);
    // The bytes of the block in the file; the part of the stated length beyond the file's end is cut off.
    block_.read(file_, where.chhd, length_of_block(where));
    if (block_.bytes().size() < head_size) refuse(where, channel, decode_outcome::outside);

    read_block<G> block{
        decode_block<G>({event_header_.part(), server_block_.part(), block_.part()}, where, channel, -1),
        static_cast<RAVO_SUBBLOCK_TYPE>(word(offsetof(typename G::subhead, dtype))),
        static_cast<std::int32_t>(word(offsetof(typename G::subhead, error))),
        {}};
    if (block.decoded.outcome != decode_outcome::decoded) refuse(where, channel, block.decoded.outcome);
    const bool is_compressed = (block.stored_error & RAVO_CHAN_ZIP_FLAG) != 0;
    if (block.stored_type == RAVO_ENV_BLOCK && !is_compressed) block.reading = environment_reading(where);
    return block;
  }

 private:
  // As the subheader says; for a compressed block, the length in its zip header.
  std::uint64_t length_of_block(const ravo_event_chan_ptr_entry& where) {
    constexpr std::size_t head_size = sizeof(typename G::subhead);
    const std::uint64_t stated = word(offsetof(typename G::subhead, ldata));
    if ((static_cast<std::int32_t>(word(offsetof(typename G::subhead, error))) & RAVO_CHAN_ZIP_FLAG) == 0)
      return stated;
    block_.read(file_, where.chhd, head_size + sizeof(ravo_zip_header));
    if (block_.bytes().size() < head_size + sizeof(ravo_zip_header)) return stated;
    const std::uint64_t compressed = word(head_size + offsetof(ravo_zip_header, zipp_length));
    return std::max(stated, head_size + sizeof(ravo_zip_header) + compressed);
  }

  std::uint32_t word(std::size_t offset) const {
    std::uint32_t value;
    ravo_swap4(block_.bytes().data() + offset, &value, 1);
    return value;
  }

  // The decoder read the reading from this place, so it lies within the file.
  std::vector<unsigned char> environment_reading(const ravo_event_chan_ptr_entry& where) const {
    std::vector<unsigned char> data(sizeof(ravo_env_data_block_2010));
    const auto from = block_.part().at(where.data, data.size());
    if (from) ravo_swap4(from->data(), data.data(), static_cast<int>(data.size() / 4));
    return data;
  }

  [[noreturn]] void refuse(const ravo_event_chan_ptr_entry& where, const char* channel,
                           decode_outcome outcome) const {
    if (is_of_memory(outcome))
      throw data_failure(
          fmt::format("{}: there is not enough memory to decode the block of channel {} at {}",
                      file_.path(), channel, where.chhd));
    throw data_failure(fmt::format("{}: damaged: the block of channel {} at {} cannot be decoded: {}",
                                   file_.path(), channel, where.chhd, text_of(outcome)));
  }

  const raw_file& file_;
  file_bytes event_header_;
  file_bytes server_block_;
  file_bytes block_;
};

}  // namespace ravo::tool

#endif
