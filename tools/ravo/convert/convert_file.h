// Rewrites one older raw file as a file of the current generation: every event, header, channel and
// description goes through the writer again. What the new file cannot say is put down, nothing is left out
// silently.
#ifndef RAVO_TOOL_CONVERT_FILE_H
#define RAVO_TOOL_CONVERT_FILE_H

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "common/raw_file.h"

namespace ravo::tool {

/// Something that the new file does not say as the old one did.
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

/// Called now and then with the part that is done, 0 to 1; may throw to end the work.
using part_done = std::function<void(double)>;

/// Writes the file into the folder, under a name of the writer's. Throws data_failure when the older file
/// is damaged, contradicts itself or cannot be said in the current generation; nothing is written then.
conversion convert_file(raw_file& older, const std::string& folder, const part_done& report);

}  // namespace ravo::tool

#endif
