// A list of channels in a text file, one name a line: `ravo verify --learn` writes
// it and --expect reads it. Lines that begin with '#' and empty lines are ignored.
#ifndef RAVO_VERIFY_CHANNEL_LIST_H
#define RAVO_VERIFY_CHANNEL_LIST_H

#include <set>
#include <stdexcept>
#include <string>

namespace ravo::verify {

/// Such a file cannot be read or written; what() names it.
struct channel_list_failure : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// Throws channel_list_failure, also for a list without a single channel.
std::set<std::string> read_channel_list(const std::string& path);
/// Replaces the whole file. `origin` becomes a comment in its first lines. Throws channel_list_failure.
void write_channel_list(const std::string& path, const std::set<std::string>& channels,
                        const std::string& origin);

}  // namespace ravo::verify

#endif
