// Access to the private members of a column, for the code that makes one.
#ifndef RAVO_DATASET_COLUMN_ACCESS_H
#define RAVO_DATASET_COLUMN_ACCESS_H

#include <memory>
#include <span>
#include <vector>

#include "ravo_dataset/column.h"

namespace ravo::detail {

class column_access {
 public:
  using beside_row = column_data::beside_row;

  static std::vector<beside_row>& beside_rows(column_data& column) { return column.beside_rows_; }
  static void set_planned(column_data& column, std::vector<value_status> planned) {
    column.planned_ = std::move(planned);
  }
  /// Whether a row has a value of its own, rather than one that is held.
  static bool is_own(const column_data& column, std::size_t row) {
    return column.planned_.empty() || column.planned_[row] == value_status::ok;
  }
  /// Where the values are; `owner` is null where they are in the caller's memory.
  static void set_values(column_data& column, std::span<const std::byte> bytes,
                         std::shared_ptr<void> owner) {
    column.bytes_ = bytes;
    column.memory_ = std::move(owner);
  }
  static void keep(column_data& column, std::shared_ptr<void> memory) { column.share_ = std::move(memory); }
};

}  // namespace ravo::detail

#endif
