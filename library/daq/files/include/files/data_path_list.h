// Lists of directories in a text, separated by ":", and the list that a reader starts with. Opens nothing.
#ifndef RAVO_DAQ_FILES_DATA_PATH_LIST_H
#define RAVO_DAQ_FILES_DATA_PATH_LIST_H

#include <string_view>
#include <vector>

namespace ravo {

/// The list of a reader if the environment does not name a list.
extern const char* const default_data_path_list;

/// The directories of a list, from left to right, without empty entries. Views into `list`. An entry is
/// at least one character long, so that a ":" right after a separator begins an entry.
std::vector<std::string_view> split_data_path_list(std::string_view list);

}  // namespace ravo

#endif
