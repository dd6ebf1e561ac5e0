#include "align/file_tables.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <numeric>
#include <span>
#include <utility>

#include "align/reference_table.h"
#include "decode/stored_block.h"
#include "decode/table_operations.h"
#include "format/basket.h"
#include "format/byte_view.h"
#include "format/malloc_owner.h"

namespace ravo::detail {
namespace {

/// The event headers of a file are read in pieces of this size at most.
constexpr std::uint64_t largest_header_window = 64 * 1024;
/// Headers that lie farther apart are not read together.
constexpr std::uint64_t widest_header_gap = 4096;

template <class G>
class tables {
 public:
  explicit tables(const open_file& file) : file_(file) {}

  bool load_reference() {
    reference_ = detail::load_reference<G>(file_);
    return reference_ != nullptr;
  }

  std::uint64_t memory_of(ravo_table_kind table) const {
    return table_operations<G>::table_memory(file_.length(), reference_.get(), file_.descriptor(), table);
  }

  table_bytes bytes_to_scan() const {
    table_bytes bytes;
    bytes.dictionary = memory_of(RAVO_TABLE_OF_CHANNELS);
    bytes.rows = bytes.dictionary / sizeof(typename G::dictionary_entry);
    bytes.event_index = memory_of(RAVO_TABLE_OF_EVENTS);
    return bytes;
  }

  bool load_dictionary() {
    dictionary_ = loaded<typename G::dictionary_table>([&](auto** table) {
      return table_operations<G>::get_dictionary_table(file_.length(), reference_.get(), file_.descriptor(),
                                                       table);
    });
    return dictionary_ != nullptr;
  }

  void visit(const std::function<void(const listed_channel&)>& each) const {
    const auto* channel = dictionary_->channel_entry();
    for (std::uint32_t i = 0; i < channels(); ++i, ++channel) {
      const std::string_view name(channel->chan_name,
                                  strnlen(channel->chan_name, sizeof channel->chan_name));
      // Nobody can ask for a channel without a name.
      if (name.empty()) continue;
      each({name, i, static_cast<std::uint32_t>(std::max(channel->count, 0)), channel->ev_mask,
            channel->dtype_mask});
    }
  }

  /// Whether the dictionary says that any channel has data.
  bool has_entries() const {
    bool any = false;
    visit([&](const listed_channel& channel) { any = any || channel.count > 0; });
    return any;
  }

  bool load_event_index() {
    auto table = loaded<typename G::event_index_table>([&](auto** read) {
      return table_operations<G>::get_event_index_table(file_.length(), reference_.get(),
                                                        file_.descriptor(), read);
    });
    if (table) index_.emplace(std::move(table));
    return index_.has_value();
  }
  event_span span() const { return index_->span(); }

  void note_facts(file_facts& facts) const {
    facts.rows = channels();
    facts.dictionary_at = reference_->cdt_ref;
    facts.dictionary_pattern = dictionary_->pattern;
    facts.events = static_cast<std::uint32_t>(index_->size());
  }

  std::optional<std::vector<channel_rows>> rows(const std::vector<std::string>& names,
                                                const known_file& known) {
    std::vector<channel_rows> all(names.size());
    if (!file_.is_at_hand(reference_->ecp_ref)) expect_rows(known);
    if (!load_event_index()) return std::nullopt;
    const auto dictionary = remembered(names, known);
    std::vector<std::string> texts = names;
    std::vector<char*> list;
    for (std::string& text : texts) list.push_back(text.data());
    typename G::chan_pointers_table* table = nullptr;
    const int status = table_operations<G>::get_chan_pointers_table_by_list(
        file_.length(), reference_.get(), file_.descriptor(), &list, dictionary.get(), &table);
    const malloc_owner<typename G::chan_pointers_table> owner(table);
    if (status == no_channel) return all;
    if (status != 0) return std::nullopt;
    const auto most = static_cast<std::uint32_t>(std::max(table->maxev, 0));
    const auto row = [&](std::size_t i) { return table->chptr() + i * static_cast<std::size_t>(most); };
    if (most != 0) expect_baskets(names.size(), known, row);
    find_header_baskets();
    for (std::size_t i = 0; i < names.size(); ++i)
      fill(all[i], row(i), std::min(known.places[i].count, most), known.position);
    return all;
  }

  std::uint32_t channels() const {
    return static_cast<std::uint32_t>(
        (static_cast<std::size_t>(dictionary_->length) - sizeof(typename G::dictionary_table)) /
        sizeof(typename G::dictionary_entry));
  }

