#include "tables.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <numeric>
#include <unordered_set>

#include "baskets.h"
#include "check_limits.h"
#include "decode/table_operations.h"
#include "format/byte_view.h"
#include "format/malloc_owner.h"
#include "headers.h"
#include "ravo_evutl_status.h"
#include "ravo_xml_status.h"
#include "texts.h"

namespace ravo::checks {
namespace {

constexpr std::uint64_t tail_size = 4;
constexpr std::uint32_t no_key = 0;  // any number of channels may have none

std::string status_text(int status) {
  return fmt::format("{}, status {}", ravo_evutl_status_text(status), status);
}

bool begins_like_raw_file(const checked_file& file) {
  constexpr std::size_t size = sizeof(RAVO_FILE_SIGNATURE) - 1;
  char begin[size] = {};
  if (file.holds(0, size)) file.read(0, begin, size);
  return std::memcmp(begin, RAVO_FILE_SIGNATURE_2010, size) == 0 ||
         std::memcmp(begin, RAVO_FILE_SIGNATURE, size) == 0;
}

template <class G>
class table_loader {
 public:
  table_loader(const checked_file& file, finding_list& findings) : file_(file), findings_(findings) {}

  std::optional<file_map> load() {
    if (!load_reference_table()) return std::nullopt;
    if (!has_signature()) findings_.add(finding_kind::file_signature, {{}, {}, 0}, "");
    load_event_index();
    load_dictionary();
    load_pointers();
    load_environment();
    check_descriptions();
    find_baskets<G>(file_, map_, findings_);
    find_part_begins();
    read_headers<G>(file_, map_, findings_);
    check_reference_to_types();
    check_baskets<G>(file_, map_, findings_);
    return std::move(map_);
  }

 private:
  long length() const { return static_cast<long>(file_.size()); }
  const ravo_file_reference_table_2010* reference() const { return &map_.reference; }

  // If the machine could not read a table, or has no memory for it, the file itself may be good.
  // Must be called right after the operation that returned the status, since it uses errno.
  void throw_unless_about_the_file(int status) const {
    if (status == RAVO_TABLE_UNREADABLE) throw file_lost(std::strerror(errno));
    if (status == RAVO_TABLE_NO_MEMORY || status == RAVO_XML_NO_MEMORY) throw std::bad_alloc();
  }

  void refuse(finding_kind kind, std::uint64_t offset, int status) {
    throw_unless_about_the_file(status);
    findings_.add(kind, {{}, {}, offset}, status_text(status));
  }

  // A table and the length that it claims.
  struct claim {
    finding_kind kind;  // if the length cannot be right
    const char* what;
    std::uint64_t offset, length;
    std::uint64_t head, row;
  };

  // A table above the limit is damaged if its length cannot be right, and otherwise too large to check.
  bool is_too_large(const claim& table, std::uint64_t bytes, std::uint64_t most) {
    if (bytes <= most) return false;
    const place where{{}, {}, table.offset};
    const auto begins = begins_by_reference();
    const auto next = std::upper_bound(begins.begin(), begins.end(), table.offset);
    if (table.length < table.head || (table.length - table.head) % table.row != 0)
      findings_.add(table.kind, where,
                    fmt::format("its length is {}, which is no whole number of rows", table.length));
    else if (next != begins.end() && *next - table.offset < table.length)
      findings_.add(table.kind, where,
                    fmt::format("its length is {}, and another part begins at {}", table.length,
                                std::uint64_t{*next}));
    else
      findings_.add(finding_kind::file_too_large, where,
                    fmt::format("{}: {} bytes, where {} are checked", table.what, bytes, most));
    return true;
  }
  bool is_too_large(const claim& table, std::uint64_t most) {
    return is_too_large(table, table.length, most);
  }

  // The begins of the parts that the reference table leads to, and its own; sorted.
  std::vector<std::uint64_t> begins_by_reference() const {
    const auto& table = map_.reference;
    std::vector<std::uint64_t> begins = {table.eit_pos_ref, table.cdt_ref,   table.ecp_ref,
                                         table.eidt_ref,    table.xcd_ref,   table.evhdb_ref,
                                         table.srvbb_ref,   table.chanb_ref, map_.reference_offset};
    std::sort(begins.begin(), begins.end());
    return begins;
  }

  void add_part(std::uint64_t begin, std::uint64_t length, const char* what) {
    map_.parts.push_back({begin, begin + length, what});
  }

  bool has_signature() const {
    constexpr std::size_t size = sizeof G::signature - 1;
    char begin[size] = {};
    if (file_.holds(0, size)) file_.read(0, begin, size);
    return std::memcmp(begin, G::signature, size) == 0;
  }

