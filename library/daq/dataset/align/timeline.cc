#include "align/timeline.h"

#include <algorithm>
#include <numeric>

#include "ravo_dataset/errors.h"

namespace ravo::detail {

timeline::timeline(const selection& wanted, open_files& opened, memory_budget& memory)
    : wanted_(wanted),
      opened_(opened),
      memory_(memory),
      rule_{wanted.synch, static_cast<double>(in_microseconds(wanted.tolerance))} {}

void timeline::set(std::vector<timed_file> files, std::vector<std::string> names, std::vector<bool> slow,
                   std::size_t join_channel) {
  files_ = std::move(files);
  names_ = std::move(names);
  slow_ = std::move(slow);
  join_channel_ = join_channel;
  cut_into_segments();
}

void timeline::set_gaps(std::vector<time_gap> gaps) {
  merge_spans(gaps);
  gaps_ = std::move(gaps);
}

// Numbers decide only between files that touch in time: a counter that restarts is no reason to
// join runs.
bool timeline::belong_together(const event_span& a, const event_span& b) const {
  if (a.empty || b.empty) return false;
  if (in_microseconds(b.first) <= in_microseconds(a.last)) return true;
  const double gap = static_cast<double>(in_microseconds(b.first) - in_microseconds(a.last));
  if (gap > rule_.tolerance) return false;
  const bool numbered = a.lowest != 0 && b.lowest != 0;
  return rule_.synch == synch_mode::by_time || !numbered ||
         (b.lowest <= a.highest && a.lowest <= b.highest);
}

/// Whether a file that begins after those of a segment is one of them. Of files that are there for slow
/// values alone the events are not selected: they cannot be one with others.
bool timeline::belongs_to(const slot& files_before, const timed_file& file) const {
  if (files_before.is_context == file.tables.is_context)
    return belong_together(files_before.span, file.span);
  if (in_microseconds(file.span.first) <= in_microseconds(files_before.span.last))
    throw selection_error(
        "A file of context= overlaps one of file= in time: list all files that overlap in file=");
  return false;
}

void timeline::cut_into_segments() {
  slots_.clear();
  std::vector<std::uint32_t> order(files_.size());
  std::iota(order.begin(), order.end(), 0u);
  std::stable_sort(order.begin(), order.end(), [this](std::uint32_t a, std::uint32_t b) {
    return in_microseconds(files_[a].span.first) < in_microseconds(files_[b].span.first);
  });
  for (const std::uint32_t file : order) {
    const event_span& span = files_[file].span;
    if (span.empty || is_outside(span)) continue;
    if (slots_.empty() || !belongs_to(slots_.back(), files_[file])) {
      slots_.emplace_back().span = span;
      slots_.back().is_context = files_[file].tables.is_context;
    }
    slot& last = slots_.back();
    last.files.push_back(file);
    if (in_microseconds(last.span.last) < in_microseconds(span.last)) last.span.last = span.last;
    last.span.lowest = std::min(last.span.lowest, span.lowest);
    last.span.highest = std::max(last.span.highest, span.highest);
  }
  // In the files' own order, which decides between two that hold the same event of a channel.
  for (slot& one : slots_) std::sort(one.files.begin(), one.files.end());
}

void timeline::set_window(const event_window& window, const std::vector<std::string>& paths) {
  window_end_ = window.until;
  for (const std::string& path : paths) {
    const auto known = window.files.find(path);
    handed_over_.push_back(known != window.files.end() ? known->second
                                                       : handed_over_part{after_all_times, {}});
  }
}

bool timeline::hands_over_all(std::uint32_t file) const {
  return handed_over_.empty() ||
         (handed_over_[file].is_nothing() && in_microseconds(files_[file].span.last) <= window_end_);
}

bool timeline::may_have_events(std::size_t index) const {
  const event_span& span = slots_[index].span;
  if (slots_[index].is_context) return false;
  if (!handed_over_.empty()) {
    const std::vector<std::uint32_t>& files = slots_[index].files;
    if (in_microseconds(span.first) > window_end_ ||
        std::all_of(files.begin(), files.end(), [&](auto file) { return handed_over_[file].is_all(); }))
      return false;
  }
  if (span.empty) return true;
  const auto tolerance = static_cast<std::int64_t>(rule_.tolerance);
  if (wanted_.to && in_microseconds(span.first) > in_microseconds(*wanted_.to) + tolerance) return false;
  return !wanted_.from || in_microseconds(span.last) >= in_microseconds(*wanted_.from) - tolerance;
}

// Files before the limits stay, since their slow values may be held. They are aligned only when such a
// value is asked for.
bool timeline::is_outside(const event_span& span) const {
  if (span.empty) return false;
  if (wanted_.to && in_microseconds(span.first) >
                        in_microseconds(*wanted_.to) + static_cast<std::int64_t>(rule_.tolerance))
    return wanted_.slow != slow_policy::nearest;
  if (wanted_.from && in_microseconds(span.last) <
                          in_microseconds(*wanted_.from) - static_cast<std::int64_t>(rule_.tolerance))
    return wanted_.slow == slow_policy::none;
  return false;
}

bool timeline::is_inside(const ravo_time_id& id) const {
  if (wanted_.from && in_microseconds(id.time) < in_microseconds(*wanted_.from)) return false;
  if (wanted_.to && in_microseconds(id.time) > in_microseconds(*wanted_.to)) return false;
  if (wanted_.first_event && id.event_number < *wanted_.first_event) return false;
  if (wanted_.last_event && id.event_number > *wanted_.last_event) return false;
  return true;
}

std::shared_ptr<const segment> timeline::get(std::size_t index, on_full how) {
  constexpr char what[] = "Aligning one segment of files";
  std::shared_ptr<const segment> part;
  if (how == on_full::wait) {
    memory_.wait_until([&] { return (part = try_get(index)) != nullptr; }, bytes_to_align(index), what);
    return part;
  }
  try {
    part = try_get(index);
  } catch (const memory_exceeded&) {
    // It takes more than expected. A caller that may wait finds out whether it ever fits.
  }
  if (!part) throw memory_refused();
  return part;
}

/// Null if there is no room. No thread waits for memory with the slot locked: another thread that needs the
/// same segment may hold that memory.
std::shared_ptr<const segment> timeline::try_get(std::size_t index) {
  slot& one = slots_[index];
  const std::lock_guard lock(one.mutex);
  if (auto built = one.built.lock()) return built;
  reservation room;
  while (!memory_.try_grow(room, bytes_to_align(index)))
    if (!drop_oldest()) return nullptr;
  return build(index, std::move(room));
}

std::optional<std::size_t> timeline::known_selected_in(std::size_t index) {
  if (!may_have_events(index)) return 0;
  const std::lock_guard lock(slots_[index].mutex);
  return slots_[index].selected;
}

std::size_t timeline::selected_in(std::size_t index) {
  const auto known = known_selected_in(index);
  return known ? *known : get(index, on_full::wait)->selected.size();
}

std::size_t timeline::selected_before(std::size_t index) {
  std::size_t all = 0;
  for (std::size_t i = 0; i < index; ++i) all += selected_in(i);
  return all;
}

bool timeline::drop_oldest() {
  const std::lock_guard lock(mutex_);
  const auto unused =
      std::find_if(kept_.begin(), kept_.end(), [](const auto& one) { return one.use_count() == 1; });
  if (unused == kept_.end()) return false;
  kept_.erase(unused);
  return true;
}

// No more than a quarter of the limit is kept for later.
void timeline::keep(const std::shared_ptr<const segment>& built) {
  const std::lock_guard lock(mutex_);
  kept_.push_back(built);
  std::size_t kept = 0;
  for (const auto& one : kept_) kept += one->memory.bytes();
  for (auto one = kept_.begin(); one != kept_.end() && kept > memory_.limit() / 4;) {
    if (one->use_count() > 1) {
      ++one;
      continue;
    }
    kept -= (*one)->memory.bytes();
    one = kept_.erase(one);
  }
}

/// The segment's slot is locked.
std::shared_ptr<const segment> timeline::build(std::size_t index, reservation room) {
  auto built = load(index, std::move(room));
  keep(built);
  slots_[index].built = built;
  slots_[index].selected = built->selected.size();
  return built;
}

// The entries count twice, since those of each file are appended to those of the others; then what is made
// of them, and the tables of one file at a time.
std::size_t timeline::bytes_to_align(std::size_t index) const {
  std::size_t entries = 0, tables = 0;
  for (const std::uint32_t file : slots_[index].files) {
    for (const channel_place& place : files_[file].tables.places) entries += place.count;
    tables = std::max(tables, bytes_to_load_rows(files_[file].tables));
  }
  const std::size_t of_channel =
      sizeof(aligned_channel) + slots_[index].files.size() * sizeof(std::uint64_t);
  return entries * (2 * sizeof(entry) + 80) + tables + names_.size() * of_channel + 4096;
}

std::shared_ptr<const segment> timeline::load(std::size_t index, reservation room) {
  const slot& one = slots_[index];
  auto part = std::make_shared<segment>();
  part->memory = std::move(room);
  part->files = one.files;
  part->file_failed.assign(one.files.size(), false);
  part->channels.resize(names_.size());
  for (std::size_t channel = 0; channel < names_.size(); ++channel) {
    std::size_t entries = 0;
    for (const std::uint32_t file : one.files) entries += files_[file].count(channel);
    if (one.files.size() > 1) part->channels[channel].entries.reserve(entries);
    part->channels[channel].basket_end.assign(one.files.size(), 0);
  }
  for (std::size_t i = 0; i < one.files.size(); ++i) {
    const std::uint32_t file = one.files[i];
    const auto opened = opened_.get(file);
    auto rows = opened ? load_rows(*opened, files_[file].tables, names_) : std::nullopt;
    if (!rows) {
      part->file_failed[i] = true;
      const std::lock_guard lock(mutex_);
      if (std::find(failed_files_.begin(), failed_files_.end(), file) == failed_files_.end())
        failed_files_.push_back(file);
      has_failed_files_ = true;
      continue;
    }
    for (std::size_t channel = 0; channel < names_.size(); ++channel) {
      aligned_channel& aligned = part->channels[channel];
      channel_rows& from = (*rows)[channel];
      aligned.basket_end[i] = from.basket_end;
      aligned.orphans.insert(aligned.orphans.end(), from.orphans.begin(), from.orphans.end());
      if (one.files.size() == 1)
        aligned.entries = std::move(from.entries);
      else
        aligned.entries.insert(aligned.entries.end(), from.entries.begin(), from.entries.end());
    }
  }
  mark_handed_over(*part);
  align(*part, rule_, slow_);
  if (wanted_.slow != slow_policy::none)
    for (std::size_t channel = 0; channel < names_.size(); ++channel)
      if (slow_[channel])
        find_orphan_spans(part->channels[channel],
                          [this](std::uint32_t file) { return time_gap::of(files_[file].span); });
  drop_counted_orphans(*part);
  select(*part, index);
  const std::size_t bytes = part->bytes();
  if (bytes > part->memory.bytes())  // the memory is in use already: do not wait
    if (!memory_.try_grow(part->memory, bytes - part->memory.bytes()))
      throw memory_exceeded("Aligning one segment of files needs " + std::to_string(bytes) +
                            " bytes; raise the limit or select less");
  part->memory.shrink(bytes);
  return part;
}

void timeline::mark_handed_over(segment& part) const {
  if (handed_over_.empty()) return;
  for (std::size_t channel = 0; channel < names_.size(); ++channel)
    for (entry& one : part.channels[channel].entries)
      one.was_handed_over = handed_over_[one.file].has(names_[channel], one);
}

/// The first window that reads a file counts its entries without an event.
void timeline::drop_counted_orphans(segment& part) const {
  if (handed_over_.empty()) return;
  for (aligned_channel& aligned : part.channels)
    std::erase_if(aligned.orphans,
                  [this](const entry& orphan) { return !handed_over_[orphan.file].is_nothing(); });
}

bool timeline::has_entries(std::size_t index, std::size_t channel) const {
  const auto& files = slots_[index].files;
  return std::any_of(files.begin(), files.end(),
                     [&](std::uint32_t file) { return files_[file].count(channel) > 0; });
}

/// The slow channels that have an entry before a segment, or after it where the policy takes the nearest
/// one: they have a value at every event.
std::vector<bool> timeline::channels_to_hold(std::size_t index) const {
  std::vector<bool> holds(names_.size(), false);
  if (wanted_.slow == slow_policy::none) return holds;
  for (std::size_t channel = 0; channel < names_.size(); ++channel) {
    if (!slow_[channel]) continue;
    for (std::size_t i = 0; i < index && !holds[channel]; ++i) holds[channel] = has_entries(i, channel);
    if (wanted_.slow != slow_policy::nearest) continue;
    for (std::size_t i = index; i < segments() && !holds[channel]; ++i)
      holds[channel] = has_entries(i, channel);
  }
  return holds;
}

/// Walks through the channels of a segment, event by event: each channel has a place among its entries.
class timeline::event_walk {
 public:
  event_walk(const timeline& line, const segment& part, std::vector<bool> may_hold)
      : line_(line), part_(part), may_hold_(std::move(may_hold)), place_(part.channels.size(), 0) {}

