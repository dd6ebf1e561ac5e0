#include "describe/availability.h"

#include <algorithm>

#include "ravo_dataset/errors.h"
#include "read/bins_of_axis.h"
#include "read/segment_walk.h"
#include "read/value_sink.h"
#include "read/value_walk.h"

namespace ravo::detail {
namespace {

bins_of_axis bins_for(dataset_state& state, const availability_options& options) {
  if (options.bins == 0) throw selection_error("A map of what is available needs 1 bin or more");
  if (options.from && options.to && *options.to < *options.from)
    throw selection_error("The time whose values are to be counted ends before it begins");
  std::int64_t from = options.from.value_or(0), to = options.to.value_or(0);
  if (!options.from || !options.to) {
    const event_survey survey = survey_events(state);
    if (!options.from) from = survey.first;
    if (!options.to) to = survey.events == 0 ? from : survey.last + 1;
  }
  return {bin_axis::time, from, to, options.bins};
}

class availability_maker {
 public:
  availability_maker(dataset_state& state, const availability_options& options)
      : state_(state), bins_(bins_for(state, options)) {}

  availability_map make() {
    grow(state_, reserved_, state_.channels.size() * bins_.size() * sizeof(availability_bin),
         "The map of what is available");
    for (std::size_t i = 0; i <= bins_.size(); ++i) map_.edges.push_back(bins_.edge(i));
    for (const dataset_channel& channel : state_.channels)
      map_.channels.push_back({channel.label, std::vector<availability_bin>(bins_.size())});
    mark_files_that_were_refused();
    std::uint64_t ordinal = 0;
    visit_segments(state_, [&](std::size_t, const std::shared_ptr<const segment>& part) {
      mark_files_that_are_gone(*part);
      for (std::size_t channel = 0; channel < map_.channels.size(); ++channel)
        count(*part, channel, ordinal);
      ordinal += part->selected.size();
      return ordinal < state_.end_of_events();
    });
    return std::move(map_);
  }

 private:
  void count(const segment& part, std::size_t channel, std::uint64_t ordinal) {
    const aligned_channel& aligned = part.channels[channel];
    std::size_t at = 0;
    for (const std::uint32_t event : part.selected) {
      if (ordinal == state_.end_of_events()) return;
      const bool is_in_step = state_.takes(ordinal++);
      while (at < aligned.event.size() && aligned.event[at] < event) ++at;
      if (at == aligned.event.size()) return;
      const std::int64_t time = in_microseconds(part.events[event].time);
      if (!is_in_step || aligned.event[at] != event || !bins_.has(time)) continue;
      availability_bin& bin = map_.channels[channel].bins[bins_.bin_of(time)];
      ++(aligned.entries[at].status == value_status::ok ? bin.recorded : bin.damaged);
    }
  }

  /// Marks the bins of a period, whose end it excludes.
  void mark(std::size_t channel, const time_gap& when) {
    if (bins_.size() == 0) return;
    const std::int64_t from = std::max(when.from, bins_.edge(0));
    const std::int64_t to = std::min(when.to, bins_.edge(bins_.size()));
    if (from >= to) return;
    auto& bins = map_.channels[channel].bins;
    for (std::size_t bin = bins_.bin_of(from), last = bins_.bin_of(to - 1); bin <= last; ++bin)
      bins[bin].is_file_missing = true;
  }

  /// Their tables are not known: any channel may have values in them.
  void mark_files_that_were_refused() {
    for (const time_gap& gap : state_.timeline.gaps())
      for (std::size_t channel = 0; channel < map_.channels.size(); ++channel) mark(channel, gap);
  }

  void mark_files_that_are_gone(const segment& part) {
    for (std::size_t i = 0; i < part.files.size(); ++i) {
      if (!part.file_failed[i]) continue;
      const timed_file& file = state_.timeline.file(part.files[i]);
      for (std::size_t channel = 0; channel < map_.channels.size(); ++channel)
        if (file.count(channel) != 0) mark(channel, time_gap::of(file.span));
    }
  }

  dataset_state& state_;
  const bins_of_axis bins_;
  reservation reserved_;
  availability_map map_;
};

}  // namespace

availability_map make_availability(dataset_state& state, const availability_options& options) {
  return availability_maker(state, options).make();
}

}  // namespace ravo::detail
