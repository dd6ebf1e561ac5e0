#include "verify/baskets.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <map>

#include "ravo_daq/generation_2009.h"
#include "ravo_daq/generation_2010.h"
#include "ravo_evutl.h"

namespace ravo::verify {
namespace {

constexpr std::uint64_t basket_head = sizeof(ravo_channel_basket);
constexpr std::uint64_t entry_size = sizeof(ravo_event_chan_ptr_entry);
constexpr std::uint64_t tail_size = 4;

std::uint64_t place_of_entry(const file_map& map, std::size_t row, std::uint32_t i) {
  return map.pointers_offset + (row * std::uint64_t{map.row_length} + i) * entry_size;
}

bool is_basket(const checked_file& file, std::uint64_t first_block) {
  return first_block >= basket_head && file.holds(first_block - basket_head, tail_size) &&
         file.word(first_block - basket_head) == RAVO_CHANNEL_BASKET_PATTERN;
}

// Of the blocks to which the entries of a row lead, the one that stands first.
std::uint32_t lowest_block(const checked_file& file, const file_map& map, std::size_t row) {
  constexpr std::size_t read_ahead = 16 << 10;
  std::uint32_t lowest = std::numeric_limits<std::uint32_t>::max();
  window bytes(file, read_ahead);
  for (std::uint32_t i = 0; i < map.row_length; ++i) {
    ravo_event_chan_ptr_entry entry;
    ravo_swap4(bytes.at(place_of_entry(map, row, i), sizeof entry), &entry, sizeof entry / 4);
    if (entry.chhd != 0) lowest = std::min(lowest, entry.chhd);
  }
  return lowest;
}

std::uint64_t up_to_word(std::uint64_t offset) { return (offset + 3) & ~std::uint64_t{3}; }

// Where the last block of a row ends, with its padding; 0 when that is not to be had.
template <class G>
std::uint64_t end_of_blocks(const checked_file& file, const file_map& map, std::size_t row) {
  const auto events = static_cast<std::uint32_t>(map.channels[row].count);
  if (events == 0 || events > map.row_length) return 0;
  const std::uint64_t head =
      file.word(place_of_entry(map, row, events - 1) + offsetof(ravo_event_chan_ptr_entry, chhd));
  if (head == 0 || !file.holds(head, sizeof(typename G::subhead))) return 0;
  const std::uint64_t length = file.word(head + offsetof(typename G::subhead, ldata));
  return up_to_word(head + length);
}

template <class G>
void check_head(const checked_file& file, file_map& map, std::size_t row, finding_list& findings) {
  channel_entry& channel = map.channels[row];
  const auto wrong = [&](std::string why) {
    findings.add(finding_kind::basket_channel, {channel.name, {}, channel.basket}, std::move(why));
  };
  const std::uint32_t marker = file.word(channel.basket);
  const std::uint32_t length = file.word(channel.basket + 4);
  const std::uint64_t stated = channel.basket + length;
  const std::uint64_t found = end_of_blocks<G>(file, map, row);
  const auto next = std::upper_bound(map.part_begins.begin(), map.part_begins.end(), channel.basket);
  const bool holds_another = next != map.part_begins.end() && *next < stated;
  const bool is_possible =
      length >= basket_head && file.holds(channel.basket, length + tail_size) && !holds_another;
  const bool ends_well = next != map.part_begins.end() && *next == stated;
  channel.basket_end = stated;
  if (marker != RAVO_CHANNEL_BASKET_PATTERN) wrong(fmt::format("its marker is 0x{:08x}", marker));
  if (is_possible && (ends_well || stated == found)) return;
  // Neither marker nor length: there is no basket here, the pointer is wrong.
  if (marker != RAVO_CHANNEL_BASKET_PATTERN) {
    channel.is_usable = false;
    return;
  }
  wrong(fmt::format("its length is {}", length));
  const bool is_found = found > channel.basket && file.holds(found, tail_size) &&
                        (next == map.part_begins.end() || found <= *next);
  channel.basket_end = is_found ? found : next != map.part_begins.end() ? *next : file.size() - tail_size;
}

std::string name_of(const file_map& map, const part& one) {
  return one.row < 0 ? std::string(one.what)
                     : "basket of " + map.channels[static_cast<std::size_t>(one.row)].name;
}

void check_overlaps(file_map& map, finding_list& findings) {
  for (std::size_t row = 0; row < map.channels.size(); ++row)
    if (const channel_entry& one = map.channels[row]; one.basket != 0 && one.is_usable)
      map.parts.push_back({one.basket, one.basket_end, "", static_cast<std::ptrdiff_t>(row)});
  std::stable_sort(map.parts.begin(), map.parts.end(),
                   [](const part& a, const part& b) { return a.begin < b.begin; });
  const part* last = nullptr;  // of those so far the one that ends last
  for (const part& one : map.parts) {
    if (last && one.begin < last->end) {
      const bool is_basket = one.row >= 0;
      findings.add(finding_kind::table_overlap,
                   {is_basket ? map.channels[static_cast<std::size_t>(one.row)].name : "", {}, one.begin},
                   [&] { return fmt::format("{} and {}", name_of(map, *last), name_of(map, one)); });
      if (is_basket) map.channels[static_cast<std::size_t>(one.row)].is_usable = false;
    }
    if (!last || one.end > last->end) last = &one;
  }
}

void check_first_basket(const file_map& map, finding_list& findings) {
  std::uint64_t first = 0;
  for (const channel_entry& one : map.channels) {
    if (one.count > 0 && one.basket == 0) return;  // it may be the one
    if (one.basket != 0 && (first == 0 || one.basket < first)) first = one.basket;
  }
  if (map.reference.chanb_ref != first)
    findings.add(
        finding_kind::table_reference,
        {{}, {}, map.reference_offset + offsetof(ravo_file_reference_table_2010, chanb_ref)},
        fmt::format("the first channel basket is at {}, not at {}", first, map.reference.chanb_ref));
}

}  // namespace

void find_baskets(const checked_file& file, file_map& map, finding_list& findings) {
  if (!map.has_pointers || map.row_length == 0) return;
  for (std::size_t row = 0; row < map.channels.size(); ++row) {
    channel_entry& channel = map.channels[row];
    const std::uint64_t at = place_of_entry(map, row, 0) + offsetof(ravo_event_chan_ptr_entry, chhd);
    const std::uint32_t first = file.word(at);
    if (first < basket_head || !file.holds(first, tail_size)) continue;
    channel.basket = first - basket_head;
    if (is_basket(file, first)) continue;
    const std::uint32_t lowest = lowest_block(file, map, row);
    if (lowest == first || !is_basket(file, lowest)) continue;
    channel.basket = lowest - basket_head;
    findings.add(finding_kind::pointer_block, {channel.name, {}, at}, [&] {
      return fmt::format("the first one leads to {}, and the basket is at {}", first, channel.basket);
    });
  }
}

template <class G>
void check_baskets(const checked_file& file, file_map& map, finding_list& findings) {
  if (!map.has_pointers) return;
  std::map<std::uint64_t, std::size_t> owners;
  for (std::size_t row = 0; row < map.channels.size(); ++row) {
    channel_entry& channel = map.channels[row];
    if (channel.basket == 0) continue;
    const auto [owner, is_first] = owners.try_emplace(channel.basket, row);
    if (is_first)
      check_head<G>(file, map, row, findings);
    else  // it is told as an overlap, and the basket's head is its owner's matter
      channel.basket_end = map.channels[owner->second].basket_end;
  }
  check_overlaps(map, findings);
  if (!findings.has(finding_kind::basket_channel)) check_first_basket(map, findings);
}

template void check_baskets<generation_2009>(const checked_file&, file_map&, finding_list&);
template void check_baskets<generation_2010>(const checked_file&, file_map&, finding_list&);

}  // namespace ravo::verify
