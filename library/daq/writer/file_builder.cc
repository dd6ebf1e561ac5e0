// Collects events. The other half, assembling the file, is in file_assembly.cc.
#include "file_builder.h"

#include <algorithm>
#include <utility>

#include "streams.h"

namespace ravo::writer {

namespace {

void put_event_header(byte_vector& out, const event_parts& event, std::uint32_t pattern) {
  std::uint64_t length = sizeof(ravo_eventheader);
  for (const event_parts::server_block& block : event.server_blocks) length += block.bytes;
  put_word(out, pattern);
  put_size(out, length);
  put_word(out, event.head.event_number);
  put_int(out, event.head.event_type);
  put_time(out, event.head.time);
  put_int(out, event.head.tmask);
  put_int(out, event.head.status);
  put_size(out, event.server_blocks.size());
}

void put_server_block(byte_vector& out, const event_parts::server_block& block, std::size_t name_width) {
  put_time(out, block.head.time);
  put_size(out, block.bytes);
  put_int(out, block.head.mpulse);
  put_text(out, block.head.server, name_width);
  put_int(out, block.head.tmask);
  put_int(out, block.head.status);
  put_word(out, block.channels);
}

}  // namespace

file_contents empty_contents(const std::vector<channel>& channels, std::uint64_t description_bytes) {
  file_contents contents;
  contents.channels = channels.size();
  contents.environment_channels = static_cast<std::uint64_t>(std::count_if(
      channels.begin(), channels.end(), [](const channel& one) { return one.env_index >= 0; }));
  contents.description_bytes = description_bytes;
  return contents;
}

file_builder::file_builder(const record_set& records, const folder& place,
                           const std::vector<channel>& channels, std::string descriptions,
                           std::size_t buffer_bytes)
    : records_(records),
      folder_(place),
      channels_(channels),
      descriptions_(std::move(descriptions)),
      empty_(empty_contents(channels, descriptions_.size())),
      contents_(empty_),
      spool_(place, buffer_bytes, stream_of_channel(channels.size())),
      rows_(channels.size()),
      baskets_(channels.size(), 0) {}

file_contents file_builder::with(const event_parts& event) const {
  file_contents contents = contents_;
  ++contents.events;
  if (index_[static_cast<std::size_t>(event.head.event_type)].empty()) ++contents.event_types;
  contents.server_blocks += event.server_blocks.size();
  for (const event_parts::block& block : event.blocks)
    contents.add_block(up_to_word(block.length), rows_[block.channel].entries.size(),
                       spool_.size(stream_of_channel(block.channel)));
  return contents;
}

// Everything that may fail happens here, before the event is counted.
outcome file_builder::prepare(const event_parts& event) {
  const std::size_t heads =
      sizeof(ravo_eventheader) + event.server_blocks.size() * records_.server_block_head;
  make_room(index_[static_cast<std::size_t>(event.head.event_type)], 1);
  for (const event_parts::block& block : event.blocks) make_room(rows_[block.channel].entries, 1);
  return spool_.prepare(heads + event.block_bytes.size(),
                        1 + (event.server_blocks.empty() ? 0 : 1) + event.blocks.size());
}

outcome file_builder::add(const event_parts& event) {
  byte_vector header;
  header.reserve(sizeof(ravo_eventheader));
  put_event_header(header, event, records_.event_header_pattern);
  byte_vector server_blocks;
  server_blocks.reserve(event.server_blocks.size() * records_.server_block_head);
  for (const event_parts::server_block& block : event.server_blocks)
    put_server_block(server_blocks, block, records_.server_name);
  outcome prepared = prepare(event);
  if (prepared.failed()) return prepared;

  const file_contents after = with(event);
  const auto number = static_cast<std::uint32_t>(contents_.events);
  const auto first_server_block = static_cast<std::uint32_t>(contents_.server_blocks);
  for (const event_parts::block& block : event.blocks) {
    const std::size_t stream = stream_of_channel(block.channel);
    row& of_channel = rows_[block.channel];
    of_channel.entries.push_back({number,
                                  first_server_block + static_cast<std::uint32_t>(block.server_block),
                                  static_cast<std::uint32_t>(spool_.size(stream))});
    of_channel.event_types |= std::uint32_t{1} << event.head.event_type;
    of_channel.data_types |= type_bit(block.dtype);
    spool_.append(stream, {event.block_bytes.data() + block.offset,
                           static_cast<std::size_t>(up_to_word(block.length))});
  }
  spool_.append(stream_of_event_headers, header);
  if (!server_blocks.empty()) spool_.append(stream_of_server_blocks, server_blocks);
  index_[static_cast<std::size_t>(event.head.event_type)].push_back(
      {event.head.time, event.head.event_number, number});
  if (contents_.events == 0 || first_time_.timeup == 0) first_time_ = event.head.time;
  contents_ = after;
  return {};
}

void file_builder::clear() {
  spool_.clear();
  for (row& blocks : rows_) {
    blocks.entries.clear();
    blocks.event_types = 0;
    blocks.data_types = 0;
  }
  for (std::vector<index_entry>& list : index_) list.clear();
  contents_ = empty_;
}

}  // namespace ravo::writer
