// What an instrument sees of a pulse, as the data of a block in host order, in the layout of the channel's
// data type; which instruments there are is channels.h's.
#ifndef RAVO_SIMULATOR_PAYLOAD_H
#define RAVO_SIMULATOR_PAYLOAD_H

#include "channels.h"
#include "machine.h"
#include "ravo_daq/payloads.h"

namespace ravo::simulator {

/// What the data of one event depend on, beside the channel.
struct occasion {
  pulse_state state;
  std::uint32_t event_number;
  time_stamp time;
  int run;
};

/// The data of one block of the channel. No channel here has data without a place in the older spectrum.
payload_bytes make_payload(const channel& what, const occasion& when);

}  // namespace ravo::simulator

#endif
