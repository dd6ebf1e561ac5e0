#include "headers.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>

#include "check_limits.h"
#include "format/byte_view.h"
#include "instants.h"
#include "ravo_raw_generations.h"
#include "texts.h"

namespace ravo::checks {
namespace {

constexpr std::size_t basket_head = sizeof(ravo_event_header_basket);
constexpr std::size_t read_ahead = 256 << 10;
constexpr std::uint64_t tail_size = 4;

time_stamp time_at(const byte_view& bytes, std::size_t offset) {
  return {*bytes.at<std::uint32_t>(offset), *bytes.at<std::uint32_t>(offset + 4)};
}

// The number of records in a basket, from its length word if that can be right.
class basket_size {
 public:
  basket_size(const checked_file& file, const file_map& map, std::uint64_t offset, std::size_t record)
      : file_(file), map_(map), offset_(offset), record_(record), length_(file.word(offset + 4)) {}

  std::uint32_t length() const { return length_; }
  /// Whether the length word can be right at all.
  bool is_possible() const {
    return length_ >= basket_head && (length_ - basket_head) % record_ == 0 &&
           file_.holds(offset_, length_ + tail_size);
  }
  std::uint64_t count() const { return is_possible() ? (length_ - basket_head) / record_ : 0; }
  /// Whether the basket ends where another part begins: then its length is right, whatever the counts say.
  bool ends_well() const {
    return is_possible() &&
           std::binary_search(map_.part_begins.begin(), map_.part_begins.end(), offset_ + length_);
  }
  bool covers_another() const {
    const auto next = std::upper_bound(map_.part_begins.begin(), map_.part_begins.end(), offset_);
    return next != map_.part_begins.end() && *next - offset_ < length_;
  }
  bool could_hold(std::uint64_t count) const {
    return count <= file_.size() / record_ &&
           file_.holds(offset_, basket_head + count * record_ + tail_size);
  }

 private:
  const checked_file& file_;
  const file_map& map_;
  std::uint64_t offset_;
  std::size_t record_;
  std::uint32_t length_;
};

template <class G>
class header_reader {
 public:
  header_reader(const checked_file& file, file_map& map, finding_list& findings)
      : file_(file), map_(map), findings_(findings) {}

  void read() {
    if (!read_events()) return;
    match_index();
    read_servers();
  }

 private:
  using server_head = typename G::server_block_head;
  static constexpr std::size_t header_size = sizeof(ravo_eventheader);
  static constexpr std::size_t server_size = sizeof(server_head);

  // Whether the basket's head can be read; a wrong marker is reported and then ignored.
  bool check_marker(finding_kind kind, std::uint64_t offset, std::uint32_t marker) {
    if (offset == 0 || !file_.holds(offset, basket_head + tail_size)) {
      findings_.add(kind, {{}, {}, offset}, "it is not in the file; events and blocks were not checked");
      return false;
    }
    if (const std::uint32_t found = file_.word(offset); found != marker)
      findings_.add(kind, {{}, {}, offset}, [&] { return fmt::format("its marker is 0x{:08x}", found); });
    return true;
  }

  bool is_within(const char* what, std::uint64_t offset, std::uint64_t count, std::uint64_t most) {
    if (count <= most) return true;
    findings_.add(
        finding_kind::file_too_large, {{}, {}, offset},
        fmt::format("{} {}, where {} are checked; events and blocks were not checked", count, what, most));
    return false;
  }

  std::uint64_t events_in_index() const {
    std::uint64_t count = 0;
    for (const type_entry& type : map_.types) count += type.events.size();
    return count;
  }

