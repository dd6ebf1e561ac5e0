// What an instrument sees of a pulse, as the data of a block in host order. Layouts are those of
// ravo_payload.h; which instruments there are is channels.h's.
#ifndef RAVO_SIMULATOR_PAYLOAD_H
#define RAVO_SIMULATOR_PAYLOAD_H

#include <vector>

#include "simulator/channels.h"
#include "simulator/machine.h"

namespace ravo::simulator {

/// What the data of one event depend on, beside the channel.
struct occasion {
  pulse_state state;
  std::uint32_t event_number;
  time_stamp time;
  int run;
};

/// The data of one block of the channel.
std::vector<unsigned char> make_payload(const channel& what, const occasion& when);

}  // namespace ravo::simulator

#endif
