#include "simulator/screen.h"

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

std::vector<unsigned char> take_picture(const screen& picture, const pulse_state& state, noise& numbers) {
  const int most = (1 << picture.bits) - 1;
  const std::vector<double> x = profile_along(picture.width, state.spot_x, 0.08);
  const std::vector<double> y = profile_along(picture.height, state.spot_y, 0.10);
  const double brightness = 0.75 * most * state.charge;
  std::vector<unsigned char> pixels;
  pixels.reserve(x.size() * y.size() * (picture.bits > 8 ? 2 : 1));
  for (const double row : y)
    for (const double column : x) {
      const double light = brightness * row * column + 0.03 * most * numbers.uniform();
      const auto pixel = static_cast<unsigned>(std::clamp(light, 0.0, static_cast<double>(most)));
      if (picture.bits > 8) pixels.push_back(static_cast<unsigned char>(pixel >> 8));
      pixels.push_back(static_cast<unsigned char>(pixel));
    }
  return pixels;
}

}  // namespace ravo::simulator