  /// Finds the channels that the event has; called for each event, in order.
  void go_to(std::uint32_t event) {
    bytes_ = 0;
    has_all_ = true;
    has_join_channel_ = false;
    for (std::size_t i = 0; i < place_.size(); ++i) {
      const aligned_channel& aligned = part_.channels[i];
      const bool is_there = place_[i] < aligned.event.size() && aligned.event[place_[i]] == event;
      if (is_there) bytes_ += aligned.entries[place_[i]++].stored;
      if (is_there && can_be_held(i)) may_hold_[i] = true;
      has_all_ = has_all_ && (is_there || may_hold_[i]);
      has_join_channel_ = has_join_channel_ || (is_there && i == line_.join_channel_);
    }
  }
  bool is_joined() const {
    switch (line_.wanted_.join) {
      case join_policy::any:
        return true;
      case join_policy::all:
        return has_all_;
      case join_policy::with:
        return has_join_channel_;
    }
    return false;
  }
  std::uint64_t stored_bytes() const { return bytes_; }

 private:
  bool can_be_held(std::size_t channel) const {
    return line_.wanted_.slow != slow_policy::none && line_.slow_[channel];
  }

  const timeline& line_;
  const segment& part_;
  std::vector<bool> may_hold_;  ///< slow channels with a value that later events hold
  std::vector<std::size_t> place_;
  std::uint64_t bytes_ = 0;
  bool has_all_ = false;
  bool has_join_channel_ = false;
};

void timeline::select(segment& part, std::size_t index) const {
  const bool asks_for_all = wanted_.join == join_policy::all;
  event_walk walk(*this, part, asks_for_all ? channels_to_hold(index) : std::vector(names_.size(), false));
  std::uint64_t bytes = 0;
  const std::vector<std::int64_t> earliest =
      handed_over_.empty() ? std::vector<std::int64_t>() : earliest_entries(part);
  for (std::uint32_t event = 0; event < part.events.size(); ++event) {
    walk.go_to(event);
    if (!earliest.empty() && (event < part.first_new || earliest[event] > window_end_)) continue;
    if (!walk.is_joined() || !is_inside(part.events[event])) continue;
    part.selected.push_back(event);
    part.bytes_before.push_back(bytes);
    bytes += walk.stored_bytes();
  }
  part.bytes_before.push_back(bytes);
}

}  // namespace ravo::detail
