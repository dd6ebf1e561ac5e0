#include "describe/partitioning.h"

#include <algorithm>
#include <functional>
#include <iterator>
#include <set>
#include <utility>

#include "describe/plan_sums.h"
#include "describe/planning.h"
#include "read/segment_walk.h"

namespace ravo::detail {
namespace {

/// Segments that stay together.
struct piece {
  std::vector<std::size_t> segments;
  std::set<std::size_t> held;  ///< segments with slow values that these hold
  std::size_t first = 0;       ///< position of the first selected event among all, whatever the step
  std::size_t selected = 0;    ///< how many there are, whatever the step
  std::optional<ravo_time_id> first_event, last_event;
  plan_sums sums;

  void append(piece next) {
    segments.insert(segments.end(), next.segments.begin(), next.segments.end());
    held.merge(next.held);
    selected += next.selected;
    if (!first_event) first_event = next.first_event;
    if (next.last_event) last_event = next.last_event;
    sums.add(next.sums);
  }
};

/// Whether a reading of all events counts anything of a segment.
bool counts(const segment& part) {
  const auto has_orphans = [](const aligned_channel& aligned) { return !aligned.orphans.empty(); };
  return !part.selected.empty() || std::any_of(part.channels.begin(), part.channels.end(), has_orphans) ||
         std::find(part.file_failed.begin(), part.file_failed.end(), true) != part.file_failed.end();
}

piece piece_of(dataset_state& state, std::size_t index, const std::shared_ptr<const segment>& part,
               std::size_t& ordinal) {
  piece made;
  made.segments = {index};
  made.first = ordinal;
  made.selected = part->selected.size();
  const std::vector<std::uint32_t> events = take_events(state, *part, ordinal);
  if (!events.empty()) {
    made.first_event = part->events[events.front()];
    made.last_event = part->events[events.back()];
  }
  made.sums = count_values(state, *part, events);
  state.timeline.add_segments_of_held_values(index, part, made.held);
  return made;
}

/// Hands over the pieces in order. Segments of which no event is taken are one with a neighbour, so that
/// every piece has events, unless there are none at all.
void visit_pieces(dataset_state& state, const std::function<void(piece)>& take) {
  std::optional<piece> last;
  std::size_t ordinal = 0;
  visit_segments(state, [&](std::size_t index, const std::shared_ptr<const segment>& part) {
    state.check_stop();
    if (!counts(*part)) return true;
    piece next = piece_of(state, index, part, ordinal);
    if (!last) {
      last = std::move(next);
    } else if (!last->first_event || !next.first_event) {
      last->append(std::move(next));
    } else {
      take(std::move(*last));
      last = std::move(next);
    }
    return ordinal < state.end_of_events();
  });
  if (last) take(std::move(*last));
}

/// Parts of at most so many decoded bytes, unless they are a single piece.
std::vector<piece> parts_by_bytes(dataset_state& state, const partition_options& options) {
  std::vector<piece> parts;
  visit_pieces(state, [&](piece next) {
    if (!parts.empty()) {
      plan_sums both = parts.back().sums;
      both.add(next.sums);
      if (both.decoded() <= *options.target_bytes) return parts.back().append(std::move(next));
    }
    parts.push_back(std::move(next));
  });
  return parts;
}

/// So many parts, if there are as many pieces: each takes an equal part of the bytes that are left, to the
/// nearest piece.
std::vector<piece> parts_by_count(dataset_state& state, const partition_options& options) {
  std::vector<piece> pieces;
  visit_pieces(state, [&](piece next) { pieces.push_back(std::move(next)); });
  std::uint64_t left = 0;
  for (const piece& each : pieces) left += each.sums.decoded();
  const std::size_t count = std::min(*options.count, pieces.size());
  std::vector<piece> parts;
  std::uint64_t filled = 0;
  for (std::size_t i = 0; i < pieces.size(); ++i) {
    const std::uint64_t bytes = pieces[i].sums.decoded();
    const std::size_t parts_left = count - parts.size();
    const bool is_full = parts_left > 0 && filled + bytes / 2 >= left / (parts_left + 1);
    const bool is_needed = parts_left == pieces.size() - i;  // each of the rest is a part
    if (parts.empty() || is_needed || (parts_left > 0 && is_full)) {
      left -= filled;
      filled = 0;
      parts.push_back(std::move(pieces[i]));
    } else {
      parts.back().append(std::move(pieces[i]));
    }
    filled += bytes;
  }
  return parts;
}

/// What the selections of all parts have in common.
selection common_selection(const dataset_state& state) {
  selection common = state.wanted;
  common.runs.reset();
  common.catalogue.clear();
  common.data.clear();
  common.files.clear();
  common.context.clear();
  common.channels.clear();
  common.exact.clear();
  common.left_out.clear();
  common.gaps.clear();
  common.limit.reset();
  for (std::size_t i = 0; i < state.channels.size(); ++i) {
    const dataset_channel& channel = state.channels[i];
    common.exact.push_back(
        {channel.name, channel.member, state.channels.member_name_of(i), channel.is_slow});
  }
  for (const time_gap& gap : state.timeline.gaps()) common.gaps.push_back(gap.period());
  return common;
}

std::vector<std::string> paths_of(const dataset_state& state, const std::set<std::size_t>& segments) {
  std::set<std::uint32_t> files;
  for (const std::size_t index : segments)
    for (const std::uint32_t file : state.timeline.files_of(index)) files.insert(file);
  std::vector<std::string> paths;
  for (const std::uint32_t file : files) paths.push_back(state.files.readable[file].path);
  return paths;
}

partition partition_of(const dataset_state& state, const piece& part, selection wanted) {
  const std::set<std::size_t> own(part.segments.begin(), part.segments.end());
  std::set<std::size_t> others;
  std::set_difference(part.held.begin(), part.held.end(), own.begin(), own.end(),
                      std::inserter(others, others.end()));
  wanted.files = paths_of(state, own);
  wanted.context = paths_of(state, others);
  const std::size_t step = wanted.step;
  const std::size_t phase = (step + wanted.phase - part.first % step) % step;
  wanted.phase = static_cast<std::uint32_t>(phase);
  const std::size_t end = state.end_of_events();
  if (state.wanted.limit && part.first + part.selected >= end)
    wanted.limit = static_cast<std::uint32_t>((end - part.first - phase) / step);
  partition made;
  made.plan = plan_of(state, part.sums);
  made.plan.files = wanted.files.size();
  made.first_event = part.first_event;
  made.last_event = part.last_event;
  made.wanted = std::move(wanted);
  return made;
}

/// The first part lists what was left out when the dataset was opened.
void add_what_was_left_out(const dataset_state& state, partition& first) {
  for (const refused_file& file : state.files.refused)
    first.wanted.left_out.push_back({file.path, file.reason});
  const std::vector<std::string> problems = problems_of_opening(state);
  first.plan.problems.insert(first.plan.problems.begin(), problems.begin(), problems.end());
}

}  // namespace

std::vector<partition> cut(dataset_state& state, const partition_options& options) {
  if (options.target_bytes.has_value() == options.count.has_value())
    throw selection_error("Parts are cut by target_bytes or by count: give one of the two");
  if (options.target_bytes == std::uint64_t{0} || options.count == std::size_t{0})
    throw selection_error("Parts have 1 byte or more, and there is 1 part or more");
  const std::vector<piece> parts =
      options.count ? parts_by_count(state, options) : parts_by_bytes(state, options);
  const selection common = common_selection(state);
  std::vector<partition> made;
  for (const piece& part : parts) made.push_back(partition_of(state, part, common));
  if (!made.empty()) add_what_was_left_out(state, made.front());
  return made;
}

}  // namespace ravo::detail
