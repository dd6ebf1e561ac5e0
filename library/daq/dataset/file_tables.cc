#include "file_tables.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "byte_view.h"
#include "library_calls.h"
#include "malloc_owner.h"
#include "mapping.h"

namespace ravo::datasets {
namespace {

bool is_before(const time_stamp& a, const time_stamp& b) {
  return a.timeup != b.timeup ? a.timeup < b.timeup : a.timelow < b.timelow;
}

/// Takes over what a table operation gives, and says whether it gave anything.
template <class Table, class Load>
malloc_owner<Table> loaded(Load load) {
  Table* table = nullptr;
  const int status = load(&table);
  malloc_owner<Table> owner(table);
  if (status != 0) owner.reset();
  return owner;
}

template <class G>
class tables {
 public:
  explicit tables(const open_file& file) : file_(file) {}

  bool load_reference() {
    const long length = file_.length();
    if (length < 4) return false;
    long rest = 0;
    const long page = ravo_get_page_offset(length, length - 4, &rest);
    std::vector<unsigned char> tail(static_cast<std::size_t>(length - page));
    if (!file_.read_all(static_cast<std::uint64_t>(page), tail.data(), tail.size())) return false;
    reference_ = loaded<typename G::reference_table>([&](auto** table) {
      return library_calls<G>::get_reference_table(tail.data(), static_cast<long>(tail.size()), length,
                                                   file_.descriptor(), table);
    });
    return reference_ != nullptr;
  }

  bool load_dictionary() {
    dictionary_ = loaded<typename G::dictionary_table>([&](auto** table) {
      return library_calls<G>::get_dictionary_table(file_.length(), reference_.get(), file_.descriptor(),
                                                    table);
    });
    return dictionary_ != nullptr;
  }

  void visit(const std::function<void(const listed_channel&)>& each) const {
    const auto* channel = dictionary_->channel_entry();
    for (std::size_t i = 0; i < channels(); ++i, ++channel)
      each({{channel->chan_name, strnlen(channel->chan_name, sizeof channel->chan_name)},
            channel->count,
            channel->ev_mask,
            channel->dtype_mask});
  }

  std::optional<event_span> span() const {
    const auto index = loaded<typename G::event_index_table>([&](auto** table) {
      return library_calls<G>::get_event_index_table(file_.length(), reference_.get(), file_.descriptor(),
                                                     table);
    });
    if (!index) return std::nullopt;
    event_span all;
    const auto* of_type = index->event_index_entry();
    for (int i = 0; i < index->nevent_types; ++i, of_type = of_type->next())
      if (of_type->length > 0) widen(all, *of_type);
    return all;
  }

  std::optional<std::vector<channel_rows>> rows(const std::vector<std::string>& names,
                                                std::uint32_t position) const {
    std::vector<channel_rows> all(names.size());
    std::vector<std::string> texts = names;
    std::vector<char*> list;
    for (std::string& text : texts) list.push_back(text.data());
    typename G::chan_pointers_table* table = nullptr;
    const int status = library_calls<G>::get_chan_pointers_table_by_list(
        file_.length(), reference_.get(), file_.descriptor(), &list, dictionary_.get(), &table);
    const malloc_owner<typename G::chan_pointers_table> owner(table);
    if (status == no_channel) return all;
    if (status != 0) return std::nullopt;
    for (std::size_t i = 0; i < names.size(); ++i) {
      typename G::dictionary_entry* found = nullptr;
      if (library_calls<G>::find_channel_by_name(dictionary_.get(), names[i].c_str(), &found) < 0) continue;
      const auto count = static_cast<std::size_t>(std::clamp(found->count, 0, table->maxev));
      fill(all[i], table->chptr() + i * static_cast<std::size_t>(table->maxev), count, position);
    }
    return all;
  }

 private:
  static constexpr int no_channel =
      -5;  // of the table-access library: none of the names is in the dictionary

  std::size_t channels() const {
    return (static_cast<std::size_t>(dictionary_->length) - sizeof(typename G::dictionary_table)) /
           sizeof(typename G::dictionary_entry);
  }

  static void widen(event_span& all, const typename G::event_index_entry& of_type) {
    const auto [low, high] = std::minmax(of_type.event_number_first, of_type.event_number_last);
    if (all.empty || is_before(of_type.event_time_first, all.first)) all.first = of_type.event_time_first;
    if (all.empty || is_before(all.last, of_type.event_time_last)) all.last = of_type.event_time_last;
    all.lowest = all.empty ? low : std::min(all.lowest, low);
    all.highest = all.empty ? high : std::max(all.highest, high);
    all.empty = false;
  }

