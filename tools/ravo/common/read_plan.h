// What reading a selection involves, once its files have been scanned: the
// channels by name, their units, and the span of time that the files cover.
#ifndef RAVO_TOOL_READ_PLAN_H
#define RAVO_TOOL_READ_PLAN_H

#include <string>
#include <vector>

#include "common/reading.h"
#include "ravo_data_types.h"

namespace ravo::tool {

struct read_plan {
  ravo_file_generation generation = ravo_file_generation::current;  ///< of all the files
  std::vector<std::string> files;  ///< each with a "/", so that no data path is searched for it
  std::vector<read_channel> channels;
  time_stamp first{};  ///< of all events in the files
  time_stamp last{};
  double spacing = 0;  ///< of neighbouring events, microseconds; 0 if not known
};

/// Scans the files, which have to be of one generation; throws
/// data_failure that names the file or channel that cannot be read.
read_plan make_plan(const std::vector<std::string>& files, const std::vector<std::string>& channels);

/// Throws data_failure with the members' names if a channel
/// of this type, of several members, has no such member.
void check_member_of_type(const std::string& name, int member, const data_type& type);

}  // namespace ravo::tool

#endif
