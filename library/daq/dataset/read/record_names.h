// Which records the lists of a name-value channel have, taken together, and the place of each record of a
// list among them: a column of such lists has a place for each name. A name that a list has twice makes two
// records.
#ifndef RAVO_DATASET_RECORD_NAMES_H
#define RAVO_DATASET_RECORD_NAMES_H

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "read/item.h"

namespace ravo::detail {

/// The name of a record of a name-value payload.
std::string_view record_name(const item& list, const byte_view& payload, std::size_t record);
/// Whether a list has these records in this order.
bool has_names(const item& list, const byte_view& payload, const std::vector<std::string>& names);

/// Collects the records of lists that come in any order. Not for several threads at once.
class record_union {
 public:
  /// Adds the records of the list at position `ordinal` among all. `take_memory` is called before memory is
  /// used, with the amount, and may throw.
  void add(const item& list, const byte_view& payload, std::uint64_t ordinal,
           const std::function<void(std::size_t)>& take_memory);
  /// The names in the order in which the lists mention them, by ordinal and position.
  std::vector<std::string> in_order() const;

 private:
  /// Where a record is mentioned first: ordinal and position.
  using mention = std::pair<std::uint64_t, std::size_t>;
  std::unordered_map<std::string, std::vector<mention>> mentions_;  ///< of each occurrence in one list
};

/// Finds the places of records among the names of a column. May be used by several threads at once.
class record_places {
 public:
  explicit record_places(const std::vector<std::string>& names);
  /// The place of each record of a list; `nullopt` if one of its names is not known.
  std::optional<std::vector<std::uint32_t>> of(const item& list, const byte_view& payload) const;

 private:
  const std::vector<std::string>& names_;
  std::unordered_map<std::string_view, std::vector<std::uint32_t>> places_;  ///< of each occurrence
};

/// Stores the values of a list at their places in a row.
void store_records(const item& list, const byte_view& payload, const std::vector<std::uint32_t>& places,
                   float* row);

}  // namespace ravo::detail

#endif
