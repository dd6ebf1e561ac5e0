// The folder that raw files go to. It is held open from the start of a run to its end, so that a
// change of the working directory or a relative path cannot lead a file astray.
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

  /// Opens a folder that exists and can be written to.
  outcome open(const std::string& path);
  void close();

  int descriptor() const { return descriptor_; }
  const std::string& path() const { return path_; }
  /// The path of a file in the folder.
  std::string path_of(const std::string& name) const;
  /// Whether the name is taken, be it by a link that leads nowhere.
  bool holds(const std::string& name) const;
  /// Brings the folder's entries to disk.
  outcome synchronise() const;

 private:
  int descriptor_ = -1;
  std::string path_;
};

}  // namespace ravo::writer

#endif
