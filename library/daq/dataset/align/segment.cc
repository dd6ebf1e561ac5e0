#include "align/segment.h"

#include <algorithm>
#include <span>

#include "ravo_evutl.h"

namespace ravo::detail {

std::optional<std::size_t> aligned_channel::at(std::uint32_t wanted) const {
  const auto found = std::lower_bound(event.begin(), event.end(), wanted);
  if (found == event.end() || *found != wanted) return std::nullopt;
  return static_cast<std::size_t>(found - event.begin());
}

std::optional<std::size_t> aligned_channel::last_until(std::uint32_t wanted) const {
  const auto after = std::upper_bound(event.begin(), event.end(), wanted);
  if (after == event.begin()) return std::nullopt;
  return static_cast<std::size_t>(after - event.begin()) - 1;
}

std::optional<std::size_t> aligned_channel::first_after(std::uint32_t wanted) const {
  const auto after = std::upper_bound(event.begin(), event.end(), wanted);
  if (after == event.end()) return std::nullopt;
  return static_cast<std::size_t>(after - event.begin());
}

namespace {

bool is_disputed(const entry& one) { return one.status == value_status::event_disputed; }

}  // namespace

bool aligned_channel::may_have_orphans(time_gap when) const {
  const auto first = std::partition_point(orphan_spans.begin(), orphan_spans.end(),
                                          [&](const time_gap& gap) { return gap.to <= when.from; });
  return first != orphan_spans.end() && first->meets(when);
}

namespace {

/// Where a block of the channel lies, and when it was recorded; the time of an orphan is not known.
struct recorded_block {
  std::uint32_t file, chhd;
  bool is_orphan;
  std::int64_t time;
  bool operator<(const recorded_block& other) const {
    return file != other.file ? file < other.file : chhd < other.chhd;
  }
};

/// In the order in which they lie in the files. A disputed entry may belong to another event, or to another
/// time.
std::vector<recorded_block> blocks_in_files(const aligned_channel& aligned) {
  std::vector<recorded_block> blocks;
  blocks.reserve(aligned.entries.size() + aligned.duplicates.size() + aligned.orphans.size());
  for (const entry& aligned_entry : aligned.entries)
    blocks.push_back({aligned_entry.file, aligned_entry.chhd, is_disputed(aligned_entry),
                      in_microseconds(aligned_entry.time)});
  for (const entry& duplicate : aligned.duplicates)
    if (is_disputed(duplicate)) blocks.push_back({duplicate.file, duplicate.chhd, true, 0});
  for (const entry& orphan : aligned.orphans) blocks.push_back({orphan.file, orphan.chhd, true, 0});
  std::sort(blocks.begin(), blocks.end());
  return blocks;
}

/// The backward pass finds the end of each orphan's period, the forward pass its beginning.
void add_spans(std::span<recorded_block> of_file, const time_gap& when, std::vector<time_gap>& spans) {
  std::int64_t next = when.to;
  for (auto block = of_file.rbegin(); block != of_file.rend(); ++block)
    if (block->is_orphan)
      block->time = next;
    else
      next = std::min(next, block->time);
  std::int64_t last = when.from;
  for (const recorded_block& block : of_file)
    if (!block.is_orphan)
      last = std::max(last, block.time);
    else if (last < block.time)
      spans.push_back({last, block.time});
}

}  // namespace

void merge_spans(std::vector<time_gap>& spans) {
  std::sort(spans.begin(), spans.end(),
            [](const time_gap& a, const time_gap& b) { return a.from < b.from; });
  std::size_t kept = 0;
  for (const time_gap& span : spans)
    if (kept != 0 && span.from <= spans[kept - 1].to)
      spans[kept - 1].to = std::max(spans[kept - 1].to, span.to);
    else
      spans[kept++] = span;
  spans.resize(kept);
}

void find_orphan_spans(aligned_channel& aligned,
                       const std::function<time_gap(std::uint32_t file)>& time_of_file) {
  const bool has_disputed = std::any_of(aligned.entries.begin(), aligned.entries.end(), is_disputed) ||
                            std::any_of(aligned.duplicates.begin(), aligned.duplicates.end(), is_disputed);
  if (aligned.orphans.empty() && !has_disputed) return;
  std::vector<recorded_block> blocks = blocks_in_files(aligned);
  for (auto first = blocks.begin(), last = first; first != blocks.end(); first = last) {
    last = std::find_if(first, blocks.end(),
                        [&](const recorded_block& block) { return block.file != first->file; });
    add_spans({first, last}, time_of_file(first->file), aligned.orphan_spans);
  }
  merge_spans(aligned.orphan_spans);
}

std::size_t segment::bytes() const {
  std::size_t all = sizeof *this + events.capacity() * sizeof events[0] +
                    selected.capacity() * sizeof selected[0] +
                    bytes_before.capacity() * sizeof bytes_before[0];
  for (const aligned_channel& aligned : channels)
    all += sizeof aligned +
           (aligned.entries.capacity() + aligned.duplicates.capacity() + aligned.orphans.capacity()) *
               sizeof(entry) +
           (aligned.event.capacity() + aligned.duplicate_event.capacity()) * sizeof(std::uint32_t) +
           aligned.basket_end.capacity() * sizeof(std::uint64_t) +
           aligned.orphan_spans.capacity() * sizeof(time_gap);
  return all;
}

std::uint64_t segment::basket_end(std::size_t channel, std::uint32_t file) const {
  const auto found = std::lower_bound(files.begin(), files.end(), file);
  return found == files.end() || *found != file
             ? 0
             : channels[channel].basket_end[static_cast<std::size_t>(found - files.begin())];
}

namespace {

/// The order of events that all have numbers, and are aligned by them.
struct by_number_alone {
  int operator()(const ravo_time_id& a, const ravo_time_id& b) const {
    return a.event_number > b.event_number ? 1 : a.event_number < b.event_number ? -1 : 0;
  }
};

}  // namespace

int compare_events(const ravo_time_id& a, const ravo_time_id& b, const alignment_rule& rule) {
  if (rule.synch == synch_mode::by_number && a.event_number != 0 && b.event_number != 0)
    return by_number_alone{}(a, b);
  int order = 0;
  ravo_time_stamp_eq(&a.time, &b.time, rule.tolerance, &order, nullptr);
  return order;
}

namespace {

ravo_time_id id_of(const entry& one) { return {one.number, one.time}; }

bool all_have_numbers(const segment& part) {
  for (const aligned_channel& aligned : part.channels)
    for (const entry& one : aligned.entries)
      if (one.number == 0) return false;
  return true;
}

/// Those that were handed over first.
template <class Before>
void sort_entries(std::vector<entry>& entries, Before is_before) {
  const auto before = [is_before](const entry& a, const entry& b) {
    return a.was_handed_over != b.was_handed_over ? a.was_handed_over : is_before(a, b);
  };
  if (!std::is_sorted(entries.begin(), entries.end(), before))
    std::stable_sort(entries.begin(), entries.end(), before);
}

struct by_rule {
  const alignment_rule& rule;
  int operator()(const ravo_time_id& a, const ravo_time_id& b) const { return compare_events(a, b, rule); }
};

/// The merge: each channel has a position in its entries, and the earliest entry at these positions is the
/// next event; first for the entries that were handed over, then for the others. The entries that a channel
/// keeps move to the front of its list.
template <class Order>
class merge {
 public:
  merge(segment& part, const alignment_rule& rule, const std::vector<bool>& slow, Order order)
      : part_(part), rule_(rule), slow_(slow), order_(order), places_(part.channels.size()) {
    for (std::size_t i = 0; i < part.channels.size(); ++i) {
      std::vector<entry>& entries = part.channels[i].entries;
      const auto first_new = std::partition_point(entries.begin(), entries.end(),
                                                  [](const entry& one) { return one.was_handed_over; });
      places_[i].aligned = &part.channels[i];
      places_[i].count = static_cast<std::size_t>(first_new - entries.begin());
      part.channels[i].event.reserve(entries.size());
    }
  }

