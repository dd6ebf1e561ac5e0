// Curves as a picture with axes and labels, one panel below the other.
#ifndef RAVO_DRAWING_PLOT_PICTURE_H
#define RAVO_DRAWING_PLOT_PICTURE_H

#include <span>
#include <string>

#include "drawing/curve.h"
#include "drawing/raster.h"

namespace ravo::drawing {

/// Black on white: the curve, what stands above it and what stands below its axis.
struct plot_panel {
  std::string title;
  std::string axis;
  curve drawn;
};

/// The parts of a panel of the picture, for whoever draws and whoever tests.
struct panel_layout {
  static constexpr int width = 900, height = 300;
  static constexpr int left = 120, right = 20, top = 30, bottom = 60;  ///< margins
  static constexpr int plot_width = width - left - right, plot_height = height - top - bottom;
};

raster plot_picture(std::span<const plot_panel> panels);

}  // namespace ravo::drawing

#endif
