#include "convert/compare_files.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <vector>

#include "common/failure.h"
#include "convert/block_reading.h"
#include "format/time.h"
#include "ravo_evutl.h"
#include "ravo_raw_generations.h"

namespace ravo::tool {
namespace {

using difference = std::optional<std::string>;

template <class Value>
difference differ(const std::string& what, const Value& before, const Value& after) {
  if (before == after) return std::nullopt;
  return fmt::format("{}: {} before, {} after", what, before, after);
}

difference differ(const std::string& what, const time_stamp& before, const time_stamp& after) {
  if (ravo_time_stamp_eq(&before, &after)) return std::nullopt;
  return fmt::format("{}: {} before, {} after", what, time_text(before), time_text(after));
}

difference differ_in_text(const std::string& what, const char* before, const char* after) {
  return differ(what, std::string(before), std::string(after));
}

/// The first difference that one of the comparisons finds.
template <class... Comparisons>
difference first_of(Comparisons... comparisons) {
  difference found;
  ((found = comparisons(), found.has_value()) || ...);
  return found;
}

// ---- events ---------------------------------------------------------------------------------------------

difference compare_event_headers(const ravo_eventheader& before, const ravo_eventheader& after) {
  const std::string of = fmt::format("event {}, ", before.event_number);
  difference found = differ(of + "number", before.event_number, after.event_number);
  if (!found) found = differ(of + "type", int{before.event_type}, int{after.event_type});
  if (!found) found = differ(of + "time", before.event_time, after.event_time);
  if (!found) found = differ(of + "trigger mask", before.tmask, after.tmask);
  if (!found) found = differ(of + "status", before.status, after.status);
  if (!found) found = differ(of + "server blocks", before.num_svr_block, after.num_svr_block);
  return found;
}

ravo_eventheader read_event_header(const raw_file& file, std::uint32_t offset) {
  ravo_eventheader header{};
  if (!file.read_at(offset, {reinterpret_cast<unsigned char*>(&header), sizeof header}))
    throw data_failure(
        fmt::format("{}: damaged: an event header at {} does not lie in the file", file.path(), offset));
  ravo_swap4(&header, &header, sizeof header / 4);
  return header;
}

// The events of each type, independent of the order of the types.
std::vector<const ravo_event_index_entry_2010*> index_entries(const raw_file& file) {
  std::vector<const ravo_event_index_entry_2010*> entries;
  const ravo_event_index_entry_2010* entry = file.event_index().event_index_entry();
  for (int i = 0; i < file.event_index().nevent_types; ++i, entry = entry->next())
    if (entry->length > 0) entries.push_back(entry);
  std::sort(entries.begin(), entries.end(),
            [](const auto* a, const auto* b) { return a->event_type < b->event_type; });
  return entries;
}

// The server blocks of events, including those without channels:
// the order of the headers and their counts say which is which.
template <class G>
class server_blocks {
 public:
  using head = typename G::server_block_head;

  explicit server_blocks(const raw_file& file) : file_(file), headers_(file.reference().evhdb_ref + 8) {
    const std::uint64_t length = std::min<std::uint64_t>(file.length_at(headers_ - 8), file.size());
    for (std::uint64_t at = 8; at + sizeof(ravo_eventheader) <= length; at += sizeof(ravo_eventheader)) {
      firsts_.push_back(count_);
      const std::int32_t more =
          read_event_header(file, headers_ - 8 + static_cast<std::uint32_t>(at)).num_svr_block;
      count_ += static_cast<std::uint64_t>(std::max(more, 0));
    }
  }

  /// Server block `n` of the event whose header is at the offset; `nullopt` if there is none.
  std::optional<head> find(std::uint32_t event_header, std::int32_t n) const {
    const std::uint64_t event = (event_header - headers_) / sizeof(ravo_eventheader);
    if (event_header < headers_ || event >= firsts_.size()) return std::nullopt;
    const std::uint64_t offset =
        file_.reference().srvbb_ref + 8 + (firsts_[event] + static_cast<std::uint64_t>(n)) * sizeof(head);
    head found;
    if (offset + sizeof found > file_.size() ||
        !file_.read_at(static_cast<std::uint32_t>(offset),
                       {reinterpret_cast<unsigned char*>(&found), sizeof found}))
      return std::nullopt;
    ravo_swap4(&found.time, &found.time, offsetof(head, server) / 4);
    ravo_swap4(&found.tmask, &found.tmask, 3);
    found.server[sizeof found.server - 1] = '\0';
    return found;
  }