  bool read_events() {
    const std::uint64_t offset = map_.reference.evhdb_ref;
    if (!check_marker(finding_kind::basket_event_headers, offset, RAVO_EVENT_HEADER_BASKET_PATTERN))
      return false;
    const basket_size size(file_, map_, offset, header_size);
    std::uint64_t count = size.count();
    const std::uint64_t indexed = events_in_index();
    if (!size.is_possible() || (map_.has_index && count != indexed && !size.ends_well()) ||
        (count > most_events && size.covers_another())) {
      findings_.add(finding_kind::basket_event_headers, {{}, {}, offset}, [&] {
        return map_.has_index
                   ? fmt::format("its length is {}, and the index has {} events", size.length(), indexed)
                   : fmt::format("its length is {}", size.length());
      });
      count = map_.has_index && size.could_hold(indexed) ? indexed : 0;
    }
    if (!is_within("events", offset, count, most_events)) return false;
    map_.headers_offset = offset + basket_head;
    map_.parts.push_back({offset, map_.headers_offset + count * header_size, "event header basket"});
    map_.events.reserve(count);
    window bytes(file_, read_ahead);
    for (std::uint64_t i = 0; i < count; ++i) {
      const std::uint64_t at = map_.headers_offset + i * header_size;
      add_event(byte_view(bytes.at(at, header_size), header_size, word_order::file), at);
    }
    return true;
  }

  void add_event(const byte_view& bytes, std::uint64_t at) {
    const auto word = [&](std::size_t offset) { return *bytes.at<std::uint32_t>(offset); };
    event_entry event{word(offsetof(ravo_eventheader, event_number)),
                      static_cast<std::int32_t>(word(offsetof(ravo_eventheader, event_type))),
                      time_at(bytes, offsetof(ravo_eventheader, event_time)),
                      word(offsetof(ravo_eventheader, event_length)),
                      static_cast<std::int32_t>(word(offsetof(ravo_eventheader, num_svr_block)))};
    if (const std::uint32_t marker = word(0); marker != G::event_header_pattern)
      findings_.add(finding_kind::event_marker, {{}, event.number, at},
                    [&] { return fmt::format("it is 0x{:08x}", marker); });
    if (!is_proper(event.time))
      findings_.add(finding_kind::event_time, {{}, event.number, at},
                    [&] { return fmt::format("{} microseconds", event.time.timelow); });
    if (!has_time(event.time)) findings_.add(finding_kind::event_no_time, {{}, event.number, at}, "");
    map_.events.push_back(event);
  }

  void match_index() {
    if (!map_.has_index) return;
    for (const type_entry& type : map_.types)
      for (std::size_t i = 0; i < type.events.size(); ++i) match(type, static_cast<std::uint32_t>(i));
    for (std::size_t i = 0; i < map_.events.size(); ++i)
      if (map_.events[i].position == event_entry::not_in_index)
        findings_.add(finding_kind::index_missing,
                      {{}, map_.events[i].number, map_.headers_offset + i * header_size}, "");
  }

  void match(const type_entry& type, std::uint32_t i) {
    const listed_event& listed = type.events[i];
    const auto wrong = [&](auto&& why) {
      findings_.add(finding_kind::index_event,
                    {{}, listed.event_number, type.offset + sizeof type.head + i * sizeof listed}, why);
    };
    const std::uint64_t distance = listed.offset - map_.headers_offset;
    if (listed.offset < map_.headers_offset || distance % header_size != 0 ||
        distance / header_size >= map_.events.size())
      return wrong([&] { return fmt::format("it leads to {}, where no event header is", listed.offset); });
    event_entry& event = map_.events[distance / header_size];
    if (event.position != event_entry::not_in_index)
      return wrong("another event of the index leads to the same header");
    event.position = i;
    event.is_sure =
        event.number == listed.event_number && event.type == type.type && is_same(event.time, listed.time);
    if (event.number != listed.event_number)
      wrong([&] { return fmt::format("its header has number {}", event.number); });
    else if (event.type != type.type)
      wrong([&] { return fmt::format("its header has type {}, the index {}", event.type, type.type); });
    else if (!is_same(event.time, listed.time))
      wrong("their times differ");
    event.type = type.type;
  }

  std::uint64_t count_servers() {
    std::uint64_t count = 0;
    for (std::size_t i = 0; i < map_.events.size(); ++i) {
      const event_entry& event = map_.events[i];
      if (event.servers < 0)
        findings_.add(finding_kind::event_servers,
                      {{}, event.number, map_.headers_offset + i * header_size},
                      [&] { return fmt::format("one counts {}", event.servers); });
      else
        count += static_cast<std::uint64_t>(event.servers);
    }
    return count;
  }

