// Makes the values of a column from its blocks: rows of one size, rows of different sizes, or lists of
// records by name. Each sink owns the memory of its values until it is finished.
#ifndef RAVO_DATASET_VALUE_SINK_H
#define RAVO_DATASET_VALUE_SINK_H

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "read/column_plan.h"
#include "read/column_scan.h"
#include "read/first_blocks.h"
#include "read/item.h"
#include "read/record_names.h"

namespace ravo::detail {

/// Memory for a column, not initialised; large columns get huge pages if the system has them.
std::shared_ptr<void> column_memory(std::size_t bytes);

/// Adds to what workers keep until the column is done. None of it would come back during a wait, so only
/// segments are dropped to make room. Throws memory_exceeded, which names `what`.
void grow(dataset_state& state, reservation& reserved, std::size_t bytes, const std::string& what);

/// What the rows of some kinds have beside their values: axes, and time and status of updates.
class row_extras {
 public:
  row_extras(column_data& column, const item& first) : column_(column), first_(first) {}

  /// Before workers run.
  void reserve(std::vector<reservation>& kept, first_blocks& blocks);
  /// For several threads at once.
  void note(const item& value, const byte_view& payload, std::uint64_t row);
  void copy(const row_copy& copy);

 private:
  void note_axis(const item& value, std::uint64_t row);

  column_data& column_;
  const item first_;
  std::mutex mutex_;  ///< guards the column's axes while workers run
};

class value_sink : public column_sink {
 public:
  /// `first` is the first readable value; `nullopt` if there was none.
  value_sink(column_plan& plan, const std::optional<item>& first, row_extras& extras)
      : plan_(plan), column_(plan.column), first_(first), extras_(extras) {}

  /// Completes the column, whose statuses are known: hands over the values, copies the rows that are held,
  /// and fills those without a value.
  virtual void finish() = 0;

 protected:
  /// The value of a block, if a row of this column can have it; otherwise `nullopt`, and `status` says why.
  std::optional<item> value_of(const column_block& block, block_memory& memory, byte_view& payload,
                               value_status& status) const;
  bool is_of_this_column(const item& value) const;
  /// Copies the rows that are held; copy_values() copies a row that has a value.
  void copy_held_rows();
  virtual void copy_values(const row_copy& copy) = 0;

  column_plan& plan_;
  column_data& column_;
  const std::optional<item> first_;
  row_extras& extras_;
};

/// Rows of one size, each in its place.
class dense_sink : public value_sink {
 public:
  /// Takes the memory of the values, unless `into` has it.
  dense_sink(dataset_state& state, column_plan& plan, first_blocks& first, row_extras& extras,
             std::span<std::byte> into);

  /// Stores what is decoded already, and leaves the buffers to `workers`.
  void store_first(first_blocks& first, column_workers& workers);

  std::unique_ptr<chunk_part> begin(std::size_t chunk, std::size_t blocks, block_memory& memory) override;
  bool has(std::uint64_t row) const override;
  /// True if rows differ in size: they need a ragged_sink.
  bool has_given_up() const override { return is_irregular_; }
  void finish() override;

 protected:
  virtual value_status store(const item& value, const byte_view& payload, std::uint64_t row);
  void copy_values(const row_copy& copy) override;
  std::byte* row(std::uint64_t row) const { return values_ + row * row_bytes_; }

 private:
  class part;
  void fill_missing_rows();

  dataset_state& state_;
  const bool is_in_callers_memory_;
  std::size_t row_bytes_ = 0;
  reservation reserved_;
  std::shared_ptr<void> memory_;
  std::byte* values_ = nullptr;
  std::atomic<bool> is_irregular_{false};
  std::vector<std::uint64_t> stored_rows_;  ///< whose values are stored before the chunks are read
};

/// Rows of different sizes, which are joined in the end.
class ragged_sink : public value_sink {
 public:
  ragged_sink(dataset_state& state, column_plan& plan, const item& first, row_extras& extras,
              std::size_t chunks);

  std::unique_ptr<chunk_part> begin(std::size_t chunk, std::size_t blocks, block_memory& memory) override;
  void finish() override;

 private:
  class part;
  /// The values of a chunk, before they are joined.
  struct rows {
    std::vector<std::byte> bytes;
    std::vector<std::uint64_t> row;
    std::vector<std::uint32_t> elements;
    std::vector<row_shape> shape;
    reservation reserved;
  };
  void make_room(rows& of_chunk, std::size_t more);
  void put_offsets_together();
  void copy_values(const row_copy& copy) override;

  dataset_state& state_;
  std::vector<rows> chunks_;
  std::byte* values_ = nullptr;
};

/// The names of all records of a column's lists.
struct column_records {
  std::vector<std::string> names;
  /// Whether some lists could not be read for it.
  bool is_incomplete = false;
  reservation reserved;
};

/// Finds them, in a pass over all blocks before the column is read.
class record_search {
 public:
  /// Begins with the list that was decoded already, and gives its memory back.
  record_search(dataset_state& state, const column_plan& plan, first_blocks& first);
  /// For several threads at once.
  void look_at(const column_block& block, block_memory& memory);
  column_records result();

 private:
  void add(const item& list, const byte_view& payload, std::uint64_t ordinal);

  dataset_state& state_;
  const column_plan& plan_;
  std::vector<std::string> of_first_list_;
  std::atomic<bool> is_incomplete_{false};
  std::mutex mutex_;  ///< guards what follows
  record_union all_;
  reservation reserved_;
};

/// Lists of records: a row has a place for each name.
class record_sink : public dense_sink {
 public:
  record_sink(dataset_state& state, column_plan& plan, first_blocks& first, row_extras& extras,
              std::span<std::byte> into, bool is_incomplete);
  void finish() override;

 protected:
  value_status store(const item& value, const byte_view& payload, std::uint64_t row) override;
  void copy_values(const row_copy& copy) override;

 private:
  const record_places places_;
  const bool is_incomplete_;
};

}  // namespace ravo::detail

#endif
