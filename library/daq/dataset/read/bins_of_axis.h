// The bins that divide the events of a selection, or its time.
#ifndef RAVO_DATASET_BINS_OF_AXIS_H
#define RAVO_DATASET_BINS_OF_AXIS_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "format/time.h"
#include "ravo_core_records.h"
#include "ravo_dataset/envelope.h"

namespace ravo::detail {

class bins_of_axis {
 public:
  /// As many bins as asked for, but none is empty by itself; without any if `to` is not after `from`.
  bins_of_axis(bin_axis axis, std::int64_t from, std::int64_t to, std::size_t bins)
      : axis_(axis), from_(from), to_(std::max(from, to)) {
    const auto width = static_cast<std::uint64_t>(to_) - static_cast<std::uint64_t>(from_);
    bins_ = static_cast<std::size_t>(std::min<std::uint64_t>(bins, width));
    width_ = width;
  }

  std::size_t size() const { return bins_; }
  /// The first position of a bin: the beginning and a whole share of the width, rounded down.
  std::int64_t edge(std::size_t bin) const {
    return bins_ == 0 ? from_
                      : static_cast<std::int64_t>(static_cast<std::uint64_t>(from_) +
                                                  static_cast<std::uint64_t>(wide{width_} * bin / bins_));
  }

  std::int64_t position(std::uint64_t ordinal, const ravo_time_id& event) const {
    return axis_ == bin_axis::events ? static_cast<std::int64_t>(ordinal) : in_microseconds(event.time);
  }
  bool has(std::int64_t position) const { return position >= from_ && position < to_; }
  /// The bin of a position that it has.
  std::size_t bin_of(std::int64_t position) const {
    const std::uint64_t at = static_cast<std::uint64_t>(position) - static_cast<std::uint64_t>(from_);
    auto bin = static_cast<std::size_t>(wide{at} * bins_ / width_);
    while (bin + 1 < bins_ && edge(bin + 1) <= position) ++bin;
    return bin;
  }

 private:
  __extension__ using wide = unsigned __int128;
  bin_axis axis_;
  std::int64_t from_;
  std::int64_t to_;
  std::uint64_t width_ = 0;
  std::size_t bins_ = 0;
};

}  // namespace ravo::detail

#endif
