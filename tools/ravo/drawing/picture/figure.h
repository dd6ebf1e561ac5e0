// What a picture shows: a heading, and panels one below the other. The code that
// fills it knows where the values are from; the code that draws it does not.
#ifndef RAVO_DRAWING_PICTURE_FIGURE_H
#define RAVO_DRAWING_PICTURE_FIGURE_H

#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "drawing/curve.h"
#include "drawing/grey_picture.h"
#include "drawing/picture/colour_map.h"
#include "drawing/picture/lettering.h"
#include "drawing/picture/shapes.h"

namespace ravo::drawing {

struct named_curve {
  std::string name;
  curve drawn;  ///< its values are the caller's
};

/// Curves over one axis. Groups of a curve that is alone have a colour each.
struct plot_panel {
  std::string title;
  std::string value_axis;  ///< along the left side; may be empty, like the next one
  std::string axis;        ///< below
  std::vector<named_curve> curves;
  std::string note;  ///< at the upper right, as in the other panels
};

/// The places of a frame's pixels on its sensor: the first, and the distance to the next.
struct sensor_axis {
  double start = 0, step = 1;
};

/// A frame in colours, with axes that count pixels of the sensor and a scale of brightness.
struct frame_panel {
  std::string title;
  grey_picture frame;
  sensor_axis x, y;
  interval brightness;  ///< the values at the ends of the colour map
  colour_map map = colour_map::aurora;
  std::string scale;  ///< the quantity that brightness counts
  std::string note;
};

/// Names and values; a single row is set in large letters. A row without a name is a text, broken into
/// lines.
struct table_panel {
  std::string title;
  std::vector<std::pair<std::string, std::string>> rows;
  std::string note;
};

using panel = std::variant<plot_panel, frame_panel, table_panel>;

struct figure {
  std::string title;
  std::string about;  ///< smaller, below the title; parts of it are best separated by this:
  static constexpr std::string_view separator = " ·";
  std::vector<panel> panels;
};

/// The layout of pictures, in points.
struct page {
  static constexpr double width = 960;  ///< of pictures with plots or tables
  static constexpr double margin = 20;
  static constexpr double frame_width = 720, frame_height = 560;  ///< at most, of a frame's pixels
  static constexpr int dots_per_point = 2;                        ///< of a PNG
};

picture draw(const figure& shown, const text_ruler& ruler);

}  // namespace ravo::drawing

#endif
