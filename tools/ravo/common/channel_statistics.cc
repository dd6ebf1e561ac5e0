#include "common/channel_statistics.h"

#include <algorithm>
#include <cmath>

#include "common/times.h"

namespace ravo::tool {
namespace {

number_summary of_one(const std::string& name, double number) {
  number_summary summary = summarise_numbers(1, [number](std::size_t) { return number; });
  summary.name = name;
  return summary;
}

number_summary of_pixels(const image_summary& image) {
  number_summary summary;
  summary.name = "PIXELS";
  summary.count = static_cast<std::size_t>(image.width) * static_cast<std::size_t>(image.height);
  summary.mean = image.mean;
  summary.min = image.min;
  summary.max = image.max;
  return summary;
}

}  // namespace

void channel_statistics::add(const value& one) {
  if (one.is_held() || one.status() == value_status::not_recorded) return;
  note_event(one.recorded_with());
  ++values_;
  if (is_missing(one.status())) return;
  decoded_bytes_ += one.bytes().size();
  const decoded_block block = block_of(one, channel_);
  take(summarise(block.dtype, channel_.member, block.data));
}

void channel_statistics::note_event(const ravo_time_id& id) {
  if (values_ == 0) {
    first_ = last_ = id;
    return;
  }
  if (id.event_number > last_.event_number && last_.event_number != 0) {
    distance& one = distances_[id.event_number - last_.event_number];
    if (one.count++ == 0) one.before = last_.event_number;
  }
  last_ = id;
}

void channel_statistics::take(const block_summary& block) {
  if (!block.consistent || block.camera_bytes) {
    ++without_numbers_;
    return;
  }
  for (std::size_t i = 0; i < block.members.size(); ++i) take(i, block.members[i]);
  if (block.image) take(0, of_pixels(*block.image));
  if (block.update) take(0, of_one("", block.update->value));
  for (const named_value& pair : block.pairs) {
    const auto place = std::find_if(numbers_.begin(), numbers_.end(),
                                    [&](const number_summary& one) { return one.name == pair.name; });
    take(static_cast<std::size_t>(place - numbers_.begin()), of_one(pair.name, pair.value));
  }
}

void channel_statistics::take(std::size_t index, const number_summary& more) {
  if (index >= numbers_.size()) numbers_.resize(index + 1);
  merge(numbers_[index], more);
  if (numbers_[index].name.empty()) numbers_[index].name = more.name;
}

std::optional<double> channel_statistics::rate() const {
  const double span = microseconds(last_.time) - microseconds(first_.time);
  if (values_ < 2 || span <= 0) return std::nullopt;
  return static_cast<double>(values_ - 1) * 1e6 / span;
}

std::optional<gap_summary> channel_statistics::gaps() const {
  std::uint64_t all = 0;
  for (const auto& [width, one] : distances_) all += one.count;
  if (all < 2) return std::nullopt;
  std::uint32_t usual = 0;
  std::uint64_t so_far = 0;
  for (const auto& [width, one] : distances_) {
    usual = width;
    so_far += one.count;
    if (2 * so_far >= all) break;
  }
  gap_summary gaps;
  for (const auto& [width, one] : distances_) {
    if (2 * std::uint64_t{width} <= 3 * std::uint64_t{usual}) continue;
    gaps.count += one.count;
    gaps.events +=
        one.count * (static_cast<std::uint64_t>(std::lround(static_cast<double>(width) / usual)) - 1);
    gaps.longest = width;
    gaps.behind_event = one.before;
  }
  return gaps;
}

}  // namespace ravo::tool
