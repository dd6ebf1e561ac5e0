#include "screen.h"

#include <algorithm>
#include <cmath>

namespace ravo::simulator {
namespace {

// The spot along one axis: 1 at its centre.
std::vector<double> profile_along(int length, double centre, double width) {
  std::vector<double> values(static_cast<std::size_t>(length));
  for (int pixel = 0; pixel < length; ++pixel) {
    const double distance = (pixel - centre * length) / (width * length);
    values[static_cast<std::size_t>(pixel)] = std::exp(-0.5 * distance * distance);
  }
  return values;
}

}  // namespace

template <class Pixel>
std::vector<Pixel> take_picture(const screen& picture, const pulse_state& state, noise& numbers) {
  const int most = (1 << picture.bits) - 1;
  const std::vector<double> x = profile_along(picture.width, state.spot_x, 0.08);
  const std::vector<double> y = profile_along(picture.height, state.spot_y, 0.10);
  const double brightness = 0.75 * most * state.charge;
  std::vector<Pixel> pixels;
  pixels.reserve(x.size() * y.size());
  for (const double row : y)
    for (const double column : x) {
      const double light = brightness * row * column + 0.03 * most * numbers.uniform();
      pixels.push_back(static_cast<Pixel>(std::clamp(light, 0.0, static_cast<double>(most))));
    }
  return pixels;
}

template std::vector<std::uint8_t> take_picture(const screen&, const pulse_state&, noise&);
template std::vector<std::uint16_t> take_picture(const screen&, const pulse_state&, noise&);

}  // namespace ravo::simulator
