// How the dataset layer makes values; programs can only read them.
#ifndef RAVO_DATASET_VALUE_ACCESS_H
#define RAVO_DATASET_VALUE_ACCESS_H

#include "ravo_dataset/values.h"

namespace ravo::detail {

class value_access {
 public:
  static value make(value_status status, const ravo_time_id& id, std::int64_t age = 0);
  /// The same value, as it is held at another event.
  static value held(value of_other) {
    of_other.is_held_ = true;
    return of_other;
  }
  /// `bytes`: the decoded data of a block of type `dtype`, aligned for 4-byte words.
  static value make(value_status status, const ravo_time_id& id, std::int64_t age, std::int32_t dtype,
                    std::int32_t error, std::span<const std::byte> bytes);
};

}  // namespace ravo::detail

#endif
