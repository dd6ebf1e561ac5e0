// The events of an older raw file in order of time, with the server blocks of each and the channel
// blocks of those, so that they can be given to a writer one by one. A file whose tables and headers
// contradict each other is refused: a copy could keep only one of the contradicting statements.
#ifndef RAVO_TOOL_OLDER_EVENTS_H
#define RAVO_TOOL_OLDER_EVENTS_H

#include <cstdint>
#include <span>
#include <vector>

#include "common/raw_file.h"

namespace ravo::tool {

/// One block: its channel's place in the dictionary, and its own in the channel's row.
struct block_place {
  std::uint32_t channel;
  std::uint32_t entry;
};

struct older_event {
  ravo_eventheader header;   ///< in host order
  std::uint32_t first_head;  ///< of its server blocks
};

class older_events {
 public:
  /// Throws data_failure that says which parts contradict each other. The file outlives this object.
  explicit older_events(const raw_file& file);

  std::span<const older_event> list() const { return events_; }
  std::size_t blocks() const { return blocks_.size(); }
  std::size_t server_blocks() const { return heads_.size(); }
  /// The heads of an event's server blocks, in host order; the first one is number `first_head`.
  std::span<const ravo_serv_block_head> heads_of(const older_event& event) const {
    return std::span(heads_).subspan(event.first_head,
                                     static_cast<std::size_t>(event.header.num_svr_block));
  }
  std::span<const block_place> blocks_of(std::size_t head) const {
    return std::span(blocks_).subspan(first_block_[head], first_block_[head + 1] - first_block_[head]);
  }

 private:
  void read_headers();
  void read_heads();
  void check_index() const;
  void place_blocks();
  void sort_events();
  std::size_t head_of(std::size_t channel, const ravo_event_chan_ptr_entry& where) const;

  const raw_file& file_;
  std::vector<older_event> events_;  // in the order of the file until they are sorted, at the end
  std::vector<ravo_serv_block_head> heads_;
  std::vector<block_place> blocks_;         // by head
  std::vector<std::uint32_t> first_block_;  // of each head, and the end
};

}  // namespace ravo::tool

#endif
