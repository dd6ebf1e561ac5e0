// An event as a figure that can be drawn: the panels
// for its channels, and the texts beside them.
#ifndef RAVO_TOOL_SHOW_EVENT_FIGURE_H
#define RAVO_TOOL_SHOW_EVENT_FIGURE_H

#include "drawing/picture/figure.h"
#include "drawing/stretch.h"
#include "show/event_reading.h"

namespace ravo::tool {

enum class curves { apart, overlaid };

struct figure_wishes {
  curves together = curves::apart;
  drawing::stretch brightness = drawing::stretch::minmax;
  drawing::colour_map map = drawing::colour_map::aurora;
};

/// The figure refers to the curves of the event. Throws data_failure if
/// there is more than a picture can hold, or pixels that cannot be drawn.
drawing::figure figure_of(const shown_event& event, const figure_wishes& wished);

}  // namespace ravo::tool

#endif
