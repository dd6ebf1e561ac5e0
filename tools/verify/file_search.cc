#include "file_search.h"

#include <algorithm>
#include <cstring>
#include <string_view>
#include <unordered_set>

#include "format/folders.h"
#include "format/uninterrupted.h"

namespace ravo::checks {
namespace {

std::string join(const std::string& folder, const char* name) {
  return folder.ends_with('/') ? folder + name : folder + "/" + name;
}

// The standard library's iterators end the program if there is no
// memory, and end a walk at the first folder that cannot be read.
class folder_walk {
 public:
  explicit folder_walk(found_files& found) : found_(found) {}

  void search(const std::string& folder) {
    here_.clear();
    folders_ = {folder};
    const std::size_t problems = found_.findings.size();
    while (!folders_.empty()) {
      const std::string next = std::move(folders_.back());
      folders_.pop_back();
      list(next);
    }
    if (here_.empty() && found_.findings.size() == problems) refuse(folder, "it holds no .raw file");
    std::sort(here_.begin(), here_.end());
    found_.files.insert(found_.files.end(), here_.begin(), here_.end());
  }

 private:
  void list(const std::string& folder) {
    folder_listing names(folder.c_str());
    while (const char* const name = names.next()) take(join(folder, name));
    if (!names.is_readable()) refuse(folder, std::strerror(names.error()));
  }

  void refuse(const std::string& folder, const char* why) {
    found_.findings.push_back({finding_kind::folder_unreadable, folder, {}, 1, why});
  }

  // Links to folders are not followed: they may form a loop.
  void take(const std::string& path) {
    struct stat about {};
    const bool is_known = uninterrupted::lstat(path.c_str(), &about) == 0;
    if (is_known && S_ISDIR(about.st_mode))
      folders_.push_back(path);
    else if (std::string_view(path).ends_with(".raw") && !is_folder(path))
      here_.push_back(path);
    else if (!is_known && errno != ENOENT)  // perhaps a folder with files in it
      refuse(path, std::strerror(errno));
  }

  found_files& found_;
  std::vector<std::string> folders_;  // still to be listed
  std::vector<std::string> here_;
};

}  // namespace

found_files find_files(const std::vector<std::string>& paths) {
  found_files found;
  folder_walk walk(found);
  for (const std::string& path : paths) {
    if (is_folder(path))
      walk.search(path);
    else
      found.files.push_back(path);
  }
  std::unordered_set<std::string> known;
  std::erase_if(found.files, [&known](const std::string& one) { return !known.insert(one).second; });
  return found;
}

}  // namespace ravo::checks
