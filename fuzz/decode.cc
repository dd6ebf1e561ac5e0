// The one decoder over arbitrary bytes: the input says how long the three parts of a file are, where they
// begin, which entry is asked for, and what the bytes are. The result is inspected.
#include <cstring>

#include "both_ways.h"
#include "decode/decode_block.h"
#include "decode/table_operations.h"
#include "expect.h"
#include "input.h"
#include "quiet.h"
#include "ravo_block_access.h"
#include "ravo_daq_read_chan.h"
#include "ravo_daq_read_chan_2010.h"

namespace ravo::fuzz {
namespace {

bool has_end(const char* text, std::size_t room) { return std::memchr(text, '\0', room) != nullptr; }

/// The channel that is asked for: the one whose name the block bears, so that the decoder continues, unless
/// the input asks for another.
template <class G>
std::string asked_channel(const std::string& said, const block_source& source, unsigned long block) {
  const auto head = read_subheader<G>(source.channel, block);
  if (!head || said == "another") return said;
  return {head->chname, strnlen(head->chname, sizeof head->chname)};
}

/// Inflates a stream that the decoder meets in both ways.
template <class G>
void inflate_its_stream(const block_source& source, const typename G::chan_pointers_table_entry& where) {
  stored_payload payload;
  const auto head = read_subheader<G>(source.channel, where.chhd);
  if (!head) return;
  static_cast<void>(locate_payload<G>(source.channel, where.chhd, where.data, *head, payload));
  const bool is_stream = payload.form == stored_form::compressed && payload.by == unzipper::zlib;
  if (!is_stream || payload.bytes == nullptr || payload.size == 0 || payload.room == 0) return;
  inflate_both_ways(exact_copy({reinterpret_cast<const char*>(payload.bytes), payload.size}), payload.room);
}

template <class G>
void decode(input& from) {
  typename G::chan_pointers_table_entry where{from.half(), from.half(), from.half(), from.half()};
  const int subchannel = static_cast<std::int8_t>(from.byte());
  const std::string said = from.text();
  const std::size_t headers = from.half(), servers = from.half();
  const unsigned long begin = from.byte();
  const exact_copy event_headers(from.take(headers)), server_blocks(from.take(servers)),
      blocks(from.rest());
  const block_source source{{event_headers.data(), event_headers.size(), begin},
                            {server_blocks.data(), server_blocks.size(), begin},
                            {blocks.data(), blocks.size(), begin}};
  const std::string channel = asked_channel<G>(said, source, where.chhd);

  inflate_its_stream<G>(source, where);
  const decode_result<G> result = decode_block<G>(source, where, channel.c_str(), subchannel);
  const decode_result<G> again = decode_block<G>(source, where, channel.c_str(), subchannel);
  expect(result.outcome == again.outcome, "decoding is the same twice");
  expect((result.outcome == decode_outcome::decoded) == (result.block != nullptr),
         "a decoded event has a block");
  if (result.block == nullptr) return;

  expect(result.event_header != nullptr && result.server_block != nullptr,
         "a decoded event has its headers");
  const auto& block = *result.block;
  expect(block.ldata >= static_cast<std::int32_t>(sizeof block), "a block holds its own subheader");
  expect(again.block->ldata == block.ldata &&
             std::memcmp(&block, again.block.get(), static_cast<std::size_t>(block.ldata)) == 0,
         "decoding gives the same bytes twice");
  expect(has_end(block.chname, sizeof block.chname), "a block's name has an end");
  expect(has_end(result.server_block->server, sizeof result.server_block->server),
         "a server's name has an end");
  table_operations<G>::print_server_block_head(result.server_block.get());
  table_operations<G>::print_subhead(result.block.get());
  table_operations<G>::print_block(result.block.get());
}

}  // namespace
}  // namespace ravo::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace ravo;
  fuzz::be_quiet();
  fuzz::input from(data, size);
  if (from.flag())
    fuzz::decode<raw_format_2010>(from);
  else
    fuzz::decode<raw_format_2009>(from);
  return 0;
}
