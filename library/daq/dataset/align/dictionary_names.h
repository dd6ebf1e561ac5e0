// Which names the dictionaries of files give to channels. It is asked for blocks that bear another name
// than that of their channel: one that the front end knows the channel by says nothing, that of another
// channel says that the pointers led astray.
#ifndef RAVO_DATASET_DICTIONARY_NAMES_H
#define RAVO_DATASET_DICTIONARY_NAMES_H

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "align/file_tables.h"
#include "work/open_files.h"

namespace ravo::detail {

/// For several threads at once.
class dictionary_names {
 public:
  /// Whether the dictionary gives the name to a channel; of names that are longer than a block has room
  /// for, as much as there is room for. Nothing where the dictionary cannot be read any more.
  std::optional<bool> has(const open_file& file, const known_file& known, std::string_view name);

 private:
  struct names_of_file {
    std::uint32_t file;
    std::vector<std::size_t> hashes;  ///< in order
  };
  /// Of files whose names were asked for: a MiB in all.
  static constexpr std::size_t most_hashes = std::size_t{1} << 17;

  const std::vector<std::size_t>* hashes_of(const open_file& file, const known_file& known);

  std::mutex mutex_;  ///< guards what follows
  std::vector<names_of_file> kept_;
  std::size_t kept_hashes_ = 0;
  /// What was asked last of a file that has too many names to be kept.
  std::pair<std::uint32_t, std::string> last_question_{0xffffffffu, {}};
  bool last_answer_ = false;
};

}  // namespace ravo::detail

#endif