  bool load_reference_table() {
    const auto refused = [this](const std::string& why) {
      findings_.add(finding_kind::file_reference,
                    {{}, {}, file_.size() - std::min(file_.size(), tail_size)},
                    why + (begins_like_raw_file(file_) ? "; it begins like a raw file"
                                                       : "; it does not begin like a raw file"));
      return false;
    };
    if (file_.size() < tail_size) return refused("too short");
    unsigned char tail[tail_size];
    file_.read(file_.size() - tail_size, tail, sizeof tail);
    ravo_file_reference_table_2010* table = nullptr;
    const int status =
        table_operations<G>::get_reference_table(tail, sizeof tail, length(), file_.descriptor(), &table);
    const malloc_owner<ravo_file_reference_table_2010> own(table);
    throw_unless_about_the_file(status);
    if (status != 0) return refused(status_text(status));
    map_.reference = *table;
    map_.reference_offset = file_.word(file_.size() - tail_size);
    add_part(map_.reference_offset, sizeof *table, "reference table");
    return true;
  }

  // The library allocates as much memory as the heads of the entries claim, provided the file is that long.
  bool is_index_too_large() {
    const std::uint64_t offset = map_.reference.eit_pos_ref;
    if (offset == 0 || !file_.holds(offset, sizeof(ravo_event_index_table_2010))) return false;
    const std::uint32_t types = std::min<std::uint32_t>(file_.word(offset + 4), RAVO_EV_EVMAX);
    std::uint64_t end = offset + sizeof(ravo_event_index_table_2010);
    for (std::uint32_t i = 0; i < types && file_.holds(end, sizeof(ravo_event_index_entry_head_2010)); ++i)
      end += sizeof(ravo_event_index_entry_head_2010) +
             std::uint64_t{file_.word(end + offsetof(ravo_event_index_entry_head_2010, length))} *
                 sizeof(listed_event);
    return end <= file_.size() &&
           is_too_large({finding_kind::table_event_index, "event index", offset, end - offset, 0, 1},
                        most_table_bytes);
  }

  bool is_dictionary_too_large() {
    const std::uint64_t offset = map_.reference.cdt_ref;
    if (offset == 0 || !file_.holds(offset, 8)) return false;
    const std::uint64_t bytes = file_.word(offset + 4);
    return file_.holds(offset, bytes) &&
           is_too_large({finding_kind::table_dictionary, "channel dictionary", offset, bytes,
                         sizeof(typename G::dictionary_table), sizeof(typename G::dictionary_entry)},
                        most_table_bytes);
  }

  // One row is loaded to know that the others can be, with the
  // length that the head says; a wrong head has been refused before.
  bool is_row_too_large() {
    const std::uint64_t offset = map_.reference.ecp_ref;
    if (offset == 0 || !file_.holds(offset, sizeof(ravo_event_chan_pointers_table))) return false;
    const std::uint64_t whole = file_.word(offset + offsetof(ravo_event_chan_pointers_table, length));
    const std::uint64_t row = sizeof(ravo_event_chan_ptr_entry) *
                              file_.word(offset + offsetof(ravo_event_chan_pointers_table, maxev));
    return file_.holds(offset, whole) &&
           whole == sizeof(ravo_event_chan_pointers_table) + map_.channels.size() * row &&
           is_too_large(
               {finding_kind::table_pointers, "row of the event channel pointers", offset, whole, 0, 1},
               row, most_events * sizeof(ravo_event_chan_ptr_entry));
  }

  void load_event_index() {
    if (is_index_too_large()) return;
    ravo_event_index_table_2010* table = nullptr;
    const int status =
        table_operations<G>::get_event_index_table(length(), reference(), file_.descriptor(), &table);
    const malloc_owner<ravo_event_index_table_2010> own(table);
    if (status != 0) return refuse(finding_kind::table_event_index, map_.reference.eit_pos_ref, status);
    map_.has_index = true;
    std::uint64_t offset = map_.reference.eit_pos_ref + sizeof *table;
    const ravo_event_index_entry_2010* entry = table->event_index_entry();
    for (int i = 0; i < table->nevent_types; ++i, entry = entry->next()) {
      map_.types.push_back(
          {entry->event_type, offset, *entry, {entry->event_info(), entry->event_info() + entry->length}});
      offset += sizeof *entry + static_cast<std::uint64_t>(entry->length) * sizeof(listed_event);
    }
    add_part(map_.reference.eit_pos_ref, offset - map_.reference.eit_pos_ref, "event index");
  }