 private:
  static constexpr int no_channel =
      -5;  // of the table-access library: none of the names is in the dictionary

  /// The part of the file's dictionary that finding the rows of the named channels needs.
  static malloc_owner<typename G::dictionary_table> remembered(const std::vector<std::string>& names,
                                                               const known_file& known) {
    using table = typename G::dictionary_table;
    const std::size_t length = sizeof(table) + known.rows * sizeof(typename G::dictionary_entry);
    malloc_owner<table> dictionary(static_cast<table*>(std::calloc(length, 1)));
    if (!dictionary) throw std::bad_alloc();
    dictionary->pattern = known.dictionary_pattern;
    dictionary->length = static_cast<std::int32_t>(length);
    for (std::size_t i = 0; i < names.size(); ++i) {
      const channel_place& place = known.places[i];
      if (place.row == channel_place::none) continue;
      auto& channel = dictionary->channel_entry()[place.row];
      std::memcpy(channel.chan_name, names[i].data(), names[i].size());
      channel.count = static_cast<std::int32_t>(place.count);
    }
    return dictionary;
  }

  /// Announces what rows() will read of a file that is not in memory, so that all of it is fetched at once:
  /// the channels' rows lie far apart, and the event headers elsewhere.
  void expect_rows(const known_file& known) const {
    unsigned char head[sizeof(typename G::chan_pointers_table)];
    if (!file_.read_all(reference_->ecp_ref, head, sizeof head)) return;
    const byte_view table(head, sizeof head, word_order::file);
    const auto reserved = table.at<std::uint32_t>(offsetof(typename G::chan_pointers_table, maxev));
    const std::uint64_t row_bytes = std::uint64_t{reserved.value_or(0)} * sizeof(row_entry);
    if (row_bytes > static_cast<std::uint64_t>(file_.length())) return;
    std::uint32_t most = 0;
    for (const channel_place& place : known.places) {
      if (place.row == channel_place::none) continue;
      const std::uint64_t bytes = std::min(std::uint64_t{place.count} * sizeof(row_entry), row_bytes);
      file_.expect(reference_->ecp_ref + sizeof head + place.row * row_bytes, bytes);
      most = std::max(most, place.count);
    }
    const std::size_t index_heads =
        sizeof(typename G::event_index_table) + RAVO_EV_EVMAX * sizeof(ravo_event_index_entry_head_2010);
    file_.expect(reference_->eit_pos_ref, index_heads + known.events * sizeof(ravo_event_info_entry_2010));
    file_.expect(reference_->evhdb_ref, basket_head_size + std::size_t{most} * sizeof(ravo_eventheader));
  }

  /// The same for the heads of the channels' baskets.
  template <class Row>
  void expect_baskets(std::size_t channels, const known_file& known, Row row) const {
    bool is_cold = false;
    for (std::size_t i = 0; i < channels; ++i) {
      if (known.places[i].count == 0 || row(i)->chhd < basket_head_size) continue;
      const std::uint64_t head = row(i)->chhd - basket_head_size;
      is_cold = is_cold || !file_.is_at_hand(head);
      if (!is_cold) return;
      file_.expect(head, basket_head_size);
    }
  }

  void find_header_baskets() {
    event_headers_ = records_of_basket(reference_->evhdb_ref);
    server_blocks_ = records_of_basket(reference_->srvbb_ref);
  }

  part_extent records_of_basket(std::uint64_t offset) const {
    const std::uint64_t bytes = basket_bytes(offset);
    if (bytes < basket_head_size) return {};
    return {offset + basket_head_size, bytes - basket_head_size};
  }

  void fill(channel_rows& channel, const typename G::chan_pointers_table_entry* row, std::size_t count,
            std::uint32_t position) {
    if (count == 0) return;
    const std::uint64_t basket = find_basket(channel, row[0].chhd);
    const std::vector<std::uint64_t> ends = block_ends(row, count);
    const std::vector<value_status> contradicted = contradictions(row, count);
    channel.entries.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
      entry one{0, {}, row[i].chhd, row[i].data, 0, position, 0, value_status::ok};
      one.stored = stored_bytes(row[i].chhd, ends[i], basket, channel.basket_end);
      one.status = status_of(row[i], one.stored);
      if (one.status == value_status::ok && !contradicted.empty()) one.status = contradicted[i];
      const event_name& event = event_of(i, row, count);
      if (one.status == value_status::ok && event.is_disputed) one.status = value_status::event_disputed;
      if (one.status != value_status::ok) one.stored = 0;
      if (!event.is_one) {
        channel.orphans.push_back(one);
        continue;
      }
      one.number = event.id.event_number;
      one.time = event.id.time;
      one.type = event.type;
      channel.entries.push_back(one);
    }
  }

