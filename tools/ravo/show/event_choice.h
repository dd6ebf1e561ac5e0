// Which event of a file is meant by "1000042", "first", "last" or a time, and which of the wanted channels
// tell something of it.
#ifndef RAVO_TOOL_SHOW_EVENT_CHOICE_H
#define RAVO_TOOL_SHOW_EVENT_CHOICE_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "common/raw_file.h"

namespace ravo::tool {

enum class place_of_event { first, last };
/// A number, an end of the file (slow events count only where there are no others), or the event that is
/// nearest to a time.
using wanted_event = std::variant<std::uint32_t, place_of_event, time_stamp>;
/// What the text of --event means; throws usage_failure.
wanted_event wanted_event_of(const std::string& text, const std::string& zone);

/// An event as one event header of the file has it; several headers may share a number.
struct file_event {
  std::uint32_t offset;
  int type;
  ravo_time_id id;
};

struct chosen_event {
  ravo_time_id id;                 ///< with the time of its earliest header
  time_stamp last_time;            ///< of its latest header
  std::vector<int> types;          ///< of its headers, each once
  std::vector<std::size_t> fresh;  ///< channels with data of it
  std::vector<std::size_t> held;   ///< slow channels that told something before, and not in it
  time_stamp first_time;           ///< of the file's earliest event
};

/// Chooses among the events that hold one of the channels (indices of the file's); a number may name any
/// event of the file. Throws data_failure that names the nearest event when there is none.
chosen_event choose_event(const raw_file& file, const std::vector<std::size_t>& channels,
                          const wanted_event& wanted);

}  // namespace ravo::tool

#endif
