// Numbers that look random but are not: each is a function of a seed, a stream and a pulse, so
// that every channel has its own, whatever the order in which events are made, and the same seed
// gives the same bytes on every machine. Made for a simulation, not for statistics or secrets.
#ifndef RAVO_SIMULATOR_NOISE_H
#define RAVO_SIMULATOR_NOISE_H

#include <cstdint>

namespace ravo::simulator {

class noise {
 public:
  noise(std::uint64_t seed, std::uint64_t stream, std::uint64_t pulse)
      : state_(mix(mix(mix(seed) ^ stream) ^ pulse)) {}

  /// Evenly spread over 0 (included) to 1 (not included).
  double uniform() { return static_cast<double>(next() >> 11) * 0x1.0p-53; }

  /// Bell-shaped around 0 with a standard deviation of 1, never beyond 3.5: the sum of four
  /// 16-bit numbers, which uses nothing of the C library that could differ between machines.
  double normal() {
    const std::uint64_t word = next();
    const std::uint64_t sum =
        (word & 0xffff) + (word >> 16 & 0xffff) + (word >> 32 & 0xffff) + (word >> 48);
    return (static_cast<double>(sum) - 2.0 * 65535.0) * (1.7320508075688772 / 65536.0);
  }

 private:
  // A step that visits every 64-bit value, and a mixing of its bits.
  std::uint64_t next() { return mix(state_ += 0x9e3779b97f4a7c15u); }

  static std::uint64_t mix(std::uint64_t word) {
    word = (word ^ word >> 30) * 0xbf58476d1ce4e5b9u;
    word = (word ^ word >> 27) * 0x94d049bb133111ebu;
    return word ^ word >> 31;
  }

  std::uint64_t state_;
};

}  // namespace ravo::simulator

#endif