  /// The status of an entry by the tables alone, checked in the order of the decoder.
  value_status status_of(const typename G::chan_pointers_table_entry& row, std::uint32_t stored) const {
    switch (check_server_block<G>(server_blocks_, row.sbhd)) {
      case decode_outcome::decoded:
        return stored == 0 ? value_status::truncated : value_status::ok;
      case decode_outcome::misdirected:
        return value_status::misdirected;
      default:
        return value_status::truncated;
    }
  }

  using row_entry = typename G::chan_pointers_table_entry;

  /// Finds entries of a row that contradict each other. A channel may have two entries of an event, one of
  /// them a duplicate; but if they name different server blocks, one belongs to another event. And a block
  /// belongs to one event: of several entries that lead to it the one whose `data` follow the subheader is
  /// right, if there is exactly one. Empty if nothing is contradicted.
  static std::vector<value_status> contradictions(const row_entry* row, std::size_t count) {
    bool in_order = true;
    for (std::size_t i = 1; i < count; ++i)
      in_order = in_order && row[i - 1].evhd < row[i].evhd && row[i - 1].chhd < row[i].chhd;
    if (in_order) return {};
    std::vector<value_status> status(count, value_status::ok);
    const auto of_event = [row](std::uint32_t i) { return std::pair(row[i].evhd, row[i].sbhd); };
    for_groups(count, of_event, [&](std::span<const std::uint32_t> entries) {
      if (row[entries.front()].sbhd == row[entries.back()].sbhd) return;
      for (const std::uint32_t i : entries) status[i] = value_status::event_disputed;
    });
    const auto of_block = [row](std::uint32_t i) { return std::pair(row[i].chhd, row[i].evhd); };
    for_groups(count, of_block, [&](std::span<const std::uint32_t> entries) {
      if (row[entries.front()].evhd == row[entries.back()].evhd) return;
      const auto follows = [row](std::uint32_t i) {
        return row[i].data == std::uint64_t{row[i].chhd} + sizeof(typename G::subhead);
      };
      const bool one_is_right = std::count_if(entries.begin(), entries.end(), follows) == 1;
      for (const std::uint32_t i : entries)
        if (!one_is_right || !follows(i)) status[i] = value_status::misdirected;
    });
    return status;
  }

  /// Sorts the entries by a pair of words, and calls `take` for each group with the same first word.
  template <class Words, class Take>
  static void for_groups(std::size_t count, Words words, Take take) {
    std::vector<std::uint32_t> order(count);
    std::iota(order.begin(), order.end(), 0u);
    std::sort(order.begin(), order.end(),
              [&](std::uint32_t a, std::uint32_t b) { return words(a) < words(b); });
    for (std::size_t first = 0, last = 0; first < count; first = last) {
      while (last < count && words(order[last]).first == words(order[first]).first) ++last;
      if (last - first > 1) take(std::span<const std::uint32_t>(order).subspan(first, last - first));
    }
  }

  /// What an event header says, and where it lies.
  struct event_name {
    std::uint32_t where = 0;
    bool is_one = false;       ///< a valid header lies there
    bool is_disputed = false;  ///< the event index says something else, or lacks it
    std::uint8_t type = 0;
    ravo_time_id id{};
  };

  /// The event of a row's entry. Most channels have the same events: the event that the previous channel
  /// had at this position is not read again.
  const event_name& event_of(std::size_t place, const typename G::chan_pointers_table_entry* row,
                             std::size_t count) {
    if (place >= events_.size()) events_.resize(place + 1);
    event_name& event = events_[place];
    const std::uint32_t where = row[place].evhd;
    if (event.where == where) return event;
    event = {};
    event.where = where;
    if (!event_headers_.holds(where, sizeof(ravo_eventheader))) return event;
    if (!headers_.extent().holds(where, sizeof(ravo_eventheader))) read_headers(row + place, count - place);
    const auto bytes = headers_.at(where, sizeof(ravo_eventheader));
    if (!bytes) return event;
    ravo_eventheader header;
    ravo_swap4(bytes->data(), &header, static_cast<int>(sizeof header / 4));
    event.is_one = is_event_header(where, bytes->data()) && is_of_an_event(header);
    event.is_disputed = event.is_one && !index_->has(where, header);
    event.type = static_cast<std::uint8_t>(header.event_type);
    event.id = {header.event_number, header.event_time};
    return event;
  }

