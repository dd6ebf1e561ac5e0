// A rectangle of dots for the character cells of a terminal, two dots wide and four high in each:
// as braille letters, or in ASCII for terminals without braille. It does not know what is drawn.
#ifndef RAVO_DRAWING_DOT_CANVAS_H
#define RAVO_DRAWING_DOT_CANVAS_H

#include <cstddef>
#include <string>
#include <vector>

#include "drawing/dots.h"

namespace ravo::drawing {

enum class letters { braille, ascii };

class dot_canvas {
 public:
  static constexpr int dots_across = 2;  ///< of a cell
  static constexpr int dots_down = 4;

  dot_canvas(int columns, int rows);

  int width() const { return columns_ * dots_across; }  ///< in dots
  int height() const { return rows_ * dots_down; }
  /// Sets a dot, counted from the upper left corner; a dot outside is ignored.
  void set(place dot);
  void line(place from, place to);
  /// The cells of one row as text.
  std::string row(int index, letters how) const;

 private:
  int columns_;
  int rows_;
  std::vector<unsigned char> cells_;  // bit number = 4 * column of the dot + its row
};

}  // namespace ravo::drawing

#endif
