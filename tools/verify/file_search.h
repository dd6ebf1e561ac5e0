// The files that the paths of a command line mean: files as they
// are named, and for folders the raw files in them and below them.
#ifndef RAVO_VERIFY_FILE_SEARCH_H
#define RAVO_VERIFY_FILE_SEARCH_H

#include <string>
#include <vector>

#include "finding.h"

namespace ravo::checks {

struct found_files {
  std::vector<std::string> files;
  std::vector<finding> findings;  ///< folders that hold no raw file or cannot be listed
};

/// In the order of the paths, those of a folder by name; each once.
found_files find_files(const std::vector<std::string>& paths);

}  // namespace ravo::checks

#endif
