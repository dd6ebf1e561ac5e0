// Draws curves over an axis.
#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "drawing/picture/sketch.h"
#include "drawing/picture/trace.h"

namespace ravo::drawing {
namespace {

// A curve must not touch the frame.
interval with_margin(interval range, double part) {
  const double margin = (range.high - range.low) * part;
  return {range.low - margin, range.high + margin};
}

interval joined(const std::optional<interval>& one, interval other) {
  return one ? interval{std::min(one->low, other.low), std::max(one->high, other.high)} : other;
}

interval values_of(const plot_panel& shown) {
  std::optional<interval> range;
  for (const named_curve& one : shown.curves)
    if (const auto found = values_of(one.drawn)) range = joined(range, *found);
  return with_margin(range ? with_width(range->low, range->high) : interval{0, 1}, 0.06);
}

interval axis_of(const plot_panel& shown) {
  std::optional<interval> range;
  for (const named_curve& one : shown.curves)
    if (!one.drawn.values.empty()) range = joined(range, axis_of(with_axis(one.drawn)));
  return with_margin(range.value_or(interval{0, 1}), 0.02);
}

struct entry {
  std::string name;
  colour ink;
};

// Colours for so many lines: by name for a few, else from dark to bright.
colour colour_of(std::size_t index, std::size_t count) {
  if (count <= line_colours.size()) return line_colours[index];
  static const colour_table table = table_of(colour_map::aurora);
  return colour_at(table, 0.05 + 0.8 * static_cast<double>(index) / static_cast<double>(count - 1));
}

bool has_groups(const plot_panel& shown) {
  return shown.curves.size() == 1 && shown.curves.front().drawn.groups() > 1;
}

std::vector<entry> legend_of(const plot_panel& shown) {
  std::vector<entry> entries;
  if (has_groups(shown)) {
    constexpr std::size_t most_named = 12;
    const std::size_t groups = shown.curves.front().drawn.groups();
    for (std::size_t i = 0; i < groups; ++i)
      if (groups <= most_named || i == 0 || i + 1 == groups || i == groups / 2)
        entries.push_back({fmt::format("group {}", i + 1), colour_of(i, groups)});
  } else if (shown.curves.size() > 1) {
    for (std::size_t i = 0; i < shown.curves.size(); ++i)
      entries.push_back({shown.curves[i].name, colour_of(i, shown.curves.size())});
  }
  return entries;
}

// Draws rows above the frame, so that they hide no curve; returns where they end.
double draw_legend(sketch& on, const plot_panel& shown, const panel_space& space, double top) {
  constexpr double dash = 22, gap = 6, between = 20;
  const std::vector<entry> entries = legend_of(shown);
  if (entries.empty()) return top;
  double x = space.left, middle = top + row_height / 2;
  for (const entry& one : entries) {
    const std::string name = fitted(one.name, tick_style, space.right - space.left - dash - gap, on.ruler);
    const double width = dash + gap + on.ruler.width_of(name, tick_style);
    if (x > space.left && x + width > space.right) {
      x = space.left;
      middle += row_height;
    }
    on.line({x, middle}, {x + dash, middle}, one.ink, 2.5);
    on.text({x + dash + gap, middle}, name, tick_style);
    x += width + between;
  }
  return middle + row_height / 2;
}

std::string note_of(const plot_panel& shown) {
  std::size_t all = 0, finite = 0;
  for (const named_curve& one : shown.curves) {
    all += one.drawn.values.size();
    finite += static_cast<std::size_t>(std::count_if(one.drawn.values.begin(), one.drawn.values.end(),
                                                     [](float value) { return std::isfinite(value); }));
  }
  if (all == finite || finite == 0) return shown.note;
  const std::size_t others = all - finite;
  return fmt::format("{}{}{} of {} values {} not finite", shown.note, shown.note.empty() ? "" : ", ",
                     others, all, others == 1 ? "is" : "are");
}

void draw_side(sketch& on, const plot_panel& shown, interval values, const panel_space& space,
               const box& where) {
  for (const tick& one : ticks_upward(values, where.height)) {
    const double y = on_grid(where.bottom() - values.part(one.value) * where.height);
    on.line({where.left, y}, {where.right(), y}, ink_of_grids);
    on.line({where.left - tick_length, y}, {where.left, y}, ink_of_frames);
    on.text({where.left - label_gap, y}, one.label, tick_style, anchor::right);
  }
  on.text({space.begin + row_height / 2, where.top + where.height / 2},
          fitted(shown.value_axis, axis_style, where.height, on.ruler), axis_style, anchor::centre,
          direction::upward);
}

double draw_floor(sketch& on, const plot_panel& shown, interval axis, const box& where,
                  axis_labels labels) {
  for (const tick& one : ticks_across(axis, where.width, on.ruler)) {
    const double x = on_grid(where.left + axis.part(one.value) * where.width);
    on.line({x, where.top}, {x, where.bottom()}, ink_of_grids);
    on.line({x, where.bottom()}, {x, where.bottom() + tick_length}, ink_of_frames);
    if (labels == axis_labels::shown)
      on.text({x, where.bottom() + tick_length + row_height / 2}, one.label, tick_style, anchor::centre);
  }
  if (labels == axis_labels::left_out) return where.bottom() + tick_length;
  const double below = where.bottom() + tick_length + row_height;
  if (shown.axis.empty()) return below;
  on.text({where.left + where.width / 2, below + row_height / 2},
          fitted(shown.axis, axis_style, where.width, on.ruler), axis_style, anchor::centre);
  return below + row_height;
}

void draw_curve(sketch& on, const curve& drawn, std::size_t group, interval axis, interval values,
                const box& where, colour ink) {
  constexpr std::size_t most_marked = 100;
  constexpr double of_sample = 2, of_single = 3.5;
  const trace found = trace_of(drawn, group, axis, values, where);
  for (const std::vector<point>& line : found.lines) {
    on.made.shapes.emplace_back(path_shape{line, ink, 1.5});
    if (drawn.samples > most_marked) continue;
    for (const point& at : line) on.made.shapes.emplace_back(disc_shape{at, of_sample, ink});
  }
  for (const point& at : found.singles) on.made.shapes.emplace_back(disc_shape{at, of_single, ink});
}

void draw_curves(sketch& on, const plot_panel& shown, interval axis, interval values, const box& where) {
  for (std::size_t i = 0; i < shown.curves.size(); ++i) {
    const curve drawn = with_axis(shown.curves[i].drawn);
    for (std::size_t group = 0; group < drawn.groups(); ++group)
      draw_curve(on, drawn, group, axis, values, where,
                 has_groups(shown) ? colour_of(group, drawn.groups()) : colour_of(i, shown.curves.size()));
  }
}

bool is_finite_anywhere(const plot_panel& shown) {
  return std::any_of(shown.curves.begin(), shown.curves.end(),
                     [](const named_curve& one) { return values_of(one.drawn).has_value(); });
}

bool is_empty(const plot_panel& shown) {
  return std::all_of(shown.curves.begin(), shown.curves.end(),
                     [](const named_curve& one) { return one.drawn.values.empty(); });
}

}  // namespace

double side_of(const plot_panel& shown, double height, const text_ruler& ruler) {
  return row_height + 2 + width_of(ticks_upward(values_of(shown), height), ruler) + label_gap;
}

double overhang_of(const plot_panel& shown, const text_ruler& ruler) {
  return width_of(ticks_across(axis_of(shown), page::width * 0.8, ruler), ruler) / 2;
}

bool share_axis(const plot_panel& upper, const plot_panel& lower) {
  const interval above = axis_of(upper), below = axis_of(lower);
  return upper.axis == lower.axis && above.low == below.low && above.high == below.high;
}

double draw_panel(sketch& on, const plot_panel& shown, const panel_space& space, double top, double height,
                  axis_labels labels) {
  top += draw_heading(on, space, top, shown.title, note_of(shown));
  top = draw_legend(on, shown, space, top);
  const box where{space.left, on_grid(top + 2), space.right - space.left, height};
  if (!is_finite_anywhere(shown)) {
    on.frame(where);
    on.text({where.left + where.width / 2, where.top + where.height / 2},
            is_empty(shown) ? "no values" : "no value is finite", axis_style, anchor::centre);
    return where.bottom();
  }
  const interval values = values_of(shown), axis = axis_of(shown);
  draw_side(on, shown, values, space, where);
  const double bottom = draw_floor(on, shown, axis, where, labels);
  on.frame(where);
  draw_curves(on, shown, axis, values, where);
  return bottom;
}

}  // namespace ravo::drawing
