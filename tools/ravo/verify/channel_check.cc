#include "verify/channel_check.h"

#include <fmt/format.h>
#include <zlib.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>

#include "byte_view.h"
#include "decode/decode_block.h"
#include "ravo_daq/generation_2009.h"
#include "ravo_daq/generation_2010.h"
#include "ravo_data_types.h"
#include "ravo_evutl.h"
#include "ravo_evutl_status.h"
#include "ravo_payload.h"
#include "verify/block_places.h"
#include "verify/frames.h"
#include "verify/instants.h"
#include "verify/limits.h"

namespace ravo::verify {
namespace {

using pointers = ravo_event_chan_ptr_entry;

constexpr std::size_t read_ahead = 256 << 10;
constexpr std::size_t row_ahead = 16 << 10;
constexpr std::uint64_t tail_size = 4;
constexpr std::uint64_t most_padding = 3;
constexpr int lzo_output_overrun = -5;
constexpr std::uint32_t left_out = std::numeric_limits<std::uint32_t>::max();

bool is_empty(const pointers& entry) {
  return entry.evhd == 0 && entry.sbhd == 0 && entry.chhd == 0 && entry.data == 0;
}

// Slow readings are small, and handed out in a shape of their own: they are never compressed.
bool may_be_compressed(const data_type& type) {
  return type.shape != payload_shape::update && type.shape != payload_shape::update_older &&
         type.shape != payload_shape::environment;
}

template <class G>
class channel_checker {
 public:
  channel_checker(channel_surroundings& around, std::size_t row)
      : around_(around),
        map_(around.map),
        channel_(map_.channels[row]),
        row_(row),
        table_(around.file, row_ahead),
        event_headers_(around.file, row_ahead),
        server_blocks_(around.file, read_ahead / 4),
        data_(around.file, around.deep == depth::blocks ? read_ahead : head_size + zip_size),
        next_heads_(around.file, head_size) {}

  finding_list check() {
    const std::uint32_t entries = count_entries();
    if (static_cast<std::int64_t>(entries) != channel_.count) tell_count(entries);
    for (std::uint32_t i = 0; i < entries; ++i) follow(i);
    judge_row();
    for (std::size_t i = 0; i < row_targets_.size(); ++i) check_event(i);
    if (entries > 0) check_masks();
    check_readings();
    find_shifts(channel_.name, stamps_, around_.usual, findings_);
    around_.report(unreported_);
    return std::move(findings_);
  }

 private:
  using subhead = typename G::subhead;
  using server_head = typename G::server_block_head;
  static constexpr std::size_t head_size = sizeof(subhead);
  static constexpr std::size_t zip_size = sizeof(ravo_zip_header);

  // What the head of a block says.
  struct block_head {
    std::uint64_t offset;
    std::int32_t dtype;
    std::int32_t error;
    std::uint32_t length;  ///< as unsigned: a negative one is larger than any basket
    bool is_compressed() const { return (error & RAVO_CHAN_ZIP_FLAG) != 0; }
  };

  // Where the events are that one entry leads to.
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

  // The entries that are used: up to the last one that is not zero.
  std::uint32_t count_entries() {
    std::uint32_t count = 0;
    for (std::uint32_t i = 0; i < map_.row_length; ++i)
      if (!is_empty(entry(i))) count = i + 1;
    return count;
  }

  void tell_count(std::uint32_t events) {
    const std::uint64_t at = map_.reference.cdt_ref + sizeof(typename G::dictionary_table) +
                             row_ * sizeof(typename G::dictionary_entry) +
                             offsetof(typename G::dictionary_entry, count);
    findings_.add(finding_kind::dictionary_count, {channel_.name, {}, at},
                  fmt::format("it is {}, and {} events have pointers", channel_.count, events));
  }

  void check_event(std::size_t i) {
    const target& found = row_targets_[i];
    const event_entry& event = map_.events[found.event];
    seen_events_ |= 1u << (static_cast<unsigned>(event.type) & 31u);
    if (!check_block(i)) {
      has_bad_block_ = true;
      return;
    }
    around_.blocks.fetch_add(1, std::memory_order_relaxed);
    if (reading_) {
      reading_times_.push_back(microseconds(*reading_));
      readings_.push_back(i);
    }
    if (is_slow_event(event.type) || event.number == 0 || !event.is_sure) return;
    stamps_.push_back(make_stamp(event, map_.servers[found.server], found.at.chhd, around_.usual));
    stamps_.back().frame = frame_;
  }

