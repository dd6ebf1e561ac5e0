// A list of channels in a text file, one name a line: what `ravo verify --learn` writes and --expect reads.
// Lines that begin with '#' are for people, and so are empty ones.
#ifndef RAVO_VERIFY_CHANNEL_LIST_H
#define RAVO_VERIFY_CHANNEL_LIST_H

#include <set>
#include <stdexcept>
#include <string>

namespace ravo::verify {

/// What is wrong with such a file; what() names it.
struct channel_list_failure : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// Throws channel_list_failure, also for a list without a single channel.
std::set<std::string> read_channel_list(const std::string& path);
/// Replaces the file whole. `origin` is said in a comment at its head. Throws channel_list_failure.
void write_channel_list(const std::string& path, const std::set<std::string>& channels,
                        const std::string& origin);

}  // namespace ravo::verify

#endif
