// The ways in which `ravo show` hands an event to people and machines.
#ifndef RAVO_TOOL_SHOW_SHOWING_H
#define RAVO_TOOL_SHOW_SHOWING_H

#include <string>

#include "drawing/dot_canvas.h"
#include "output.h"
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

/// Writes the picture of a channel as PNG: an image with its pixels as they are, a spectrum as a plot for
/// each member. Throws data_failure when it has none or the file cannot be written. What there is to say of
/// it.
std::string write_png(const shown_event& event, const shown_channel& channel, const std::string& path);

}  // namespace ravo::tool

#endif
