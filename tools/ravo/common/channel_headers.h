// The three headers above a channel's data of an event, straight out of a file: of the
// event, of the server block, of the channel's own block. The data themselves are not read.
#ifndef RAVO_TOOL_CHANNEL_HEADERS_H
#define RAVO_TOOL_CHANNEL_HEADERS_H

#include <optional>

#include "common/raw_file.h"

namespace ravo::tool {

/// In host order, each with its offset in the file. Headers of an older file are
/// converted to the current generation's records, which have room for everything in them.
struct channel_headers {
  ravo_event_chan_ptr_entry at;
  ravo_eventheader event;
  ravo_serv_block_head_2010 server;  ///< its text ends with a zero
  ravo_serv_block_subhead_2010 channel;
  std::optional<ravo_zip_header> zip;  ///< of compressed data
};

/// The headers at a place of the file; throws data_failure if they
/// do not lie within the file, or if there is no event header.
channel_headers read_channel_headers(const raw_file& file, const ravo_event_chan_ptr_entry& at);

}  // namespace ravo::tool

#endif
