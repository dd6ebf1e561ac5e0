#include <algorithm>
#include <cstring>
#include <limits>
#include <utility>

#include "read/column_access.h"
#include "read/value_sink.h"

namespace ravo::detail {

class dense_sink::part : public chunk_part {
 public:
  explicit part(dense_sink& sink) : sink_(sink) {}

  value_status put(const column_block& block, block_memory& memory) override {
    if (block.found.status == value_status::ok && sink_.has(block.row)) return value_status::ok;
    value_status status = value_status::ok;
    byte_view payload(nullptr, 0, word_order::file);
    const auto value = sink_.value_of(block, memory, payload, status);
    return value ? sink_.store(*value, payload, block.row) : status;
  }

 private:
  dense_sink& sink_;
};

dense_sink::dense_sink(dataset_state& state, column_plan& plan, first_blocks& first, row_extras& extras,
                       std::span<std::byte> into)
    : value_sink(plan, first.value(), extras),
      state_(state),
      is_in_callers_memory_(!into.empty()),
      row_bytes_(column_.layout.item_elements * element_size(column_.layout.element)) {
  const std::size_t bytes = column_.layout.bytes();
  if (is_in_callers_memory_) {
    if (into.size() < bytes)
      throw selection_error("The column " + column_.channel + " takes " + std::to_string(bytes) +
                            " bytes, and the memory given has " + std::to_string(into.size()));
    values_ = into.data();
    return;
  }
  reserved_ = first.reserve(bytes, "The column " + column_.channel);
  memory_ = column_memory(bytes);
  values_ = static_cast<std::byte*>(memory_.get());
}

void dense_sink::store_first(first_blocks& first, column_workers& workers) {
  std::vector<first_blocks::block>& blocks = first.blocks();
  std::vector<value_status> stored(blocks.size(), value_status::not_recorded);
  const auto store_one = [&](std::size_t i) {
    const first_blocks::block& block = blocks[i];
    if (!block.value) return;
    stored[i] = is_of_this_column(*block.value) ? store(*block.value, block.payload, block.row)
                                                : value_status::type_changed;
  };
  if (blocks.size() == 1)
    store_one(0);
  else
    state_.pool.run(blocks.size(), blocks.size(), store_one, [this] { state_.check_stop(); });
  for (std::size_t i = 0; i < blocks.size(); ++i) {
    if (stored[i] == value_status::ok) stored_rows_.push_back(blocks[i].row);
    if (blocks[i].memory != nullptr) workers.give(std::move(blocks[i].memory));
  }
  first.release();
}

std::unique_ptr<column_sink::chunk_part> dense_sink::begin(std::size_t, std::size_t, block_memory&) {
  return std::make_unique<part>(*this);
}

bool dense_sink::has(std::uint64_t row) const {
  return std::find(stored_rows_.begin(), stored_rows_.end(), row) != stored_rows_.end();
}

value_status dense_sink::store(const item& value, const byte_view& payload, std::uint64_t row_of_value) {
  extras_.note(value, payload, row_of_value);
  if (value.elements == first_->elements && value.shape == first_->shape) {
    store_item(value, payload, row(row_of_value));
    return value_status::ok;
  }
  // The caller's memory has no room for rows of other sizes.
  if (is_in_callers_memory_) return value_status::type_changed;
  is_irregular_ = true;
  return value_status::ok;
}

void dense_sink::finish() {
  column_access::set_values(column_, {values_, column_.layout.bytes()}, memory_);
  plan_.memory->values = std::move(reserved_);
  copy_held_rows();
  fill_missing_rows();
}

void dense_sink::copy_values(const row_copy& copy) {
  if (row_bytes_ != 0) std::memcpy(row(copy.row), row(copy.from), row_bytes_);
}

void dense_sink::fill_missing_rows() {
  constexpr float nothing = std::numeric_limits<float>::quiet_NaN();
  for (std::size_t i = 0; i < column_.layout.rows; ++i) {
    if (has_value(column_.status[i])) continue;
    if (column_.layout.element != element_type::float32) {
      if (row_bytes_ != 0) std::memset(row(i), 0, row_bytes_);
      continue;
    }
    for (std::size_t at = 0; at < row_bytes_; at += sizeof nothing)
      std::memcpy(row(i) + at, &nothing, sizeof nothing);
  }
}

}  // namespace ravo::detail
