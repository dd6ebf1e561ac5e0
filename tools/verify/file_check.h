// Checks one file from its first byte to its last, with its channels in parallel.
#ifndef RAVO_VERIFY_FILE_CHECK_H
#define RAVO_VERIFY_FILE_CHECK_H

#include <functional>
#include <string>
#include <vector>

#include "channel_check.h"
#include "finding_list.h"
#include "sequence.h"

namespace ravo::checks {

/// The result of checking a file.
struct file_result {
  std::string path;
  finding_list findings;
  std::uint64_t bytes = 0;
  std::uint64_t bytes_read = 0;  ///< all reads together, except of tables
  std::uint64_t events = 0;
  std::uint64_t blocks = 0;              ///< good blocks
  std::vector<type_sequence> sequences;  ///< for the next file of the run
  bool are_channels_known = false;       ///< the dictionary could be read
  std::vector<std::string> channels_with_data;
};

/// Called by the thread that started the check with the bytes done since the last call.
using progress = std::function<void(std::uint64_t bytes)>;

/// `threads` is at least 1. Throws what `report` throws, and std::bad_alloc.
file_result check_file(const std::string& path, verification_depth deep, unsigned threads,
                       const progress& report);

}  // namespace ravo::checks

#endif