  void fill(channel_rows& channel, const typename G::chan_pointers_table_entry* row, std::size_t count,
            std::uint32_t position) const {
    if (count == 0) return;
    const auto headers = read_headers(row, count);
    const std::uint64_t basket = find_basket(channel, row[0].chhd);
    std::vector<std::uint32_t> begins(count);
    for (std::size_t i = 0; i < count; ++i) begins[i] = row[i].chhd;
    if (!std::is_sorted(begins.begin(), begins.end())) std::sort(begins.begin(), begins.end());
    channel.entries.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
      const auto header = headers.at(row[i].evhd);
      if (!header) {
        ++channel.unplaced;
        continue;
      }
      channel.entries.push_back(
          {*header->template at<std::uint32_t>(offsetof(ravo_eventheader, event_number)),
           {*header->template at<std::uint32_t>(offsetof(ravo_eventheader, event_time)),
            *header->template at<std::uint32_t>(offsetof(ravo_eventheader, event_time) + 4)},
           row[i].chhd,
           row[i].data,
           stored_bytes(begins, row[i].chhd, basket, channel.basket_end),
           position,
           static_cast<std::uint8_t>(
               *header->template at<std::uint32_t>(offsetof(ravo_eventheader, event_type)))});
    }
  }

  /// The event headers that a row points to, read in one piece.
  struct header_part {
    std::vector<unsigned char> bytes;
    std::uint64_t offset = 0;
    std::optional<byte_view> at(std::uint64_t where) const {
      if (where < offset) return std::nullopt;
      return byte_view(bytes.data(), bytes.size(), word_order::file)
          .sub(where - offset, sizeof(ravo_eventheader));
    }
  };

  header_part read_headers(const typename G::chan_pointers_table_entry* row, std::size_t count) const {
    header_part part;
    const std::uint64_t begin = reference_->evhdb_ref;
    const std::uint64_t end = begin + basket_bytes(begin);
    std::uint64_t first = end, last = begin;
    for (std::size_t i = 0; i < count; ++i) {
      const std::uint64_t at = row[i].evhd;
      if (at < begin + basket_head_size || at + sizeof(ravo_eventheader) > end) continue;
      first = std::min(first, at);
      last = std::max(last, at + sizeof(ravo_eventheader));
    }
    if (first >= last) return part;
    part.bytes.resize(last - first);
    part.offset = first;
    if (!file_.read_all(first, part.bytes.data(), part.bytes.size())) part.bytes.clear();
    return part;
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

  /// The basket's head lies directly in front of the first event's subheader.
  std::uint64_t find_basket(channel_rows& channel, std::uint64_t first_subheader) const {
    if (first_subheader <= basket_head_size) return 0;
    const std::uint64_t begin = first_subheader - basket_head_size;
    const std::uint64_t bytes = basket_bytes(begin);
    if (bytes >= basket_head_size + sizeof(typename G::subhead)) channel.basket_end = begin + bytes;
    return begin;
  }

  static std::uint32_t stored_bytes(const std::vector<std::uint32_t>& begins, std::uint32_t chhd,
                                    std::uint64_t basket, std::uint64_t basket_end) {
    if (chhd < basket + basket_head_size || chhd >= basket_end) return 0;
    const auto next = std::upper_bound(begins.begin(), begins.end(), chhd);
    const std::uint64_t end =
        next == begins.end() ? basket_end : std::min<std::uint64_t>(*next, basket_end);
    return static_cast<std::uint32_t>(end - chhd);
  }

  const open_file& file_;
  malloc_owner<typename G::reference_table> reference_;
  malloc_owner<typename G::dictionary_table> dictionary_;
};

template <class G>
file_look look(tables<G>& of_file, ravo_file_generation generation, bool with_span,
               const std::function<void(const listed_channel&)>& visit) {
  file_look result;
  result.generation = generation;
  if (!of_file.load_dictionary()) {
    result.problem = "its channel dictionary is damaged";
    return result;
  }
  if (with_span) {
    const auto span = of_file.span();
    if (span)
      result.span = *span;
    else
      result.problem = "its event index is damaged";
  }
  if (result.problem.empty()) of_file.visit(visit);
  return result;
}

template <class G>
std::optional<std::vector<channel_rows>> rows_of(const open_file& file,
                                                 const std::vector<std::string>& names,
                                                 std::uint32_t position) {
  tables<G> of_file(file);
  if (!of_file.load_reference() || !of_file.load_dictionary()) return std::nullopt;
  return of_file.rows(names, position);
}

}  // namespace

file_look look_into(const open_file& file, bool with_span,
                    const std::function<void(const listed_channel&)>& visit) {
  if (tables<generation_2010> current(file); current.load_reference())
    return look(current, ravo_file_generation::current, with_span, visit);
  if (tables<generation_2009> older(file); older.load_reference())
    return look(older, ravo_file_generation::older, with_span, visit);
  file_look result;
  result.problem = "it is no raw file of either generation, or was cut short";
  return result;
}

std::optional<std::vector<channel_rows>> load_rows(const open_file& file, ravo_file_generation generation,
                                                   const std::vector<std::string>& names,
                                                   std::uint32_t position) {
  return generation == ravo_file_generation::current ? rows_of<generation_2010>(file, names, position)
                                                     : rows_of<generation_2009>(file, names, position);
}

}  // namespace ravo::datasets
