// Runs one part of the comparison in a process of its own and prints its tables. script/bench runs all of
// them.
#include <cstdio>
#include <exception>
#include <string_view>

#include "parts.h"

namespace {

constexpr const char* usage =
    "usage: ravo_peers ways [--quick] [--only SHAPE] [--processor-time]\n"
    "       ravo_peers at|opening [--quick]\n"
    "       ravo_peers write-large FOLDER [--quick]\n"
    "       ravo_peers opening-large|memory FOLDER\n"
    "Files of the first two lie in a folder of their own in $TMPDIR, as long as the program runs.\n";

bool run(std::string_view part, const std::string& folder, const ravo::bench::ways_options& options) {
  using namespace ravo::bench;
  const extent how_much = options.how_much;
  if (part == "ways")
    compare_ways(options);
  else if (part == "at")
    compare_at(how_much);
  else if (part == "opening")
    compare_opening(how_much);
  else if (folder.empty())
    return false;
  else if (part == "write-large")
    write_large_files(folder, how_much);
  else if (part == "opening-large")
    compare_opening_large(folder);
  else if (part == "memory")
    read_in_capped_memory(folder);
  else
    return false;
  return true;
}

}  // namespace

int main(int count, char** words) {
  std::string_view part;
  std::string folder;
  ravo::bench::ways_options options;
  for (int i = 1; i < count; ++i) {
    const std::string_view word = words[i];
    if (word == "--quick")
      options.how_much = ravo::bench::extent::quick;
    else if (word == "--processor-time")
      options.time = ravo::bench::measured::processor_time;
    else if (word == "--only" && i + 1 < count)
      options.only = words[++i];
    else if (part.empty())
      part = word;
    else
      folder = word;
  }
  try {
    if (run(part, folder, options)) return 0;
  } catch (const std::exception& problem) {
    std::fprintf(stderr, "ravo_peers: %s\n", problem.what());
    return 1;
  }
  std::fputs(usage, stderr);
  return 2;
}
