// How `ravo read` shows an event: for people as aligned lines, for machines as one JSON object.
#ifndef RAVO_TOOL_EVENT_PRINTING_H
#define RAVO_TOOL_EVENT_PRINTING_H

#include <string>

#include "common/output.h"
#include "common/reading.h"

namespace ravo::tool {

/// Whether the length and the CRC-32 of each block's data in host order are shown.
enum class checksums { hidden, shown };

/// Prints the event as a heading and a line for each member of each channel.
void print_event_table(const read_event& event, checksums sums, output& out);
/// Prints the event as one line of JSON.
void print_event_json(const read_event& event, checksums sums, output& out);

}  // namespace ravo::tool

#endif
