// Draws a frame in colours, with axes and a scale.
#include <algorithm>
#include <cmath>

#include "drawing/picture/sketch.h"

namespace ravo::drawing {
namespace {

constexpr double bar_width = 16, bar_gap = 18;

// A frame whose steps differ by more than this has no plausible binning.
constexpr double most_oblong = 16;

struct pixel_shape {
  double width = 1, height = 1;
};

// The sides are in the ratio of the steps along both axes, the smaller one being 1.
pixel_shape shape_of(const frame_panel& shown) {
  const double least = std::min(shown.x.step, shown.y.step), most = std::max(shown.x.step, shown.y.step);
  if (!(least > 0) || !(most / least <= most_oblong)) return {};
  return {shown.x.step / least, shown.y.step / least};
}

// The pixels of the sensor that are labelled, with their places in points from the frame's left or top.
std::vector<tick> pixel_ticks(const sensor_axis& axis, int pixels, double length,
                              const text_ruler* across) {
  const double step = axis.step > 0 ? axis.step : 1;
  const interval range{axis.start - 0.5 * step, axis.start + (pixels - 0.5) * step};
  std::vector<tick> ticks = across ? ticks_across(range, length, *across) : ticks_upward(range, length);
  // Removes ticks between two pixels.
  std::erase_if(ticks, [&](const tick& one) {
    return one.value != std::round(one.value) || one.value < axis.start ||
           one.value > axis.start + (pixels - 1) * step;
  });
  for (tick& one : ticks) one.value = range.part(one.value) * length;
  return ticks;
}

image_shape image_of(const frame_panel& shown, const box& where) {
  const grey_picture small =
      shrunk(shown.frame, static_cast<int>(std::lround(where.width * page::dots_per_point)),
             static_cast<int>(std::lround(where.height * page::dots_per_point)));
  const colour_table table = table_of(shown.map);
  image_shape image{where, small.width, small.height, {}};
  image.pixels.reserve(small.pixels.size());
  for (const float pixel : small.pixels)
    image.pixels.push_back(colour_at(table, shown.brightness.part(double{pixel})));
  return image;
}

// Marks pixels beyond this end of the scale. It has an outline, because the end may be white.
void draw_triangle(sketch& on, const std::vector<point>& corners, colour ink) {
  on.made.shapes.emplace_back(area_shape{corners, ink});
  std::vector<point> outline = corners;
  outline.push_back(corners.front());
  on.made.shapes.emplace_back(path_shape{std::move(outline), ink_of_frames, 1});
}

// Draws the map from bottom to top, with the quantity that it counts.
void draw_scale(sketch& on, const frame_panel& shown, const box& where) {
  const colour_table table = table_of(shown.map);
  image_shape map{where, 1, static_cast<int>(table.size()), {table.rbegin(), table.rend()}};
  on.made.shapes.emplace_back(map);
  on.frame(where);
  const interval found = brightness_of(shown.frame);
  const double middle = where.left + where.width / 2, tip = 9;
  if (found.high > shown.brightness.high)
    draw_triangle(on, {{where.left, where.top}, {where.right(), where.top}, {middle, where.top - tip}},
                  table.back());
  if (found.low < shown.brightness.low)
    draw_triangle(
        on, {{where.left, where.bottom()}, {where.right(), where.bottom()}, {middle, where.bottom() + tip}},
        table.front());
  for (const tick& one : ticks_upward(shown.brightness, where.height)) {
    const double y = on_grid(where.bottom() - shown.brightness.part(one.value) * where.height);
    on.line({where.right(), y}, {where.right() + tick_length, y}, ink_of_frames);
    on.text({where.right() + label_gap, y}, one.label, tick_style);
  }
  const double labels = width_of(ticks_upward(shown.brightness, where.height), on.ruler);
  on.text({where.right() + label_gap + labels + row_height / 2 + 4, where.top + where.height / 2},
          fitted(shown.scale, axis_style, where.height, on.ruler), axis_style, anchor::centre,
          direction::upward);
}

void draw_axes(sketch& on, const frame_panel& shown, const panel_space& space, const box& where) {
  for (const tick& one : pixel_ticks(shown.x, shown.frame.width, where.width, &on.ruler)) {
    const double x = on_grid(where.left + one.value);
    on.line({x, where.bottom()}, {x, where.bottom() + tick_length}, ink_of_frames);
    on.text({x, where.bottom() + tick_length + row_height / 2}, one.label, tick_style, anchor::centre);
  }
  for (const tick& one : pixel_ticks(shown.y, shown.frame.height, where.height, nullptr)) {
    const double y = on_grid(where.top + one.value);
    on.line({where.left - tick_length, y}, {where.left, y}, ink_of_frames);
    on.text({where.left - label_gap, y}, one.label, tick_style, anchor::right);
  }
  on.text({where.left + where.width / 2, where.bottom() + tick_length + 1.5 * row_height},
          fitted("x, pixels of the sensor", axis_style, where.width, on.ruler), axis_style, anchor::centre);
  on.text({space.begin + row_height / 2, where.top + where.height / 2},
          fitted("y, pixels of the sensor", axis_style, where.height, on.ruler), axis_style, anchor::centre,
          direction::upward);
}

}  // namespace

// A whole number of dots for each pixel, so that all have the
// same size; a frame that is too large for that is shrunk.
box pixels_of(const frame_panel& shown) {
  const pixel_shape one = shape_of(shown);
  const double width = shown.frame.width * one.width, height = shown.frame.height * one.height;
  double dots = std::min(page::frame_width / width, page::frame_height / height) * page::dots_per_point;
  if (dots >= 1) dots = std::floor(dots);
  const double points = dots / page::dots_per_point, least = 8;
  return {0, 0, std::max(width * points, least), std::max(height * points, least)};
}

double side_of(const frame_panel& shown, const text_ruler& ruler) {
  const double height = pixels_of(shown).height;
  return row_height + 2 + width_of(pixel_ticks(shown.y, shown.frame.height, height, nullptr), ruler) +
         label_gap;
}

double scale_width_of(const frame_panel& shown, const text_ruler& ruler) {
  const double height = pixels_of(shown).height;
  return bar_gap + bar_width + label_gap + width_of(ticks_upward(shown.brightness, height), ruler) +
         row_height + 4;
}

double draw_panel(sketch& on, const frame_panel& shown, const panel_space& space, double top) {
  top += draw_heading(on, space, top, shown.title, shown.note);
  box where = pixels_of(shown);
  where.left = space.left;
  where.top = on_grid(top + 12);
  on.made.shapes.emplace_back(image_of(shown, where));
  on.frame(where);
  draw_axes(on, shown, space, where);
  draw_scale(on, shown, {where.right() + bar_gap, where.top, bar_width, where.height});
  return where.bottom() + tick_length + 2 * row_height;
}

}  // namespace ravo::drawing
