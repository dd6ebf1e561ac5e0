// How far a reading has come. Every reading has its own `progress` function and its own `stop` token, in
// its options: cancelling one reading leaves the dataset as it was.
#ifndef RAVO_DATASET_PROGRESS_H
#define RAVO_DATASET_PROGRESS_H

#include <cstdint>
#include <functional>

namespace ravo {

/// How far a reading has come.
struct read_progress {
  std::uint64_t done_bytes = 0;   ///< stored bytes of values read and decoded
  std::uint64_t total_bytes = 0;  ///< of all values of this reading
};

/// Called on the thread that reads, now and then and at the end. It must not call the dataset, and what it
/// throws ends the reading.
using progress_function = std::function<void(const read_progress&)>;

}  // namespace ravo

#endif
