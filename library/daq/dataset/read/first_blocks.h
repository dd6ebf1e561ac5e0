// The first blocks of a column: the first one that can be read says what the column's values are.
#ifndef RAVO_DATASET_FIRST_BLOCKS_H
#define RAVO_DATASET_FIRST_BLOCKS_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "format/byte_view.h"
#include "read/block_scan.h"
#include "read/column_plan.h"
#include "read/item.h"

namespace ravo::detail {

class first_blocks {
 public:
  /// A block that was inflated, and need not be inflated again.
  struct block {
    std::unique_ptr<block_memory> memory;  ///< holds the payload; null where there was no room for it
    byte_view payload{nullptr, 0, word_order::file};
    std::optional<item> value;  ///< `nullopt` if it cannot be read
    value_status status = value_status::ok;
    std::uint64_t row = 0;
  };

  first_blocks(dataset_state& state, const column_plan& plan) : state_(state), plan_(plan) {}

  /// Finds the first readable block, and reads no block after it.
  void find();
  /// The same; reads several large blocks at once.
  void find_with_all_threads();

  /// Takes a value that was found elsewhere, since the plan is of a part of the column.
  void set(std::optional<item> first) { value_ = std::move(first); }
  /// Whether a block before it could not be read for a reason that may pass.
  bool may_differ_later() const { return may_differ_later_; }

  /// The first readable one; `nullopt` if there is none.
  const std::optional<item>& value() const { return value_; }
  /// What is kept of them.
  std::vector<block>& blocks() { return blocks_; }
  /// Its payload; null if it is not kept.
  const block* first_readable() const;

  /// Reserves memory for the column before workers run, when only these blocks hold memory that could be
  /// given back.
  reservation reserve(std::size_t bytes, const std::string& what);
  void release() { blocks_.clear(); }

 private:
  using place = std::pair<const block_list*, std::size_t>;
  std::vector<place> large_ones() const;
  block read(const place& where, on_full how) const;

  dataset_state& state_;
  const column_plan& plan_;
  std::optional<item> value_;
  std::vector<block> blocks_;
  bool may_differ_later_ = false;
};

/// The first readable value of a whole column, with all of its samples and pixels, whatever part of the
/// column is read: of `options` only the kind of rows and the member count. Decodes the blocks up to it,
/// unless it is known already.
std::optional<item> first_value_of(const std::shared_ptr<dataset_state>& state, std::size_t channel,
                                   const column_options& options);

}  // namespace ravo::detail

#endif
