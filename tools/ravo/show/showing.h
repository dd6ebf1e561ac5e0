// The ways in which `ravo show` hands an event to people and machines.
#ifndef RAVO_TOOL_SHOW_SHOWING_H
#define RAVO_TOOL_SHOW_SHOWING_H

#include <string>

#include "common/output.h"
#include "drawing/dot_canvas.h"
#include "show/event_figure.h"
#include "show/event_reading.h"

namespace ravo::tool {

/// What a terminal can do.
struct terminal_look {
  int columns;
  drawing::letters letters;
  drawing::colours colours;
};
/// As the terminal and the environment say; 80 columns where there is no terminal.
terminal_look look_of(output& out);

/// Every channel in a line or a few, spectra as one line of bars.
void print_overview(const shown_event& event, const terminal_look& look, output& out);
/// Every channel with all that it has: plots, pictures, tables.
void print_channels(const shown_event& event, const terminal_look& look, output& out);

enum class pixels { left_out, listed };
/// One JSON object; it holds all values of spectra.
void print_json(const shown_event& event, pixels how, output& out);

/// What is wished of a picture.
struct picture_wishes {
  std::string path;
  figure_wishes drawn;
  bool is_exact = false;  ///< the pixels of a frame as they are, and nothing else
};
/// Throws usage_failure when the path has no ending of a picture.
void check_ending(const picture_wishes& wished);
/// Writes the channels of the event as a picture. Throws data_failure when they cannot be drawn or the file
/// cannot be written; the file is then as it was. What there is to say of it.
std::string write_picture(const shown_event& event, const picture_wishes& wished);

}  // namespace ravo::tool

#endif
