// Single events, by number or by time: aligns the segments that may have them, and decodes only
// that event.
#include <algorithm>
#include <cstdlib>

#include "read/event_reader.h"

namespace ravo::detail {

/// Announces the blocks of an event, which lie far apart in the file, channel by channel.
void event_reader::expect_blocks(std::size_t segment, std::uint32_t number) try {
  const auto part = segment_to_read(segment);
  for (std::size_t channel = 0; channel < state_->channels.size(); ++channel) {
    const auto found = state_->timeline.value_at(segment, part, number, channel, on_full::refuse);
    if (!found || found->part == nullptr) continue;
    const entry& block = found->in(channel);
    if (const auto file = state_->opened.get(block.file)) file->expect(block.chhd, block.stored);
  }
} catch (const memory_refused&) {
  // The blocks are then found when they are read.
}

std::optional<event> event_reader::only(std::size_t segment, std::uint32_t number) {
  expect_blocks(segment, number);
  batch_plan plan{segment, {number}, 0};
  event one = hand_out(decode_now(plan), 0);
  settle();
  return one;
}

/// The requested event, or a part of it, may have been in a file that is gone.
void event_reader::record_gone_files(std::size_t segment, const detail::segment& part) {
  if (std::find(part.file_failed.begin(), part.file_failed.end(), true) != part.file_failed.end())
    record_unaligned(segment, reading_extent::part);
}

std::optional<event> event_reader::not_found() {
  if (ledger_.expected() != 0 || ledger_.files.size() > state_->files.refused.size()) settle();
  is_settled_ = true;
  return std::nullopt;
}

std::optional<event> event_reader::at(std::uint32_t number) {
  timeline& line = state_->timeline;
  for (std::size_t i = 0; i < line.segments(); ++i) {
    const event_span& span = line.span_of(i);
    if (!line.may_have_events(i) || (!span.empty && (number < span.lowest || number > span.highest)))
      continue;
    const auto part = segment_to_read(i);
    record_gone_files(i, *part);
    const auto found = std::find_if(part->selected.begin(), part->selected.end(), [&](std::uint32_t event) {
      return part->events[event].event_number == number;
    });
    if (found != part->selected.end()) return only(i, *found);
  }
  return not_found();
}

std::optional<event> event_reader::at(const time_stamp& time) {
  timeline& line = state_->timeline;
  const std::int64_t wanted = in_microseconds(time);
  const auto tolerance = static_cast<std::int64_t>(line.rule().tolerance);
  std::int64_t nearest = tolerance + 1;
  std::pair<std::size_t, std::uint32_t> chosen;
  for (std::size_t i = 0; i < line.segments(); ++i) {
    const event_span& span = line.span_of(i);
    const bool is_far = !span.empty && (wanted < in_microseconds(span.first) - tolerance ||
                                        wanted > in_microseconds(span.last) + tolerance);
    if (!line.may_have_events(i) || is_far) continue;
    const auto part = segment_to_read(i);
    record_gone_files(i, *part);
    for (const std::uint32_t event : part->selected) {
      const std::int64_t gap = std::abs(in_microseconds(part->events[event].time) - wanted);
      if (gap >= nearest) continue;
      nearest = gap;
      chosen = {i, event};
    }
  }
  if (nearest <= tolerance) return only(chosen.first, chosen.second);
  return not_found();
}

}  // namespace ravo::detail
