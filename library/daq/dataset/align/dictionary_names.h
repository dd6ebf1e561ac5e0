// Which channel names the dictionaries of files list. Used for blocks that bear another name than their
// channel's: a name that only the front end knows proves nothing, the name of another channel proves that
// the pointers are wrong.
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
  /// Whether the dictionary lists a channel of that name; names that are longer than a block has room for
  /// are compared as far as there is room. `nullopt` if the dictionary can no longer be read.
  std::optional<bool> has(const open_file& file, const known_file& known, std::string_view name);

 private:
  struct names_of_file {
    std::uint32_t file;
    std::vector<std::size_t> hashes;  ///< in order
  };
  /// Of all files whose names were asked for: one MiB.
  static constexpr std::size_t most_hashes = std::size_t{1} << 17;

  const std::vector<std::size_t>* hashes_of(const open_file& file, const known_file& known);

  std::mutex mutex_;  ///< guards what follows
  std::vector<names_of_file> kept_;
  std::size_t kept_hashes_ = 0;
  /// The last question about a file that has too many names to be kept.
  std::pair<std::uint32_t, std::string> last_question_{0xffffffffu, {}};
  bool last_answer_ = false;
};

}  // namespace ravo::detail

#endif
