// Reads one event of one file through the dataset layer.
#ifndef RAVO_TOOL_SHOW_EVENT_READING_H
#define RAVO_TOOL_SHOW_EVENT_READING_H

#include <optional>
#include <string>
#include <vector>

#include "ravo_dataset/event.h"
#include "show/event_choice.h"
#include "show/shown_channel.h"

namespace ravo::tool {

/// A channel whose data of the event exist but could not be read.
struct unread_channel {
  std::string name;
  std::string reason;
};

struct shown_event {
  std::string file;
  ravo_file_generation generation;
  ravo_time_id id;
  std::vector<int> types;
  std::vector<shown_channel> channels;  ///< in the order of the file's channels, or of those asked for
  std::vector<unread_channel> unread;
  std::optional<event> source;  ///< holds the pixels of the channels' images
};

/// What is made of the values: a drawing, or a JSON text, which takes more memory.
enum class shown_values { drawn, listed };

/// The request for one event.
struct event_request {
  wanted_event event;
  std::vector<std::size_t> channels;  ///< indices in the file
  std::size_t memory_limit;           ///< for tables, blocks and output together
  shown_values values;
};

/// Throws data_failure if there is no such event, or not enough memory to show it.
shown_event read_event(raw_file& file, const event_request& asked);

}  // namespace ravo::tool

#endif
