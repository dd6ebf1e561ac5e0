// The folder that raw files go to. It stays open from the start of a run to its end, so that a change of
// the working directory does not redirect files if its path is relative.
#ifndef RAVO_WRITER_FOLDER_H
#define RAVO_WRITER_FOLDER_H

#include <string>

#include "outcome.h"

namespace ravo::writer {

class folder {
 public:
  folder() = default;
  ~folder() { close(); }
  folder(const folder&) = delete;
  folder& operator=(const folder&) = delete;

  /// Opens a folder, which must exist and be writable.
  outcome open(const std::string& path);
  void close();

  int descriptor() const { return descriptor_; }
  const std::string& path() const { return path_; }
  /// The path of a file in the folder.
  std::string path_of(const std::string& name) const;
  /// Whether the name is taken, even if only by a dangling link.
  bool holds(const std::string& name) const;
  /// Syncs the folder's entries to disk.
  outcome synchronise() const;

 private:
  int descriptor_ = -1;
  std::string path_;
};

}  // namespace ravo::writer

#endif
