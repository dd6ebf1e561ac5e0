#include "drawing/picture/colour_map.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace ravo::drawing {
namespace {

struct linear_light {
  double red, green, blue;
};

// Oklab (Ottosson, 2020): lightness as the eye perceives it, hue in degrees, chroma 0 for grey.
linear_light light_of(double lightness, double chroma, double hue) {
  const double angle = hue * std::numbers::pi / 180;
  const double a = chroma * std::cos(angle), b = chroma * std::sin(angle);
  const double l = std::pow(lightness + 0.3963377774 * a + 0.2158037573 * b, 3);
  const double m = std::pow(lightness - 0.1055613458 * a - 0.0638541728 * b, 3);
  const double s = std::pow(lightness - 0.0894841775 * a - 1.2914855480 * b, 3);
  return {4.0767416621 * l - 3.3077115913 * m + 0.2309699292 * s,
          -1.2684380046 * l + 2.6097574011 * m - 0.3413193965 * s,
          -0.0041960863 * l - 0.7034186147 * m + 1.7076147010 * s};
}

bool can_be_shown(const linear_light& light) {
  const auto is_inside = [](double part) { return part >= 0 && part <= 1; };
  return is_inside(light.red) && is_inside(light.green) && is_inside(light.blue);
}

// The greatest chroma up to `wanted` that a screen can show.
double chroma_within_reach(double lightness, double wanted, double hue) {
  if (can_be_shown(light_of(lightness, wanted, hue))) return wanted;
  double low = 0, high = wanted;
  for (int i = 0; i < 30; ++i) {
    const double middle = (low + high) / 2;
    (can_be_shown(light_of(lightness, middle, hue)) ? low : high) = middle;
  }
  return low;
}

// The byte that a screen with the sRGB curve shows with this brightness.
std::uint8_t byte_of(double light) {
  const double part = std::clamp(light, 0.0, 1.0);
  const double curved = part <= 0.0031308 ? 12.92 * part : 1.055 * std::pow(part, 1 / 2.4) - 0.055;
  return static_cast<std::uint8_t>(std::lround(255 * curved));
}

colour shown(double lightness, double chroma, double hue) {
  const linear_light light = light_of(lightness, chroma_within_reach(lightness, chroma, hue), hue);
  return {byte_of(light.red), byte_of(light.green), byte_of(light.blue)};
}

colour entry_of(colour_map map, double part) {
  switch (map) {
    case colour_map::aurora:
      return shown(0.22 + 0.72 * part, 0.085 + 0.09 * (2 * part - 1) * (2 * part - 1), 300 - 195 * part);
    case colour_map::ember:
      return shown(0.18 + 0.81 * part, 0.13 * std::sin(std::numbers::pi * std::pow(part, 0.9)),
                   20 + 80 * part);
    case colour_map::grey: {
      const auto level = static_cast<std::uint8_t>(std::lround(255 * part));
      return {level, level, level};
    }
  }
  return {};
}

}  // namespace

colour_table table_of(colour_map map) {
  colour_table table;
  for (std::size_t i = 0; i < table.size(); ++i)
    table[i] = entry_of(map, static_cast<double>(i) / static_cast<double>(table.size() - 1));
  return table;
}

colour colour_at(const colour_table& table, double part) {
  if (!(part > 0)) return table.front();
  const double last = static_cast<double>(table.size() - 1);
  return table[static_cast<std::size_t>(std::lround(std::min(part, 1.0) * last))];
}

}  // namespace ravo::drawing
