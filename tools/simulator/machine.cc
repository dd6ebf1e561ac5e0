#include "machine.h"

#include <cmath>
#include <numbers>

#include "noise.h"

namespace ravo::simulator {
namespace {

constexpr double two_pi = 2.0 * std::numbers::pi;

// Random streams of the machine; those of channels count from channel_streams (payload.cc) on.
enum stream : std::uint64_t { clock_stream, beam_stream };

// Optics: amplitude function, phase advance from one place to the next, and dispersion.
constexpr double phase_advance_x = 0.2331;  // turns
constexpr double phase_advance_y = 0.1907;
double beta(int place, double phase) { return 1.0 + 0.6 * std::cos(two_pi * 0.5 * place + phase); }
double dispersion(int place) { return 120.0 * std::sin(two_pi * 0.031 * place); }  // mm

}  // namespace

time_stamp time_of_pulse(const simulated_clock& clock, std::uint64_t seed, std::uint32_t pulse,
                         double part_of_period) {
  noise numbers(seed, clock_stream, pulse);
  const double period = 1e6 / clock.rate;
  // The trigger jitters by a few thousandths of the period and never comes before the pulse:
  // neighbours do not change places, and the first event does not come before the start.
  const double jitter = period * (0.015 + 0.004 * numbers.normal());
  const auto microseconds = std::llround((pulse + part_of_period) * period + jitter) +
                            static_cast<long long>(clock.start.timelow);
  const long long total = static_cast<long long>(clock.start.timeup) * 1'000'000 + microseconds;
  return {static_cast<std::uint32_t>(total / 1'000'000), static_cast<std::uint32_t>(total % 1'000'000)};
}

pulse_state state_of_machine(const simulated_clock& clock, std::uint64_t seed, std::uint32_t pulse) {
  noise numbers(seed, beam_stream, pulse);
  pulse_state state{};
  state.seed = seed;
  state.pulse = pulse;
  state.seconds = pulse / clock.rate;
  const double t = state.seconds;
  state.charge = 1.0 + 0.02 * std::sin(two_pi * t / 47.0) + 0.008 * numbers.normal();
  state.gradient_error = 4e-4 * std::sin(two_pi * t / 113.0) + 1e-4 * numbers.normal();
  state.rf_phase_error = 0.3 * std::sin(two_pi * t / 71.0) + 0.05 * numbers.normal();
  state.energy_error = state.gradient_error + 2e-5 * state.rf_phase_error + 2e-5 * numbers.normal();
  state.x_amplitude = 0.25 + 0.05 * numbers.normal();
  state.x_phase = two_pi * 0.28 * pulse + 0.2 * numbers.normal();
  state.y_amplitude = 0.18 + 0.04 * numbers.normal();
  state.y_phase = two_pi * 0.31 * pulse + 0.2 * numbers.normal();
  state.spot_x = 0.5 + 0.15 * std::sin(two_pi * t / 60.0) + 0.01 * numbers.normal();
  state.spot_y = 0.5 + 0.12 * std::cos(two_pi * t / 83.0) + 0.01 * numbers.normal();
  return state;
}

position orbit(const pulse_state& state, int place) {
  const double x = state.x_amplitude * std::sqrt(beta(place, 0.0)) *
                   std::cos(state.x_phase + two_pi * phase_advance_x * place);
  const double y = state.y_amplitude * std::sqrt(beta(place, std::numbers::pi)) *
                   std::cos(state.y_phase + two_pi * phase_advance_y * place);
  return {x + dispersion(place) * state.energy_error, y};
}

double transmission(int place) { return std::exp(-0.0015 * place); }

}  // namespace ravo::simulator
