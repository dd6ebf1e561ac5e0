// A picture as data: texts, lines, boxes and images at places counted in points from the upper left corner.
// Panels draw into it, picture_bytes() turns it into a file's bytes, and tests inspect it directly.
#ifndef RAVO_DRAWING_PICTURE_SHAPES_H
#define RAVO_DRAWING_PICTURE_SHAPES_H

#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "drawing/picture/colour.h"

namespace ravo::drawing {

struct point {
  double x = 0, y = 0;
  bool operator==(const point&) const = default;
};

struct box {
  double left = 0, top = 0, width = 0, height = 0;

  double right() const { return left + width; }
  double bottom() const { return top + height; }
  bool operator==(const box&) const = default;
};

enum class weight { normal, bold };
struct text_style {
  double size = 12;
  colour ink = ink_of_text;
  weight letters = weight::normal;
};

/// Which part of a text is at its place, horizontally; vertically it is always the middle.
enum class anchor { left, centre, right };
enum class direction { across, upward };

struct text_shape {
  point at;
  std::string words;
  text_style style;
  anchor side = anchor::left;
  direction runs = direction::across;
};

/// Straight lines from point to point.
struct path_shape {
  std::vector<point> points;
  colour ink;
  double width = 1;
};

/// A closed shape: a triangle, a box.
struct area_shape {
  std::vector<point> points;
  colour ink;
};

struct disc_shape {
  point centre;
  double radius;
  colour ink;
};

/// Coloured pixels, row after row, drawn without smoothing.
struct image_shape {
  box where;
  int columns = 0, rows = 0;
  std::vector<colour> pixels;
};

using shape = std::variant<text_shape, path_shape, area_shape, disc_shape, image_shape>;

struct picture {
  double width = 0, height = 0;
  std::vector<shape> shapes;  ///< the later ones lie on top
};

}  // namespace ravo::drawing

#endif
