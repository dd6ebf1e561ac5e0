// Rewrites one older raw file as a file of the current generation: every
// event, header, channel and description goes through the writer again. What
// the new file cannot express is recorded; nothing is left out silently.
#ifndef RAVO_TOOL_CONVERT_FILE_H
#define RAVO_TOOL_CONVERT_FILE_H

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "common/raw_file.h"

namespace ravo::tool {

/// Something that the old file says and the new one does not, or not in the same way.
struct loss {
  std::string channel;  ///< empty: of the file
  std::string text;
};

struct conversion {
  std::string output;  ///< the file that was written
  std::uint64_t events = 0;
  std::uint64_t server_blocks = 0;
  std::uint64_t channels = 0;
  std::uint64_t blocks = 0;
  std::vector<loss> losses;
};

/// Called now and then with the fraction that is done, 0 to 1; may throw to end the work.
using part_done = std::function<void(double)>;

/// Writes the file into the folder, under a name that the writer chooses. Throws data_failure, and writes
/// nothing, if the older file is damaged, contradicts itself or cannot be expressed in the current
/// generation.
conversion convert_file(raw_file& older, const std::string& folder, const part_done& report);

}  // namespace ravo::tool

#endif
