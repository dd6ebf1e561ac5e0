// Lists and makes folders. A listing yields the names one by one, in the order of the file system. Names
// that begin with a dot are skipped: they are the folder itself and its parent, files that a program has
// not finished, and files that a killed program left. The listing never examines the entries themselves,
// so a folder of 100,000 files is read quickly. Internal code, no interface; the reading layers compile
// it in too.
#ifndef RAVO_FOLDERS_H
#define RAVO_FOLDERS_H

#include <dirent.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <set>
#include <string>
#include <string_view>

#include "format/uninterrupted.h"

namespace ravo {

/// Which names a listing yields. `all` is for removing leftovers; neither yields "." and "..".
enum class listed { visible, all };

class folder_listing {
 public:
  explicit folder_listing(const char* path, listed which = listed::visible)
      : which_(which), folder_(uninterrupted::opendir(path)) {
    if (!folder_) error_ = errno != 0 ? errno : EIO;
  }

  /// Whether the folder could be opened and, so far, read.
  bool is_readable() const { return error_ == 0; }
  /// Why it could not; 0: it could.
  int error() const { return error_; }
  /// The next name, valid until the next call; null at the end, or when reading failed (with errno set).
  const char* next() {
    while (is_readable()) {
      const dirent* const entry = uninterrupted::readdir(folder_.get());
      if (!entry) {
        error_ = errno;
        return nullptr;
      }
      const std::string_view name = entry->d_name;
      if (which_ == listed::all ? name != "." && name != ".." : !name.starts_with('.'))
        return entry->d_name;
    }
    errno = error_;
    return nullptr;
  }

 private:
  struct close_folder {
    void operator()(DIR* folder) const { closedir(folder); }
  };
  listed which_;
  std::unique_ptr<DIR, close_folder> folder_;
  int error_ = 0;
};

/// The path of a name in a folder.
inline std::string path_in(const std::string& folder, const std::string& name) {
  std::string path = folder;
  if (!folder.ends_with('/')) path += '/';
  return path += name;
}

inline bool is_folder(const std::string& path) {
  struct stat about {};
  return uninterrupted::stat(path.c_str(), &about) == 0 && S_ISDIR(about.st_mode);
}

/// Makes a folder in one that is there. 0, or an errno value, which is EEXIST if something that is not a
/// folder has its name.
inline int make_one_folder(const std::string& folder, const std::string& around,
                           std::set<std::string>& changed) {
  if (uninterrupted::mkdir(folder.c_str(), 0777) == 0) {
    changed.insert(around);
    return 0;
  }
  if (errno != EEXIST) return errno;
  struct stat about {};
  if (uninterrupted::stat(folder.c_str(), &about) != 0) return errno;
  return S_ISDIR(about.st_mode) ? 0 : EEXIST;
}

/// Makes a folder and its missing parents. 0, or an errno value, which is EEXIST if something that is
/// not a folder has its name. Folders that have gained an entry are added to `changed`, so that the
/// caller can sync them to disk.
inline int make_folders(const std::string& folder, std::set<std::string>& changed) {
  if (folder.empty()) return 0;
  if (folder.ends_with('/') && folder.size() > 1)
    return make_folders(folder.substr(0, folder.size() - 1), changed);
  const std::size_t slash = folder.rfind('/');
  const std::string around =
      slash == std::string::npos ? "." : folder.substr(0, std::max<std::size_t>(slash, 1));
  if (const int error = make_one_folder(folder, around, changed);
      error != ENOENT || slash == std::string::npos)
    return error;
  if (const int error = make_folders(around, changed); error != 0) return error;
  // Some folders take no entry: /proc answers as if it were not there.
  return make_one_folder(folder, around, changed);
}

}  // namespace ravo

#endif