  void load_dictionary() {
    if (is_dictionary_too_large()) return;
    typename G::dictionary_table* table = nullptr;
    const int status =
        table_operations<G>::get_dictionary_table(length(), reference(), file_.descriptor(), &table);
    dictionary_.reset(table);
    if (status != 0) return refuse(finding_kind::table_dictionary, map_.reference.cdt_ref, status);
    map_.has_dictionary = true;
    add_part(map_.reference.cdt_ref, static_cast<std::uint64_t>(table->length), "channel dictionary");
    const auto* entries = table->channel_entry();
    const std::size_t count =
        (static_cast<std::size_t>(table->length) - sizeof *table) / sizeof(typename G::dictionary_entry);
    std::unordered_set<std::string> names;
    std::unordered_set<std::uint32_t> keys;
    for (std::size_t i = 0; i < count; ++i) {
      const auto& one = entries[i];
      map_.channels.push_back({one.chan_name, one.key, one.ev_mask, one.dtype_mask, one.count});
      check_name(map_.channels.back().name, names.insert(one.chan_name).second, place_of_row(i));
      if (!is_utf8(map_.channels.back().name))
        findings_.add(finding_kind::text_encoding, {one.chan_name, {}, place_of_row(i)},
                      "name of a channel");
      if (one.key != no_key && !keys.insert(one.key).second)
        findings_.add(finding_kind::dictionary_key, {one.chan_name, {}, place_of_row(i)},
                      [&] { return fmt::format("key {}", one.key); });
    }
    sort_names();
  }

  void sort_names() {
    std::vector<std::uint32_t>& rows = map_.rows_by_name;
    rows.resize(map_.channels.size());
    std::iota(rows.begin(), rows.end(), 0u);
    std::sort(rows.begin(), rows.end(), [this](std::uint32_t a, std::uint32_t b) {
      return map_.channels[a].name < map_.channels[b].name;
    });
  }

  std::uint64_t place_of_row(std::size_t row) const {
    return map_.reference.cdt_ref + sizeof(typename G::dictionary_table) +
           row * sizeof(typename G::dictionary_entry);
  }

  void check_name(const std::string& name, bool is_new, std::uint64_t offset) {
    const auto wrong = [&](const char* why) {
      findings_.add(finding_kind::dictionary_name, {name, {}, offset}, why);
    };
    constexpr std::size_t most = sizeof(G::subhead::chname) - 1;
    if (name.empty())
      wrong("it is empty");
    else if (!is_new)
      wrong("there is another channel of this name");
    else if (name.find_first_of(":;") != std::string::npos)
      wrong("it has a ':' or ';', which requests put after names");
    else if (name.size() > most)
      wrong("a block has no room for it");
  }

  // Only the head and one row are loaded by the library: each row is read
  // when its channel is checked, since the table may be as large as the file.
  void load_pointers() {
    if (!map_.has_dictionary || is_row_too_large()) return;
    ravo_event_chan_pointers_table* table = nullptr;
    int status = 0;
    if (map_.channels.empty()) {
      status =
          table_operations<G>::get_chan_pointers_table(length(), reference(), file_.descriptor(), &table);
    } else {
      const std::vector<char*> first{map_.channels.front().name.data()};
      status = table_operations<G>::get_chan_pointers_table_by_list(
          length(), reference(), file_.descriptor(), &first, dictionary_.get(), &table);
    }
    const malloc_owner<ravo_event_chan_pointers_table> own(table);
    const bool is_count_wrong = status == RAVO_TABLE_WRONG_ENTRY;
    if (status != 0 && !is_count_wrong)
      return refuse(finding_kind::table_pointers, map_.reference.ecp_ref, status);
    map_.has_pointers = true;
    add_part(map_.reference.ecp_ref, file_.word(map_.reference.ecp_ref + 4), "event channel pointers");
    map_.pointers_offset = map_.reference.ecp_ref + sizeof *table;
    map_.row_length =
        is_count_wrong
            ? file_.word(map_.reference.ecp_ref + offsetof(ravo_event_chan_pointers_table, maxev))
            : static_cast<std::uint32_t>(table->maxev);
  }

