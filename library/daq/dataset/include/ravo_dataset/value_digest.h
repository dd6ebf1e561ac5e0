// A fingerprint of a channel's values as numbers and texts, whatever file, format or program holds them: of
// each recorded value its event, status, type, dimensions and values. channel_digest is of the blocks that
// the values are read from.
#ifndef RAVO_DATASET_VALUE_DIGEST_H
#define RAVO_DATASET_VALUE_DIGEST_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "ravo_core_records.h"
#include "ravo_dataset/column.h"
#include "ravo_dataset/digest.h"
#include "ravo_dataset/values.h"
#include "ravo_export.h"

namespace ravo {

/// The order in which values are added does not count. Not for several threads at once; digests of parts
/// are combined with add(). docs/dataset.md defines it.
class value_digest {
 public:
  /// The value of an event. Held and not recorded values do not belong to it, and do not count.
  RAVO_EXPORT void add(const ravo_time_id& event, const value& one);
  /// The rows of a column that have a value of their own. A row that is type_changed counts with that
  /// status: the column lacks its value.
  RAVO_EXPORT void add(const column_data& column);
  void add(const value_digest& other) { sums_.add(other.sums_); }

  std::uint64_t values() const { return sums_.values(); }
  /// 32 hexadecimal digits.
  std::string to_text() const { return sums_.to_text(); }
  /// The digest of `values` values whose text this is; `nullopt` for a text that is not 32 hexadecimal
  /// digits.
  static std::optional<value_digest> from_text(std::string_view text, std::uint64_t values) {
    const auto sums = channel_digest::from_text(text, values);
    return sums ? std::optional(of_sums(*sums)) : std::nullopt;
  }
  bool operator==(const value_digest&) const = default;

  /// The sums that the digest consists of, in the form in which digests travel; and back.
  const channel_digest& sums() const { return sums_; }
  static value_digest of_sums(const channel_digest& sums) {
    value_digest made;
    made.sums_ = sums;
    return made;
  }

 private:
  friend class detail::digest_access;
  channel_digest sums_;
};

/// One channel's digest of values.
struct named_value_digest {
  std::string channel;
  value_digest digest;
};

}  // namespace ravo

#endif
