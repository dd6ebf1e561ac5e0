#include "simulator/payload.h"
#include "simulator/append.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <numbers>
#include <span>
#include <string_view>
#include <type_traits>

#include "ravo_payload.h"
#include "simulator/noise.h"
#include "simulator/screen.h"

namespace ravo::simulator {
namespace {

constexpr double two_pi = 2.0 * std::numbers::pi;
constexpr int bunches = 64;
constexpr int rf_samples = 512;
constexpr int spectrum_samples = 96;
constexpr int spectrum_groups = 3;
constexpr int spectrum_members = 2;

using bytes = std::vector<unsigned char>;

// Front ends digitise: a value is a multiple of the digitisation step.
float digitised(double value, double step) { return static_cast<float>(std::round(value / step) * step); }

// A channel has random numbers of its own, seeded by its name: another channel does not change them.
noise noise_of(const channel& what, const occasion& when) {
  std::uint64_t hash = 0xcbf29ce484222325u;
  for (const char letter : what.name) hash = (hash ^ static_cast<unsigned char>(letter)) * 0x100000001b3u;
  return {when.state.seed, hash, when.state.pulse};
}

// A spectrum block of one group and without means.
bytes plain_spectrum(int members, float start, float inc, std::span<const float> values) {
  ravo_spect_head_2010 head{};
  head.members = members;
  head.samples = static_cast<std::int32_t>(values.size()) / members;
  head.groups = 1;
  head.start = start;
  head.inc = inc;
  bytes block;
  append(block, head);
  append(block, std::span<const float>(values));
  return block;
}

bytes bpm(const channel& what, const occasion& when) {
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
  return plain_spectrum(3, 0.0F, 1.0F, values);
}

bytes toroid(const channel& what, const occasion& when) {
  noise numbers = noise_of(what, when);
  const double charge = when.state.charge * transmission(10 * what.place);
  std::vector<float> values(bunches);
  for (float& value : values) value = digitised(charge * (1.0 + 0.004 * numbers.normal()), 0.0002);
  return plain_spectrum(1, 0.0F, 1.0F, values);
}

bytes rf(const channel& what, const occasion& when) {
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
  return plain_spectrum(2, 0.0F, 4.0F, values);
}

ravo_spect_statistics_2010 statistics_of(std::span<const float> values) {
  double sum = 0, squares = 0;
  for (const float value : values) {
    sum += value;
    squares += static_cast<double>(value) * value;
  }
  const auto count = static_cast<double>(values.size());
  const auto [least, most] = std::minmax_element(values.begin(), values.end());
  ravo_spect_statistics_2010 statistics{};
  statistics.mask = 0xf;
  statistics.val[0] = static_cast<float>(sum / count);
  statistics.val[1] = static_cast<float>(std::sqrt(squares / count));
  statistics.val[2] = *least;
  statistics.val[3] = *most;
  return statistics;
}

bytes spectrum(const channel& what, const occasion& when) {
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
  ravo_spect_head_2010 head{};
  head.members = spectrum_members;
  head.samples = spectrum_samples;
  head.groups = spectrum_groups;
  head.start = 13.2F;
  head.inc = 0.01F;
  head.groups_inc = 0.0F;
  head.flags = RAVO_SPECT_HAS_MEANS | RAVO_SPECT_HAS_STATISTICS;
  std::vector<ravo_spect_statistics_2010> statistics;
  const std::span<const float> all(values);
  for (std::size_t member = 0; member < spectrum_members; ++member)
    statistics.push_back(statistics_of(all.subspan(member * per_member, per_member)));
  bytes block;
  append(block, head);
  for (const auto& one : statistics) append(block, one.val[0]);
  for (const auto& one : statistics) append(block, one);
  append(block, all);
  return block;
}

bytes energy(const channel& what, const occasion& when) {
  noise numbers = noise_of(what, when);
  const double value = 1000.0 * (1.0 + when.state.energy_error) + 0.002 * numbers.normal();
  return plain_spectrum(1, 0.0F, 1.0F, std::array{digitised(value, 0.001)});
}

bytes camera(const channel& what, const occasion& when) {
  noise numbers = noise_of(what, when);
  const screen picture{64, 48, 8};
  const bytes pixels = take_picture(picture, when.state, numbers);
  ravo_image_frame_head head{};
  head.w = static_cast<std::uint32_t>(picture.width) | 16u << 16;
  head.h = static_cast<std::uint32_t>(picture.height) | 8u << 16;
  head.bpp = 1 | 1u << 4 | 1u << 18;
  head.frame = when.state.pulse;
  head.event_nm = when.event_number;
  head.length = static_cast<std::int32_t>(pixels.size());
  bytes block;
  append(block, head);
  append(block, std::span<const unsigned char>(pixels));
  return block;
}

bytes camera_ext(const channel& what, const occasion& when) {
  noise numbers = noise_of(what, when);
  const screen picture{48, 40, 12};
  const bytes pixels = take_picture(picture, when.state, numbers);
  ravo_image_ext_frame_head head{};
  head.width = 640;
  head.height = 480;
  head.aoi_width = picture.width;
  head.aoi_height = picture.height;
  head.x_start = 296;
  head.y_start = 220;
  head.bpp = 2;
  head.ebitpp = picture.bits;
  head.hbin = head.vbin = 1;
  head.frame = when.state.pulse;
  head.event = when.event_number;
  head.scale_x = head.scale_y = 0.0125F;
  head.image_rotation = 90.0F;
  head.length = static_cast<std::int32_t>(pixels.size());
  bytes block;
  append(block, head);
  append(block, std::span<const unsigned char>(pixels));
  return block;
}

bytes profile(const channel& what, const occasion& when) {
  noise numbers = noise_of(what, when);
  const ravo_roi_head head{16, 8, 64, 48};
  std::vector<float> values;
  auto add = [&](int length, double centre) {
    for (int pixel = 0; pixel < length; ++pixel) {
      const double distance = (pixel - centre * length) / (0.08 * length);
      values.push_back(
          digitised(200.0 * std::exp(-0.5 * distance * distance) + 4.0 * numbers.uniform(), 0.25));
    }
  };
  add(head.width, when.state.spot_x);
  add(head.height, when.state.spot_y);
  bytes block;
  append(block, head);
  append(block, std::span<const float>(values));
  return block;
}

bytes update(std::string_view property, time_stamp time, double value) {
  ravo_upd_data_block_2010 data{};
  property.copy(data.upd_prop, sizeof data.upd_prop - 1);
  data.upd_ch_time = time;
  data.upd_ch_data = static_cast<float>(value);
  bytes block;
  append(block, data);
  return block;
}

bytes environment(const channel& what, const occasion& when) {
  noise numbers = noise_of(what, when);
  ravo_env_data_block_2010 data{};
  data.env_ch_idx = what.env_index;
  data.env_ch_time = when.time;
  const double day = std::sin(two_pi * when.state.seconds / 86400.0);
  data.env_ch_data = digitised(21.5 + 0.3 * what.place + day + 0.02 * numbers.normal(), 0.01);
  bytes block;
  append(block, data);
  return block;
}

bytes status(const channel& what, const occasion& when) {
  noise numbers = noise_of(what, when);
  ravo_name_value_block head{};
  head.id = 1 + what.place;
  std::string_view("state of the linac").copy(head.comment, sizeof head.comment - 1);
  head.ndata = 3;
  bytes block;
  append(block, head);
  auto add = [&](std::string_view name, double value) {
    ravo_name_value_channel pair{};
    name.copy(pair.name, sizeof pair.name - 1);
    pair.value = static_cast<float>(value);
    append(block, pair);
  };
  add("BUNCHES", bunches);
  add("LASER_ENERGY", digitised(50.0 * when.state.charge + 0.1 * numbers.normal(), 0.01));
  add("REPETITION_RATE", 10.0);
  return block;
}

bytes message(const occasion& when) {
  constexpr std::string_view texts[] = {"beam on", "feedback active", "dark current low", "orbit steered"};
  const std::string_view text = texts[when.state.pulse / 20 % std::size(texts)];
  bytes block(text.begin(), text.end());
  block.resize((text.size() / 4 + 1) * 4, 0);  // closing zero, and whole words
  return block;
}

}  // namespace

std::vector<unsigned char> make_payload(const channel& what, const occasion& when) {
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
    case channel_kind::slow: {
      noise numbers = noise_of(what, when);
      return update("CURRENT.SET", when.time, digitised(20.0 + what.place + 0.5 * numbers.normal(), 0.01));
    }
    case channel_kind::environment:
      return environment(what, when);
    case channel_kind::status:
      return status(what, when);
    case channel_kind::message:
      return message(when);
    case channel_kind::run_begin:
      return update("RUN.BEGIN", when.time, when.run);
    case channel_kind::run_end:
      return update("RUN.END", when.time, when.run);
  }
  return {};
}

}  // namespace ravo::simulator
