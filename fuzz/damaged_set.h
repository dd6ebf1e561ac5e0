// A few simulated raw files of one generation in a temporary folder, which an input damages: words are
// changed where the files have structures, and files are cut, exchanged and removed.
#ifndef RAVO_FUZZ_DAMAGED_SET_H
#define RAVO_FUZZ_DAMAGED_SET_H

#include <cstdint>
#include <string>
#include <vector>

#include "ravo_file_generation.h"
#include "temporary_folder.h"

namespace ravo::fuzz {

class input;

class damaged_set {
 public:
  explicit damaged_set(ravo_file_generation generation);

  /// The paths of the files, and the names of the channels that were simulated.
  const std::vector<std::string>& files() const { return files_; }
  const std::vector<std::string>& channels() const { return channels_; }

  /// Undoes all damage; write() brings that to disk.
  void restore();
  /// Makes one edit, which takes eight bytes of the input.
  void damage(input& from);
  /// Writes what has changed to disk.
  void write();

 private:
  struct file_content {
    std::string whole;                 ///< as it was simulated
    std::vector<std::size_t> anchors;  ///< where its tables, headers and blocks begin
    std::string now;
    bool removed = false;
    bool stored_whole = true;  ///< the file on disk is `whole`
  };

  test::temporary_folder folder_;
  std::vector<std::string> files_;
  std::vector<std::string> channels_;
  std::vector<file_content> contents_;
};

}  // namespace ravo::fuzz

#endif
