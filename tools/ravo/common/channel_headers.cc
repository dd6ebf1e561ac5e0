#include "common/channel_headers.h"

#include <fmt/format.h>

#include <cstring>

#include "common/failure.h"
#include "ravo_evutl.h"

namespace ravo::tool {
namespace {

// Reads a record; its bytes are still in the file's order.
template <class Record>
Record read_record(const raw_file& file, std::uint32_t offset, const char* what) {
  Record record;
  unsigned char bytes[sizeof record];
  if (!file.read_at(offset, bytes))
    throw data_failure(
        fmt::format("{}: damaged: {} at {} does not lie in the file", file.path(), what, offset));
  std::memcpy(&record, bytes, sizeof record);
  return record;
}

// Brings the words from `first` to `last` into host order, both inside one record.
template <class First, class Last>
void swap_words(First& first, Last& last) {
  auto* const begin = reinterpret_cast<unsigned char*>(&first);
  auto* const end = reinterpret_cast<unsigned char*>(&last + 1);
  ravo_swap4(begin, begin, static_cast<int>((end - begin) / 4));
}

ravo_eventheader read_event_header(const raw_file& file, std::uint32_t offset) {
  auto header = read_record<ravo_eventheader>(file, offset, "the event header");
  ravo_swap4(&header, &header, sizeof header / 4);
  const bool is_older = file.generation() == ravo_file_generation::older;
  if (header.pattern != (is_older ? RAVO_EVENT_HEADER_PATTERN : RAVO_EVENT_HEADER_PATTERN_2010))
    throw data_failure(fmt::format("{}: damaged: there is no event header at {}", file.path(), offset));
  return header;
}

template <class Head>
Head read_server_head_as(const raw_file& file, std::uint32_t offset) {
  auto head = read_record<Head>(file, offset, "the server block");
  swap_words(head.time, head.mpulse);
  swap_words(head.tmask, head.nchan);
  head.server[sizeof head.server - 1] = '\0';
  return head;
}

ravo_serv_block_head_2010 read_server_head(const raw_file& file, std::uint32_t offset) {
  if (file.generation() == ravo_file_generation::current)
    return read_server_head_as<ravo_serv_block_head_2010>(file, offset);
  const auto older = read_server_head_as<ravo_serv_block_head>(file, offset);
  ravo_serv_block_head_2010 head{older.time,  older.ltotal, older.mpulse, {},
                                 older.tmask, older.status, older.nchan};
  std::memcpy(head.server, older.server, sizeof older.server);
  return head;
}

template <class Head>
Head read_channel_head_as(const raw_file& file, std::uint32_t offset) {
  auto head = read_record<Head>(file, offset, "the channel block");
  swap_words(head.dtype, head.ldata);
  head.chname[sizeof head.chname - 1] = '\0';
  return head;
}

ravo_serv_block_subhead_2010 read_channel_head(const raw_file& file, std::uint32_t offset) {
  if (file.generation() == ravo_file_generation::current)
    return read_channel_head_as<ravo_serv_block_subhead_2010>(file, offset);
  const auto older = read_channel_head_as<ravo_serv_block_subhead>(file, offset);
  ravo_serv_block_subhead_2010 head{{}, older.dtype, older.error, older.ldata};
  std::memcpy(head.chname, older.chname, sizeof older.chname);
  return head;
}

}  // namespace

channel_headers read_channel_headers(const raw_file& file, const ravo_event_chan_ptr_entry& at) {
  channel_headers headers{at, read_event_header(file, at.evhd), read_server_head(file, at.sbhd),
                          read_channel_head(file, at.chhd), std::nullopt};
  if (headers.channel.error & RAVO_CHAN_ZIP_FLAG) {
    // The zip header follows a record that was read, so the sum cannot overflow.
    const auto head_size = file.generation() == ravo_file_generation::older
                               ? sizeof(ravo_serv_block_subhead)
                               : sizeof(ravo_serv_block_subhead_2010);
    const auto after_head = at.chhd + static_cast<std::uint32_t>(head_size);
    headers.zip = read_record<ravo_zip_header>(file, after_head, "the zip header");
    ravo_swap4(&*headers.zip, &*headers.zip, sizeof(ravo_zip_header) / 4);
  }
  return headers;
}

}  // namespace ravo::tool
