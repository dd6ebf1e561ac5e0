#include <algorithm>
#include <map>
#include <string_view>

#include "follow/window_survey.h"
#include "read/segment_walk.h"

namespace ravo::detail {
namespace {

class surveyor {
 public:
  surveyor(dataset_state& state, std::int64_t until, const std::vector<followed_file*>& files)
      : state_(state), until_(until), files_(state.files.readable.size(), nullptr) {
    std::map<std::string_view, followed_file*> by_path;
    for (followed_file* const file : files) by_path[file->path] = file;
    for (std::size_t i = 0; i < files_.size(); ++i)
      if (const auto found = by_path.find(state.files.readable[i].path); found != by_path.end())
        files_[i] = found->second;
    for (followed_file* const file : files) {
      before_[file] = std::move(file->part);
      file->part = {until, {}};
      file->has_rest = false;
    }
  }

  window_survey run() {
    for (std::size_t i = 0; i < state_.timeline.segments(); ++i)
      if (!state_.timeline.may_have_events(i)) pass_over(i);
    visit_segments(state_, [this](std::size_t, const std::shared_ptr<const segment>& part) {
      state_.check_stop();
      visit(*part);
      return true;
    });
    std::sort(found_.numbers.begin(), found_.numbers.end());
    found_.numbers.erase(std::unique(found_.numbers.begin(), found_.numbers.end()), found_.numbers.end());
    return std::move(found_);
  }

 private:
  /// Segments that begin after the window are left for later windows. So are those outside the limits of
  /// the selection as long as files may come that belong to them and are inside.
  void pass_over(std::size_t index) {
    const event_span& span = state_.timeline.span_of(index);
    const auto tolerance = static_cast<std::int64_t>(state_.timeline.rule().tolerance);
    if (in_microseconds(span.first) > until_ || in_microseconds(span.last) + tolerance >= until_)
      leave_alone(index);
    else
      look_for_slow_values(index);
  }

  void leave_alone(std::size_t index) {
    for (const std::uint32_t position : state_.timeline.files_of(index))
      if (followed_file* const file = files_[position]) {
        file->part = before_.at(file);
        file->has_rest = true;
      }
  }

  /// Files outside the limits of the selection may have values that events inside hold.
  void look_for_slow_values(std::size_t index) {
    const auto& files = state_.timeline.files_of(index);
    const auto is_new = [this](std::uint32_t file) { return files_[file] != nullptr; };
    if (state_.wanted.slow == slow_policy::none || std::none_of(files.begin(), files.end(), is_new)) return;
    const memory_budget::at_work at_work(state_.memory);
    const auto part = state_.timeline.get(index, on_full::wait);
    for (std::size_t channel = 0; channel < part->channels.size(); ++channel)
      if (state_.channels[channel].is_slow)
        note_slow(*part, part->channels[channel], state_.channels[channel].name);
  }

  void visit(const segment& part) {
    found_.selected += part.selected.size();
    for (std::uint32_t event = 0; event < part.first_new; ++event)
      if (const std::uint32_t number = part.events[event].event_number; number != 0)
        found_.numbers.push_back(number);
    const std::vector<std::int64_t> earliest = earliest_entries(part);
    for (std::size_t channel = 0; channel < part.channels.size(); ++channel) {
      const aligned_channel& aligned = part.channels[channel];
      const std::string& name = state_.channels[channel].name;
      for (std::size_t i = 0; i < aligned.entries.size(); ++i)
        note_entry(name, aligned.entries[i], earliest[aligned.event[i]]);
      for (std::size_t i = 0; i < aligned.duplicates.size(); ++i)
        note_entry(name, aligned.duplicates[i], earliest[aligned.duplicate_event[i]]);
      if (state_.channels[channel].is_slow) note_slow(part, aligned, name);
    }
  }

  void note_entry(const std::string& channel, const entry& one, std::int64_t earliest_of_event) {
    followed_file* const file = files_[one.file];
    if (file == nullptr) return;
    const std::int64_t time = in_microseconds(one.time);
    const bool is_handed_over = one.was_handed_over || earliest_of_event <= until_;
    if (!is_handed_over)
      file->has_rest = true;
    else if (time > until_)
      file->part.later.insert({channel, one.number, time});
  }

  void note_slow(const segment& part, const aligned_channel& aligned, const std::string& channel) {
    for (const entry& one : aligned.entries)
      if (followed_file* const file = files_[one.file]) {
        std::int64_t& last = file->slow[channel].last;
        last = std::max(last, in_microseconds(one.time));
      }
    if (aligned.orphan_spans.empty()) return;
    for (const std::uint32_t position : part.files)
      if (followed_file* const file = files_[position])
        file->slow[channel].uncertain = in_microseconds(file->span.last) + 1;
  }

  dataset_state& state_;
  const std::int64_t until_;
  std::vector<followed_file*> files_;  ///< by position; null: read for slow values alone
  std::map<followed_file*, handed_over_part> before_;
  window_survey found_;
};

}  // namespace

bool window_survey::has_number(std::uint32_t number) const {
  return number != 0 && std::binary_search(numbers.begin(), numbers.end(), number);
}

window_survey survey(dataset_state& state, std::int64_t until, const std::vector<followed_file*>& files) {
  return surveyor(state, until, files).run();
}

}  // namespace ravo::detail
