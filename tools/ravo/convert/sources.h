// The files that are to be converted, and where each goes.
#ifndef RAVO_TOOL_CONVERT_SOURCES_H
#define RAVO_TOOL_CONVERT_SOURCES_H

#include <string>
#include <vector>

namespace ravo::tool {

struct conversion_source {
  std::string path;
  std::string target;       ///< of the same name, in the folder that the conversions go to
  bool is_current = false;  ///< of the current generation already
};

/// The files that FILES and FOLDERS stand for: the files themselves, and the raw files of each folder,
/// by name. Throws usage_failure if two of them would be written to the same place, or one to its own.
std::vector<conversion_source> find_sources(const std::vector<std::string>& asked, const std::string& into);

}  // namespace ravo::tool

#endif
