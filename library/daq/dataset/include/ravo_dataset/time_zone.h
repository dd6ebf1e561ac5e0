// Time zones by name or offset, and what their clocks show. The rules of named zones are those of the C
// library's zone files; asking it sets TZ and restores it, so make zones at the start of a program, while
// it has one thread.
#ifndef RAVO_DATASET_TIME_ZONE_H
#define RAVO_DATASET_TIME_ZONE_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ravo_export.h"

namespace ravo {

class time_zone {
 public:
  /// UTC.
  time_zone() = default;
  /// "UTC" or "Z", an offset such as "+01:00", "-0330" or "+1", or a name such as "Europe/Berlin".
  /// `nullopt` for any other text, and for a name that this machine has no rules for.
  RAVO_EXPORT static std::optional<time_zone> named(std::string_view text);

  const std::string& name() const { return name_; }
  /// How far its clocks are ahead of UTC at a moment, both in seconds.
  RAVO_EXPORT std::int64_t offset_at(std::int64_t moment) const;
  /// The moments at which its clocks show a time, given as if it were UTC: none when clocks skip it, two
  /// when they repeat it, the earlier one first.
  RAVO_EXPORT std::vector<std::int64_t> moments_of(std::int64_t shown) const;

 private:
  std::string name_ = "UTC";
  std::string rules_;        // the file with the zone's rules; empty: a fixed offset
  std::int64_t offset_ = 0;  // without rules
};

/// "+01:00", "-03:30" of seconds ahead of UTC.
RAVO_EXPORT std::string format_offset(std::int64_t seconds);

/// Seconds ahead of UTC of "+01:00", "-0330" or "+1"; `nullopt` for other texts and above 15 hours.
RAVO_EXPORT std::optional<std::int64_t> parse_offset(std::string_view text);

}  // namespace ravo

#endif
