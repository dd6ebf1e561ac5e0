#include "drawing/plot_picture.h"

#include <algorithm>
#include <cmath>

#include "drawing/ticks.h"

namespace ravo::drawing {
namespace {

constexpr colour white{255, 255, 255}, black{0, 0, 0}, pale{220, 220, 220}, blue{20, 70, 170};
using layout = panel_layout;

void frame(raster& picture, int top) {
  const place upper_left{layout::left, top},
      lower_right{layout::left + layout::plot_width - 1, top + layout::plot_height - 1};
  picture.line(upper_left, {upper_left.x, lower_right.y}, black);
  picture.line({upper_left.x, lower_right.y}, lower_right, black);
  picture.line(lower_right, {lower_right.x, upper_left.y}, black);
  picture.line({lower_right.x, upper_left.y}, upper_left, black);
}

void side_axis(raster& picture, int top, interval values) {
  for (const tick& one : round_ticks(values, 6)) {
    const int y = top + layout::plot_height - 1 -
                  static_cast<int>(std::lround(values.part(one.value) * (layout::plot_height - 1)));
    picture.line({layout::left, y}, {layout::left + layout::plot_width - 1, y}, pale);
    picture.text({layout::left - 8 - raster::text_width(one.label), y - raster::text_height / 2}, one.label,
                 black);
  }
}

void floor_axis(raster& picture, int top, interval axis) {
  for (const tick& one : round_ticks(axis, 8)) {
    const int x =
        layout::left + static_cast<int>(std::lround(axis.part(one.value) * (layout::plot_width - 1)));
    picture.line({x, top}, {x, top + layout::plot_height - 1}, pale);
    const int label_width = raster::text_width(one.label);
    const int label_x = std::min(x - label_width / 2, layout::width - label_width);
    picture.text({label_x, top + layout::plot_height + 8}, one.label, black);
  }
}

void panel(raster& picture, int above, const plot_panel& shown) {
  const int top = above + layout::top;
  const curve drawn = with_axis(shown.drawn);
  picture.text({layout::left, above + 8}, shown.title, black);
  const place below{layout::left + layout::plot_width / 2 - raster::text_width(shown.axis) / 2,
                    top + layout::plot_height + 32};
  picture.text(below, shown.axis, black);
  if (const auto found = values_of(drawn)) {
    const interval values = with_width(found->low, found->high);
    const interval axis = axis_of(drawn);
    side_axis(picture, top, values);
    floor_axis(picture, top, axis);
    walk(drawn, axis, values, {layout::plot_width, layout::plot_height}, [&](place from, place to) {
      picture.line({layout::left + from.x, top + from.y}, {layout::left + to.x, top + to.y}, blue);
    });
  } else {
    picture.text({layout::left + 10, top + 10}, "no value is finite", black);
  }
  frame(picture, top);
}

}  // namespace

raster plot_picture(std::span<const plot_panel> panels) {
  raster picture(layout::width, layout::height * static_cast<int>(panels.size()), white);
  for (std::size_t i = 0; i < panels.size(); ++i)
    panel(picture, layout::height * static_cast<int>(i), panels[i]);
  return picture;
}

}  // namespace ravo::drawing
