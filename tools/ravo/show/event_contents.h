// From the entries that a reader hands out for an event to what they say, through ravo_daq_getdata.
#ifndef RAVO_TOOL_SHOW_EVENT_CONTENTS_H
#define RAVO_TOOL_SHOW_EVENT_CONTENTS_H

#include <optional>
#include <vector>

#include "ravo_core_records.h"
#include "show/shown_channel.h"

namespace ravo::tool {

/// What the entries say, one channel each, in their order. Nothing for an entry that cannot be looked into.
/// Names, units and descriptions of channels are left empty.
std::vector<std::optional<shown_channel>> contents_of(std::vector<ravo_channel_entry_long*>& entries);

}  // namespace ravo::tool

#endif
