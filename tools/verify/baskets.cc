#include "baskets.h"

#include <fmt/format.h>

#include <algorithm>
#include <functional>
#include <map>
#include <optional>
#include <vector>

#include "block_name.h"
#include "ravo_evutl.h"
#include "ravo_raw_generations.h"

namespace ravo::checks {
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

std::uint64_t up_to_word(std::uint64_t offset) { return (offset + 3) & ~std::uint64_t{3}; }

// The blocks of the entries of a row, from the last one in the file to the first.
std::vector<std::uint32_t> blocks_of_row(const checked_file& file, const file_map& map, std::size_t row) {
  constexpr std::size_t read_ahead = 16 << 10;
  std::vector<std::uint32_t> blocks;
  window bytes(file, read_ahead);
  for (std::uint32_t i = 0; i < map.row_length; ++i) {
    ravo_event_chan_ptr_entry entry;
    ravo_swap4(bytes.at(place_of_entry(map, row, i), sizeof entry), &entry, sizeof entry / 4);
    if (entry.chhd != 0) blocks.push_back(entry.chhd);
  }
  std::sort(blocks.begin(), blocks.end(), std::greater<>());
  return blocks;
}

template <class G>
bool is_block_of(const checked_file& file, const file_map& map, std::uint64_t offset,
                 const channel_entry& channel) {
  unsigned char head[sizeof(typename G::subhead)];
  if (!file.holds(offset, sizeof head + tail_size)) return false;
  file.read(offset, head, sizeof head);
  return begins_block<G>(map, channel, head, file.size() - tail_size - offset);
}

// The end of the blocks of a row; after the last one there may be padding.
struct blocks_end {
  std::uint64_t without_padding = 0;
  std::uint64_t with_padding = 0;

  bool is(std::uint64_t offset) const { return offset >= without_padding && offset <= with_padding; }
};

// Blocks may be in any order. A few pointers may lead to something that is not a block of the channel.
template <class G>
std::optional<blocks_end> end_of_blocks(const checked_file& file, const file_map& map, std::size_t row,
                                        std::uint64_t next_part) {
  constexpr int most_tries = 16;
  int tries = 0;
  for (const std::uint32_t block : blocks_of_row(file, map, row)) {
    if (block >= next_part) continue;
    if (++tries > most_tries) break;
    if (!is_block_of<G>(file, map, block, map.channels[row])) continue;
    const std::uint64_t end =
        std::uint64_t{block} + file.word(block + offsetof(typename G::subhead, ldata));
    return blocks_end{end, up_to_word(end)};
  }
  return std::nullopt;
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
  const auto next_part = std::upper_bound(map.part_begins.begin(), map.part_begins.end(), channel.basket);
  const std::uint64_t next = next_part == map.part_begins.end() ? file.size() - tail_size : *next_part;
  const bool holds_another = next < stated;
  const bool is_possible =
      length >= basket_head && file.holds(channel.basket, length + tail_size) && !holds_another;
  const bool ends_well = next_part != map.part_begins.end() && next == stated;
  channel.basket_end = stated;
  if (marker != RAVO_CHANNEL_BASKET_PATTERN) wrong(fmt::format("its marker is 0x{:08x}", marker));
  if (is_possible && ends_well) return;
  const auto found = end_of_blocks<G>(file, map, row, next);
  if (is_possible && found && found->is(stated)) return;
  // Neither marker nor length is right: there is no basket here, so the pointer is wrong.
  if (marker != RAVO_CHANNEL_BASKET_PATTERN) {
    channel.is_usable = false;
    return;
  }
  wrong(fmt::format("its length is {}", length));
  const bool is_found = found && found->without_padding <= next;
  channel.basket_end = is_found ? std::min(found->with_padding, next) : next;
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
  const part* last = nullptr;  // the part with the last end so far
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
    if (one.count > 0 && one.basket == 0) return;  // it may be the first one
    if (one.basket != 0 && (first == 0 || one.basket < first)) first = one.basket;
  }
  if (map.reference.chanb_ref != first)
    findings.add(
        finding_kind::table_reference,
        {{}, {}, map.reference_offset + offsetof(ravo_file_reference_table_2010, chanb_ref)},
        fmt::format("the first channel basket is at {}, not at {}", first, map.reference.chanb_ref));
}

}  // namespace

template <class G>
void find_baskets(const checked_file& file, file_map& map, finding_list& findings) {
  if (!map.has_pointers || map.row_length == 0) return;
  for (std::size_t row = 0; row < map.channels.size(); ++row) {
    channel_entry& channel = map.channels[row];
    const std::uint64_t at = place_of_entry(map, row, 0) + offsetof(ravo_event_chan_ptr_entry, chhd);
    const std::uint32_t first = file.word(at);
    if (first < basket_head || !file.holds(first, tail_size)) continue;
    channel.basket = first - basket_head;
    if (is_basket(file, first)) continue;
    const std::vector<std::uint32_t> blocks = blocks_of_row(file, map, row);
    const std::uint32_t lowest = blocks.empty() ? first : blocks.back();
    if (lowest == first || !is_basket(file, lowest)) continue;
    channel.basket = lowest - basket_head;
    // If it is another of the channel's blocks, no pointer
    // is wrong: the blocks are in the wrong order.
    const finding_kind kind = is_block_of<G>(file, map, first, channel) ? finding_kind::basket_first_block
                                                                        : finding_kind::pointer_block;
    findings.add(kind, {channel.name, {}, at}, [&] {
      return fmt::format("the first one leads to {}, and the basket is at {}", first, channel.basket);
    });
  }
}

template void find_baskets<raw_format_2009>(const checked_file&, file_map&, finding_list&);
template void find_baskets<raw_format_2010>(const checked_file&, file_map&, finding_list&);

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
    else  // reported as an overlap; the head is checked for its owner only
      channel.basket_end = map.channels[owner->second].basket_end;
  }
  check_overlaps(map, findings);
  if (!findings.has(finding_kind::basket_channel)) check_first_basket(map, findings);
}

template void check_baskets<raw_format_2009>(const checked_file&, file_map&, finding_list&);
template void check_baskets<raw_format_2010>(const checked_file&, file_map&, finding_list&);

}  // namespace ravo::checks
