// The accelerator itself: what the beam and the fields do in one pulse. Instruments look at it through
// payload.h; it knows nothing of channels, blocks or files.
#ifndef RAVO_SIMULATOR_MACHINE_H
#define RAVO_SIMULATOR_MACHINE_H

#include <cstdint>

#include "ravo_core_records.h"
#include "ravo_simulator.h"

namespace ravo::simulator {

/// The time of a pulse, shifted by a fraction of the time between pulses.
time_stamp time_of_pulse(const simulated_clock& clock, std::uint64_t seed, std::uint32_t pulse,
                         double part_of_period);

/// The state of the machine in one pulse.
struct pulse_state {
  std::uint64_t seed;
  std::uint32_t pulse;  ///< counted from 0
  double seconds;       ///< since pulse 0
  double charge;        ///< of one bunch at the source, nC
  double energy_error;  ///< relative
  double x_amplitude;   ///< of the betatron oscillation, mm
  double x_phase;
  double y_amplitude;
  double y_phase;
  double gradient_error;  ///< of the accelerating field, relative
  double rf_phase_error;  ///< degrees
  double spot_x;          ///< centre of the beam spot on the screen, parts of the picture's width
  double spot_y;
};

/// The state in pulse number `pulse`: slow drifts, a feedback's residual and noise from pulse to pulse.
pulse_state state_of_machine(const simulated_clock& clock, std::uint64_t seed, std::uint32_t pulse);

/// The orbit at a place along the machine, mm.
struct position {
  double x;
  double y;
};
position orbit(const pulse_state& state, int place);

/// The fraction of the source's charge that arrives at a place along the machine.
double transmission(int place);

}  // namespace ravo::simulator

#endif
