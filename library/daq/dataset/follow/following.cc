#include "follow/following.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <utility>

#include "align/missing_spans.h"
#include "files/closed_file.h"
#include "ravo_dataset/manifest.h"

namespace ravo::detail {
namespace {

double seconds_now() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

void wait_for(double seconds, const std::stop_token& stop) {
  std::mutex mutex;
  std::condition_variable_any stopped;
  std::unique_lock lock(mutex);
  stopped.wait_for(lock, stop, std::chrono::duration<double>(seconds), [] { return false; });
}

bool is_closed(const std::string& path) {
  const raw_file_state state = state_of_raw_file(path.c_str());
  return state == raw_file_state::closed || (state == raw_file_state::growing && ignores_close_time());
}

follow_options completed(follow_options options) {
  if (!options.clock.now) options.clock.now = seconds_now;
  if (!options.clock.wait) options.clock.wait = wait_for;
  if (!options.clock.is_closed) options.clock.is_closed = is_closed;
  options.reading.stop = options.stop;
  return options;
}

selection checked(const selection& wanted) {
  if (wanted.slow == slow_policy::nearest)
    throw selection_error("slow=nearest asks for values that come later: follow with slow=hold");
  dataset_state::check(wanted);
  return with_manifests(wanted);
}

}  // namespace

following::following(const selection& wanted, follow_options options)
    : wanted_(checked(wanted)),
      options_(completed(std::move(options))),
      began_(options_.clock.now()),
      marks_(options_.silence, options_.streams, began_),
      channels_(wanted_, [this](const std::string& path, const std::string& channel,
                                const std::string& member) { return find_member(path, channel, member); }) {
  if (!(options_.poll > 0))
    throw selection_error("Following looks for files every poll seconds: more than 0");
}

std::optional<followed_event> following::next() try {
  while (!is_ended_) {
    if (options_.stop.stop_requested()) {
      end(end_of_following::stopped);
    } else if (window_) {
      if (auto one = next_of_window()) return one;
      close_window();
    } else if (!open_next_window()) {
      if (end_ != end_of_following::not_ended) {
        end(end_);
        break;
      }
      look(options_.clock.now());
      if (!wanted_until_ && late_.empty()) wait(options_.clock.now());
    }
  }
  return std::nullopt;
} catch (const read_cancelled&) {
  end(end_of_following::stopped);
  return std::nullopt;
}

void following::end(end_of_following why) {
  if (window_) close_window();
  end_ = why;
  is_ended_ = true;
}

std::optional<time_stamp> following::watermark() const {
  const std::int64_t until = handed_over_ == after_all_times ? marks_.last_time() : handed_over_;
  if (until < 0) return std::nullopt;
  return time_stamp{static_cast<std::uint32_t>(until / 1000000),
                    static_cast<std::uint32_t>(until % 1000000)};
}

read_ledger following::ledger() const {
  read_ledger all = ledger_;
  if (window_) all.add(window_->reader->ledger());
  return all;
}

// ---- windows

/// False: there is nothing to hand over now.
bool following::open_next_window() {
  if (!late_.empty()) {
    open_window(late_, handed_over_, true);
    std::move(late_.begin(), late_.end(), std::back_inserter(live_));
    late_.clear();
    put_away_done_files();
    return true;
  }
  if (!wanted_until_) return false;
  const bool has_events = std::any_of(live_.begin(), live_.end(), [this](const followed_file& file) {
    return in_microseconds(file.span.first) <= *wanted_until_;
  });
  if (has_events) open_window(live_, *wanted_until_, false);
  handed_over_ = *wanted_until_;
  wanted_until_.reset();
  put_away_done_files();
  return true;
}

/// Opens a window, and changes the files as if it had been handed over. Changes nothing if it throws.
void following::open_window(std::vector<followed_file>& files, std::int64_t until, bool is_of_late_files) {
  std::vector<followed_file> after = files;
  if (!can_read()) {
    for (followed_file& file : files) file.part = {until, {}};
    return;
  }
  window opened;
  opened.state = std::make_shared<dataset_state>(selection_of(files, is_of_late_files), options_.reading,
                                                 window_on(files, until));
  try {
    opened.state->open();
  } catch (const file_left_out&) {
    for (const refused_file& file : opened.state->files.refused) lose(file);
    if (options_.reading.damage.largest_missing_share < 1) throw;
    return;
  }
  std::vector<followed_file*> changed;
  for (followed_file& file : after) changed.push_back(&file);
  const stop_scope scope(options_.stop);
  opened.survey = survey(*opened.state, until, changed);
  opened.is_of_late_files = is_of_late_files;
  opened.handed_over_before = handed_over_;
  opened.facts = facts_of(opened.state, is_of_late_files);
  opened.reader = std::make_unique<event_reader>(opened.state, slice_of(is_of_late_files));
  if (!is_of_late_files) selected_ += opened.survey.selected;
  files = std::move(after);
  window_ = std::move(opened);
}

/// A file that was taken and cannot be read any more.
void following::lose(const refused_file& file) {
  leave_out(file);
  const auto is_it = [&](const followed_file& one) { return one.path == file.path; };
  for (std::vector<followed_file>* const files : {&late_, &live_, &held_}) std::erase_if(*files, is_it);
}

/// Whether there are channels, and the one by which events are joined.
bool following::can_read() {
  const std::vector<exact_channel>& channels = channels_.resolve();
  if (channels.empty() || wanted_.join != join_policy::with) return !channels.empty();
  return std::any_of(channels.begin(), channels.end(), [this](const exact_channel& channel) {
    const std::string& wanted = wanted_.join_channel;
    return channel.name == wanted ||
           (channel.member >= 0 && (channel.name + ":" + std::to_string(channel.member) == wanted ||
                                    channel.name + ":" + channel.member_name == wanted));
  });
}

selection following::selection_of(const std::vector<followed_file>& files, bool is_of_late_files) {
  selection what = wanted_;
  what.runs.reset();
  what.catalogue.clear();
  what.data.clear();
  what.files.clear();
  for (const followed_file& file : files) what.files.push_back(file.path);
  what.left_out.clear();
  what.channels.clear();
  what.exact = channels_.resolve();
  what.step = 1;
  what.phase = 0;
  what.limit.reset();
  if (is_of_late_files) {
    what.slow = slow_policy::none;
    what.max_age.reset();
  } else {
    for (const followed_file& file : held_) what.files.push_back(file.path);
  }
  for (const time_gap& gap : missing_spans(refused_, names_)) what.gaps.push_back(gap.period());
  return what;
}

event_window following::window_on(const std::vector<followed_file>& files, std::int64_t until) const {
  event_window made;
  made.until = until;
  for (const followed_file& file : files) made.files[file.path] = file.part;
  return made;
}

/// The step counts from the first event of all windows on; in late files it begins anew.
event_options following::slice_of(bool is_of_late_files) const {
  event_options slice;
  slice.step = wanted_.step;
  if (!is_of_late_files)
    slice.first = (wanted_.phase + wanted_.step - selected_ % wanted_.step) % wanted_.step;
  if (wanted_.limit) slice.count = *wanted_.limit - returned_;
  slice.stop = options_.stop;
  return slice;
}

std::shared_ptr<const window_facts> following::facts_of(std::shared_ptr<const dataset_state> state,
                                                        bool is_of_late_files) {
  auto facts = std::make_shared<window_facts>();
  facts->state = state;
  const bool is_all_there = is_of_late_files || end_ == end_of_following::end_of_run;
  for (const dataset_channel& channel : state->channels) {
    facts->labels.push_back(channel.label);
    std::int64_t until = after_all_times;
    if (!is_all_there)
      for (const std::size_t stream : channels_.streams_of(channel.name))
        until = std::min(until, marks_.delivered_until(stream));
    facts->delivered_until.push_back(until);
  }
  return facts;
}

/// Files that are done are read on only for slow values that later events may hold.
void following::put_away_done_files() {
  const auto done = std::stable_partition(live_.begin(), live_.end(),
                                          [](const followed_file& file) { return !file.is_done(); });
  if (wanted_.slow == slow_policy::hold) {
    std::move(done, live_.end(), std::back_inserter(held_));
    keep_held(held_);
  }
  live_.erase(done, live_.end());
}

std::optional<followed_event> following::next_of_window() {
  std::optional<event> one = window_->reader->next();
  if (!one) return std::nullopt;
  ++returned_;
  const bool is_late =
      window_->is_of_late_files || in_microseconds(one->time()) <= window_->handed_over_before ||
      (wanted_.synch == synch_mode::by_number && window_->survey.has_number(one->number()));
  return followed_event(std::move(*one), is_late, window_->facts);
}

void following::close_window() {
  ledger_.add(window_->reader->ledger());
  window_.reset();
  if (wanted_.limit && returned_ == *wanted_.limit) end(end_of_following::limit);
}

}  // namespace ravo::detail

