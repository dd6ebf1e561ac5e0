#include "convert/older_events.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <numeric>

#include "common/failure.h"
#include "format/time.h"
#include "ravo_evutl.h"

namespace ravo::tool {
namespace {

[[noreturn]] void contradict(const raw_file& file, const std::string& what) {
  throw data_failure(fmt::format("{}: contradicts itself: {}", file.path(), what));
}

constexpr std::uint32_t basket_head_size = 8;

// The records of a basket, in the order of the file.
template <class Record>
std::vector<Record> read_records(const raw_file& file, std::uint32_t basket, const char* what) {
  const std::uint32_t length = file.length_at(basket);
  // The loader mapped the basket, so it lies within the file.
  if (length < basket_head_size || length > file.size())
    contradict(file, fmt::format("the {} basket has {} bytes", what, length));
  std::vector<Record> records((length - basket_head_size) / sizeof(Record));
  if (records.size() * sizeof(Record) != length - basket_head_size)
    contradict(file, fmt::format("the {} basket does not end with a record", what));
  const std::span<unsigned char> bytes(reinterpret_cast<unsigned char*>(records.data()),
                                       records.size() * sizeof(Record));
  if (!bytes.empty() && !file.read_at(basket + basket_head_size, bytes))
    contradict(file, fmt::format("the {} basket leaves the file", what));
  return records;
}

std::string text_of(const ravo_eventheader& header) {
  return fmt::format("event {} at {}", header.event_number, time_text(header.event_time));
}

}  // namespace

older_events::older_events(const raw_file& file) : file_(file) {
  read_headers();
  read_heads();
  check_index();
  place_blocks();
  sort_events();
}

void older_events::read_headers() {
  auto headers = read_records<ravo_eventheader>(file_, file_.reference().evhdb_ref, "event header");
  events_.reserve(headers.size());
  std::uint64_t heads = 0;
  for (ravo_eventheader& header : headers) {
    ravo_swap4(&header, &header, sizeof header / 4);
    if (header.pattern != RAVO_EVENT_HEADER_PATTERN)
      contradict(file_, fmt::format("header {} of its events has no marker", events_.size()));
    if (header.num_svr_block < 0)
      contradict(file_, text_of(header) + " has a negative number of server blocks");
    events_.push_back({header, static_cast<std::uint32_t>(heads)});
    heads += static_cast<std::uint32_t>(header.num_svr_block);
    if (heads > std::numeric_limits<std::uint32_t>::max())
      contradict(file_, "its events have more server blocks than a file can hold");
  }
}

void older_events::read_heads() {
  heads_ = read_records<ravo_serv_block_head>(file_, file_.reference().srvbb_ref, "server block");
  const std::size_t counted =
      events_.empty()
          ? 0
          : events_.back().first_head + static_cast<std::size_t>(events_.back().header.num_svr_block);
  if (counted != heads_.size())
    contradict(file_,
               fmt::format("its events have {} server blocks, by their headers, and the basket holds {}",
                           counted, heads_.size()));
  for (ravo_serv_block_head& head : heads_) {
    ravo_swap4(&head.time, &head.time, offsetof(ravo_serv_block_head, server) / 4);
    ravo_swap4(&head.tmask, &head.tmask, 3);
    head.server[sizeof head.server - 1] = '\0';
  }
}

// Checks that each event is in the index exactly once, as its header says.
void older_events::check_index() const {
  const std::uint32_t first = file_.reference().evhdb_ref + basket_head_size;
  const ravo_event_index_entry_2010* type = file_.event_index().event_index_entry();
  std::vector<bool> is_listed(events_.size());
  std::size_t listed = 0;
  for (int i = 0; i < file_.event_index().nevent_types; ++i, type = type->next())
    for (int n = 0; n < type->length; ++n) {
      const ravo_event_info_entry_2010& entry = type->event_info()[n];
      const std::uint32_t distance = entry.offset - first;
      const std::size_t place = distance / sizeof(ravo_eventheader);
      if (entry.offset < first || distance % sizeof(ravo_eventheader) != 0 || place >= events_.size())
        contradict(file_, fmt::format("the event index has event {} at {}, where no event header is",
                                      entry.event_number, entry.offset));
      const ravo_eventheader& header = events_[place].header;
      if (header.event_type != type->event_type || header.event_number != entry.event_number ||
          !ravo_time_stamp_eq(&header.event_time, &entry.time))
        contradict(file_,
                   fmt::format("the event index has another number, time or type for {}", text_of(header)));
      if (n > 0 && in_microseconds(entry.time) < in_microseconds(type->event_info()[n - 1].time))
        contradict(file_, fmt::format("the event index is not in the order of time at event {}",
                                      entry.event_number));
      if (is_listed[place]) contradict(file_, "the event index has " + text_of(header) + " twice");
      is_listed[place] = true;
      ++listed;
    }
  if (listed != events_.size())
    contradict(file_,
               fmt::format("it has {} event headers, and {} events in its index", events_.size(), listed));
}

// The head of the server block that a block belongs to; it has to be one of the block's event.
std::size_t older_events::head_of(std::size_t channel, const ravo_event_chan_ptr_entry& where) const {
  const std::uint32_t first_header = file_.reference().evhdb_ref + basket_head_size;
  const std::uint32_t first_head = file_.reference().srvbb_ref + basket_head_size;
  const std::size_t event = (where.evhd - first_header) / sizeof(ravo_eventheader);
  const std::size_t head = (where.sbhd - first_head) / sizeof(ravo_serv_block_head);
  const bool is_event = where.evhd >= first_header && event < events_.size() &&
                        (where.evhd - first_header) % sizeof(ravo_eventheader) == 0;
  const bool is_head = where.sbhd >= first_head && head < heads_.size() &&
                       (where.sbhd - first_head) % sizeof(ravo_serv_block_head) == 0;
  if (!is_event || !is_head)
    contradict(file_,
               fmt::format("a pointer of channel {} leads to no {}", file_.channels()[channel].chan_name,
                           is_event ? "server block" : "event header"));
  const older_event& of = events_[event];
  if (head < of.first_head || head - of.first_head >= static_cast<std::size_t>(of.header.num_svr_block))
    contradict(file_, fmt::format("channel {} is, in {}, in a server block of another event",
                                  file_.channels()[channel].chan_name, text_of(of.header)));
  return head;
}

// Sorts the blocks by head, in one pass to count them and one to place them.
void older_events::place_blocks() {
  const auto channels = static_cast<std::uint32_t>(file_.channels().size());
  first_block_.assign(heads_.size() + 1, 0);
  for (std::uint32_t channel = 0; channel < channels; ++channel)
    for (const ravo_event_chan_ptr_entry& where : file_.places_of(channel))
      ++first_block_[head_of(channel, where) + 1];
  std::partial_sum(first_block_.begin(), first_block_.end(), first_block_.begin());
  blocks_.resize(first_block_.back());
  std::vector<std::uint32_t> next(first_block_.begin(), first_block_.end() - 1);
  for (std::uint32_t channel = 0; channel < channels; ++channel) {
    std::uint32_t entry = 0;
    for (const ravo_event_chan_ptr_entry& where : file_.places_of(channel))
      blocks_[next[head_of(channel, where)]++] = {channel, entry++};
  }
}

// Rows are written in the order of the events; a row in another order cannot be kept.
void older_events::sort_events() {
  std::vector<std::uint32_t> order(events_.size());
  std::iota(order.begin(), order.end(), 0);
  std::stable_sort(order.begin(), order.end(), [this](std::uint32_t a, std::uint32_t b) {
    return in_microseconds(events_[a].header.event_time) < in_microseconds(events_[b].header.event_time);
  });
  std::vector<std::uint32_t> rank(events_.size());
  std::vector<older_event> sorted;
  sorted.reserve(events_.size());
  for (const std::uint32_t place : order) {
    rank[place] = static_cast<std::uint32_t>(sorted.size());
    sorted.push_back(events_[place]);
  }
  const std::uint32_t first = file_.reference().evhdb_ref + basket_head_size;
  for (std::size_t channel = 0; channel < file_.channels().size(); ++channel) {
    std::uint32_t last = 0;
    for (const ravo_event_chan_ptr_entry& where : file_.places_of(channel)) {
      const std::uint32_t here = rank[(where.evhd - first) / sizeof(ravo_eventheader)];
      if (here < last)
        contradict(file_, fmt::format("the events of channel {} are not in the order of time",
                                      file_.channels()[channel].chan_name));
      last = here;
    }
  }
  events_ = std::move(sorted);
}

}  // namespace ravo::tool
