#include "channel_check.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <mutex>

#include "block_check.h"
#include "block_places.h"
#include "check_limits.h"
#include "instants.h"
#include "ravo_evutl.h"
#include "ravo_raw_generations.h"

namespace ravo::checks {
namespace {

using pointers = ravo_event_chan_ptr_entry;

constexpr std::size_t row_ahead = 16 << 10;
constexpr std::uint32_t left_out = std::numeric_limits<std::uint32_t>::max();

bool is_empty(const pointers& entry) {
  return entry.evhd == 0 && entry.sbhd == 0 && entry.chhd == 0 && entry.data == 0;
}

template <class G>
std::uint64_t place_in_dictionary(const file_map& map, std::size_t row, std::size_t field) {
  return map.reference.cdt_ref + sizeof(typename G::dictionary_table) +
         row * sizeof(typename G::dictionary_entry) + field;
}

template <class G>
class channel_checker {
 public:
  channel_checker(channel_surroundings& around, std::size_t row)
      : alone_(around.large_channel, std::defer_lock),
        around_(around),
        map_(around.map),
        channel_(map_.channels[row]),
        row_(row),
        room_(room_of<G>(around.file, channel_)),
        blocks_(around, channel_, room_, findings_),
        table_(around.file, row_ahead) {}

  finding_list check() {
    const std::uint32_t entries = count_entries();
    if (entries > large_channel) alone_.lock();
    if (static_cast<std::int64_t>(entries) != channel_.count) report_count(entries);
    for (std::uint32_t i = 0; i < entries; ++i) follow(i);
    judge_row();
    for (std::size_t i = 0; i < row_targets_.size(); ++i) check_event(i);
    if (entries > 0)
      check_masks();
    else if (channel_.count == 0)
      check_idle_mask<G>(map_, row_, findings_);
    check_readings();
    find_shifts(channel_.name, stamps_, around_.usual, findings_);
    around_.report(unreported_);
    return std::move(findings_);
  }

 private:
  using subhead = typename G::subhead;
  using server_head = typename G::server_block_head;
  static constexpr std::size_t head_size = sizeof(subhead);

  // The event and the server block that one entry leads to.
  struct target {
    std::uint32_t entry;
    std::uint32_t event;
    std::uint32_t server;
    pointers at;
  };

  std::uint64_t place_of_entry(std::uint32_t i) const {
    return map_.pointers_offset + (row_ * std::uint64_t{map_.row_length} + i) * sizeof(pointers);
  }

  pointers entry(std::uint32_t i) {
    pointers found;
    ravo_swap4(table_.at(place_of_entry(i), sizeof found), &found, sizeof found / 4);
    return found;
  }

  // The number of entries that are used: up to the last one that is not zero.
  std::uint32_t count_entries() {
    std::uint32_t count = 0;
    for (std::uint32_t i = 0; i < map_.row_length; ++i)
      if (!is_empty(entry(i))) count = i + 1;
    return count;
  }

  void report_count(std::uint32_t events) {
    const std::uint64_t at =
        place_in_dictionary<G>(map_, row_, offsetof(typename G::dictionary_entry, count));
    findings_.add(finding_kind::dictionary_count, {channel_.name, {}, at},
                  fmt::format("it is {}, and {} events have pointers", channel_.count, events));
  }

  void check_event(std::size_t i) {
    const target& found = row_targets_[i];
    const event_entry& event = map_.events[found.event];
    seen_events_ |= 1u << (static_cast<unsigned>(event.type) & 31u);
    const auto data = check_block(found, event.number, i);
    if (!data) {
      has_bad_block_ = true;
      return;
    }
    around_.blocks.fetch_add(1, std::memory_order_relaxed);
    if (data->reading) {
      reading_times_.push_back(in_microseconds(*data->reading));
      readings_.push_back(i);
    }
    if (is_slow_event(event.type) || event.number == 0 || !event.is_sure) return;
    stamps_.push_back(make_stamp(event, map_.servers[found.server], found.at.chhd, around_.usual));
    if (data->frame) stamps_.back().frame = std::int64_t{*data->frame} - std::int64_t{event.number};
  }

