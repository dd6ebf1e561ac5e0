// Catalogue files on disk: read whole, replaced whole, and a lock among the writers of one stream.
#ifndef RAVO_CATALOGUE_STORAGE_H
#define RAVO_CATALOGUE_STORAGE_H

#include <chrono>
#include <optional>
#include <set>
#include <string>

namespace ravo::catalogue {

/// The text of a file, or why it cannot be read; neither if there is no such file.
struct stored_text {
  std::optional<std::string> text;
  std::string problem;
};
stored_text read_text(const std::string& path);

/// Replaces the text of a file atomically: concurrent readers, and readers after a power cut, see the old
/// text or the new text. Makes missing folders. Adds the folders that have gained an entry to `changed`, so
/// that the caller can sync them to disk. Returns why it failed, or an empty text. Only for the holder of
/// the stream's lock.
std::string replace_text(const std::string& path, const std::string& text, std::set<std::string>& changed);

/// Holds a lock file, against other threads and other processes. The system releases it when the process
/// ends, however it ends.
class file_lock {
 public:
  /// Waits at most `patience`. Makes missing folders, as replace_text() does.
  file_lock(const std::string& path, std::chrono::milliseconds patience, std::set<std::string>& changed);
  ~file_lock();
  file_lock(const file_lock&) = delete;
  file_lock& operator=(const file_lock&) = delete;

  /// Why the lock is not held; empty when it is.
  const std::string& problem() const { return problem_; }

 private:
  int fd_ = -1;
  std::string problem_;
};

}  // namespace ravo::catalogue

#endif
