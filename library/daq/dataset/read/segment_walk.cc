#include "read/segment_walk.h"

#include <algorithm>

namespace ravo::detail {

// As many segments at a time as there are threads; fewer if memory is so short that they would wait.
void visit_segments(dataset_state& state,
                    const std::function<bool(std::size_t, const std::shared_ptr<const segment>&)>& visit,
                    std::size_t first) {
  timeline& line = state.timeline;
  std::vector<std::size_t> wave;
  std::size_t memory = 0;
  const auto flush = [&] {
    std::vector<std::shared_ptr<const segment>> parts(wave.size());
    const auto align = [&](std::size_t i) {
      state.check_stop();
      const memory_budget::at_work at_work(state.memory);
      parts[i] = line.get(wave[i], on_full::wait);
    };
    if (wave.size() == 1)
      align(0);  // on this thread: the pool may be busy with another reading
    else
      state.pool.run(wave.size(), state.pool.size(), align, [&] { state.check_stop(); });
    bool goes_on = true;
    for (std::size_t i = 0; i < wave.size() && goes_on; ++i) {
      goes_on = visit(wave[i], parts[i]);
      parts[i].reset();
    }
    wave.clear();
    memory = 0;
    return goes_on;
  };
  for (std::size_t i = first; i < line.segments(); ++i) {
    if (!line.may_have_events(i)) continue;
    const std::size_t needed = line.bytes_to_align(i);
    const bool is_full = wave.size() >= state.pool.size() || memory + needed > state.memory.limit() / 4;
    if (!wave.empty() && is_full && !flush()) return;
    wave.push_back(i);
    memory += needed;
  }
  if (!wave.empty()) flush();
}

std::vector<std::uint32_t> take_events(const dataset_state& state, const segment& part,
                                       std::size_t& ordinal) {
  const std::size_t step = state.wanted.step;
  const std::size_t before = ordinal;
  ordinal = std::min(before + part.selected.size(), state.end_of_events());
  std::vector<std::uint32_t> events;
  events.reserve((ordinal - before) / step + 1);
  for (std::size_t i = (state.wanted.phase + step - before % step) % step; i < ordinal - before; i += step)
    events.push_back(part.selected[i]);
  return events;
}

std::uint64_t count_stored_bytes(dataset_state& state, std::size_t first, std::size_t stride,
                                 std::size_t count) {
  std::uint64_t bytes = 0;
  std::size_t next = first, left = count, before = 0;
  visit_segments(state, [&](std::size_t, const std::shared_ptr<const segment>& part) {
    for (; left > 0 && next < before + part->selected.size(); next += stride, --left)
      bytes += part->bytes_before[next - before + 1] - part->bytes_before[next - before];
    before += part->selected.size();
    return left > 0;
  });
  return bytes;
}

std::size_t count_events(dataset_state& state) {
  timeline& line = state.timeline;
  state.pool.run(
      line.segments(), state.pool.size(),
      [&](std::size_t i) {
        state.check_stop();
        line.selected_in(i);
      },
      [&] { state.check_stop(); });
  return line.selected_before(line.segments());
}

std::vector<ravo_time_id> list_events(dataset_state& state) {
  std::vector<ravo_time_id> events;
  const std::size_t end = state.end_of_events();
  std::size_t ordinal = 0;
  visit_segments(state, [&](std::size_t, const std::shared_ptr<const segment>& part) {
    for (const std::uint32_t event : take_events(state, *part, ordinal))
      events.push_back(part->events[event]);
    return ordinal < end;
  });
  return events;
}

}  // namespace ravo::detail
