// How `ravo show` presents an event to people and machines.
#ifndef RAVO_TOOL_SHOW_SHOWING_H
#define RAVO_TOOL_SHOW_SHOWING_H

#include <string>

#include "common/output.h"
#include "drawing/dot_canvas.h"
#include "show/event_figure.h"
#include "show/event_reading.h"

namespace ravo::tool {

/// The size and abilities of a terminal.
struct terminal_layout {
  int columns;
  drawing::letters letters;
  drawing::colours colours;
};
/// Taken from the terminal and the environment; 80 columns if there is no terminal.
terminal_layout layout_of(output& out);

/// Every channel in a line or a few, spectra as one line of bars.
void print_overview(const shown_event& event, const terminal_layout& layout, output& out);
/// Every channel with everything that it has: plots, pictures, tables.
void print_channels(const shown_event& event, const terminal_layout& layout, output& out);

enum class pixels { left_out, listed };
/// One JSON object; it holds all values of spectra.
void print_json(const shown_event& event, pixels how, output& out);

/// The options of a picture.
struct picture_wishes {
  std::string path;
  figure_wishes drawn;
  bool is_exact = false;  ///< only the pixels of a frame, unchanged
};
/// Throws usage_failure if the path does not end like a picture's name.
void check_ending(const picture_wishes& wished);
/// Writes the channels of the event as a picture and returns a description of it. Throws data_failure
/// if they cannot be drawn or the file cannot be written; an existing file then stays as it was.
std::string write_picture(const shown_event& event, const picture_wishes& wished);

}  // namespace ravo::tool

#endif
