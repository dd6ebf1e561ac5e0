#include <algorithm>
#include <cstring>
#include <utility>

#include "read/column_access.h"
#include "read/value_sink.h"

namespace ravo::detail {

class ragged_sink::part : public chunk_part {
 public:
  part(ragged_sink& sink, std::size_t chunk, reservation reserved) : sink_(sink), chunk_(chunk) {
    rows_.reserved = std::move(reserved);
  }

  value_status put(const column_block& block, block_memory& memory) override {
    value_status status = value_status::ok;
    byte_view payload(nullptr, 0, word_order::file);
    const auto value = sink_.value_of(block, memory, payload, status);
    if (!value) return status;
    sink_.extras_.note(*value, payload, block.row);
    const std::size_t at = rows_.bytes.size(), size = value->elements * element_size(value->element);
    sink_.make_room(rows_, size);
    rows_.bytes.resize(at + size);
    store_item(*value, payload, rows_.bytes.data() + at);
    rows_.row.push_back(block.row);
    rows_.elements.push_back(static_cast<std::uint32_t>(value->elements));
    rows_.shape.push_back(value->shape);
    return value_status::ok;
  }

  void commit() override { sink_.chunks_[chunk_] = std::move(rows_); }

 private:
  ragged_sink& sink_;
  const std::size_t chunk_;
  rows rows_;
};

ragged_sink::ragged_sink(dataset_state& state, column_plan& plan, const item& first, row_extras& extras,
                         std::size_t chunks)
    : value_sink(plan, first, extras), state_(state) {
  plan_.memory->tables.push_back(
      state_.reserve(chunks * sizeof(rows), "The pieces of the column " + column_.channel));
  chunks_.resize(chunks);
}

std::unique_ptr<column_sink::chunk_part> ragged_sink::begin(std::size_t chunk, std::size_t blocks,
                                                            block_memory& memory) {
  constexpr std::size_t of_row = sizeof(std::uint64_t) + sizeof(std::uint32_t) + sizeof(row_shape);
  return std::make_unique<part>(
      *this, chunk,
      state_.memory.reserve(2 * blocks * of_row, "The rows of " + column_.channel, memory.how()));
}

void ragged_sink::make_room(rows& of_chunk, std::size_t more) {
  const std::size_t needed = of_chunk.bytes.size() + more, had = of_chunk.bytes.capacity();
  if (needed <= had) return;
  const std::size_t wanted = std::max({needed, 2 * had, std::size_t{4096}});
  // While it grows, the old memory and the new one are in use.
  grow(state_, of_chunk.reserved, wanted, "The rows of different shapes of " + column_.channel);
  of_chunk.bytes.reserve(wanted);
  of_chunk.reserved.shrink(of_chunk.reserved.bytes() - had);
}

void ragged_sink::put_offsets_together() {
  constexpr std::size_t of_row = sizeof(column_.offsets[0]) + sizeof(column_.shapes[0]);
  plan_.memory->tables.push_back(
      state_.reserve((column_.layout.rows + 1) * of_row, "The rows of the column " + column_.channel));
  column_.offsets.assign(column_.layout.rows + 1, 0);
  column_.shapes.assign(column_.layout.rows, {0, 0, 0});
  for (const rows& of_chunk : chunks_)
    for (std::size_t i = 0; i < of_chunk.row.size(); ++i) {
      column_.offsets[of_chunk.row[i] + 1] = of_chunk.elements[i];
      column_.shapes[of_chunk.row[i]] = of_chunk.shape[i];
    }
  for (const row_copy& copy : plan_.copies) {
    column_.offsets[copy.row + 1] = column_.offsets[copy.from + 1];
    column_.shapes[copy.row] = column_.shapes[copy.from];
  }
  for (std::size_t i = 1; i < column_.offsets.size(); ++i) column_.offsets[i] += column_.offsets[i - 1];
}

void ragged_sink::finish() {
  put_offsets_together();
  const std::size_t each = element_size(column_.layout.element);
  const std::size_t bytes = column_.offsets.back() * each;
  plan_.memory->values = state_.reserve(bytes, "The column " + column_.channel);
  const std::shared_ptr<void> memory = column_memory(bytes);
  values_ = static_cast<std::byte*>(memory.get());
  column_access::set_values(column_, {values_, bytes}, memory);
  for (rows& of_chunk : chunks_) {
    std::size_t at = 0;
    for (std::size_t i = 0; i < of_chunk.row.size(); ++i) {
      const std::size_t size = of_chunk.elements[i] * each;
      std::byte* const to = values_ + column_.offsets[of_chunk.row[i]] * each;
      if (size != 0) std::memcpy(to, of_chunk.bytes.data() + at, size);
      at += size;
    }
    of_chunk = {};
  }
  copy_held_rows();
}

void ragged_sink::copy_values(const row_copy& copy) {
  const std::size_t each = element_size(column_.layout.element);
  const std::size_t size = (column_.offsets[copy.from + 1] - column_.offsets[copy.from]) * each;
  if (size != 0)
    std::memcpy(values_ + column_.offsets[copy.row] * each, values_ + column_.offsets[copy.from] * each,
                size);
}

}  // namespace ravo::detail