namespace ravo {

const char* end_of_following_text(end_of_following end) {
  switch (end) {
    case end_of_following::not_ended:
      return "not ended";
    case end_of_following::stopped:
      return "stopped";
    case end_of_following::end_of_run:
      return "end of run";
    case end_of_following::end_of_period:
      return "end of period";
    case end_of_following::time_is_up:
      return "time is up";
    case end_of_following::limit:
      return "limit reached";
  }
  return "not ended";
}

const std::vector<std::string>& followed_event::labels() const { return facts_->labels; }

bool followed_event::is_not_yet_recorded(std::size_t channel) const {
  if (event_[channel].status() != value_status::not_recorded) return false;
  return !is_late_ && in_microseconds(event_.time()) > facts_->delivered_until[channel];
}

bool followed_event::is_not_yet_recorded(std::string_view label) const {
  return is_not_yet_recorded(facts_->state->channels.find_or_throw(label));
}

follower::follower(const selection& wanted, follow_options options)
    : following_(std::make_unique<detail::following>(wanted, std::move(options))) {}
follower::follower(std::string_view text, follow_options options)
    : follower(selection::parse(text), std::move(options)) {}
follower::follower(follower&&) noexcept = default;
follower& follower::operator=(follower&&) noexcept = default;
follower::~follower() = default;

std::optional<followed_event> follower::next() { return following_->next(); }
std::optional<time_stamp> follower::watermark() const { return following_->watermark(); }
end_of_following follower::ended() const { return following_->ended(); }
read_ledger follower::ledger() const { return following_->ledger(); }
const std::vector<std::string>& follower::late_files() const { return following_->late_files(); }
std::vector<std::string> follower::unmatched_patterns() const { return following_->unmatched_patterns(); }

}  // namespace ravo
