// Looks for files: which of them are closed, what is in them, and whether following ends.
#include <algorithm>
#include <utility>

#include "files/closed_file.h"
#include "follow/following.h"
#include "format/file_name_parts.h"
#include "ravo_raw_codes.h"

namespace ravo::detail {
namespace {

selection only_files(std::vector<std::string> files) {
  selection wanted;
  wanted.files = std::move(files);
  return wanted;
}

/// Opens one file, with all of its channels unless one is asked for.
std::unique_ptr<dataset_state> open_one(const std::string& path, const dataset_options& reading,
                                        const std::vector<std::string>& channels = {}) {
  selection wanted = only_files({path});
  wanted.channels = channels;
  dataset_options options = reading;
  options.threads = 1;
  options.damage = damage_policy::lenient();
  auto state = std::make_unique<dataset_state>(std::move(wanted), std::move(options));
  state->open();
  return state;
}

/// Whether a file, by its name, has nothing of a period that ends then.
bool begins_after(const std::string& path, const std::optional<time_stamp>& end) {
  const auto parts = parse_file_name(path);
  return parts && end && parts->seconds > end->timeup;
}

}  // namespace

/// What there is now; nothing if there are no files yet.
found_files following::find() const {
  try {
    found_files found = look_for_files(wanted_);
    for (const found_file& file : found.all)
      if (file.by == found_by::context) std::erase(found.files, file.path);
    return found;
  } catch (const files_not_found&) {
    return {};
  }
}

void following::look(double now) {
  const found_files found = find();
  marks_.begin_look();
  for (const refused_file& file : found.left_out)
    if (file.reason == file_refusal::still_written) marks_.note_growing(file.path, now);
  bool is_complete = true;
  for (const std::string& path : found.files) {
    if (seen_.contains(path) || state_of_raw_file(path.c_str()) == raw_file_state::missing) continue;
    if (!options_.clock.is_closed(path))
      marks_.note_growing(path, now);
    else
      is_complete = take(path, now) && is_complete;
  }
  marks_.end_look(now);
  decide(found, now);
  if (!is_complete && options_.reading.damage.largest_missing_share < 1)
    throw file_left_out(refused_.back());
}

/// False: the file cannot be read. If that may be the machine's fault, it is tried again at the next look.
bool following::take(const std::string& path, double now) {
  try {
    take_readable(*open_one(path, options_.reading), path, now);
  } catch (const file_left_out& refusal) {
    const bool is_last_look = end_ != end_of_following::not_ended;
    if (refusal.file.reason == file_refusal::machine_error && !is_last_look) {
      marks_.note_growing(path, now);
      return true;
    }
    marks_.note_closed(path, {}, false, now);
    leave_out(refusal.file);
    seen_.insert(path);
    return false;
  }
  seen_.insert(path);
  return true;
}

void following::take_readable(const dataset_state& state, const std::string& path, double now) {
  followed_file file;
  file.path = path;
  file.span = state.timeline.file(0).span;
  const std::size_t stream = marks_.stream_of(path, now);
  marks_.note_closed(path, file.span, ends_run(state, path), now);
  channels_.add(state.channels.all(), path, stream);
  names_.push_back(path);
  if (file.span.empty) return;
  const bool is_late = in_microseconds(file.span.first) <= handed_over_;
  if (is_late) late_paths_.push_back(path);
  (is_late ? late_ : live_).push_back(std::move(file));
}

void following::leave_out(const refused_file& file) {
  refused_.push_back(file);
  read_ledger only;
  only.files.push_back(file);
  ledger_.add(only);
}

int following::find_member(const std::string& path, const std::string& channel,
                           const std::string& member) const {
  if (path.empty()) throw selection_error("\"" + channel + "\" has no values yet");
  try {
    return open_one(path, options_.reading, {channel + ":" + member})->channels[0].member;
  } catch (const file_left_out& lost) {
    throw selection_error(lost.what());  // a file that comes later may say it
  }
}

bool following::ends_run(const dataset_state& file, const std::string& path) const {
  const auto parts = parse_file_name(path);
  if (wanted_.runs && parts && parts->run && std::cmp_less(*parts->run, wanted_.runs->last)) return false;
  return std::any_of(file.channels.begin(), file.channels.end(), [](const dataset_channel& channel) {
    return channel.entries > 0 && (channel.event_types >> RAVO_EV_EOR & 1) != 0;
  });
}

/// Whether a file of the run after those of the selection is closed.
bool following::is_next_run_there() const {
  selection next = wanted_;
  const int number = std::max(wanted_.runs->first, wanted_.runs->last) + 1;
  next.runs = run_numbers{number, number};
  const std::vector<std::string> files = look_for_files(next).files;
  return std::any_of(files.begin(), files.end(),
                     [this](const std::string& path) { return options_.clock.is_closed(path); });
}

/// Decides how far the next window reaches, and whether it is the last one.
void following::decide(const found_files& found, double now) {
  const stream_marks::mark mark = marks_.watermark(now);
  std::int64_t until = mark.time;
  // The values of an event may differ in time by that much.
  if (mark.is_waiting && until != before_all_times) until -= in_microseconds(wanted_.tolerance);
  until = std::max(until, handed_over_);
  const bool ends_with_run = options_.until_end_of_run || wanted_.runs;
  if (ends_with_run && marks_.run_is_over(now))
    end_ = end_of_following::end_of_run;
  else if (wanted_.runs && !marks_.has_growing_files() && is_next_run_there())
    end_ = end_of_following::end_of_run;
  else if (wanted_.to && until > in_microseconds(*wanted_.to))
    end_ = end_of_following::end_of_period;
  else if (options_.end_after && now - began_ >= *options_.end_after)
    end_ = end_of_following::time_is_up;
  if (end_ != end_of_following::not_ended) {
    until = after_all_times;
    take_rest(found, now);
  }
  if (until > handed_over_) wanted_until_ = until;
}

/// What a reading would list as left out now.
void following::take_rest(const found_files& found, double now) {
  read_ledger rest;
  for (const refused_file& file : found.left_out)
    if (!seen_.contains(file.path) && !begins_after(file.path, wanted_.to)) rest.files.push_back(file);
  rest.problems = found.problems;
  for (const std::string& path : found.files) {
    if (seen_.contains(path)) continue;
    if (state_of_raw_file(path.c_str()) == raw_file_state::missing)
      take(path, now);
    else if (!begins_after(path, wanted_.to))
      rest.files.push_back({path, file_refusal::still_written,
                            "it changed less than half a minute ago and may still be written"});
  }
  ledger_.add(rest);
}

void following::wait(double now) const {
  double seconds = std::min(options_.poll, marks_.next_silence(now));
  if (options_.end_after) seconds = std::min(seconds, began_ + *options_.end_after - now);
  constexpr double shortest = 0.01;  // so that no rounding of times makes a loop without a pause
  options_.clock.wait(std::max(seconds, shortest), options_.stop);
}

}  // namespace ravo::detail