  std::optional<block_data> check_block(const target& found, std::uint32_t number, std::size_t i) {
    const led_to block{found.at, number};
    const auto head = blocks_.check_head(block, [this, i] { return next_place(i); });
    if (!head) return std::nullopt;
    if (head->dtype < 32) seen_types_ |= 1u << head->dtype;
    around_.channels_of_server[found.server].fetch_add(1, std::memory_order_relaxed);
    around_.bytes_of_server[found.server].fetch_add(head->length, std::memory_order_relaxed);
    count_bytes(head->length);
    return blocks_.check_data(block, *head);
  }

  // Checks the four pointers of an entry against what they lead to, and keeps good entries.
  void follow(std::uint32_t i) {
    const pointers at = entry(i);
    const std::uint64_t here = place_of_entry(i);
    std::optional<std::uint32_t> number;
    const auto wrong = [&](finding_kind kind, std::size_t which, std::uint32_t value) {
      findings_.add(kind, {channel_.name, number, here + which},
                    [&] { return fmt::format("it leads to {}", value); });
      has_bad_block_ = true;
    };
    const auto event = index_of(at.evhd, map_.headers_offset, sizeof(ravo_eventheader), map_.events.size());
    if (!event) return wrong(finding_kind::pointer_event_header, offsetof(pointers, evhd), at.evhd);
    number = map_.events[*event].number;
    check_order(i, *event);
    const auto server = index_of(at.sbhd, map_.servers_offset, sizeof(server_head), map_.servers.size());
    if (!server || (map_.servers_belong && map_.servers[*server].event != *event))
      return wrong(finding_kind::pointer_server_block, offsetof(pointers, sbhd), at.sbhd);
    if (at.chhd < room_.begin || at.chhd > room_.end || room_.end - at.chhd < head_size)
      return wrong(finding_kind::pointer_block, offsetof(pointers, chhd), at.chhd);
    if (at.data != at.chhd + head_size)
      return wrong(finding_kind::pointer_data, offsetof(pointers, data), at.data);
    // There cannot be more blocks than events, so memory is bounded by what was read already.
    if (row_targets_.size() < map_.events.size()) row_targets_.push_back({i, *event, *server, at});
  }

  std::uint32_t number_of(const target& one) const { return map_.events[one.event].number; }
  place place_of_block(const target& one) const {
    return {channel_.name, number_of(one), place_of_entry(one.entry) + offsetof(pointers, chhd)};
  }

  // Each block belongs to one event, and blocks of later events have higher
  // offsets. An event that shares the block of another one is skipped from here on.
  void judge_row() {
    std::vector<std::uint32_t> offsets;
    offsets.reserve(row_targets_.size());
    for (const target& one : row_targets_) offsets.push_back(one.at.chhd);
    const block_places places = judge_places(offsets);
    for (const repeated_place& one : places.repeated) {
      const target& owner = row_targets_[one.same_as];
      findings_.add(finding_kind::pointer_block, place_of_block(row_targets_[one.event]), [&] {
        return fmt::format("it leads to {}, where the block of event {} is", owner.at.chhd,
                           number_of(owner));
      });
      has_bad_block_ = true;
    }
    are_blocks_known_ = findings_.empty();
    // If the events themselves are not in order, neither are their blocks.
    const bool are_events_in_order = !findings_.has(finding_kind::pointer_order);
    for (const std::size_t i : places.displaced)
      if (are_events_in_order)
        findings_.add(finding_kind::pointer_block_order, place_of_block(row_targets_[i]), "");
    for (const repeated_place& one : places.repeated) row_targets_[one.event].event = left_out;
    std::erase_if(row_targets_, [](const target& one) { return one.event == left_out; });
    if (are_blocks_known_ && !places.displaced.empty()) {
      places_ = std::move(offsets);
      std::sort(places_.begin(), places_.end());
    }
  }

  static std::optional<std::uint32_t> index_of(std::uint64_t offset, std::uint64_t first,
                                               std::size_t record, std::size_t count) {
    if (offset < first || (offset - first) % record != 0 || (offset - first) / record >= count)
      return std::nullopt;
    return static_cast<std::uint32_t>((offset - first) / record);
  }

  void check_order(std::uint32_t i, std::uint32_t event) {
    if (last_event_) {
      const event_entry &before = map_.events[*last_event_], &here = map_.events[event];
      const bool is_known =
          before.position != event_entry::not_in_index && here.position != event_entry::not_in_index;
      const bool is_in_order = !is_known                  ? true
                               : before.type == here.type ? before.position < here.position
                                                          : !is_before(here.time, before.time);
      if (!is_in_order)
        findings_.add(finding_kind::pointer_order, {channel_.name, here.number, place_of_entry(i)},
                      [&] { return fmt::format("after event {}", before.number); });
    }
    last_event_ = event;
  }

