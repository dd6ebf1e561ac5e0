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

/// A channel whose data of the event are there and could not be read.
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
  std::optional<event> source;  ///< whose pixels the channels' images have
};

/// What becomes of values: a drawing, or a JSON text, which takes more memory.
enum class shown_values { drawn, listed };

/// What is asked of one event.
struct event_request {
  wanted_event event;
  std::vector<std::size_t> channels;  ///< indices of the file's
  std::size_t memory_limit;           ///< for tables, blocks and what is made of them together
  shown_values values;
};

/// Throws data_failure when there is no such event, or not the memory to show it.
shown_event read_event(raw_file& file, const event_request& asked);

}  // namespace ravo::tool

#endif
