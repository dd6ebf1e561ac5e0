// Walks over the segments of a selection in order, and counts their events and bytes.
#ifndef RAVO_DATASET_SEGMENT_WALK_H
#define RAVO_DATASET_SEGMENT_WALK_H

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "dataset_state.h"

namespace ravo::detail {

/// Visits the segments that may have events, in order, until `visit` returns false; a few of them are
/// aligned ahead with all threads. `first`: those before it are passed over.
void visit_segments(dataset_state& state,
                    const std::function<bool(std::size_t, const std::shared_ptr<const segment>&)>& visit,
                    std::size_t first = 0);

/// The positions of the selected events of a segment that the step and the limit leave. `ordinal` counts
/// the selected events of the segments before it, and then those of this one too.
std::vector<std::uint32_t> take_events(const dataset_state& state, const segment& part,
                                       std::size_t& ordinal);

/// Calls `take(event, index)` for each of these events that a channel has, in order, until it returns
/// false; `index` is that of the event among the channel's entries.
template <class Take>
void visit_own(const aligned_channel& aligned, const std::vector<std::uint32_t>& events, Take take) {
  std::size_t at = 0;
  for (const std::uint32_t event : events) {
    while (at < aligned.event.size() && aligned.event[at] < event) ++at;
    if (at == aligned.event.size()) return;
    if (aligned.event[at] == event && !take(event, at)) return;
  }
}

/// The events of the selection, whatever the step. Aligns all that is not aligned yet, with all threads.
std::size_t count_events(dataset_state& state);

/// The numbers and times of the selection's events, every step-th and within its limit.
std::vector<ravo_time_id> list_events(dataset_state& state);

/// The stored bytes of the values of `count` selected events, from the one at `first` on every `stride`-th.
/// Aligns the part of the selection that contains them.
std::uint64_t count_stored_bytes(dataset_state& state, std::size_t first, std::size_t stride,
                                 std::size_t count);

}  // namespace ravo::detail

#endif