  void check_readings() {
    for (const std::size_t i : find_falling(reading_times_)) {
      const target& found = row_targets_[readings_[i]];
      findings_.add(finding_kind::channel_time_back, {channel_.name, number_of(found), found.at.chhd}, "");
    }
  }

  // Where the part after a block in the basket begins, if that is known: every
  // block in between is known, and there really is a block, or the basket's end.
  std::optional<std::uint64_t> next_place(std::size_t i) {
    if (!are_blocks_known_) return std::nullopt;
    std::optional<std::uint32_t> next;
    if (!places_.empty()) {
      const auto first_after = std::upper_bound(places_.begin(), places_.end(), row_targets_[i].at.chhd);
      if (first_after != places_.end()) next = *first_after;
    } else if (i + 1 < row_targets_.size()) {
      next = row_targets_[i + 1].at.chhd;
    }
    if (next) return blocks_.is_at(*next) ? next : std::nullopt;
    if (channel_.basket == 0 || !channel_.is_usable) return std::nullopt;
    return room_.end;
  }

  void check_masks() {
    const auto check = [&](finding_kind kind, std::size_t field, std::uint32_t stated, std::uint32_t seen) {
      // The types of blocks that could not be checked are not known.
      const std::uint32_t unseen = has_bad_block_ ? 0 : stated & ~seen;
      if ((seen & ~stated) == 0 && unseen == 0) return;
      findings_.add(kind, {channel_.name, {}, place_in_dictionary<G>(map_, row_, field)},
                    fmt::format("it is 0x{:x} instead of 0x{:x}", stated, seen));
    };
    check(finding_kind::dictionary_event_mask, offsetof(typename G::dictionary_entry, ev_mask),
          channel_.event_mask, seen_events_);
    check(finding_kind::dictionary_type_mask, offsetof(typename G::dictionary_entry, dtype_mask),
          channel_.type_mask, seen_types_);
  }

  void count_bytes(std::uint64_t bytes) {
    constexpr std::uint64_t worth_reporting = 1 << 20;
    unreported_ += bytes;
    if (++silent_blocks_ < 1000 && unreported_ < worth_reporting) return;
    around_.report(unreported_);
    unreported_ = 0;
    silent_blocks_ = 0;
  }

  std::unique_lock<std::mutex>
      alone_;  // first, so that it is unlocked after the other members are destroyed
  channel_surroundings& around_;
  const file_map& map_;
  const channel_entry& channel_;
  std::size_t row_;
  const block_room room_;
  finding_list findings_;
  block_checker<G> blocks_;
  window table_;
  std::vector<stamp> stamps_;
  std::vector<std::int64_t> reading_times_;  // of the readings that have one
  std::vector<std::size_t> readings_;        // their places in the row
  std::uint32_t seen_events_ = 0;
  std::uint32_t seen_types_ = 0;
  bool has_bad_block_ = false;
  std::optional<std::uint32_t> last_event_;
  std::vector<target> row_targets_;
  bool are_blocks_known_ = false;      // an event leads to each block of the basket
  std::vector<std::uint32_t> places_;  // of the blocks, sorted, if the events are in another order
  std::uint64_t unreported_ = 0;
  int silent_blocks_ = 0;
};

}  // namespace

template <class G>
void check_idle_mask(const file_map& map, std::size_t row, finding_list& findings) {
  const channel_entry& channel = map.channels[row];
  if (channel.event_mask == 0) return;
  const std::uint64_t at =
      place_in_dictionary<G>(map, row, offsetof(typename G::dictionary_entry, ev_mask));
  findings.add(finding_kind::dictionary_idle_mask, {channel.name, {}, at},
               [&] { return fmt::format("it is 0x{:x}", channel.event_mask); });
}

template void check_idle_mask<raw_format_2009>(const file_map&, std::size_t, finding_list&);
template void check_idle_mask<raw_format_2010>(const file_map&, std::size_t, finding_list&);

template <class G>
finding_list check_channel(channel_surroundings& around, std::size_t row) {
  return channel_checker<G>(around, row).check();
}

template finding_list check_channel<raw_format_2009>(channel_surroundings&, std::size_t);
template finding_list check_channel<raw_format_2010>(channel_surroundings&, std::size_t);

}  // namespace ravo::checks
