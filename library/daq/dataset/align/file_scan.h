// What the files of a dataset hold, according to their tables. Several threads scan them when the dataset
// is opened, before it is known which of their channels are wanted.
#ifndef RAVO_DATASET_FILE_SCAN_H
#define RAVO_DATASET_FILE_SCAN_H

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "align/file_tables.h"
#include "work/memory_budget.h"
#include "work/open_files.h"
#include "work/worker_pool.h"

namespace ravo::detail {

struct scanned_file {
  struct channel {
    std::uint32_t name;  ///< its number among all names
    channel_place place;
    std::uint32_t event_mask;
  };
  file_summary summary;
  std::vector<channel> channels;
  reservation memory;
  bool is_readable() const { return summary.refusal == file_refusal::none; }
};

/// The channel names of all files, each once: thousands of files have the same ones.
class channel_names {
 public:
  explicit channel_names(memory_budget& memory) : memory_(memory) {}

  /// Adds a name if it is new. `nullopt` if there is no room for it now. For several threads
  /// at once.
  std::optional<std::uint32_t> add(std::string_view name);
  /// The number of a name that was added.
  std::uint32_t number_of(std::string_view name) const { return numbers_.find(name)->second; }
  /// The same; `nullopt` if it was not added.
  std::optional<std::uint32_t> find(std::string_view name) const {
    const auto found = numbers_.find(name);
    return found == numbers_.end() ? std::nullopt : std::optional(found->second);
  }
  std::size_t size() const { return numbers_.size(); }
  /// By name.
  const std::map<std::string, std::uint32_t, std::less<>>& numbers() const { return numbers_; }

 private:
  memory_budget& memory_;
  std::mutex mutex_;  ///< guards what follows while names are added
  reservation reserved_;
  std::map<std::string, std::uint32_t, std::less<>> numbers_;
};

class file_scan {
 public:
  explicit file_scan(memory_budget& memory) : names(memory), memory_(memory) {}

  /// Scans the files of `opened`, which are at `paths`, and throws memory_exceeded if the tables of one do
  /// not fit. `check_stop` may throw.
  void run(const std::vector<std::string>& paths, open_files& opened, worker_pool& pool,
           const std::function<void()>& check_stop);

  std::vector<scanned_file> files;  ///< by path
  channel_names names;

 private:
  memory_budget& memory_;
};

/// Visits the files that have data of a channel, until `visit` returns false: the file's place among those
/// that can be read, and what is known of it and of the channel in it.
void visit_files_of(const file_scan& scan, std::uint32_t name,
                    const std::function<bool(const known_file&)>& visit);

}  // namespace ravo::detail

#endif
