#include "read/chunk_reader.h"

#include <algorithm>
#include <utility>

#include "ravo_dataset/column_chunks.h"
#include "read/column_reader.h"
#include "read/first_blocks.h"

namespace ravo::detail {
namespace {

/// Number, time, status, age, axis and place of a row, and what it takes to read it.
constexpr std::size_t beside_values = 128;

/// While a chunk is read there are pieces of files and decoded blocks beside it, and rows of different
/// shapes are there twice.
constexpr std::size_t chunks_in_memory = 4;

}  // namespace

chunk_reader::chunk_reader(std::shared_ptr<dataset_state> state, std::size_t channel, std::size_t bytes,
                           column_options options)
    : state_(std::move(state)),
      channel_(channel),
      bytes_(std::min(bytes, state_->memory.limit() / chunks_in_memory)),
      options_(std::move(options)),
      extent_(plan_request::of(options_).extent) {
  if (!options_.into.empty())
    throw selection_error(
        "The chunks of a column have memory of their own, and cannot go into the caller's");
}

/// Judging by the first value of the column, or by the last chunk.
std::size_t chunk_reader::rows_that_fit() {
  if (row_bytes_ == 0) {
    std::optional<item> first = first_value_of(state_, channel_, options_);
    if (first) cut_item(*first, {-1, options_.samples, options_.region});
    const std::size_t of_values = first ? first->elements * element_size(first->element) : 0;
    row_bytes_ = of_values + of_values / sizeof(float) + beside_values;
  }
  const std::size_t rows = std::max<std::size_t>(bytes_ / row_bytes_, 1);
  return most_rows_ == 0 ? rows : std::min(rows, most_rows_);
}

void chunk_reader::learn_from(const column_data& chunk) {
  most_rows_ = chunk.size() < most_rows_ ? 2 * most_rows_ : 0;
  if (chunk.size() == 0 || !(chunk.is_ragged() || chunk.layout.kind == value_kind::name_value)) return;
  row_bytes_ = (chunk.bytes().size() + chunk.record_status.size()) / chunk.size() + beside_values;
}

/// The next chunk; fewer rows where more do not fit into the memory.
column_data chunk_reader::read_fitting() {
  for (std::size_t rows = rows_that_fit();; rows /= 2) {
    try {
      column_data chunk = read_chunk_of_column(state_, channel_, rows_after(options_, done_, rows), extent_,
                                               place_, rows > 1);
      is_over_ = chunk.size() < rows;
      learn_from(chunk);
      return chunk;
    } catch (const memory_exceeded&) {
      if (rows == 1) throw;
      most_rows_ = rows / 2;
    }
  }
}

std::optional<column_data> chunk_reader::next() {
  const stop_scope scope(options_.stop);
  if (is_over_) return std::nullopt;
  column_data chunk = read_fitting();
  const bool is_first = std::exchange(done_, done_ + chunk.size()) == 0;
  // What is missing after the last row, where the last chunk was full, comes without a row.
  if (chunk.size() == 0 && !is_first && chunk.ledger.expected() == 0) return std::nullopt;
  return chunk;
}

}  // namespace ravo::detail

namespace ravo {

column_chunk_range::column_chunk_range(std::unique_ptr<detail::chunk_reader> reader)
    : reader_(std::move(reader)) {}
column_chunk_range::column_chunk_range(column_chunk_range&&) noexcept = default;
column_chunk_range& column_chunk_range::operator=(column_chunk_range&&) noexcept = default;
column_chunk_range::~column_chunk_range() = default;

column_chunk_range::iterator column_chunk_range::begin() {
  if (!begun_) advance();
  begun_ = true;
  return iterator(this);
}

void column_chunk_range::advance() {
  current_.reset();  // before the next one is read, which may need its memory
  current_ = reader_->next();
}

std::optional<column_data> column_chunk_range::next() {
  begun_ = true;
  current_.reset();
  return reader_->next();
}

}  // namespace ravo
