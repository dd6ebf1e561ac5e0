// The parts of a file that a started channel reader decodes from, each with its end.
#ifndef RAVO_DAQ_READER_BLOCK_SOURCE_H
#define RAVO_DAQ_READER_BLOCK_SOURCE_H

#include "decode/decode_block.h"
#include "mapping.h"
#include "ravo_daq/file_get_tables.h"
#include "ravo_daq/read_chan.h"

namespace ravo {

template <class Basket>
file_part header_part(unsigned char* base, const Basket* basket, unsigned long mapped, bool copied,
                      unsigned long offset) {
  if (base == nullptr || basket == nullptr) return {};
  // A heap copy begins with the basket, whose length word was checked when it was loaded.
  return {base, copied ? static_cast<std::size_t>(basket_length(basket)) : mapped, offset};
}

template <class G>
block_source source_of(const daq_read_chan<G>& reader) {
  if (reader.cfg == nullptr) return {};
  const bool copied = reader.cfg->basket_copy_mode != 0;
  block_source source;
  source.event_headers =
      header_part(reader.evh_base, reader.evhb, reader.cfg->evh_base_size, copied, reader.evh_offset);
  source.server_blocks =
      header_part(reader.sbh_base, reader.sbhb, reader.cfg->sbh_base_size, copied, reader.sbh_offset);
  if (reader.chnb == nullptr) return source;
  if constexpr (G::copies_channel_basket)
    source.channel = {reader.chnb, static_cast<std::size_t>(basket_length(reader.chnb)), reader.chn_offset};
  else
    source.channel = {reader.chn_base, reader.chn_base_size, reader.chn_offset};
  return source;
}

}  // namespace ravo

#endif