  /// Headers lie back to back. The table-access library may know how to check the marker of one.
  bool is_event_header(std::uint32_t where, const void* bytes) const {
    if ((where - event_headers_.first_offset) % sizeof(ravo_eventheader) != 0) return false;
    const auto is_one = table_operations<G>::is_event_header();
    return is_one == nullptr || is_one(bytes);
  }

  /// Reads the header of a row's first entry, and together with it those of the next entries that lie close
  /// after it. A file may claim that its headers lie gigabytes apart: the window stays small.
  void read_headers(const typename G::chan_pointers_table_entry* row, std::size_t count) {
    const std::uint64_t first = row[0].evhd;
    std::uint64_t end = first + sizeof(ravo_eventheader);
    for (std::size_t i = 1; i < count; ++i) {
      const std::uint64_t at = row[i].evhd, new_end = at + sizeof(ravo_eventheader);
      if (at < first || at > end + widest_header_gap || new_end - first > largest_header_window) break;
      if (event_headers_.holds(at, sizeof(ravo_eventheader))) end = std::max(end, new_end);
    }
    header_bytes_.resize(end - first);
    if (!file_.read_all(first, header_bytes_.data(), header_bytes_.size())) header_bytes_.clear();
    headers_ = file_part(header_bytes_.data(), header_bytes_.size(), first);
  }

  /// The length of the basket at an offset; 0 when it does not lie in the file.
  std::uint64_t basket_bytes(std::uint64_t offset) const {
    unsigned char head[basket_head_size];
    const auto length = static_cast<std::uint64_t>(file_.length());
    if (offset == 0 || offset > length || !file_.read_all(offset, head, sizeof head)) return 0;
    const std::int32_t bytes = basket_length(head);
    const bool fits = bytes >= static_cast<std::int32_t>(basket_head_size) &&
                      static_cast<std::uint64_t>(bytes) <= length - offset;
    return fits ? static_cast<std::uint64_t>(bytes) : 0;
  }

  /// The basket's head lies directly before the first event's subheader.
  std::uint64_t find_basket(channel_rows& channel, std::uint64_t first_subheader) const {
    if (first_subheader <= basket_head_size) return 0;
    const std::uint64_t begin = first_subheader - basket_head_size;
    const std::uint64_t bytes = basket_bytes(begin);
    if (bytes >= basket_head_size + sizeof(typename G::subhead)) channel.basket_end = begin + bytes;
    return begin;
  }

  /// The offset at which the next block of the row begins after each block; for the last one, the largest
  /// offset there can be.
  static std::vector<std::uint64_t> block_ends(const typename G::chan_pointers_table_entry* row,
                                               std::size_t count) {
    constexpr auto farthest = std::numeric_limits<std::uint64_t>::max();
    std::vector<std::uint64_t> ends(count, farthest);
    bool in_order = true;
    for (std::size_t i = 0; i + 1 < count; ++i) {
      ends[i] = row[i + 1].chhd;
      in_order = in_order && row[i].chhd < ends[i];
    }
    if (in_order) return ends;
    std::vector<std::uint32_t> begins(count);
    for (std::size_t i = 0; i < count; ++i) begins[i] = row[i].chhd;
    std::sort(begins.begin(), begins.end());
    for (std::size_t i = 0; i < count; ++i) {
      const auto next = std::upper_bound(begins.begin(), begins.end(), row[i].chhd);
      ends[i] = next == begins.end() ? farthest : *next;
    }
    return ends;
  }

  static std::uint32_t stored_bytes(std::uint32_t chhd, std::uint64_t end, std::uint64_t basket,
                                    std::uint64_t basket_end) {
    if (chhd < basket + basket_head_size || chhd >= basket_end) return 0;
    return static_cast<std::uint32_t>(std::min(end, basket_end) - chhd);
  }

