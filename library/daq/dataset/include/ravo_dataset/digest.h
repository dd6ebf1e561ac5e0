// A fingerprint of what was read of a channel: the event, the status and all bytes of the block of each
// value. The order in which values are added does not count, so that every way of reading has the same
// digest.
#ifndef RAVO_DATASET_DIGEST_H
#define RAVO_DATASET_DIGEST_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

#include "ravo_core_records.h"
#include "ravo_dataset/progress.h"
#include "ravo_dataset/status.h"
#include "ravo_dataset/values.h"
#include "ravo_export.h"

namespace ravo {

namespace detail {
class digest_access;
}

/// Not for several threads at once; digests of parts are combined with add().
class channel_digest {
 public:
  /// A recorded value: bytes of the block in host order. Bytes of a value that is missing do not count.
  RAVO_EXPORT void add(const ravo_time_id& event, value_status status, std::span<const std::byte> bytes);
  /// The same for a value. Held and not recorded values do not belong to this event, and do not count.
  RAVO_EXPORT void add(const value& one);
  RAVO_EXPORT void add(const channel_digest& other);

  std::uint64_t values() const { return values_; }
  /// 32 hexadecimal digits.
  RAVO_EXPORT std::string to_text() const;
  /// The digest of `values` values whose text this is, so that digests of other processes can be added;
  /// `nullopt` for a text that is not 32 hexadecimal digits.
  RAVO_EXPORT static std::optional<channel_digest> from_text(std::string_view text, std::uint64_t values);
  bool operator==(const channel_digest&) const = default;

 private:
  friend class detail::digest_access;
  void add_hash(std::uint64_t mixed);
  std::uint64_t values_ = 0;
  std::uint64_t sum_ = 0;
  std::uint64_t other_sum_ = 0;
};

struct digest_options {
  std::stop_token stop{};        ///< ends the reading with read_cancelled
  progress_function progress{};  ///< of all channels together
};

/// One channel's digest.
struct named_digest {
  std::string channel;
  channel_digest digest;
  bool operator==(const named_digest&) const = default;
};

/// Adds the digests of another part of a selection, channel by channel; a channel that the list lacks is
/// appended.
RAVO_EXPORT void add_digests(std::vector<named_digest>& to, const std::vector<named_digest>& others);

/// Digests as one line of JSON, from which digests_from_json() makes the same list.
RAVO_EXPORT std::string digests_to_json(const std::vector<named_digest>& digests);
/// Reads what digests_to_json() writes. Throws json_error for any other text; members that it does not know
/// are passed over.
RAVO_EXPORT std::vector<named_digest> digests_from_json(std::string_view text);

}  // namespace ravo

#endif
