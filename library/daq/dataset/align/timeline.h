// The time line: the files in order of time, cut into segments of files whose events belong together. A
// segment is aligned when it is first asked for, kept while there is memory, and dropped when there is not.
#ifndef RAVO_DATASET_TIMELINE_H
#define RAVO_DATASET_TIMELINE_H

#include <atomic>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "align/event_window.h"
#include "align/file_tables.h"
#include "align/segment.h"
#include "ravo_dataset/status.h"
#include "work/memory_budget.h"
#include "work/open_files.h"

namespace ravo::detail {

/// A file on the time line.
struct timed_file {
  known_file tables;
  event_span span;
  std::uint32_t count(std::size_t channel) const { return tables.places[channel].count; }
};

/// An entry, its segment, and its status at an event: ok, held or stale. Without a segment there is no
/// entry: the value may lie in a missing file, and the status is file_missing.
struct placed_entry {
  std::size_t segment_index = 0;
  std::shared_ptr<const segment> part;
  std::size_t index = 0;  ///< among the channel's entries
  value_status status = value_status::ok;
  const entry& in(std::size_t channel) const { return part->channels[channel].entries[index]; }
};

class timeline {
 public:
  timeline(const selection& wanted, open_files& opened, memory_budget& memory);

  /// Cuts the files into segments. `names` and `slow`: of each channel. `join_channel`: of
  /// join_policy::with.
  void set(std::vector<timed_file> files, std::vector<std::string> names, std::vector<bool> slow,
           std::size_t join_channel);

  /// Sets the periods of missing files, whose tables are not known.
  void set_gaps(std::vector<time_gap> gaps);
  const std::vector<time_gap>& gaps() const { return gaps_; }

  /// Reads through a window, before any segment is aligned. `paths`: of the files.
  void set_window(const event_window& window, const std::vector<std::string>& paths);
  /// Whether the window hands over all entries of a file, and none was handed over before.
  bool hands_over_all(std::uint32_t file) const;
  /// What was handed over of a file before.
  const handed_over_part& handed_over(std::uint32_t file) const { return handed_over_[file]; }

  std::size_t segments() const { return slots_.size(); }
  /// The aligned segment. Without room to align it, unused segments are dropped first; after that it waits
  /// or throws as memory_budget::reserve() does. For several threads at once.
  std::shared_ptr<const segment> get(std::size_t index, on_full how);
  /// Whether a segment's files overlap the time limits, and are not there for slow values alone; if not, it
  /// has no selected events.
  bool may_have_events(std::size_t index) const;
  /// The most memory that aligning a segment takes.
  std::size_t bytes_to_align(std::size_t index) const;
  /// The number of selected events of a segment, whatever the step; `nullopt` if it was never aligned.
  std::optional<std::size_t> known_selected_in(std::size_t index);
  /// The same; aligns the segment if necessary.
  std::size_t selected_in(std::size_t index);
  /// The selected events before a segment.
  std::size_t selected_before(std::size_t index);
  /// The files of a segment, and the span of all of them.
  const std::vector<std::uint32_t>& files_of(std::size_t index) const { return slots_[index].files; }
  const event_span& span_of(std::size_t index) const { return slots_[index].span; }

  /// What a channel has at an event: its own entry, or another event's by the slow policy; `nullopt` if
  /// nothing was recorded. Another event's entry may lie in a segment that has to be aligned first.
  std::optional<placed_entry> value_at(std::size_t index, const std::shared_ptr<const segment>& part,
                                       std::uint32_t event, std::size_t channel, on_full how);

  /// Adds the segments in which value_at() may find another event's entry for the selected events of a
  /// segment, or whose entries matter for what it finds. They are aligned for that.
  void add_segments_of_held_values(std::size_t index, const std::shared_ptr<const segment>& part,
                                   std::set<std::size_t>& segments);

  /// Drops an unused segment to free its memory; false if there is none.
  bool drop_oldest();

  const alignment_rule& rule() const { return rule_; }
  bool is_slow(std::size_t channel) const { return slow_[channel]; }
  const timed_file& file(std::size_t index) const { return files_[index]; }

 private:
  struct slot {
    std::vector<std::uint32_t> files;
    event_span span;
    bool is_context = false;  ///< its files are there for slow values alone
    std::mutex mutex;         // guards what follows
    std::weak_ptr<const segment> built;
    std::optional<std::size_t> selected;
  };

  void cut_into_segments();
  bool belong_together(const event_span& a, const event_span& b) const;
  bool belongs_to(const slot& files_before, const timed_file& file) const;
  bool is_outside(const event_span& span) const;
  std::shared_ptr<const segment> try_get(std::size_t index);
  std::shared_ptr<const segment> build(std::size_t index, reservation room);
  std::shared_ptr<const segment> load(std::size_t index, reservation room);
  void keep(const std::shared_ptr<const segment>& built);
  class event_walk;
  std::vector<bool> channels_to_hold(std::size_t index) const;
  void mark_handed_over(segment& part) const;
  void drop_counted_orphans(segment& part) const;
  void select(segment& part, std::size_t index) const;
  bool is_inside(const ravo_time_id& id) const;
  bool has_entries(std::size_t index, std::size_t channel) const;
  struct slow_query;
  struct neighbours;
  neighbours find_neighbours(const slow_query& query);
  std::optional<placed_entry> last_entry_before(const slow_query& query,
                                                std::vector<time_gap>& passed_over);
  std::optional<placed_entry> first_entry_after(const slow_query& query,
                                                std::vector<time_gap>& passed_over);
  static const placed_entry* choose(const slow_query& query, const neighbours& around);
  bool may_be_another(const slow_query& query, const neighbours& around, const placed_entry* chosen);
  bool may_have_orphans(std::size_t index, const segment& part, std::size_t channel, time_gap when) const;
  bool may_miss_values(std::size_t channel, time_gap when);

  const selection& wanted_;
  open_files& opened_;
  memory_budget& memory_;
  alignment_rule rule_;
  std::vector<timed_file> files_;
  std::vector<std::string> names_;
  std::vector<bool> slow_;
  std::size_t join_channel_ = 0;
  std::deque<slot> slots_;
  std::vector<time_gap> gaps_;
  std::int64_t window_end_ = after_all_times;
  std::vector<handed_over_part> handed_over_;  ///< by file; empty without a window

  std::atomic<bool> has_failed_files_{false};
  std::mutex mutex_;                                 ///< guards what follows; taken after a slot's
  std::vector<std::uint32_t> failed_files_;          ///< whose tables can no longer be read
  std::deque<std::shared_ptr<const segment>> kept_;  ///< the last built last
};

}  // namespace ravo::detail

#endif
