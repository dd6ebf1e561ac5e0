#include "verify/file_search.h"

#include <algorithm>
#include <filesystem>
#include <unordered_set>

namespace ravo::verify {
namespace {

namespace fs = std::filesystem;

void search_folder(const std::string& folder, found_files& found) {
  std::error_code error;
  std::vector<std::string> here;
  // Links to folders are not followed: they may lead round in a circle.
  fs::recursive_directory_iterator entries(folder, error);
  for (; !error && entries != fs::recursive_directory_iterator(); entries.increment(error)) {
    std::error_code ignored;
    if (entries->path().extension() == ".raw" && !entries->is_directory(ignored))
      here.push_back(entries->path().string());
  }
  if (error)
    found.problems.push_back(folder + ": " + error.message());
  else if (here.empty())
    found.problems.push_back(folder + ": holds no .raw file");
  std::sort(here.begin(), here.end());
  found.files.insert(found.files.end(), here.begin(), here.end());
}

}  // namespace

found_files find_files(const std::vector<std::string>& paths) {
  found_files found;
  for (const std::string& path : paths) {
    std::error_code error;
    if (fs::is_directory(path, error))
      search_folder(path, found);
    else
      found.files.push_back(path);
  }
  std::unordered_set<std::string> known;
  std::erase_if(found.files, [&known](const std::string& one) { return !known.insert(one).second; });
  return found;
}

}  // namespace ravo::verify
