// A curve as a small plot in text, with labels along both axes; and as one line, for tables.
#ifndef RAVO_DRAWING_LINE_PLOT_H
#define RAVO_DRAWING_LINE_PLOT_H

#include <string>
#include <vector>

#include "drawing/curve.h"
#include "drawing/dot_canvas.h"

namespace ravo::drawing {

struct plot_size {
  int columns;  ///< of the whole plot, labels included
  int rows;     ///< of the part inside the axes
};

/// The lines of the plot; if no value is finite, one line that says so.
std::vector<std::string> line_plot(const curve& drawn, plot_size size, letters how);

/// The values in so many letters, each as high as the mean
/// of its part of the values; a blank if none is finite.
std::string one_line_plot(std::span<const float> values, int columns, letters how);

}  // namespace ravo::drawing

#endif
