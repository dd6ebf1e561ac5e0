#include "drawing/dot_canvas.h"

namespace ravo::drawing {
namespace {

// Braille letters begin at U+2800, and their bits go down the left column, then down the
// right one; the two dots of the lowest row, which were added to braille later, come last.
std::string braille_letter(unsigned cell) {
  constexpr unsigned bit_of_dot[] = {0, 1, 2, 6, 3, 4, 5, 7};
  unsigned pattern = 0;
  for (unsigned dot = 0; dot < 8; ++dot)
    if (cell >> dot & 1u) pattern |= 1u << bit_of_dot[dot];
  return {static_cast<char>(0xe2), static_cast<char>(0xa0 | pattern >> 6),
          static_cast<char>(0x80 | (pattern & 0x3f))};
}

// The position of the dots in the cell: high, in the middle, low, or spread over it.
char ascii_letter(unsigned cell) {
  if (cell == 0) return ' ';
  const unsigned rows = (cell | cell >> 4) & 0xf;
  const bool high = rows & 1u, middle = rows & 6u, low = rows & 8u;
  if (high && low) return middle ? '|' : ':';
  if (middle) return '-';
  return high ? '\'' : '.';
}

}  // namespace

dot_canvas::dot_canvas(int columns, int rows)
    : columns_(columns),
      rows_(rows),
      cells_(static_cast<std::size_t>(columns) * static_cast<std::size_t>(rows)) {}

void dot_canvas::set(place dot) {
  if (dot.x < 0 || dot.y < 0 || dot.x >= width() || dot.y >= height()) return;
  const auto cell = static_cast<std::size_t>(dot.y / dots_down) * static_cast<std::size_t>(columns_) +
                    static_cast<std::size_t>(dot.x / dots_across);
  const int bit = dot.x % dots_across * dots_down + dot.y % dots_down;
  cells_[cell] = static_cast<unsigned char>(cells_[cell] | 1u << bit);
}

void dot_canvas::line(place from, place to) {
  walk_line(from, to, [this](place dot) { set(dot); });
}

std::string dot_canvas::row(int index, letters how) const {
  std::string text;
  for (int column = 0; column < columns_; ++column) {
    const unsigned cell = cells_[static_cast<std::size_t>(index) * static_cast<std::size_t>(columns_) +
                                 static_cast<std::size_t>(column)];
    // A blank, not the empty braille letter, so that blanks at the end of a line can be removed.
    if (how == letters::ascii || cell == 0)
      text += ascii_letter(cell);
    else
      text += braille_letter(cell);
  }
  return text;
}

}  // namespace ravo::drawing
