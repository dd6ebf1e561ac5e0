// The open raw files of a dataset: no more than a limit at a time, opened when needed, the least
// recently used closed first. A file that was opened before has to be the same one when it is
// opened again.
#ifndef RAVO_DATASET_OPEN_FILES_H
#define RAVO_DATASET_OPEN_FILES_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "format/raw_file.h"
#include "ravo_dataset/ledger.h"

namespace ravo::detail {

/// An error number of the system; 0: no error.
class error_of_the_machine {
 public:
  explicit error_of_the_machine(int number) : number_(number) {}
  explicit operator bool() const { return number_ != 0; }
  std::string text() const;      ///< the system's words
  file_refusal refusal() const;  ///< of the file in question

 private:
  int number_;
};

/// An open file, closed when nobody uses it any more.
class open_file {
 public:
  /// Opens a regular file, if it is one. `error` takes the error number of the system whenever the file
  /// cannot be opened or read: that does not mean that the file is damaged.
  open_file(const char* path, std::shared_ptr<std::atomic<int>> error);
  /// Whether a regular file is open.
  bool is_open() const { return file_.is_open(); }
  file_identity identity() const { return file_.identity(); }
  int descriptor() const { return file_.descriptor(); }
  long length() const { return is_open() ? static_cast<long>(file_.length()) : 0; }
  /// Reads up to `size` bytes at an offset: fewer at the end of the file. `nullopt` if reading fails.
  std::optional<std::size_t> read(std::uint64_t offset, void* into, std::size_t size) const;
  /// Exactly `size` bytes, or false.
  bool read_all(std::uint64_t offset, void* into, std::size_t size) const;
  /// Has the system begin to read what will be needed, so that several places are fetched at once.
  void expect(std::uint64_t offset, std::size_t size) const;
  /// Whether the system has the byte at an offset in memory. True also if it cannot say.
  bool is_at_hand(std::uint64_t offset) const;
  /// Notes an error of another caller that used the descriptor.
  void note_error(int error) const {
    *error_ = error;
    ++failures_;
  }
  /// How often the machine failed to read this file so far.
  std::uint32_t failures() const { return failures_; }

 private:
  std::shared_ptr<std::atomic<int>> error_;
  mutable std::atomic<std::uint32_t> failures_{0};
  raw_file file_;
};

class open_files {
 public:
  explicit open_files(std::size_t limit) : limit_(limit) {}

  /// From now on the files are known by their positions.
  void set_paths(std::vector<std::string> paths);
  /// The open file, or null if it cannot be opened or is no longer the same file.
  std::shared_ptr<const open_file> get(std::size_t file);
  /// Why a file could not be opened or read the last time that this failed; no error if the system did not
  /// report one.
  error_of_the_machine why_not(std::size_t file) const;

 private:
  std::shared_ptr<const open_file> open(std::size_t file);
  bool is_the_same(std::size_t file, const file_identity& found);

  const std::size_t limit_;
  mutable std::mutex mutex_;  ///< guards what follows
  std::vector<std::string> paths_;
  std::vector<std::optional<file_identity>> identities_;
  std::vector<std::shared_ptr<std::atomic<int>>> errors_;                       ///< 0: no error
  std::list<std::pair<std::size_t, std::shared_ptr<const open_file>>> by_use_;  ///< last used first
  std::unordered_map<std::size_t, decltype(by_use_)::iterator> opened_;
};

}  // namespace ravo::detail

#endif
