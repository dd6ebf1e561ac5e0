#include "drawing/picture/sketch.h"

#include <algorithm>
#include <cmath>

namespace ravo::drawing {
namespace {

constexpr double least_gap = 14;  // between two labels of an axis

bool stand_apart(const std::vector<tick>& ticks, interval range, double length, const text_ruler& ruler) {
  double end = -INFINITY;
  for (const tick& one : ticks) {
    const double middle = range.part(one.value) * length;
    const double half = ruler.width_of(one.label, tick_style) / 2;
    if (middle - half < end + least_gap) return false;
    end = middle + half;
  }
  return true;
}

std::vector<tick> in_print(std::vector<tick> ticks) {
  for (tick& one : ticks) one.label = as_in_print(one.label);
  return ticks;
}

}  // namespace

double on_grid(double place) { return std::round(place * page::dots_per_point) / page::dots_per_point; }

std::vector<tick> ticks_across(interval range, double length, const text_ruler& ruler) {
  for (int most = std::max(static_cast<int>(length / 60), 2); most > 1; --most) {
    std::vector<tick> ticks = in_print(round_ticks(range, most));
    if (stand_apart(ticks, range, length, ruler)) return ticks;
  }
  return in_print(round_ticks(range, 1));
}

std::vector<tick> ticks_upward(interval range, double length) {
  constexpr double per_label = 24, least_distance = 16;
  for (int most = std::clamp(static_cast<int>(length / per_label), 2, 9); most > 1; --most) {
    std::vector<tick> ticks = in_print(round_ticks(range, most));
    if (ticks.size() < 2 ||
        range.part(ticks[1].value) - range.part(ticks[0].value) >= least_distance / length)
      return ticks;
  }
  return in_print(round_ticks(range, 1));
}

double width_of(const std::vector<tick>& ticks, const text_ruler& ruler) {
  double width = 0;
  for (const tick& one : ticks) width = std::max(width, ruler.width_of(one.label, tick_style));
  return width;
}

double draw_heading(sketch& on, const panel_space& space, double top, const std::string& title,
                    const std::string& note) {
  if (title.empty() && note.empty()) return 0;
  const double middle = top + row_height / 2, width = space.right - space.left;
  const double most_of_note = title.empty() ? width : width * 0.5;
  const std::string shown_note = fitted(note, note_style, most_of_note, on.ruler);
  const double used = note.empty() ? 0 : on.ruler.width_of(shown_note, note_style) + 2 * label_gap;
  on.text({space.left, middle}, fitted(title, title_style, width - used, on.ruler), title_style);
  on.text({space.right, middle}, shown_note, note_style, anchor::right);
  return row_height;
}

}  // namespace ravo::drawing
