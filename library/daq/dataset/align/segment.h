// A segment of the time line: files whose events belong together, and in them the aligned events, each with
// the channels that have it. Built from the channels' rows by the rule of the slicer: two events are the
// same when their numbers are equal or, where one has no number or the selection aligns by time, when their
// times differ by no more than the tolerance. A channel has one entry of an event; further ones are
// duplicates, which are counted and not delivered.
#ifndef RAVO_DATASET_SEGMENT_H
#define RAVO_DATASET_SEGMENT_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "align/file_tables.h"
#include "format/time.h"
#include "ravo_dataset/selection.h"
#include "work/memory_budget.h"

namespace ravo::detail {

using ravo::in_microseconds;

/// A period in which values that cannot be read may have been recorded, in microseconds; excludes `to`.
struct time_gap {
  std::int64_t from = 0;
  std::int64_t to = 0;

  /// The period of a span's events; for an empty span, all time.
  static time_gap of(const event_span& span);
  static time_gap of(const missing_period& period);
  missing_period period() const;
  bool meets(const time_gap& other) const { return from < other.to && other.from < to; }
};

/// Sorts periods by time, and joins those that touch.
void merge_spans(std::vector<time_gap>& spans);

/// One channel in a segment: its entries in the order of the events.
struct aligned_channel {
  std::vector<entry> entries;
  std::vector<std::uint32_t> event;       ///< of each entry, its position in the segment's events
  std::vector<std::uint64_t> basket_end;  ///< by file of the segment
  std::vector<entry> duplicates;          ///< further entries of events that have one already, by event
  std::vector<std::uint32_t> duplicate_event;  ///< of each of these
  std::vector<entry> orphans;                  ///< without an event header: they belong to no event
  std::vector<time_gap> orphan_spans;          ///< when these may have been recorded: sorted, no overlaps

  /// The position of an event's entry; `nullopt` if the channel lacks the event.
  std::optional<std::size_t> at(std::uint32_t wanted) const;
  /// The last entry at or before an event, and the first one after it.
  std::optional<std::size_t> last_until(std::uint32_t wanted) const;
  std::optional<std::size_t> first_after(std::uint32_t wanted) const;
  /// Whether an orphan may have been recorded in a period.
  bool may_have_orphans(time_gap when) const;
};

struct segment {
  std::vector<ravo_time_id> events;
  std::uint32_t first_new = 0;          ///< the first event that no window before this one handed over
  std::vector<std::uint32_t> selected;  ///< positions of the events inside the limits and by the join
  std::vector<std::uint64_t>
      bytes_before;  ///< by selected event: stored bytes of the selected ones before it
  std::vector<aligned_channel> channels;
  std::vector<std::uint32_t> files;  ///< positions in the dataset's files, ascending
  std::vector<bool> file_failed;     ///< its tables can no longer be read
  bool by_number = true;             ///< events are in the order of their numbers
  reservation memory;

  std::size_t bytes() const;
  std::uint64_t basket_end(std::size_t channel, std::uint32_t file) const;
};

/// What alignment needs to know of the selection.
struct alignment_rule {
  synch_mode synch = synch_mode::by_number;
  double tolerance = 50000;  ///< microseconds
};

/// -1, 0 or 1: a is before b, the same event, or after b.
int compare_events(const ravo_time_id& a, const ravo_time_id& b, const alignment_rule& rule);

/// Finds the periods in which a channel's orphans, and its entries with a disputed event, may have been
/// recorded: between their neighbours, since a file holds a channel's entries in order, and within the time
/// of the file.
void find_orphan_spans(aligned_channel& aligned,
                       const std::function<time_gap(std::uint32_t file)>& time_of_file);

/// Sorts the channels' entries and aligns them: fills `events` and the channels' `event`. `slow` marks the
/// slow channels: an event gets its time from them only if no other channel has it. Entries that were
/// handed over are aligned first, and are in no event with others.
void align(segment& part, const alignment_rule& rule, const std::vector<bool>& slow);

}  // namespace ravo::detail

#endif
