// A column that is larger than the memory, piece by piece: each chunk is a part of the column, with as many
// rows as fit into the bytes that were asked for.
#ifndef RAVO_DATASET_COLUMN_CHUNKS_H
#define RAVO_DATASET_COLUMN_CHUNKS_H

#include <cstddef>
#include <iterator>
#include <memory>
#include <optional>

#include "ravo_dataset/column.h"
#include "ravo_dataset/single_pass_iterator.h"
#include "ravo_export.h"

namespace ravo {

namespace detail {
class chunk_reader;
}

/// The chunks of one reading of a column, for a single pass. Put together they are the column: rows,
/// ledgers and digests add up. There is at least one. Chunks of name-value lists have the records of their
/// own rows.
class column_chunk_range {
 public:
  using iterator = single_pass_iterator<column_chunk_range, column_data>;

  RAVO_EXPORT column_chunk_range(column_chunk_range&&) noexcept;
  RAVO_EXPORT column_chunk_range& operator=(column_chunk_range&&) noexcept;
  RAVO_EXPORT ~column_chunk_range();

  RAVO_EXPORT iterator begin();
  std::default_sentinel_t end() const { return {}; }
  /// The next chunk, or `nullopt` at the end. Throws what column() throws; after memory_exceeded or
  /// read_cancelled the same range goes on with the rows that it did not deliver.
  RAVO_EXPORT std::optional<column_data> next();

 private:
  friend iterator;
  friend class dataset;
  explicit column_chunk_range(std::unique_ptr<detail::chunk_reader> reader);
  RAVO_EXPORT void advance();
  std::unique_ptr<detail::chunk_reader> reader_;
  std::optional<column_data> current_;
  bool begun_ = false;
};

}  // namespace ravo

#endif
