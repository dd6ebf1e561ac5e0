#include "file_check.h"

#include <fmt/format.h>

#include <new>
#include <thread>

#include "parallel.h"
#include "tables.h"

namespace ravo::checks {
namespace {

// Lengths and counts in the heads are sums over the blocks below them. They are checked
// only if all these blocks are known: one bad pointer would make all of them wrong.
template <class G>
void check_sums(const channel_surroundings& around, finding_list& findings) {
  const file_map& map = around.map;
  if (!map.servers_belong) return;
  constexpr std::uint64_t head = sizeof(typename G::server_block_head);
  std::vector<std::uint64_t> lengths(map.events.size(), sizeof(ravo_eventheader));
  for (std::size_t i = 0; i < map.servers.size(); ++i) {
    const server_entry& server = map.servers[i];
    const std::uint64_t length = head + around.bytes_of_server[i];
    lengths[server.event] += length;
    const place where{{}, map.events[server.event].number, map.servers_offset + i * head};
    if (server.channels < 0 || static_cast<std::uint32_t>(server.channels) != around.channels_of_server[i])
      findings.add(finding_kind::server_channels, where, [&] {
        return fmt::format("it says {}, and {} have data", server.channels,
                           around.channels_of_server[i].load());
      });
    if (server.length < 0 || static_cast<std::uint64_t>(server.length) != length)
      findings.add(finding_kind::server_length, where,
                   [&] { return fmt::format("it is {} instead of {}", server.length, length); });
  }
  for (std::size_t i = 0; i < map.events.size(); ++i)
    if (map.events[i].length != lengths[i])
      findings.add(finding_kind::event_length,
                   {{}, map.events[i].number, map.headers_offset + i * sizeof(ravo_eventheader)},
                   [&] { return fmt::format("it is {} instead of {}", map.events[i].length, lengths[i]); });
}

// The bytes that the threads have checked, reported by the thread that started the check.
class summed_progress {
 public:
  explicit summed_progress(const progress& report) : report_(report) {}
  void operator()(std::uint64_t bytes) {
    if (std::this_thread::get_id() != mine_) {
      of_others_ += bytes;
      return;
    }
    const std::uint64_t all = bytes + of_others_.exchange(0);
    reported_ += all;
    report_(all);
  }
  // For the thread that started the check while it waits for the others.
  void attend() { (*this)(0); }
  std::uint64_t reported() const { return reported_; }

 private:
  const progress& report_;
  std::thread::id mine_ = std::this_thread::get_id();
  std::atomic<std::uint64_t> of_others_{0};
  std::uint64_t reported_ = 0;
};

void report_too_much(const checked_file& file, finding_list& findings) {
  findings.add(finding_kind::file_too_entangled, {},
               fmt::format("{} bytes were read of {}", file.most_read(), file.size()));
}

template <class G>
void check_contents(const checked_file& file, verification_depth deep, unsigned threads,
                    summed_progress& sum, file_result& result) {
  const std::optional<file_map> map = load_tables<G>(file, result.findings);
  if (!map) return;
  result.events = map->events.size();
  for (const type_entry& type : map->types)
    result.sequences.push_back(check_sequence(type, result.findings));
  result.are_channels_known = map->has_dictionary;
  for (const channel_entry& channel : map->channels)
    if (channel.count > 0) result.channels_with_data.push_back(channel.name);
  if (!map->has_pointers || map->events.empty()) {
    for (std::size_t row = 0; row < map->channels.size(); ++row)
      if (map->channels[row].count == 0) check_idle_mask<G>(*map, row, result.findings);
    return;
  }

  channel_surroundings around(file, *map, deep);
  std::atomic<bool> is_over{false};
  around.report = [&](std::uint64_t bytes) {
    sum(bytes);
    if (is_over) throw work_is_over();
  };
  std::vector<finding_list> of_channels(map->channels.size());
  bool are_all_known = true;
  try {
    in_parallel(
        threads, of_channels.size(),
        [&](std::size_t row) { of_channels[row] = check_channel<G>(around, row); },
        [&sum] { sum.attend(); }, is_over);
  } catch (const read_too_much&) {
    are_all_known = false;
    report_too_much(file, result.findings);
  }
  // Whether a block may be missing in the sums. A finding
  // about a block whose length is known does not matter.
  const auto depends_on_all = [](const finding& one) {
    using enum finding_kind;
    return row_of(one.kind).how_bad == severity::damaged && one.kind != dictionary_event_mask &&
           one.kind != dictionary_type_mask && one.kind != environment_index &&
           one.kind != block_reading_time;
  };
  for (finding_list& one : of_channels) {
    for (const finding& what : one.list()) are_all_known = are_all_known && !depends_on_all(what);
    result.findings.append(std::move(one));
  }
  result.blocks = around.blocks;
  if (are_all_known && !result.findings.has(finding_kind::table_overlap))
    check_sums<G>(around, result.findings);
}

// Whether the file has changed since it was opened; false if the system refuses to say.
bool is_known_to_have_changed(const std::optional<checked_file>& file) {
  try {
    return file && file->has_changed();
  } catch (const file_lost&) {
    return false;
  }
}

void forget(file_result& result) {
  result.findings = {};
  result.sequences.clear();
  result.are_channels_known = false;
  result.channels_with_data.clear();
}

}  // namespace

file_result check_file(const std::string& path, verification_depth deep, unsigned threads,
                       const progress& report) {
  file_result result;
  result.path = path;
  summed_progress sum(report);
  std::optional<checked_file> file;
  try {
    file.emplace(path);
    result.bytes = file->size();
    if (reference_marker(*file) == raw_format_2009::reference_table_pattern)
      check_contents<raw_format_2009>(*file, deep, threads, sum, result);
    else
      check_contents<raw_format_2010>(*file, deep, threads, sum, result);
    if (file->has_changed()) throw file_lost("what was found may not be so any more");
  } catch (const read_too_much&) {
    report_too_much(*file, result.findings);
  } catch (const file_lost& lost) {
    const bool has_changed = is_known_to_have_changed(file);
    // Findings and events of a file that changes meanwhile mean nothing.
    forget(result);
    result.findings.add(has_changed ? finding_kind::file_changed : finding_kind::file_unreadable, {},
                        lost.what());
  } catch (const std::bad_alloc&) {
    // Nor do findings without memory.
    forget(result);
    result.findings.add(finding_kind::file_unreadable, {}, "there is no memory to check it");
  }
  if (file) result.bytes_read = file->bytes_read();
  if (sum.reported() < result.bytes) report(result.bytes - sum.reported());
  return result;
}

}  // namespace ravo::checks
