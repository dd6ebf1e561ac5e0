// Reads one event of one file through the reader of its generation.
#ifndef RAVO_TOOL_SHOW_EVENT_READING_H
#define RAVO_TOOL_SHOW_EVENT_READING_H

#include <string>
#include <vector>

#include "common/output.h"
#include "show/event_choice.h"
#include "show/shown_channel.h"

namespace ravo::tool {

struct shown_event {
  std::string file;
  ravo_file_generation generation;
  ravo_time_id id;
  std::vector<int> types;
  std::vector<shown_channel> channels;  ///< in the order of the file's channels, or of those asked for
  std::vector<std::string> unread;      ///< channels whose data are there and could not be read
  std::string library_words;            ///< what the library said when there are such
};

/// Throws data_failure when the reader refuses the file.
shown_event read_event(raw_file& file, const std::vector<std::size_t>& channels, const chosen_event& chosen,
                       output& out);

}  // namespace ravo::tool

#endif
