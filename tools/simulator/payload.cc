#include "payload.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <span>
#include <string_view>

#include "noise.h"
#include "screen.h"

namespace ravo::simulator {
namespace {

constexpr double two_pi = 2.0 * std::numbers::pi;
constexpr int bunches = 64;
constexpr int rf_samples = 512;
constexpr int spectrum_samples = 96;
constexpr int spectrum_groups = 3;
constexpr int spectrum_members = 2;

// Front ends digitise: a value is a multiple of the digitisation step.
float digitised(double value, double step) { return static_cast<float>(std::round(value / step) * step); }

// A channel has random numbers of its own, seeded by its name: another channel does not change them.
noise noise_of(const channel& what, const occasion& when) {
  std::uint64_t hash = 0xcbf29ce484222325u;
  for (const char letter : what.name) hash = (hash ^ static_cast<unsigned char>(letter)) * 0x100000001b3u;
  return {when.state.seed, hash, when.state.pulse};
}

// A spectrum block of one group and without a summary, in the layout of the channel's generation.
payload_bytes plain_spectrum(const channel& what, int members, float inc, std::span<const float> values) {
  spectrum_form form;
  form.members = members;
  form.samples = static_cast<std::int32_t>(values.size()) / members;
  form.inc = inc;
  return spectrum_payload(what.dtype(), form, values);
}

payload_bytes bpm(const channel& what, const occasion& when) {
  noise numbers = noise_of(what, when);
  const position at = orbit(when.state, what.place);
  const double charge = when.state.charge * transmission(what.place);
  std::vector<float> values(3 * bunches);
  for (std::size_t bunch = 0; bunch < bunches; ++bunch) {
    // Along the bunch train the orbit slides a little; each reading has the monitor's resolution.
    const double slope = static_cast<double>(bunch) / bunches - 0.5;
    values[bunch] = digitised(at.x + 0.03 * slope + 0.005 * numbers.normal(), 0.0005);
    values[bunches + bunch] = digitised(at.y - 0.02 * slope + 0.005 * numbers.normal(), 0.0005);
    values[2 * bunches + bunch] = digitised(charge * (1.0 + 0.01 * numbers.normal()), 0.0005);
  }
  return plain_spectrum(what, 3, 1.0F, values);
}

payload_bytes toroid(const channel& what, const occasion& when) {
  noise numbers = noise_of(what, when);
  const double charge = when.state.charge * transmission(10 * what.place);
  std::vector<float> values(bunches);
  for (float& value : values) value = digitised(charge * (1.0 + 0.004 * numbers.normal()), 0.0002);
  return plain_spectrum(what, 1, 1.0F, values);
}

payload_bytes rf(const channel& what, const occasion& when) {
  noise numbers = noise_of(what, when);
  const double gradient = (18.0 + 0.4 * (what.place % 8)) * (1.0 + when.state.gradient_error);
  const double phase = -4.0 + 0.7 * (what.place % 5) + when.state.rf_phase_error;
  constexpr int fill_end = rf_samples * 3 / 10, flat_end = rf_samples * 8 / 10;
  constexpr double time_constant = rf_samples / 10.0;
  // The cavity is filled so as to reach the flat top when the beam arrives; afterwards the field rings
  // down.
  const double driven = 1.0 / (1.0 - std::exp(-fill_end / time_constant));
  std::vector<float> values(2 * rf_samples);
  for (int sample = 0; sample < rf_samples; ++sample) {
    double amplitude = gradient;
    double detuning = 0.0;
    if (sample < fill_end) {
      amplitude *= driven * (1.0 - std::exp(-sample / time_constant));
      detuning = 2.0 * (1.0 - static_cast<double>(sample) / fill_end);
    } else if (sample >= flat_end) {
      amplitude *= std::exp(-(sample - flat_end) / time_constant);
      detuning = 0.05 * (sample - flat_end);
    }
    const auto at = static_cast<std::size_t>(sample);
    values[at] = digitised(amplitude + 0.01 * numbers.normal(), 0.005);
    values[rf_samples + at] = digitised(phase + detuning + 0.05 * numbers.normal(), 0.02);
  }
  return plain_spectrum(what, 2, 4.0F, values);
}

payload_bytes spectrum(const channel& what, const occasion& when) {
  noise numbers = noise_of(what, when);
  constexpr std::size_t per_member = spectrum_samples * spectrum_groups;
  std::vector<float> values;
  values.reserve(spectrum_members * per_member);
  // A photon line that follows the beam energy over a background, each group a part of the train.
  for (int member = 0; member < spectrum_members; ++member)
    for (int group = 0; group < spectrum_groups; ++group)
      for (int sample = 0; sample < spectrum_samples; ++sample) {
        const double centre = spectrum_samples * (0.5 + 60.0 * when.state.energy_error) + 2.0 * group;
        const double distance = (sample - centre) / (4.0 + 2.0 * member);
        const double line = 900.0 * when.state.charge * std::exp(-0.5 * distance * distance);
        values.push_back(digitised(20.0 + line + (3.0 + 0.1 * std::sqrt(line)) * numbers.normal(), 0.25));
      }
  return spectrum_payload(what.dtype(),
                          {.members = spectrum_members,
                           .groups = spectrum_groups,
                           .samples = spectrum_samples,
                           .start = 13.2F,
                           .inc = 0.01F,
                           .summary = spectrum_summary::means_and_statistics},
                          values);
}

payload_bytes energy(const channel& what, const occasion& when) {
  noise numbers = noise_of(what, when);
  const double value = 1000.0 * (1.0 + when.state.energy_error) + 0.002 * numbers.normal();
  return plain_spectrum(what, 1, 1.0F, std::array{digitised(value, 0.001)});
}

payload_bytes camera(const channel& what, const occasion& when) {
  noise numbers = noise_of(what, when);
  const screen picture{64, 48, 8};
  const std::vector<std::uint8_t> pixels = take_picture<std::uint8_t>(picture, when.state, numbers);
  return frame_payload(what.dtype(),
                       {.width = picture.width,
                        .height = picture.height,
                        .x_start = 16,
                        .y_start = 8,
                        .frame = when.state.pulse,
                        .event = when.event_number},
                       std::span<const std::uint8_t>(pixels));
}

payload_bytes camera_ext(const channel& what, const occasion& when) {
  noise numbers = noise_of(what, when);
  const screen picture{48, 40, 12};
  const std::vector<std::uint16_t> pixels = take_picture<std::uint16_t>(picture, when.state, numbers);
  return frame_payload(what.dtype(),
                       {.width = picture.width,
                        .height = picture.height,
                        .x_start = 296,
                        .y_start = 220,
                        .frame = when.state.pulse,
                        .event = when.event_number,
                        .sensor_width = 640,
                        .sensor_height = 480,
                        .effective_bits = picture.bits,
                        .scale_x = 0.0125F,
                        .scale_y = 0.0125F,
                        .rotation = 90.0F},
                       std::span<const std::uint16_t>(pixels));
}

payload_bytes profile(const channel& what, const occasion& when) {
  noise numbers = noise_of(what, when);
  const auto along = [&](int length, double centre) {
    std::vector<float> values;
    for (int pixel = 0; pixel < length; ++pixel) {
      const double distance = (pixel - centre * length) / (0.08 * length);
      values.push_back(
          digitised(200.0 * std::exp(-0.5 * distance * distance) + 4.0 * numbers.uniform(), 0.25));
    }
    return values;
  };
  const std::vector<float> x = along(64, when.state.spot_x);
  const std::vector<float> y = along(48, when.state.spot_y);
  return profile_payload(16, 8, x, y);
}

payload_bytes slow(const channel& what, const occasion& when) {
  noise numbers = noise_of(what, when);
  const float current = digitised(20.0 + what.place + 0.5 * numbers.normal(), 0.01);
  return update_payload(what.dtype(), "CURRENT.SET", when.time, current);
}

payload_bytes environment(const channel& what, const occasion& when) {
  noise numbers = noise_of(what, when);
  const double day = std::sin(two_pi * when.state.seconds / 86400.0);
  return environment_payload(what.env_index, when.time,
                             digitised(21.5 + 0.3 * what.place + day + 0.02 * numbers.normal(), 0.01));
}

payload_bytes status(const channel& what, const occasion& when) {
  noise numbers = noise_of(what, when);
  const named_value values[] = {
      {"BUNCHES", bunches},
      {"LASER_ENERGY", digitised(50.0 * when.state.charge + 0.1 * numbers.normal(), 0.01)},
      {"REPETITION_RATE", 10.0F},
  };
  return name_value_payload(values, 1 + what.place, "state of the linac");
}

payload_bytes message(const occasion& when) {
  constexpr std::string_view texts[] = {"beam on", "feedback active", "dark current low", "orbit steered"};
  return text_payload(texts[when.state.pulse / 20 % std::size(texts)]);
}

}  // namespace

payload_bytes make_payload(const channel& what, const occasion& when) {
  switch (what.kind) {
    case channel_kind::bpm:
      return bpm(what, when);
    case channel_kind::toroid:
      return toroid(what, when);
    case channel_kind::rf:
      return rf(what, when);
    case channel_kind::spectrum:
      return spectrum(what, when);
    case channel_kind::energy:
      return energy(what, when);
    case channel_kind::camera:
      return camera(what, when);
    case channel_kind::camera_ext:
      return camera_ext(what, when);
    case channel_kind::profile:
      return profile(what, when);
    case channel_kind::slow:
      return slow(what, when);
    case channel_kind::environment:
      return environment(what, when);
    case channel_kind::status:
      return status(what, when);
    case channel_kind::message:
      return message(when);
    case channel_kind::run_begin:
      return update_payload(what.dtype(), "RUN.BEGIN", when.time, static_cast<float>(when.run));
    case channel_kind::run_end:
      return update_payload(what.dtype(), "RUN.END", when.time, static_cast<float>(when.run));
  }
  return {};
}

}  // namespace ravo::simulator
