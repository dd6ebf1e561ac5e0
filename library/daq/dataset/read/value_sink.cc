#include "read/value_sink.h"

#include <sys/mman.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstdlib>
#include <new>

namespace ravo::detail {

std::shared_ptr<void> column_memory(std::size_t bytes) {
  constexpr std::size_t large = std::size_t{2} << 20;
  const std::size_t alignment = bytes >= 2 * large ? large : 64;
  const std::size_t rounded = (std::max<std::size_t>(bytes, 1) + alignment - 1) / alignment * alignment;
  void* const memory = std::aligned_alloc(alignment, rounded);
  if (memory == nullptr) throw std::bad_alloc();
  if (alignment == large) (void)madvise(memory, rounded, MADV_HUGEPAGE);
  return {memory, [](void* taken) { std::free(taken); }};
}

void grow(dataset_state& state, reservation& reserved, std::size_t bytes, const std::string& what) {
  while (!state.memory.try_grow(reserved, bytes))
    if (!state.timeline.drop_oldest())
      throw memory_exceeded(what + " do not fit into the memory limit of " +
                            std::to_string(state.memory.limit()) +
                            " bytes; raise the limit or select less");
}

// ---- beside the values

void row_extras::reserve(std::vector<reservation>& kept, first_blocks& blocks) {
  const std::size_t rows = column_.layout.rows;
  if (first_.kind == value_kind::spectrum || first_.kind == value_kind::roi)
    kept.push_back(
        blocks.reserve(rows * sizeof(spectrum_axis), "The axes of the column " + column_.channel));
  if (first_.kind != value_kind::update) return;
  kept.push_back(blocks.reserve(rows * (sizeof(time_stamp) + sizeof(std::int32_t)),
                                "The rows of the column " + column_.channel));
  column_.update_times.resize(rows);
  column_.update_status.resize(rows);
}

void row_extras::note(const item& value, const byte_view& payload, std::uint64_t row) {
  if (value.kind == value_kind::update) {
    column_.update_status[row] = *payload.at<std::int32_t>(value.status);
    column_.update_times[row] = {*payload.at<std::uint32_t>(value.time),
                                 *payload.at<std::uint32_t>(value.time + 4)};
  }
  if (value.kind == value_kind::spectrum || value.kind == value_kind::roi) note_axis(value, row);
}

/// Axes seldom change: they are recorded only once a row's axis differs from that of the first row.
void row_extras::note_axis(const item& value, std::uint64_t row) {
  const spectrum_axis first{first_.start, first_.increment, first_.groups_increment, first_.y_start};
  const spectrum_axis its{value.start, value.increment, value.groups_increment, value.y_start};
  using bits = std::array<std::uint32_t, 4>;  // NaN is the same axis as NaN
  if (std::bit_cast<bits>(first) == std::bit_cast<bits>(its)) return;
  const std::lock_guard lock(mutex_);
  if (column_.axes.empty()) column_.axes.assign(column_.layout.rows, first);
  column_.axes[row] = its;
}

void row_extras::copy(const row_copy& copy) {
  if (!column_.axes.empty()) column_.axes[copy.row] = column_.axes[copy.from];
  if (column_.update_times.empty()) return;
  column_.update_times[copy.row] = column_.update_times[copy.from];
  column_.update_status[copy.row] = column_.update_status[copy.from];
}

// ---- values

std::optional<item> value_sink::value_of(const column_block& block, block_memory& memory,
                                         byte_view& payload, value_status& status) const {
  const auto inflated = inflate(block.found, memory, status);
  if (!inflated) return std::nullopt;
  payload = *inflated;
  const auto value = find_item(block.found.stored_type, payload, plan_.part);
  if (!value)
    status = value_status::cannot_convert;
  else if (!first_)
    status = value_status::file_missing;  // it could not be read at first, and now it can
  else if (!is_of_this_column(*value))
    status = value_status::type_changed;
  return status == value_status::ok ? value : std::nullopt;
}

bool value_sink::is_of_this_column(const item& value) const {
  return value.kind == first_->kind && value.element == first_->element &&
         value.is_as_sent == first_->is_as_sent;
}

void value_sink::copy_held_rows() {
  for (const row_copy& copy : plan_.copies) {
    const value_status from = column_.status[copy.from];
    if (!has_value(from)) {
      column_.status[copy.row] = from;
      continue;
    }
    copy_values(copy);
    extras_.copy(copy);
  }
}

}  // namespace ravo::detail
