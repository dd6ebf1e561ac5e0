// Reads a column in chunks of about so many bytes.
#ifndef RAVO_DATASET_CHUNK_READER_H
#define RAVO_DATASET_CHUNK_READER_H

#include <cstddef>
#include <memory>
#include <optional>

#include "dataset_state.h"
#include "ravo_dataset/column.h"
#include "read/column_plan.h"

namespace ravo::detail {

class chunk_reader {
 public:
  chunk_reader(std::shared_ptr<dataset_state> state, std::size_t channel, std::size_t bytes,
               column_options options);

  std::optional<column_data> next();

 private:
  std::size_t rows_that_fit();
  column_data read_fitting();
  void learn_from(const column_data& chunk);

  std::shared_ptr<dataset_state> state_;
  const std::size_t channel_;
  const std::size_t bytes_;  ///< of a chunk
  const column_options options_;
  const reading_extent extent_;
  walk_place place_;
  std::size_t done_ = 0;       ///< rows
  std::size_t row_bytes_ = 0;  ///< with what belongs to a row beside its values; 0: not known yet
  std::size_t most_rows_ = 0;  ///< that fitted into the memory, twice; 0: as many as are thought to fit
  bool is_over_ = false;
};

}  // namespace ravo::detail

#endif
