// The names of what lies in a directory, one after the other in the order in which the file system gives
// them. Nothing is asked of the entries themselves, so that a directory of 100,000 files is read in no time.
#ifndef RAVO_DAQ_READER_FOLDER_LISTING_H
#define RAVO_DAQ_READER_FOLDER_LISTING_H

#include <dirent.h>

#include <memory>

namespace ravo {

class folder_listing {
 public:
  explicit folder_listing(const char* path);

  /// Whether the directory could be opened and, so far, read.
  bool is_readable() const { return folder_ != nullptr && !has_failed_; }
  /// The next name, valid until the next call; null at the end, or when reading failed.
  const char* next();

 private:
  struct close_folder {
    void operator()(DIR* folder) const { closedir(folder); }
  };
  std::unique_ptr<DIR, close_folder> folder_;
  bool has_failed_ = false;
};

}  // namespace ravo

#endif
