#include "dataset_state.h"

#include <algorithm>
#include <optional>
#include <set>
#include <string_view>
#include <thread>
#include <utility>

#include "align/missing_spans.h"
#include "ravo_dataset/find_files.h"
#include "ravo_dataset/manifest.h"
#include "ravo_dataset/member_names.h"

namespace ravo::detail {

namespace {

dataset_options completed(dataset_options options) {
  if (options.threads == 0) options.threads = std::max(1u, std::thread::hardware_concurrency());
  return options;
}

/// The paths that are read for slow values alone.
std::set<std::string_view> context_of(const found_files& found) {
  std::set<std::string_view> paths;
  for (const found_file& file : found.all)
    if (file.by == found_by::context) paths.insert(file.path);
  return paths;
}

}  // namespace

void dataset_state::check(const selection& wanted) {
  if (wanted.step == 0) throw selection_error("The step of a selection is 1 or more");
  if (wanted.phase >= wanted.step)
    throw selection_error(
        "phase= says with which of the first events a step begins: it is less than step=");
  if (!wanted.exact.empty() && !wanted.channels.empty())
    throw selection_error(
        "exact= lists the channels themselves: it takes the place of chan=, drop one of them");
  if (wanted.limit == 0u) throw selection_error("The limit of a selection is 1 event or more");
  if (wanted.max_age && wanted.slow == slow_policy::none)
    throw selection_error("max_age= says how old a held value may be: it needs slow=hold or slow=nearest");
}

dataset_state::dataset_state(selection what, dataset_options how)
    : asked(std::move(what)),
      wanted(with_manifests(asked)),
      options(completed(std::move(how))),
      memory(options.memory_limit),
      opened(std::max<std::size_t>(options.open_files, 1)),
      timeline(wanted, opened, memory),
      ledgers(wanted, options.damage, files, channels, timeline, opened),
      pool(options.threads) {
  memory.set_reclaim([this] {
    return timeline.drop_oldest() || ahead.give_one_back(batch_turn::later) ||
           ahead.give_one_back(batch_turn::now);
  });
}

dataset_state::dataset_state(selection what, dataset_options how, event_window window)
    : dataset_state(std::move(what), std::move(how)) {
  window_ = std::move(window);
}

void dataset_state::open() {
  const stop_scope scope(options.stop);
  check(wanted);
  found_files found = find_files(wanted);
  files.refused = std::move(found.left_out);
  files.problems = std::move(found.problems);
  const std::size_t left_out = files.refused.size();
  check_that_files_may_be_missing();
  opened.set_paths(found.files);
  file_scan scan(memory);
  const std::set<std::string_view> context = context_of(found);
  scan.run(found.files, opened, pool, [this] { check_stop(); });
  for (std::size_t i = 0; i < found.files.size(); ++i)
    scan.files[i].summary.is_context = context.contains(found.files[i]);
  list_files(found.files, scan);
  if (!wanted.exact.empty())
    channels.take(wanted.exact);
  else
    channels.match(wanted.channels, scan,
                   [&](std::uint32_t name, const std::string& channel, const std::string& member) {
                     return find_member(scan, name, channel, member);
                   });
  reserve_tables();
  std::vector<timed_file> timed = channels.place_in_files(scan);
  const std::size_t join_channel =
      wanted.join == join_policy::with ? channels.find_or_throw(wanted.join_channel) : 0;
  timeline.set(std::move(timed), channels.names(), channels.slow(), join_channel);
  set_window();
  for (std::size_t i = 0; i < left_out; ++i)
    files.all.push_back({files.refused[i].path, ravo_file_generation::current, files.refused[i].reason,
                         files.refused[i].problem});
}

// How many values such a file holds is not known: no limit below "all" can be guaranteed.
void dataset_state::check_that_files_may_be_missing() const {
  if (files.refused.empty() || options.damage.largest_missing_share >= 1) return;
  throw file_left_out(files.refused.front());
}

/// Lists the files that can be read: from here on a file is known by its position among them.
void dataset_state::list_files(const std::vector<std::string>& paths, const file_scan& scan) {
  std::vector<std::string> readable;
  for (std::size_t i = 0; i < paths.size(); ++i) {
    const file_summary& summary = scan.files[i].summary;
    files.all.push_back(
        {paths[i], summary.generation, summary.refusal, summary.problem, summary.is_context});
    if (summary.refusal != file_refusal::none) {
      files.refused.push_back({paths[i], summary.refusal, summary.problem});
      continue;
    }
    files.readable.push_back(files.all.back());
    readable.push_back(paths[i]);
  }
  check_that_files_may_be_missing();
  const auto is_context = [](const dataset_file& file) { return file.is_context; };
  if (std::all_of(files.readable.begin(), files.readable.end(), is_context))
    throw file_left_out(files.refused.front());
  set_gaps(readable);
  if (readable.size() < paths.size()) opened.set_paths(std::move(readable));
}

/// A file that turns out to be unreadable leaves a gap; that of a file that the selection lists as left out
/// is listed too.
void dataset_state::set_gaps(const std::vector<std::string>& readable) {
  std::set<std::string_view> listed;
  for (const left_out_file& file : wanted.left_out) listed.insert(file.path);
  std::vector<refused_file> others = files.refused;
  std::erase_if(others, [&](const refused_file& file) { return listed.contains(file.path); });
  std::vector<time_gap> gaps = missing_spans(others, readable);
  for (const missing_period& gap : wanted.gaps) gaps.push_back(time_gap::of(gap));
  timeline.set_gaps(std::move(gaps));
}

void dataset_state::set_window() {
  if (!window_) return;
  std::vector<std::string> paths;
  for (const dataset_file& file : files.readable) paths.push_back(file.path);
  timeline.set_window(*window_, paths);
}

/// For what stays known of the files and channels as long as the dataset is open.
void dataset_state::reserve_tables() {
  // In the two lists of files here, and in that of the open ones.
  constexpr std::size_t copies_of_path = 3;
  std::size_t bytes = channels.bytes();
  for (const dataset_file& file : files.all)
    bytes += copies_of_path * (file.path.capacity() + sizeof(std::string));
  bytes += files.readable.size() *
           (sizeof(timed_file) + 2 * sizeof(dataset_file) + channels.size() * sizeof(channel_place));
  // No memory is held yet that could be given back.
  if (!memory.try_grow(tables_, bytes))
    throw memory_exceeded("What is known of " + std::to_string(files.readable.size()) + " files and " +
                          std::to_string(channels.size()) + " channels takes " + std::to_string(bytes) +
                          " bytes, and " + std::to_string(memory.used()) + " of the memory limit of " +
                          std::to_string(memory.limit()) + " are in use: raise the limit, or select less");
}

/// The number of a member that is called by its name: the first block of the channel that can be read says
/// which data type it has.
int dataset_state::find_member(const file_scan& scan, std::uint32_t name, const std::string& channel,
                               const std::string& member) {
  std::optional<std::int32_t> type;
  visit_files_of(scan, name, [&](const known_file& known) {
    const reservation room = reserve(bytes_to_load_rows(known) + known.places[0].count * 2 * sizeof(entry),
                                     "Finding the members of " + channel);
    const auto file = opened.get(known.position);
    const auto rows = file ? load_rows(*file, known, {channel}) : std::nullopt;
    if (!rows) return true;
    for (const entry& block : rows->front().entries)
      if (block.status == value_status::ok && !type)
        type = read_stored_type(*file, known.generation, block);
    return !type.has_value();
  });
  if (type)
    if (const auto number = member_number(*type, member)) return *number;
  const std::string members = type ? member_list(*type) : "";
  throw selection_error(
      "\"" + channel + "\" has no member \"" + member + "\"; " +
      (members.empty() ? "its members go by their numbers, from 0" : "it has " + members));
}

}  // namespace ravo::detail
