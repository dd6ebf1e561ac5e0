// Whether a channel's data belong to the events that they are stored with. A server stamps
// its data with its own time and pulse number, and a camera frame has an event number: if
// these are those of a neighbouring event, the channel is shifted against the others.
#ifndef RAVO_VERIFY_SHIFT_H
#define RAVO_VERIFY_SHIFT_H

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "file_map.h"
#include "finding_list.h"

namespace ravo::checks {

/// Usual values of a file, in microseconds.
struct usual_times {
  double delay = 0;                     ///< of a server's time after its event's
  std::array<double, 32> spacing = {};  ///< of neighbouring events of a type; 0: not known
};
usual_times find_usual_times(const file_map& map);

/// The stamps of one block, compared with its event.
struct stamp {
  std::uint32_t event;
  std::uint64_t offset;                    ///< of the block
  double spacing;                          ///< of events of this type
  std::optional<double> delay;             ///< microseconds of the server's time after the event's
  std::int64_t pulse;                      ///< pulse number less event number
  std::optional<std::int64_t> frame = {};  ///< event number of the frame less that of the event
};
/// For a block of an event of a fast type. A server without a clock has no delay.
stamp make_stamp(const event_entry& event, const server_entry& server, std::uint64_t offset,
                 const usual_times& usual);

void find_shifts(const std::string& channel, const std::vector<stamp>& stamps, const usual_times& usual,
                 finding_list& findings);

}  // namespace ravo::checks

#endif