  void read_servers() {
    const std::uint64_t offset = map_.reference.srvbb_ref;
    if (!check_marker(finding_kind::basket_server_blocks, offset, RAVO_SERVER_BLOCK_BASKET_PATTERN)) {
      map_.events.clear();
      return;
    }
    const basket_size size(file_, map_, offset, server_size);
    std::uint64_t count = size.count();
    const std::uint64_t counted = count_servers();
    map_.servers_belong = counted == count && !findings_.has(finding_kind::event_servers);
    if (size.is_possible() && size.ends_well()) {
      if (counted != count && !findings_.has(finding_kind::event_servers))
        findings_.add(finding_kind::event_servers, {{}, {}, offset},
                      fmt::format("they count {}, and there are {}", counted, count));
    } else if (!size.is_possible() || counted != count) {
      findings_.add(
          finding_kind::basket_server_blocks, {{}, {}, offset},
          fmt::format("its length is {}, and the events have {} server blocks", size.length(), counted));
      map_.servers_belong = size.could_hold(counted);
      count = map_.servers_belong ? counted : 0;
    }
    if (!is_within("server blocks", offset, count, most_server_blocks)) {
      map_.events.clear();
      map_.servers_belong = false;
      return;
    }
    map_.servers_offset = offset + basket_head;
    map_.parts.push_back({offset, map_.servers_offset + count * server_size, "server block basket"});
    map_.servers.reserve(count);
    window bytes(file_, read_ahead);
    for (std::uint64_t i = 0; i < count; ++i)
      add_server(byte_view(bytes.at(map_.servers_offset + i * server_size, server_size), server_size,
                           word_order::file));
    if (map_.servers_belong) give_servers_to_events();
    check_names();
    check_times();
  }

  void add_server(const byte_view& bytes) {
    const auto word = [&](std::size_t offset) { return *bytes.at<std::int32_t>(offset); };
    const auto* name = reinterpret_cast<const char*>(bytes.data()) + offsetof(server_head, server);
    const std::size_t length = strnlen(name, sizeof(server_head::server));
    if (length == sizeof(server_head::server))
      nameless_.push_back(map_.servers.size());
    else if (!is_utf8({name, length}))
      misspelt_.push_back(map_.servers.size());
    map_.servers.push_back({time_at(bytes, offsetof(server_head, time)),
                            word(offsetof(server_head, ltotal)), word(offsetof(server_head, mpulse)),
                            word(offsetof(server_head, nchan))});
  }

  void give_servers_to_events() {
    std::size_t next = 0;
    for (std::size_t i = 0; i < map_.events.size(); ++i)
      for (std::int32_t n = 0; n < map_.events[i].servers; ++n)
        map_.servers[next++].event = static_cast<std::uint32_t>(i);
  }

  place place_of_server(std::size_t i, std::size_t field) const {
    place where{{}, {}, map_.servers_offset + i * server_size + field};
    if (map_.servers_belong) where.event = map_.events[map_.servers[i].event].number;
    return where;
  }

  void check_names() {
    constexpr std::size_t name = offsetof(server_head, server);
    for (const std::size_t i : nameless_)
      findings_.add(finding_kind::server_name, place_of_server(i, name), "");
    for (const std::size_t i : misspelt_)
      findings_.add(finding_kind::text_encoding, place_of_server(i, name), "name of a server");
  }

  void check_times() {
    for (std::size_t i = 0; i < map_.servers.size(); ++i)
      if (const time_stamp time = map_.servers[i].time; !is_proper(time))
        findings_.add(finding_kind::server_time, place_of_server(i, offsetof(server_head, time)),
                      [&] { return fmt::format("{} microseconds", time.timelow); });
  }

  const checked_file& file_;
  file_map& map_;
  finding_list& findings_;
  std::vector<std::size_t> nameless_;  // servers with a name without end
  std::vector<std::size_t> misspelt_;  // servers with a name that is not UTF-8
};

}  // namespace

template <class G>
void read_headers(const checked_file& file, file_map& map, finding_list& findings) {
  header_reader<G>(file, map, findings).read();
}

template void read_headers<raw_format_2009>(const checked_file&, file_map&, finding_list&);
template void read_headers<raw_format_2010>(const checked_file&, file_map&, finding_list&);

}  // namespace ravo::checks
