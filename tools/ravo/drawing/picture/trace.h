// The path of a curve through a panel.
#ifndef RAVO_DRAWING_PICTURE_TRACE_H
#define RAVO_DRAWING_PICTURE_TRACE_H

#include <cstddef>
#include <vector>

#include "drawing/curve.h"
#include "drawing/picture/shapes.h"

namespace ravo::drawing {

struct trace {
  std::vector<std::vector<point>> lines;  ///< through finite neighbours
  std::vector<point> singles;             ///< finite points without such a neighbour
};

/// The path of one group of a curve. Where many samples fall into a column of dots,
/// the visible ones are kept: the first, the least, the greatest and the last.
trace trace_of(const curve& drawn, std::size_t group, interval axis, interval values, box where);

}  // namespace ravo::drawing

#endif