  void run() {
    while (const entry* first = earliest()) take(id_of(*first));
    part_.first_new = static_cast<std::uint32_t>(part_.events.size());
    for (place& one : places_) one.count = one.aligned->entries.size();
    while (const entry* first = earliest()) take(id_of(*first));
    for (place& one : places_) one.aligned->entries.resize(one.kept);
  }

 private:
  struct place {
    aligned_channel* aligned = nullptr;
    std::size_t count = 0;
    std::size_t next = 0;
    std::size_t kept = 0;
    bool ended() const { return next == count; }
    const entry& head() const { return aligned->entries[next]; }
  };

  // Of several entries of one event: the first channel's, or by time the one with the earliest time.
  const entry* earliest() const {
    const entry* chosen = nullptr;
    for (const place& one : places_) {
      if (one.ended()) continue;
      if (chosen == nullptr || is_earlier(one.head(), *chosen)) chosen = &one.head();
    }
    return chosen;
  }

  bool is_earlier(const entry& one, const entry& chosen) const {
    if (rule_.synch == synch_mode::by_time) return in_microseconds(one.time) < in_microseconds(chosen.time);
    return order_(id_of(chosen), id_of(one)) > 0;
  }

  void take(const ravo_time_id& chosen) {
    const auto event = static_cast<std::uint32_t>(part_.events.size());
    std::optional<ravo_time_id> named;
    int rank_of_named = 0;
    for (std::size_t i = 0; i < places_.size(); ++i) {
      place& one = places_[i];
      bool taken = false;
      // The chosen entry compares equal to itself, so that every turn makes progress.
      while (!one.ended() && order_(chosen, id_of(one.head())) == 0) {
        entry here = one.aligned->entries[one.next++];
        // A disputed entry may belong to another event: it gives way to one that is not.
        if (taken && !is_disputed(here) && is_disputed(one.aligned->entries[one.kept - 1]))
          std::swap(here, one.aligned->entries[one.kept - 1]);
        if (taken) {
          one.aligned->duplicates.push_back(here);
          one.aligned->duplicate_event.push_back(event);
          continue;
        }
        taken = true;
        one.aligned->entries[one.kept++] = here;
        one.aligned->event.push_back(event);
      }
      if (!taken) continue;
      const entry& kept = one.aligned->entries[one.kept - 1];
      const int rank = (is_disputed(kept) ? 2 : 0) + (slow_[i] ? 1 : 0);
      if (named && rank >= rank_of_named) continue;
      named = id_of(kept);
      rank_of_named = rank;
    }
    part_.events.push_back(named.value_or(chosen));
  }

  segment& part_;
  const alignment_rule& rule_;
  const std::vector<bool>& slow_;
  const Order order_;
  std::vector<place> places_;
};

}  // namespace

void align(segment& part, const alignment_rule& rule, const std::vector<bool>& slow) {
  part.by_number = rule.synch == synch_mode::by_number && all_have_numbers(part);
  for (aligned_channel& aligned : part.channels) {
    if (part.by_number)
      sort_entries(aligned.entries, [](const entry& a, const entry& b) { return a.number < b.number; });
    else
      sort_entries(aligned.entries, [](const entry& a, const entry& b) {
        return in_microseconds(a.time) < in_microseconds(b.time);
      });
  }
  if (part.by_number)
    merge(part, rule, slow, by_number_alone{}).run();
  else
    merge(part, rule, slow, by_rule{rule}).run();
}

}  // namespace ravo::detail
