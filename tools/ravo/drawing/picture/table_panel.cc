// Draws names and their values.
#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "drawing/picture/sketch.h"

namespace ravo::drawing {
namespace {

constexpr text_style name_style{12, ink_of_notes}, value_style{12, ink_of_text},
    large_style{24, ink_of_text, weight::bold}, words_style{14, ink_of_text};

double draw_large(sketch& on, const std::string& name, const std::string& value, const panel_space& space,
                  double top) {
  constexpr double height = 40;
  const double width = space.end - space.left;
  const std::string shown_name = fitted(name, name_style, width / 3, on.ruler);
  const double used = name.empty() ? 0 : on.ruler.width_of(shown_name, name_style) + 2 * label_gap;
  on.text({space.left, top + height / 2}, shown_name, name_style);
  on.text({space.left + used, top + height / 2}, fitted(value, large_style, width - used, on.ruler),
          large_style);
  return top + height;
}

double draw_words(sketch& on, const std::string& words, const panel_space& space, double top) {
  constexpr std::size_t most_lines = 12;
  for (const std::string& line :
       wrapped(words, words_style, space.end - space.left, most_lines, on.ruler)) {
    on.text({space.left, top + row_height / 2}, line, words_style);
    top += row_height;
  }
  return top;
}

struct grid {
  std::size_t columns, rows, shown;  // rows of each column; how many values are shown
};

// Up to so many rows in a column, and no more than are legible.
grid grid_of(std::size_t count) {
  constexpr std::size_t rows_of_one = 12, most_columns = 3, most_rows = 60;
  const std::size_t columns =
      std::clamp<std::size_t>((count + rows_of_one - 1) / rows_of_one, 1, most_columns);
  const std::size_t shown = std::min(count, most_columns * most_rows);
  return {columns, (shown + columns - 1) / columns, shown};
}

double draw_grid(sketch& on, const table_panel& shown, const panel_space& space, double top) {
  constexpr double between = 40, widest = 400;
  const grid cells = grid_of(shown.rows.size());
  const double columns = static_cast<double>(cells.columns);
  const double width = std::min((space.end - space.left - (columns - 1) * between) / columns, widest);
  for (std::size_t i = 0; i < cells.shown; ++i) {
    const double left = space.left + static_cast<double>(i / cells.rows) * (width + between);
    const double y = top + (static_cast<double>(i % cells.rows) + 0.5) * row_height;
    const std::string value = fitted(shown.rows[i].second, value_style, width * 0.6, on.ruler);
    const double rest = width - on.ruler.width_of(value, value_style) - label_gap;
    on.text({left, y}, fitted(shown.rows[i].first, name_style, rest, on.ruler), name_style);
    on.text({left + width, y}, value, value_style, anchor::right);
    on.line({left, y + row_height / 2}, {left + width, y + row_height / 2}, ink_of_grids);
  }
  top += static_cast<double>(cells.rows) * row_height;
  if (cells.shown == shown.rows.size()) return top;
  on.text({space.left, top + row_height / 2}, fmt::format("and {} more", shown.rows.size() - cells.shown),
          note_style);
  return top + row_height;
}

}  // namespace

double draw_panel(sketch& on, const table_panel& shown, const panel_space& space, double top) {
  top += draw_heading(on, space, top, shown.title, shown.note);
  if (shown.rows.empty()) return draw_words(on, "no values", space, top);
  const auto& [name, value] = shown.rows.front();
  if (shown.rows.size() > 1) return draw_grid(on, shown, space, top + 2);
  return name.empty() ? draw_words(on, value, space, top) : draw_large(on, name, value, space, top);
}

}  // namespace ravo::drawing
