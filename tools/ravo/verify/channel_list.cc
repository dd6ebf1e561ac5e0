#include "verify/channel_list.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>

namespace ravo::verify {
namespace {

constexpr std::size_t longest_name = 255;

[[noreturn]] void fail(const std::string& path, const std::string& why) {
  throw channel_list_failure(path + ": " + why);
}

}  // namespace

std::set<std::string> read_channel_list(const std::string& path) {
  errno = 0;
  std::ifstream file(path);
  if (!file) fail(path, std::strerror(errno));
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
  if (file.bad()) fail(path, "cannot be read");
  if (channels.empty()) fail(path, "names no channel");
  return channels;
}

void write_channel_list(const std::string& path, const std::set<std::string>& channels,
                        const std::string& origin) {
  const std::string unfinished = path + ".new";
  errno = 0;
  std::ofstream file(unfinished, std::ios::trunc);
  file << "# Channels that have data in every run; written by `ravo verify --learn`.\n# " << origin << '\n';
  for (const std::string& one : channels) file << one << '\n';
  file.close();
  if (!file || std::rename(unfinished.c_str(), path.c_str()) != 0) {
    const std::string why = std::strerror(errno);
    std::remove(unfinished.c_str());
    fail(path, why);
  }
}

}  // namespace ravo::verify
