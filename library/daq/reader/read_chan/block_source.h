// The parts of a file from which a started channel reader decodes, each with its end.
#ifndef RAVO_DAQ_READER_BLOCK_SOURCE_H
#define RAVO_DAQ_READER_BLOCK_SOURCE_H

#include "decode/decode_block.h"
#include "mapping.h"
#include "ravo_daq/file_get_tables.h"
#include "ravo_daq/read_chan.h"

namespace ravo {

/// A basket's records: the bytes between its head and its end.
inline file_part records_of(const void* basket, std::size_t length, unsigned long offset) {
  constexpr std::size_t head = basket_head_size;
  if (length < head) return {};
  return {static_cast<const unsigned char*>(basket) + head, length - head, offset + head};
}

/// The records of a header basket, which lies somewhere in `size` bytes at `base`, or is a heap copy that
/// begins there.
template <class Basket>
file_part header_records(const unsigned char* base, const Basket* basket, unsigned long size, bool copied,
                         unsigned long offset) {
  if (base == nullptr || basket == nullptr) return {};
  const auto in_front = static_cast<std::size_t>(reinterpret_cast<const unsigned char*>(basket) - base);
  // The length word of a copy was checked when the copy was made.
  const std::size_t length = copied ? static_cast<std::size_t>(basket_length(basket)) : size - in_front;
  return records_of(basket, length, offset + in_front);
}

template <class G>
file_part channel_records(const daq_read_chan<G>& reader) {
  if (reader.chnb == nullptr) return {};
  if constexpr (G::copies_channel_basket)
    return records_of(reader.chnb, static_cast<std::size_t>(basket_length(reader.chnb)), reader.chn_offset);
  else
    return header_records(reader.chn_base, reader.chnb, reader.chn_base_size, false, reader.chn_offset);
}

template <class G>
block_source source_of(const daq_read_chan<G>& reader) {
  if (reader.cfg == nullptr) return {};
  const auto& file = *reader.cfg;
  const bool copied = file.are_baskets_copied();
  return {header_records(reader.evh_base, reader.evhb, file.evh_base_size, copied, reader.evh_offset),
          header_records(reader.sbh_base, reader.sbhb, file.sbh_base_size, copied, reader.sbh_offset),
          channel_records(reader)};
}

}  // namespace ravo

#endif