 private:
  const raw_file& file_;
  std::uint32_t headers_;  // offset of the first
  std::vector<std::uint64_t> firsts_;
  std::uint64_t count_ = 0;
};

difference compare_server_blocks(const std::string& of, const ravo_serv_block_head& before,
                                 const ravo_serv_block_head_2010& after) {
  difference found = differ_in_text(of + "server", before.server, after.server);
  if (!found) found = differ(of + "time", before.time, after.time);
  if (!found) found = differ(of + "macro-pulse", before.mpulse, after.mpulse);
  if (!found) found = differ(of + "trigger mask", before.tmask, after.tmask);
  if (!found) found = differ(of + "status", before.status, after.status);
  return found;
}

difference compare_event(const raw_file& older, const server_blocks<raw_format_2009>& before,
                         std::uint32_t at, const raw_file& current,
                         const server_blocks<raw_format_2010>& after, std::uint32_t copy) {
  const ravo_eventheader header = read_event_header(older, at);
  if (auto found = compare_event_headers(header, read_event_header(current, copy))) return found;
  for (std::int32_t n = 0; n < header.num_svr_block; ++n) {
    const auto one = before.find(at, n);
    const auto other = after.find(copy, n);
    const std::string of = fmt::format("server block {} of event {}, ", n + 1, header.event_number);
    if (!one || !other) return of + "does not lie in the file";
    if (auto found = compare_server_blocks(of, *one, *other)) return found;
  }
  return std::nullopt;
}

difference compare_events(const raw_file& older, const raw_file& current) {
  const server_blocks<raw_format_2009> older_blocks(older);
  const server_blocks<raw_format_2010> current_blocks(current);
  const auto before = index_entries(older), after = index_entries(current);
  if (auto found = differ("types of events", before.size(), after.size())) return found;
  for (std::size_t i = 0; i < before.size(); ++i) {
    if (auto found = differ("type of events", before[i]->event_type, after[i]->event_type)) return found;
    if (auto found = differ(std::string("events of type ") + event_name_itoa(before[i]->event_type),
                            before[i]->length, after[i]->length))
      return found;
    for (int n = 0; n < before[i]->length; ++n) {
      const ravo_event_info_entry_2010 &one = before[i]->event_info()[n],
                                       &other = after[i]->event_info()[n];
      difference found = differ("event number in the index", one.event_number, other.event_number);
      if (!found)
        found = differ(fmt::format("event {}, time in the index", one.event_number), one.time, other.time);
      if (!found)
        found = compare_event(older, older_blocks, one.offset, current, current_blocks, other.offset);
      if (found) return found;
    }
  }
  return std::nullopt;
}

// ---- channels -------------------------------------------------------------------------------------------

difference compare_channels(const raw_file& older, const raw_file& current) {
  if (auto found = differ("channels", older.channels().size(), current.channels().size())) return found;
  for (std::size_t i = 0; i < older.channels().size(); ++i) {
    const listed_channel &before = older.channels()[i], &after = current.channels()[i];
    const std::string of = fmt::format("channel {}, ", before.chan_name);
    difference found = differ_in_text(of + "name", before.chan_name, after.chan_name);
    // Key 0 means no key.
    if (!found && before.key != 0) found = differ(of + "key", before.key, after.key);
    if (!found) found = differ(of + "events", before.count, after.count);
    if (found) return found;
  }
  return std::nullopt;
}

// The environment index of each channel; -1 if it has none. Entries that
// belong to no channel have no meaning, and neither do negative ones.
std::vector<std::int32_t> environment_of(const raw_file& file) {
  std::map<std::uint32_t, std::int32_t> index_of_key;
  for (const ravo_env_dictionary_entry_2010& entry : file.environment())
    index_of_key.try_emplace(entry.key, entry.index);
  std::vector<std::int32_t> indices;
  for (const listed_channel& channel : file.channels()) {
    const auto found = index_of_key.find(channel.key);
    indices.push_back(found == index_of_key.end() ? -1 : std::max(found->second, -1));
  }
  return indices;
}

difference compare_environment(const raw_file& older, const raw_file& current) {
  const auto before = environment_of(older), after = environment_of(current);
  for (std::size_t i = 0; i < before.size(); ++i)
    if (auto found = differ(fmt::format("channel {}, environment index", older.channels()[i].chan_name),
                            before[i], after[i]))
      return found;
  return std::nullopt;
}

// ---- types ----------------------------------------------------------------------------------------------

bool is_current_twin_there(const data_type& older) {
  return std::any_of(std::begin(data_types), std::end(data_types), [&older](const data_type& row) {
    return row.name == std::string(older.name) + "_2010";
  });
}

// Whether the members have the same names as before, or numbers.
bool are_members_alike(const data_type& older, const data_type& current) {
  if (older.members != current.members || older.axis != current.axis) return false;
  for (std::size_t i = 0; i < static_cast<std::size_t>(older.members); ++i)
    if (current.member_names[i] != older.member_names[i] &&
        current.member_names[i] != fmt::format("CH{}", i))
      return false;
  return true;
}

// Whether the second type says about its data what the first one said, as far as it can.
bool is_type_for(const data_type& older, const data_type& current) {
  if (older.generation == type_generation::both) return older.code == current.code;
  if (is_current_twin_there(older)) return current.name == std::string(older.name) + "_2010";
  return current.generation == type_generation::current && are_members_alike(older, current);
}

difference compare_types(const std::string& what, std::int32_t before, std::int32_t after) {
  const data_type *older = find_data_type(before), *current = find_data_type(after);
  const bool fit =
      older && current && older->code == before && current->code == after && is_type_for(*older, *current);
  if (fit) return std::nullopt;
  return fmt::format("{}: {} before, {} after, which does not fit", what,
                     older ? std::string(older->name) : std::to_string(before),
                     current ? std::string(current->name) : std::to_string(after));
}

// ---- descriptions ---------------------------------------------------------------------------------------

difference compare_bits(const std::string& of, const chan_descr_2010& before,
                        const chan_descr_2010& after) {
  if (auto found = differ(of + "bits", before.bits.size(), after.bits.size())) return found;
  for (std::size_t i = 0; i < before.bits.size(); ++i) {
    difference found = differ(of + "bit", before.bits[i]->bit, after.bits[i]->bit);
    if (!found)
      found = differ_in_text(of + "name of a bit", before.bits[i]->bit_name, after.bits[i]->bit_name);
    if (!found)
      found = differ_in_text(of + "text of a bit", before.bits[i]->bit_desc, after.bits[i]->bit_desc);
    if (found) return found;
  }
  return std::nullopt;
}

difference compare_statistics(const std::string& of, const stat_descr& before, const stat_descr& after) {
  difference found = differ(of + "statistic", before.stat, after.stat);
  if (!found) found = differ_in_text(of + "name of a statistic", before.stat_name, after.stat_name);
  if (!found) found = differ_in_text(of + "text of a statistic", before.stat_desc, after.stat_desc);
  if (!found) found = differ_in_text(of + "units of a statistic", before.units, after.units);
  return found;
}

difference compare_dimensions(const std::string& of, const chan_descr_2010& before,
                              const chan_descr_2010& after) {
  if (auto found = differ(of + "dimensions", before.dims.size(), after.dims.size())) return found;
  for (std::size_t i = 0; i < before.dims.size(); ++i) {
    const dim_descr &one = *before.dims[i], &other = *after.dims[i];
    difference found = differ(of + "dimension", one.dim, other.dim);
    if (!found) found = differ_in_text(of + "name of a dimension", one.dim_name, other.dim_name);
    if (!found) found = differ_in_text(of + "text of a dimension", one.dim_desc, other.dim_desc);
    if (!found) found = differ_in_text(of + "units of a dimension", one.units, other.units);
    if (!found) found = differ(of + "statistics", one.stats.size(), other.stats.size());
    for (std::size_t n = 0; !found && n < one.stats.size(); ++n)
      found = compare_statistics(of, one.stats[n], other.stats[n]);
    if (found) return found;
  }
  return std::nullopt;
}

difference compare_description(const chan_descr_2010& before, const chan_descr_2010& after) {
  const std::string of = fmt::format("description of {}, ", before.prop_name);
  difference found = differ_in_text(of + "name", before.prop_name, after.prop_name);
  if (!found) found = differ(of + "stream", before.stream, after.stream);
  if (!found) found = differ(of + "type of events", before.ev_type, after.ev_type);
  if (!found) found = differ(of + "count", before.count, after.count);
  if (!found) found = differ(of + "key", before.db_key, after.db_key);
  if (!found) found = differ_in_text(of + "DAQ name", before.daq_name, after.daq_name);
  if (!found) found = differ_in_text(of + "text", before.prop_desc, after.prop_desc);
  if (!found) found = differ_in_text(of + "units", before.units, after.units);
  if (!found) found = differ(of + "size", before.max_size, after.max_size);
  if (!found) found = differ_in_text(of + "server block", before.sb_name, after.sb_name);
  if (!found) found = differ(of + "set point", before.set_point, after.set_point);
  if (!found) found = differ_in_text(of + "subsystem", before.subsystem, after.subsystem);
  // A type that older channels cannot have is kept as it is.
  if (!found && before.dtype != after.dtype)
    found = compare_types(of + "data type", static_cast<std::int32_t>(before.dtype),
                          static_cast<std::int32_t>(after.dtype));
  if (!found) found = compare_bits(of, before, after);
  if (!found) found = compare_dimensions(of, before, after);
  return found;
}

difference compare_descriptions(raw_file& older, raw_file& current) {
  const auto &before = older.descriptions(), &after = current.descriptions();
  if (auto found = differ("descriptions", before.size(), after.size())) return found;
  for (std::size_t i = 0; i < before.size(); ++i)
    if (auto found = compare_description(*before[i], *after[i])) return found;
  return std::nullopt;
}

// ---- blocks ---------------------------------------------------------------------------------------------

template <class Subhead>
std::span<const unsigned char> data_of(const Subhead& head) {
  return {reinterpret_cast<const unsigned char*>(&head + 1),
          static_cast<std::size_t>(head.ldata) - sizeof head};
}

difference compare_blocks(const read_block<raw_format_2009>& before,
                          const read_block<raw_format_2010>& after) {
  difference found = compare_event_headers(*before.decoded.event_header, *after.decoded.event_header);
  if (!found)
    found = compare_server_blocks("its server block, ", *before.decoded.server_block,
                                  *after.decoded.server_block);
  const ravo_serv_block_subhead& older = *before.decoded.block;
  const ravo_serv_block_subhead_2010& current = *after.decoded.block;
  if (!found) found = differ_in_text("name", older.chname, current.chname);
  if (!found)
    found = differ("error bits", before.stored_error & ~RAVO_CHAN_ZIP_FLAG,
                   after.stored_error & ~RAVO_CHAN_ZIP_FLAG);
  if (!found) found = compare_types("data type", before.stored_type, after.stored_type);
  if (!found && before.reading != after.reading) found = "the stored reading is another one";
  const data_type *handed_out = find_data_type(older.dtype), *copy = find_data_type(current.dtype);
  if (!found) found = first_data_difference(*handed_out, data_of(older), *copy, data_of(current));
  return found;
}

difference compare_data(const raw_file& older, const raw_file& current,
                        const std::function<void(double)>& report) {
  std::uint64_t all = 1, done = 0;
  for (std::size_t i = 0; i < older.channels().size(); ++i) all += older.places_of(i).size();
  block_reader<raw_format_2009> before(older);
  block_reader<raw_format_2010> after(current);
  for (std::size_t i = 0; i < older.channels().size(); ++i) {
    const char* name = older.channels()[i].chan_name;
    if (auto found = differ(fmt::format("blocks of channel {}", name), older.places_of(i).size(),
                            current.places_of(i).size()))
      return found;
    std::uint32_t event_types = 0;
    for (std::size_t n = 0; n < older.places_of(i).size(); ++n) {
      const auto one = before.read(older.places_of(i)[n], name);
      if (auto found = compare_blocks(one, after.read(current.places_of(i)[n], name)))
        return fmt::format("channel {} in event {} of {}: {}", name, one.decoded.event_header->event_number,
                           time_text(one.decoded.event_header->event_time), *found);
      event_types |= std::uint32_t{1} << (one.decoded.event_header->event_type & 31);
      report(static_cast<double>(++done) / static_cast<double>(all));
    }
    // The mask in the older dictionary may be wrong.
    if (auto found = differ(fmt::format("channel {}, mask of event types", name), event_types,
                            current.channels()[i].ev_mask))
      return found;
  }
  return std::nullopt;
}

}  // namespace

std::optional<std::string> first_difference(raw_file& older, raw_file& current,
                                            const std::function<void(double)>& report) {
  return first_of(
      [&] { return compare_channels(older, current); }, [&] { return compare_environment(older, current); },
      [&] { return compare_events(older, current); }, [&] { return compare_descriptions(older, current); },
      [&] { return compare_data(older, current, report); });
}

}  // namespace ravo::tool
