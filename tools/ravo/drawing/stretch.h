// Which brightness of a frame is shown dark and which bright.
#ifndef RAVO_DRAWING_STRETCH_H
#define RAVO_DRAWING_STRETCH_H

#include "drawing/grey_picture.h"

namespace ravo::drawing {

enum class stretch {
  none,        ///< the whole range of the sensor
  minmax,      ///< from the darkest pixel to the brightest
  percentile,  ///< the same without the hundredth part at each end
};

/// The values at the ends of a colour map; `most` is the greatest value that a pixel can have.
interval stretched(const grey_picture& frame, stretch how, double most);

}  // namespace ravo::drawing

#endif
