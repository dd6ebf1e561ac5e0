// Where a column's values are: their memory, the rows of different shapes put together in it, and the rows
// that no block of their own is read for.
#include <sys/mman.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>

#include "read/column_reader.h"

namespace ravo {
namespace {

/// Memory for a column, not filled; large ones in large pages, where there are any.
std::shared_ptr<void> column_memory(std::size_t bytes) {
  constexpr std::size_t large = std::size_t{2} << 20;
  const std::size_t alignment = bytes >= 2 * large ? large : 64;
  const std::size_t rounded = (std::max<std::size_t>(bytes, 1) + alignment - 1) / alignment * alignment;
  void* memory = std::aligned_alloc(alignment, rounded);
  if (memory == nullptr) throw std::bad_alloc();
  if (alignment == large) (void)madvise(memory, rounded, MADV_HUGEPAGE);
  return {memory, [](void* one) { std::free(one); }};
}

}  // namespace

void column_reader::allocate() {
  const std::size_t bytes = data_.layout.bytes();
  if (!options_.into.empty()) {
    if (options_.into.size() < bytes)
      throw selection_error("The column " + data_.channel + " takes " + std::to_string(bytes) +
                            " bytes, and the memory given has " + std::to_string(options_.into.size()));
    out_ = options_.into.data();
  } else {
    kept_->values = reserve(bytes, "The column " + data_.channel);
    data_.memory_ = column_memory(bytes);
    out_ = static_cast<std::byte*>(data_.memory_.get());
  }
  data_.bytes_ = {out_, bytes};
}

void column_reader::put_ragged_together() {
  constexpr std::size_t of_row = sizeof(data_.offsets[0]) + sizeof(data_.shapes[0]);
  kept_->tables.push_back(
      state_->reserve((data_.layout.rows + 1) * of_row, "The rows of the column " + data_.channel));
  data_.offsets.assign(data_.layout.rows + 1, 0);
  data_.shapes.assign(data_.layout.rows, {0, 0, 0});
  for (const ragged_part& part : parts_)
    for (std::size_t i = 0; i < part.rows.size(); ++i) {
      data_.offsets[part.rows[i] + 1] = part.lengths[i];
      data_.shapes[part.rows[i]] = part.shapes[i];
    }
  for (const row_copy& copy : copies_) {
    data_.offsets[copy.row + 1] = data_.offsets[copy.from + 1];
    data_.shapes[copy.row] = data_.shapes[copy.from];
  }
  for (std::size_t i = 1; i < data_.offsets.size(); ++i) data_.offsets[i] += data_.offsets[i - 1];
  const std::size_t each = element_size(data_.layout.element);
  const std::size_t bytes = data_.offsets.back() * each;
  data_.memory_.reset();
  kept_->values.release();
  kept_->values = state_->reserve(bytes, "The column " + data_.channel);
  data_.memory_ = column_memory(bytes);
  out_ = static_cast<std::byte*>(data_.memory_.get());
  data_.bytes_ = {out_, bytes};
  for (ragged_part& part : parts_) {
    std::size_t at = 0;
    for (std::size_t i = 0; i < part.rows.size(); ++i) {
      const std::size_t size = part.lengths[i] * each;
      if (size != 0) std::memcpy(out_ + data_.offsets[part.rows[i]] * each, part.bytes.data() + at, size);
      at += size;
    }
    part = {};
  }
}

void column_reader::copy_held_rows() {
  const std::size_t each = element_size(data_.layout.element);
  for (const row_copy& copy : copies_) {
    const value_status from = data_.status[copy.from];
    if (!has_value(from)) {
      data_.status[copy.row] = from;
      continue;
    }
    const std::size_t size =
        data_.is_ragged() ? (data_.offsets[copy.from + 1] - data_.offsets[copy.from]) * each : row_bytes();
    const std::size_t to_at = data_.is_ragged() ? data_.offsets[copy.row] * each : copy.row * row_bytes();
    const std::size_t from_at =
        data_.is_ragged() ? data_.offsets[copy.from] * each : copy.from * row_bytes();
    if (size != 0) std::memcpy(out_ + to_at, out_ + from_at, size);
    if (!data_.axes.empty()) data_.axes[copy.row] = data_.axes[copy.from];
    if (!data_.update_times.empty()) {
      data_.update_times[copy.row] = data_.update_times[copy.from];
      data_.update_status[copy.row] = data_.update_status[copy.from];
    }
    copy_records(copy);
  }
}

void column_reader::fill_missing_rows() {
  if (data_.is_ragged() || out_ == nullptr) return;
  for (std::size_t row = 0; row < data_.layout.rows; ++row) {
    if (has_value(data_.status[row])) continue;
    std::byte* to = out_ + row * row_bytes();
    if (data_.layout.element == element_type::float32) {
      const float nothing = std::numeric_limits<float>::quiet_NaN();
      for (std::size_t i = 0; i < data_.layout.item_elements; ++i) std::memcpy(to + 4 * i, &nothing, 4);
    } else if (row_bytes() != 0) {
      std::memset(to, 0, row_bytes());
    }
  }
}

}  // namespace ravo
