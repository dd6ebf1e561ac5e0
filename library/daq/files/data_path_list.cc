// Splits path lists and holds the built-in one; see data_path_list.h.
#include "files/data_path_list.h"

#include <cstddef>

namespace ravo {

const char* const default_data_path_list =
    "/space/POOL:"
    "/daq_data/main/LINAC:/daq_data/main/EXP:/daq_data/main/EXP2:/daq_data/main/RESULTS:/daq_data/main/GMD:"
    "/daq_data/main/PHOTON:/daq_data/main/LASER:"
    "/daq_data/test/LINAC:/daq_data/test/EXP:/daq_data/test/EXP2:/daq_data/test/RESULTS:/daq_data/test/GMD:"
    "/daq_data/test/PHOTON:/daq_data/test/LASER";

std::vector<std::string_view> split_data_path_list(std::string_view list) {
  std::vector<std::string_view> directories;
  std::size_t begin = 0;
  while (begin < list.size()) {
    // The search starts at the entry's second character: see the header.
    const std::size_t separator = list.find(':', begin + 1);
    const std::string_view entry = list.substr(begin, separator - begin);
    if (entry != ":") directories.push_back(entry);
    if (separator == std::string_view::npos) break;
    begin = separator + 1;
  }
  return directories;
}

}  // namespace ravo