  void load_environment() {
    const std::uint64_t offset = map_.reference.eidt_ref;
    if (offset != 0 && file_.holds(offset, 8) && file_.holds(offset, file_.word(offset + 4)) &&
        is_too_large(
            {finding_kind::table_environment, "environment dictionary", offset, file_.word(offset + 4),
             sizeof(ravo_env_dictionary_table_2010), sizeof(ravo_env_dictionary_entry_2010)},
            most_table_bytes))
      return;
    ravo_env_dictionary_table_2010* table = nullptr;
    const int status =
        table_operations<G>::get_env_dictionary_table(length(), reference(), file_.descriptor(), &table);
    const malloc_owner<ravo_env_dictionary_table_2010> own(table);
    if (status != 0) return refuse(finding_kind::table_environment, offset, status);
    add_part(offset, static_cast<std::uint64_t>(table->length), "environment dictionary");
    map_.has_environment = true;
    map_.environment_offset = offset;
    const std::size_t count =
        (static_cast<std::size_t>(table->length) - sizeof *table) / sizeof(ravo_env_dictionary_entry_2010);
    // Skips keys of channels that the file does not have.
    std::unordered_set<std::uint32_t> keys;
    for (const channel_entry& channel : map_.channels)
      if (channel.key != no_key) keys.insert(channel.key);
    for (std::size_t i = 0; i < count; ++i) {
      const ravo_env_dictionary_entry_2010& one = table->dictionary_entry()[i];
      if (one.index < 0)
        findings_.add(finding_kind::environment_negative, {{}, {}, offset + sizeof *table + i * sizeof one},
                      [&] { return fmt::format("key {}, index {}", one.key, one.index); });
      if (keys.contains(one.key) && !map_.environment.emplace(one.key, one.index).second)
        findings_.add(finding_kind::environment_key, {{}, {}, offset + sizeof *table + i * sizeof one},
                      [&] { return fmt::format("key {}", one.key); });
    }
  }

  void check_descriptions() {
    const std::uint64_t offset = map_.reference.xcd_ref;
    if (offset != 0 && file_.holds(offset, 8) && file_.holds(offset, file_.word(offset + 4)) &&
        is_too_large({finding_kind::table_descriptions, "channel descriptions", offset,
                      file_.word(offset + 4), sizeof(ravo_xml_chan_descr_header_2010), 1},
                     most_description_bytes))
      return;
    ravo_xml_chan_descr_header_2010* xml = nullptr;
    int status = table_operations<G>::get_chan_descr_table(length(), reference(), file_.descriptor(), &xml);
    malloc_owner<ravo_xml_chan_descr_header_2010> own(xml);
    if (status != 0) return refuse(finding_kind::table_descriptions, offset, status);
    const std::uint64_t needed = file_.word(offset + 4) + ravo_get_chan_descr_memory(xml);
    if (needed > most_loaded_description_bytes) {
      add_part(offset, static_cast<std::uint64_t>(xml->length), "channel descriptions");
      findings_.add(finding_kind::file_too_large, {{}, {}, offset},
                    fmt::format("channel descriptions: {} bytes in memory, where {} are checked", needed,
                                most_loaded_description_bytes));
      return;
    }
    add_part(offset, static_cast<std::uint64_t>(xml->length), "channel descriptions");
    std::vector<chan_descr_2010*> list;
    status = table_operations<G>::load_chan_descr(xml, &list);
    std::unordered_set<std::string> described;
    for (const chan_descr_2010* one : list) described.insert(one->prop_name);
    ravo_free_chan_descr(&list);
    throw_unless_about_the_file(status);
    if (status != 0) {
      findings_.add(finding_kind::description_text, {{}, {}, offset},
                    fmt::format("{}, status {}", ravo_xml_status_text(status), status));
      return;
    }
    for (std::size_t row = 0; row < map_.channels.size(); ++row)
      if (!described.contains(map_.channels[row].name))
        findings_.add(finding_kind::description_missing, {map_.channels[row].name, {}, place_of_row(row)},
                      "");
  }

  void find_part_begins() {
    map_.part_begins = begins_by_reference();
    for (const channel_entry& channel : map_.channels)
      if (channel.basket != 0) map_.part_begins.push_back(channel.basket);
    std::sort(map_.part_begins.begin(), map_.part_begins.end());
  }

  // A type with events has a place in the reference table; the library refuses only a wrong one.
  void check_reference_to_types() {
    for (const type_entry& one : map_.types)
      if (map_.reference.eite_pos_ref[one.type] == 0 && !one.events.empty())
        findings_.add(finding_kind::table_reference,
                      {{},
                       {},
                       map_.reference_offset + offsetof(ravo_file_reference_table_2010, eite_pos_ref) +
                           4 * static_cast<std::uint64_t>(one.type)},
                      [&] { return fmt::format("no place for the events of type {}", one.type); });
  }

  const checked_file& file_;
  finding_list& findings_;
  file_map map_;
  malloc_owner<typename G::dictionary_table> dictionary_;
};

}  // namespace

template <class G>
std::optional<file_map> load_tables(const checked_file& file, finding_list& findings) {
  return table_loader<G>(file, findings).load();
}

template std::optional<file_map> load_tables<raw_format_2009>(const checked_file&, finding_list&);
template std::optional<file_map> load_tables<raw_format_2010>(const checked_file&, finding_list&);

std::optional<std::uint32_t> reference_marker(const checked_file& file) {
  if (file.size() < tail_size) return std::nullopt;
  const std::uint64_t offset = file.word(file.size() - tail_size);
  if (!file.holds(offset, 4)) return std::nullopt;
  return file.word(offset);
}

}  // namespace ravo::checks