  const open_file& file_;
  malloc_owner<typename G::reference_table> reference_;
  malloc_owner<typename G::dictionary_table> dictionary_;
  std::optional<event_index> index_;
  part_extent event_headers_;  ///< as the file says
  part_extent server_blocks_;
  std::vector<unsigned char> header_bytes_;
  file_part headers_;               ///< those that were read
  std::vector<event_name> events_;  ///< of the last row that was read, by entry
};

template <class G>
file_summary scan(tables<G>& of_file, ravo_file_generation generation,
                  const std::function<void(const table_bytes&)>& take_room,
                  const std::function<void(const listed_channel&)>& visit) {
  file_summary result;
  result.generation = generation;
  take_room(of_file.bytes_to_scan());
  if (!of_file.load_dictionary()) {
    result.refuse(file_refusal::damaged_tables, "its channel dictionary is damaged");
    return result;
  }
  if (!of_file.load_event_index()) {
    result.refuse(file_refusal::damaged_tables, "its event index is damaged");
    return result;
  }
  of_file.note_facts(result);
  result.row_bytes = of_file.memory_of(RAVO_ROW_OF_POINTERS);
  result.span = of_file.span();
  if (result.span.empty && of_file.has_entries()) {
    result.refuse(file_refusal::damaged_tables, "its event index has no events, and its channels have");
    return result;
  }
  of_file.visit(visit);
  return result;
}

/// Called when tables could not be loaded, right after the call that failed. Statuses of the table-access
/// library do not say whether the file or the machine is to blame; the error number does.
void note_error_of_the_machine(const open_file& file) {
  if (errno != 0 && errno != EAGAIN) file.note_error(errno);  // EAGAIN means only: a part is not in memory
}

template <class G>
std::optional<std::vector<channel_rows>> rows_of(const open_file& file, const known_file& known,
                                                 const std::vector<std::string>& names) {
  tables<G> of_file(file);
  const std::uint32_t failures = file.failures();
  errno = 0;
  if (of_file.load_reference())
    // Bytes that could not be read look damaged: rows from a failing machine prove nothing.
    if (auto rows = of_file.rows(names, known); rows && file.failures() == failures) return rows;
  note_error_of_the_machine(file);
  return std::nullopt;
}

}  // namespace

file_summary scan_file(const open_file& file, const std::function<void(const table_bytes&)>& take_room,
                       const std::function<void(const listed_channel&)>& visit) {
  file_summary result;
  errno = 0;
  if (tables<raw_format_2010> current(file); current.load_reference())
    result = scan(current, ravo_file_generation::current, take_room, visit);
  else if (tables<raw_format_2009> older(file); older.load_reference())
    result = scan(older, ravo_file_generation::older, take_room, visit);
  else
    result.refuse(file_refusal::not_a_raw_file, "it is no raw file of either generation, or was cut short");
  if (result.refusal != file_refusal::none) note_error_of_the_machine(file);
  return result;
}

std::size_t bytes_to_load_rows(const known_file& known) {
  // A row of the dictionary made for the call, and its place in the library's list of names.
  constexpr std::size_t of_dictionary_row = 384;
  std::uint64_t most = 0;
  for (const channel_place& place : known.places) most = std::max<std::uint64_t>(most, place.count);
  const std::uint64_t headers =
      std::min(most * (sizeof(ravo_eventheader) + widest_header_gap), largest_header_window);
  const std::uint64_t row = std::max(known.row_bytes, most * sizeof(ravo_event_chan_ptr_entry));
  return known.rows * of_dictionary_row + known.places.size() * row +
         known.events * sizeof(ravo_event_info_entry_2010) + headers;
}

std::optional<std::vector<channel_rows>> load_rows(const open_file& file, const known_file& known,
                                                   const std::vector<std::string>& names) {
  return known.generation == ravo_file_generation::current ? rows_of<raw_format_2010>(file, known, names)
                                                           : rows_of<raw_format_2009>(file, known, names);
}

std::optional<std::int32_t> read_stored_type(const open_file& file, ravo_file_generation generation,
                                             const entry& where) {
  const auto read = [&]<class G>(G) -> std::optional<std::int32_t> {
    unsigned char bytes[sizeof(typename G::subhead)];
    if (!file.read_all(where.chhd, bytes, sizeof bytes)) return std::nullopt;
    const auto head = read_subheader<G>(file_part(bytes, sizeof bytes, where.chhd), where.chhd);
    return head ? std::optional(head->dtype) : std::nullopt;
  };
  return generation == ravo_file_generation::current ? read(raw_format_2010()) : read(raw_format_2009());
}

}  // namespace ravo::detail
