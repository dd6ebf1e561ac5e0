// Which rows of a column a reading takes: a slice of them, or a list of positions.
#ifndef RAVO_DATASET_ROW_SELECTOR_H
#define RAVO_DATASET_ROW_SELECTOR_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "ravo_dataset/column.h"

namespace ravo::detail {

class row_selector {
 public:
  /// All rows.
  row_selector() = default;
  /// Those that the options ask for. Throws selection_error for options that contradict each other.
  explicit row_selector(const column_options& options);

  bool is_all() const { return first_ == 0 && step_ == 1 && end_ == no_end && !is_list_; }
  bool has(std::uint64_t position) const;
  /// Whether no row from a position on is wanted.
  bool ends_before(std::uint64_t position) const { return position >= end_; }
  /// The most wanted rows among `count` from a position on.
  std::size_t most_of(std::uint64_t position, std::size_t count) const;
  /// Throws access_error if the list has a row that a column of so many rows lacks.
  void check(std::uint64_t rows, const std::string& channel) const;

 private:
  static constexpr std::uint64_t no_end = static_cast<std::uint64_t>(-1);
  std::uint64_t first_ = 0;
  std::uint64_t step_ = 1;
  std::uint64_t end_ = no_end;  ///< the last wanted row, and one
  bool is_list_ = false;
  std::vector<std::size_t> list_;
};

/// The same reading of `count` of the wanted rows, after the first `done` of them.
column_options rows_after(const column_options& all, std::size_t done, std::size_t count);

}  // namespace ravo::detail

#endif