  // Holds the four pointers of an entry against what they lead to, and keeps what is good.
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
    if (at.chhd < basket_begin() || at.chhd > basket_end() || basket_end() - at.chhd < head_size)
      return wrong(finding_kind::pointer_block, offsetof(pointers, chhd), at.chhd);
    if (at.data != at.chhd + head_size)
      return wrong(finding_kind::pointer_data, offsetof(pointers, data), at.data);
    // More blocks than events there cannot be: memory stays bounded by what was read already.
    if (row_targets_.size() < map_.events.size()) row_targets_.push_back({i, *event, *server, at});
  }

  std::uint32_t number_of(const target& one) const { return map_.events[one.event].number; }
  place place_of_block(const target& one) const {
    return {channel_.name, number_of(one), place_of_entry(one.entry) + offsetof(pointers, chhd)};
  }

  // Each block belongs to one event, and those of later events stand farther behind. An event whose block
  // is another one's is left out from here on.
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
    // Where the events themselves are in disorder, so are their blocks.
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

  std::uint64_t basket_begin() const {
    return channel_.basket == 0 ? sizeof G::signature - 1 : channel_.basket + sizeof(ravo_channel_basket);
  }
  std::uint64_t basket_end() const {
    const std::uint64_t tail = around_.file.size() - tail_size;
    return channel_.basket == 0 ? tail : std::min(channel_.basket_end, tail);
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
                      [&] { return fmt::format("behind event {}", before.number); });
    }
    last_event_ = event;
  }

  block_head read_head(window& through, std::uint64_t offset) {
    const byte_view bytes(through.at(offset, head_size), head_size, word_order::file);
    return {offset, *bytes.at<std::int32_t>(offsetof(subhead, dtype)),
            *bytes.at<std::int32_t>(offsetof(subhead, error)),
            *bytes.at<std::uint32_t>(offsetof(subhead, ldata))};
  }

  bool bears_name(window& through, std::uint64_t offset) {
    const auto* name = reinterpret_cast<const char*>(through.at(offset, head_size));
    const std::size_t length = strnlen(name, sizeof(subhead::chname));
    return length < sizeof(subhead::chname) &&
           channel_.name.compare(0, std::string::npos, name, length) == 0;
  }

  // A block is told of once: the first thing that is wrong with it.
  bool check_block(std::size_t i) {
    const target& found = row_targets_[i];
    number_ = map_.events[found.event].number;
    frame_.reset();
    reading_.reset();
    const std::uint64_t offset = found.at.chhd;
    if (!bears_name(data_, offset)) return wrong(finding_kind::block_name, offset, "");
    const block_head head = read_head(data_, offset);
    const data_type* type = check_type(head);
    if (!type || !check_length(head, i)) return false;
    if (head.is_compressed() && !check_zip_header(head, *type)) return false;
    if (head.dtype < 32) seen_types_ |= 1u << head.dtype;
    around_.channels_of_server[found.server].fetch_add(1, std::memory_order_relaxed);
    around_.bytes_of_server[found.server].fetch_add(head.length, std::memory_order_relaxed);
    count_bytes(head.length);
    if (type->shape == payload_shape::environment) find_index();
    if (around_.deep == depth::heads || !is_own_place(head)) return true;
    if (!decode(found, head) || (index_ && !bears_index(head))) return false;
    take_time(head, *type);
    return true;
  }

  // When the reading was taken, where the server says so.
  void take_time(const block_head& head, const data_type& type) {
    std::size_t at = head_size;
    switch (type.shape) {
      case payload_shape::update:
        at += offsetof(ravo_upd_data_block_2010, upd_ch_time);
        break;
      case payload_shape::update_older:
        at += offsetof(ravo_upd_data_block, upd_ch_time);
        break;
      case payload_shape::environment:
        at += offsetof(ravo_env_data_block_2010, env_ch_time);
        break;
      default:
        return;
    }
    time_stamp time;
    ravo_swap4(data_.at(head.offset, head.length) + at, &time, sizeof time / 4);
    if (time.timeup != 0 || time.timelow != 0) reading_ = time;
  }

  void check_readings() {
    for (const std::size_t i : find_falling(reading_times_)) {
      const target& found = row_targets_[readings_[i]];
      findings_.add(finding_kind::channel_time_back, {channel_.name, number_of(found), found.at.chhd}, "");
    }
  }

  // Readers know readings by the name in the block; programs that look them up by the index find another
  // channel's.
  void find_index() {
    if (index_ || misses_index_ || !map_.has_environment) return;
    const auto entry = map_.environment.find(channel_.key);
    misses_index_ = entry == map_.environment.end();
    if (!misses_index_)
      index_ = entry->second;
    else
      findings_.add(finding_kind::environment_entry, {channel_.name, {}, map_.environment_offset},
                    [&] { return fmt::format("key {}", channel_.key); });
  }

  bool bears_index(const block_head& head) {
    std::int32_t index = 0;
    ravo_swap4(data_.at(head.offset, head.length) + head_size, &index, 1);
    if (index == *index_) return true;
    return wrong(finding_kind::environment_index, head.offset,
                 [&] { return fmt::format("{} instead of {}", index, *index_); });
  }

  template <class Detail>
  bool wrong(finding_kind kind, std::uint64_t offset, Detail&& detail) {
    findings_.add(kind, {channel_.name, number_, offset}, std::forward<Detail>(detail));
    return false;
  }

  const data_type* check_type(const block_head& head) {
    const data_type* type =
        (static_cast<std::uint32_t>(head.dtype) >> 16) == 0 ? find_data_type(head.dtype) : nullptr;
    const bool is_right = type && type->shape != payload_shape::none &&
                          (type->generation == type_generation::both || type->generation == G::generation);
    if (is_right) return type;
    wrong(finding_kind::block_type, head.offset, [&] { return fmt::format("type {}", head.dtype); });
    return nullptr;
  }

  // Blocks stand one behind the other, so that each has to end where the next one, or the basket's end, is.
  bool check_length(const block_head& head, std::size_t i) {
    const std::size_t least = head_size + (head.is_compressed() ? zip_size : 0);
    const std::uint64_t end = head.offset + head.length;
    if (head.length < least || end > basket_end())
      return wrong(finding_kind::block_length, head.offset,
                   [&] { return fmt::format("it is {}", head.length); });
    const auto next = next_place(i);
    if (!next || (end <= *next && *next - end <= most_padding)) return true;
    return wrong(finding_kind::block_length, head.offset, [&] {
      return fmt::format("it is {}, and what follows begins {} bytes behind its begin", head.length,
                         *next - head.offset);
    });
  }

  // Where what follows a block in the basket begins, if that is known: no block between them is left out,
  // and there really is one, or the basket's end.
  std::optional<std::uint64_t> next_place(std::size_t i) {
    if (!are_blocks_known_) return std::nullopt;
    std::optional<std::uint32_t> next;
    if (!places_.empty()) {
      const auto behind = std::upper_bound(places_.begin(), places_.end(), row_targets_[i].at.chhd);
      if (behind != places_.end()) next = *behind;
    } else if (i + 1 < row_targets_.size()) {
      next = row_targets_[i + 1].at.chhd;
    }
    if (next) return bears_name(next_heads_, *next) ? next : std::nullopt;
    if (channel_.basket == 0 || !channel_.is_usable) return std::nullopt;
    return basket_end();
  }

  bool check_zip_header(const block_head& head, const data_type& type) {
    if (!may_be_compressed(type))
      return wrong(finding_kind::block_zip_header, head.offset, "blocks of this type are never compressed");
    ravo_zip_header zip;
    ravo_swap4(data_.at(head.offset, head_size + zip_size) + head_size, &zip, zip_size / 4);
    if ((zip.zip_flags & (RAVO_ZIP_ZLIB | RAVO_ZIP_LZO1X)) == 0)
      return wrong(finding_kind::block_zip_header, head.offset,
                   [&] { return fmt::format("no known compression, flags 0x{:x}", zip.zip_flags); });
    if (zip.zipp_length != head.length - head_size - zip_size)
      return wrong(finding_kind::block_zip_header, head.offset, [&] {
        return fmt::format("{} compressed bytes, where the block has {}", zip.zipp_length,
                           head.length - head_size - zip_size);
      });
    const unzipper by = (zip.zip_flags & RAVO_ZIP_ZLIB) != 0 ? unzipper::zlib : unzipper::lzo;
    if (zip.orig_length == 0 || zip.orig_length > most_unzipped(by, zip.zipp_length))
      return wrong(finding_kind::block_original_length, head.offset, [&] {
        return fmt::format("{} bytes cannot hold {}", zip.zipp_length, zip.orig_length);
      });
    original_length_ = zip.orig_length;
    return true;
  }

  // No more is decoded than the basket holds, however many pointers lead into it: a loop of references
  // would never come to an end.
  bool is_own_place(const block_head& head) {
    if (!channel_.is_usable || channel_.basket == 0) return false;
    decoded_ += head.length;
    return decoded_ <= basket_end() - basket_begin();
  }

  bool decode(const target& found, const block_head& head) {
    const std::uint64_t inflated = head.is_compressed() ? original_length_ : head.length;
    if (std::max<std::uint64_t>(head.length, inflated) > most_block_bytes)
      return wrong(finding_kind::block_too_large, head.offset, [&] {
        return fmt::format("{} bytes, where {} are checked", inflated, most_block_bytes);
      });
    std::unique_lock<std::mutex> alone(around_.large_block, std::defer_lock);
    if (std::max<std::uint64_t>(head.length, inflated) >= large_block_bytes) alone.lock();
    const block_source source{
        {event_headers_.at(found.at.evhd, sizeof(ravo_eventheader)), sizeof(ravo_eventheader),
         found.at.evhd},
        {server_blocks_.at(found.at.sbhd, sizeof(server_head)), sizeof(server_head), found.at.sbhd},
        {data_.at(head.offset, head.length), head.length, static_cast<unsigned long>(head.offset)}};
    const decode_result<G> result = decode_block<G>(source, found.at, channel_.name.c_str(), -1);
    return judge(result, head);
  }

  bool judge(const decode_result<G>& result, const block_head& head) {
    switch (result.outcome) {
      case decode_outcome::decoded:
        take_frame(*result.block, head.offset);
        return true;
      case decode_outcome::outside:
        return wrong(finding_kind::block_length, head.offset, "it is too short");
      case decode_outcome::misdirected:
        return false;  // its event header, which was told of when the headers were read
      case decode_outcome::unknown_unzipper:
        return wrong(finding_kind::block_zip_header, head.offset, "no known compression");
      case decode_outcome::length_mismatch:
        return wrong(finding_kind::block_original_length, head.offset, [&] {
          return fmt::format("{} bytes instead of {}", result.unzipped.produced, result.zip.orig_length);
        });
      case decode_outcome::unzip_failed:
        return tell_unzip_failure(result, head);
      case decode_outcome::unzipped_not_convertible:
      case decode_outcome::update_not_convertible:
      case decode_outcome::plain_not_convertible:
        return wrong(finding_kind::block_convert, head.offset, [&] {
          return result.error == 0 ? std::string("it is too short")
                                   : fmt::format("type {}: {}, status {}", head.dtype & 0xffff,
                                                 ravo_evutl_status_text(result.error), result.error);
        });
      default:
        return tell_missing_memory(head);
    }
  }

  // A block that is not large says nothing of itself by that: the machine has no memory left.
  bool tell_missing_memory(const block_head& head) {
    const std::uint64_t inflated = head.is_compressed() ? original_length_ : head.length;
    if (std::max<std::uint64_t>(head.length, inflated) < large_block_bytes) throw std::bad_alloc();
    return wrong(finding_kind::block_too_large, head.offset, "there is no memory for it");
  }

  bool tell_unzip_failure(const decode_result<G>& result, const block_head& head) {
    const unzip_result& unzipped = result.unzipped;
    if (unzipped.by == unzipper::zlib && unzipped.code == Z_MEM_ERROR) return tell_missing_memory(head);
    const bool is_longer = unzipped.by == unzipper::lzo ? unzipped.code == lzo_output_overrun
                                                        : unzipped.code != Z_DATA_ERROR &&
                                                              unzipped.produced == result.zip.orig_length;
    if (unzipped.step == unzip_step::decompression && is_longer)
      return wrong(finding_kind::block_original_length, head.offset,
                   [&] { return fmt::format("more than {} bytes", result.zip.orig_length); });
    return wrong(finding_kind::block_inflate, head.offset, [&] {
      return fmt::format("{} answers {}", unzipped.by == unzipper::zlib ? "zlib" : "LZO", unzipped.code);
    });
  }

  void take_frame(const subhead& block, std::uint64_t offset) {
    const auto* data = reinterpret_cast<const unsigned char*>(&block + 1);
    const auto found = find_frame(block.dtype, {data, static_cast<std::size_t>(block.ldata) - head_size});
    if (!found) return;
    if (found->event != 0) frame_ = std::int64_t{found->event} - std::int64_t{number_};
    if (repeats_.is_repeat(found->pixels))
      findings_.add(finding_kind::channel_frozen, {channel_.name, number_, offset}, "");
  }

  void check_masks() {
    const auto check = [&](finding_kind kind, std::size_t field, std::uint32_t stated, std::uint32_t seen) {
      // Of what could not be looked at, the type is not known.
      const std::uint32_t unseen = has_bad_block_ ? 0 : stated & ~seen;
      if ((seen & ~stated) == 0 && unseen == 0) return;
      const std::uint64_t at = map_.reference.cdt_ref + sizeof(typename G::dictionary_table) +
                               row_ * sizeof(typename G::dictionary_entry) + field;
      findings_.add(kind, {channel_.name, {}, at},
                    fmt::format("it is 0x{:x} instead of 0x{:x}", stated, seen));
    };
    check(finding_kind::dictionary_event_mask, offsetof(typename G::dictionary_entry, ev_mask),
          channel_.event_mask, seen_events_);
    check(finding_kind::dictionary_type_mask, offsetof(typename G::dictionary_entry, dtype_mask),
          channel_.type_mask, seen_types_);
  }

  void count_bytes(std::uint64_t bytes) {
    constexpr std::uint64_t worth_telling = 1 << 20;
    unreported_ += bytes;
    if (++silent_blocks_ < 1000 && unreported_ < worth_telling) return;
    around_.report(unreported_);
    unreported_ = 0;
    silent_blocks_ = 0;
  }

  channel_surroundings& around_;
  const file_map& map_;
  const channel_entry& channel_;
  std::size_t row_;
  window table_, event_headers_, server_blocks_, data_, next_heads_;
  finding_list findings_;
  std::vector<stamp> stamps_;
  std::vector<std::int64_t> reading_times_;  // of the readings that have one
  std::vector<std::size_t> readings_;        // their places in the row
  std::uint32_t seen_events_ = 0;
  std::uint32_t seen_types_ = 0;
  bool has_bad_block_ = false;
  std::optional<std::uint32_t> last_event_;
  std::optional<std::int32_t> index_;  // of the channel's readings, once it has one
  bool misses_index_ = false;
  std::vector<target> row_targets_;
  bool are_blocks_known_ = false;      // to each block of the basket an event leads
  std::vector<std::uint32_t> places_;  // of the blocks, sorted, where the events are not in that order
  std::uint64_t decoded_ = 0;
  std::uint64_t unreported_ = 0;
  int silent_blocks_ = 0;
  frame_repeats repeats_;
  // Of the block that is being checked.
  std::uint32_t number_ = 0;
  std::uint32_t original_length_ = 0;
  std::optional<std::int64_t> frame_;
  std::optional<time_stamp> reading_;
};

}  // namespace

template <class G>
finding_list check_channel(channel_surroundings& around, std::size_t row) {
  return channel_checker<G>(around, row).check();
}

template finding_list check_channel<generation_2009>(channel_surroundings&, std::size_t);
template finding_list check_channel<generation_2010>(channel_surroundings&, std::size_t);

}  // namespace ravo::verify
