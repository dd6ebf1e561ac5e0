#include "drawing/grey_picture.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string_view>

namespace ravo::drawing {
namespace {

// The first pixel of the larger picture that pixel `index` of
// `size` replaces; the last one is before the first of the next.
std::int64_t begin_of(int index, int size, int of) { return std::int64_t{index} * of / size; }

float mean_of(const grey_picture& picture, int x, int y, int width, int height) {
  double sum = 0;
  const std::int64_t x_end = begin_of(x + 1, width, picture.width),
                     y_end = begin_of(y + 1, height, picture.height);
  const std::int64_t x_begin = begin_of(x, width, picture.width),
                     y_begin = begin_of(y, height, picture.height);
  for (std::int64_t row = y_begin; row < y_end; ++row)
    for (std::int64_t column = x_begin; column < x_end; ++column)
      sum += double{picture.at(static_cast<int>(column), static_cast<int>(row))};
  return static_cast<float>(sum / static_cast<double>((x_end - x_begin) * (y_end - y_begin)));
}

// 0 to levels - 1.
int level_of(float pixel, interval brightness, int levels) {
  return std::clamp(static_cast<int>(brightness.part(double{pixel}) * levels), 0, levels - 1);
}

// One half of a cell: 38 is the colour of the letter, 48 that of the background.
std::string colour_of(int half, float pixel, interval brightness, colours how) {
  if (how == colours::of_24_bits) {
    const int grey = level_of(pixel, brightness, 256);
    return fmt::format("\033[{};2;{};{};{}m", half, grey, grey, grey);
  }
  // Black, the 24 greys of the palette, white.
  constexpr int black = 16, darkest_grey = 232, greys = 24, white = 231;
  const int level = level_of(pixel, brightness, greys + 2);
  const int entry = level == 0 ? black : level == greys + 1 ? white : darkest_grey + level - 1;
  return fmt::format("\033[{};5;{}m", half, entry);
}

std::string half_blocks(const grey_picture& picture, int row, interval brightness, colours how) {
  std::string line, upper_before, lower_before;
  for (int x = 0; x < picture.width; ++x) {
    const bool has_lower = row + 1 < picture.height;
    const std::string upper = colour_of(38, picture.at(x, row), brightness, how);
    const std::string lower = has_lower ? colour_of(48, picture.at(x, row + 1), brightness, how) : "";
    if (upper != upper_before) line += upper;
    if (lower != lower_before) line += lower;
    upper_before = upper;
    lower_before = lower;
    line += "▀";
  }
  return line + "\033[0m";
}

std::string ramp(const grey_picture& picture, int row, interval brightness) {
  constexpr std::string_view darker_to_brighter = " .:-=+*#%@";
  std::string line;
  for (int x = 0; x < picture.width; ++x) {
    float pixel = picture.at(x, row);
    if (row + 1 < picture.height) pixel = (pixel + picture.at(x, row + 1)) / 2;
    line += darker_to_brighter[static_cast<std::size_t>(
        level_of(pixel, brightness, static_cast<int>(darker_to_brighter.size())))];
  }
  line.erase(line.find_last_not_of(' ') + 1);
  return line;
}

}  // namespace

grey_picture shrunk(const grey_picture& picture, int width, int height) {
  const double scale = std::min(
      {1.0, static_cast<double>(width) / picture.width, static_cast<double>(height) / picture.height});
  if (picture.pixels.empty() || scale >= 1) return picture;
  grey_picture small;
  small.width = std::clamp(static_cast<int>(std::lround(picture.width * scale)), 1, picture.width);
  small.height = std::clamp(static_cast<int>(std::lround(picture.height * scale)), 1, picture.height);
  for (int y = 0; y < small.height; ++y)
    for (int x = 0; x < small.width; ++x)
      small.pixels.push_back(mean_of(picture, x, y, small.width, small.height));
  return small;
}

interval brightness_of(const grey_picture& picture) {
  if (picture.pixels.empty()) return {0, 0};
  const auto [least, most] = std::minmax_element(picture.pixels.begin(), picture.pixels.end());
  return {double{*least}, double{*most}};
}

std::vector<std::string> terminal_picture(const grey_picture& picture, int columns, int rows, colours how) {
  const grey_picture small = shrunk(picture, columns, 2 * rows);
  interval brightness = brightness_of(small);
  if (!(brightness.low < brightness.high)) brightness.high = brightness.low + 1;  // all black
  std::vector<std::string> lines;
  if (small.pixels.empty()) return lines;
  for (int row = 0; row < small.height; row += 2)
    lines.push_back(how == colours::none ? ramp(small, row, brightness)
                                         : half_blocks(small, row, brightness, how));
  return lines;
}

}  // namespace ravo::drawing
