#include "follow/stream_marks.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "format/file_name_parts.h"

namespace ravo::detail {

namespace {

/// 0: its name has no run.
std::uint64_t run_of(const std::optional<file_name_parts>& parts) {
  return parts && parts->run ? *parts->run : 0;
}

}  // namespace

stream_marks::stream_marks(double silence, const std::vector<std::string>& expected, double now)
    : silence_(silence) {
  for (const std::string& name : expected) find_or_add(name, now);
}

std::size_t stream_marks::find_or_add(const std::string& name, double now) {
  const auto found = std::find_if(streams_.begin(), streams_.end(),
                                  [&](const stream_state& known) { return known.name == name; });
  if (found != streams_.end()) return static_cast<std::size_t>(found - streams_.begin());
  stream_state& added = streams_.emplace_back();
  added.name = name;
  added.went_on = now;
  return streams_.size() - 1;
}

std::size_t stream_marks::stream_of(const std::string& path, double now) {
  const auto parts = parse_file_name(path);
  return find_or_add(parts && parts->run ? std::string(parts->before_run) : "", now);
}

void stream_marks::begin_look() { grew_before_ = std::exchange(growing_, {}); }

void stream_marks::note_growing(const std::string& path, double now) {
  if (const auto known = grew_before_.find(path); known != grew_before_.end()) {
    growing_.insert(*known);
    return;
  }
  const std::size_t stream = stream_of(path, now);
  const auto parts = parse_file_name(path);
  const std::int64_t begin = parts ? parts->seconds * microseconds_per_second : before_all_times;
  // Without a time in its name it may hold anything that comes after what was taken.
  growing_[path] = {stream, parts ? begin - 1 : streams_[stream].mark};
  streams_[stream].went_on = now;
  note_run(run_of(parts), now);
}

/// A new run: all streams are expected to go on.
void stream_marks::note_run(std::uint64_t run, double now) {
  if (!runs_.insert(run).second) return;
  last_run_ = run;
  for (stream_state& one : streams_) one.went_on = now;
}

void stream_marks::note_closed(const std::string& path, const event_span& span, bool ends_run, double now) {
  stream_state& of_file = streams_[stream_of(path, now)];
  const std::int64_t last = span.empty ? before_all_times : in_microseconds(span.last);
  const auto parts = parse_file_name(path);
  note_run(run_of(parts), now);
  if (ends_run) of_file.ended_run = run_of(parts);
  if (!parts || !parts->run) return raise(of_file, last, now);
  const auto [place, is_new] = of_file.runs.try_emplace(*parts->run);
  sequence& files = place->second;
  // Files that were there before following began may be what is left of a run.
  if (is_new && !is_first_look_) files.next = 1;
  if (files.next == 0) files.next = parts->file;
  files.waiting[parts->file] = last;
  take_in_order(of_file, files, now);
}

void stream_marks::take_in_order(stream_state& one, sequence& files, double now) {
  while (!files.waiting.empty() && files.waiting.begin()->first <= files.next) {
    const auto [number, last] = *files.waiting.begin();
    files.waiting.erase(files.waiting.begin());
    files.next = std::max(files.next, number + 1);
    raise(one, last, now);
  }
}

void stream_marks::raise(stream_state& one, std::int64_t to, double now) {
  one.mark = std::max(one.mark, to);
  one.went_on = now;
}

/// A file that does not come holds up its stream until that counts as silent.
void stream_marks::end_look(double now) {
  is_first_look_ = false;
  for (stream_state& one : streams_) {
    if (!is_silent(one, now)) continue;
    for (auto& [run, files] : one.runs) {
      if (files.waiting.empty()) continue;
      files.next = files.waiting.begin()->first;
      take_in_order(one, files, now);
    }
  }
}

std::int64_t stream_marks::limit_of(std::size_t stream) const {
  std::int64_t limit = streams_[stream].mark;
  for (const auto& [path, file] : growing_)
    if (file.stream == stream) limit = std::min(limit, file.nothing_before);
  return limit;
}

stream_marks::mark stream_marks::watermark(double now) const {
  mark all;
  for (std::size_t i = 0; i < streams_.size(); ++i) {
    if (!delays_others(i, now)) continue;
    all.time = all.is_waiting ? std::min(all.time, limit_of(i)) : limit_of(i);
    all.is_waiting = true;
  }
  if (!all.is_waiting) all.time = last_time();
  return all;
}

std::int64_t stream_marks::last_time() const {
  std::int64_t last = before_all_times;
  for (const stream_state& one : streams_) last = std::max(last, one.mark);
  return last;
}

bool stream_marks::run_is_over(double now) const {
  bool is_any_over = false, is_any_waited_for = false;
  for (std::size_t i = 0; i < streams_.size(); ++i) {
    is_any_over = is_any_over || is_over(i);
    is_any_waited_for = is_any_waited_for || delays_others(i, now);
  }
  return is_any_over && !is_any_waited_for;
}

/// It ended the last run that was seen, and no file of it is missing.
bool stream_marks::is_over(std::size_t stream) const {
  const auto grows = [stream](const auto& file) { return file.second.stream == stream; };
  const auto waits = [](const auto& run) { return !run.second.waiting.empty(); };
  return streams_[stream].ended_run == last_run_ && std::none_of(growing_.begin(), growing_.end(), grows) &&
         std::none_of(streams_[stream].runs.begin(), streams_[stream].runs.end(), waits);
}

std::int64_t stream_marks::delivered_until(std::size_t stream) const {
  return is_over(stream) ? after_all_times : streams_[stream].mark;
}

double stream_marks::next_silence(double now) const {
  double next = std::numeric_limits<double>::infinity();
  for (std::size_t i = 0; i < streams_.size(); ++i)
    if (delays_others(i, now)) next = std::min(next, streams_[i].went_on + silence_ - now);
  return next;
}

}  // namespace ravo::detail
