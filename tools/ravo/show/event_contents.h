// Converts a value of the dataset to the form in which it is shown.
#ifndef RAVO_TOOL_SHOW_EVENT_CONTENTS_H
#define RAVO_TOOL_SHOW_EVENT_CONTENTS_H

#include "ravo_dataset/values.h"
#include "show/shown_channel.h"

namespace ravo::tool {

/// The contents of a value. The channel's name, units and description are left
/// empty; the pixels of a frame stay where they are, in the value's event.
shown_channel contents_of(const value& one);

}  // namespace ravo::tool

#endif
