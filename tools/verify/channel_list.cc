// A list of channels in a text file: `ravo verify --learn` writes it and --expect reads it.
#include <sstream>

#include "ravo_verify.h"
#include "shared/whole_file.h"

namespace ravo {
namespace {

constexpr std::size_t longest_name = 255;

[[noreturn]] void fail(const std::string& path, const std::string& why) {
  throw verification_error(path + ": " + why);
}

}  // namespace

std::set<std::string> read_channel_list(const std::string& path) try {
  std::istringstream file(read_whole_file(path));
  std::set<std::string> channels;
  std::size_t number = 0;
  for (std::string line; std::getline(file, line);) {
    ++number;
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (line.empty() || line[0] == '#') continue;
    if (line.size() > longest_name || line.find('\0') != std::string::npos)
      fail(path, "line " + std::to_string(number) + " is no channel's name");
    channels.insert(line);
  }
  if (channels.empty()) fail(path, "names no channel");
  return channels;
} catch (const whole_file_failure& failure) {
  throw verification_error(failure.what());
}

void write_channel_list(const std::string& path, const std::set<std::string>& channels,
                        const std::string& origin) try {
  whole_file file(path);
  file.append("# Channels that have data in every run; written by `ravo verify --learn`.\n# " + origin +
              "\n");
  for (const std::string& one : channels) file.append(one + "\n");
  file.publish();
} catch (const whole_file_failure& failure) {
  throw verification_error(failure.what());
}

}  // namespace ravo
