// Runs one part of the comparison in a process of its own and prints its tables. script/bench runs all of
// them.
#include <cstdio>
#include <exception>
#include <string_view>

#include "parts.h"

namespace {

constexpr const char* usage =
    "usage: ravo_peers ways|at|opening [--quick]\n"
    "       ravo_peers write-large FOLDER [--quick]\n"
    "       ravo_peers opening-large|memory FOLDER\n"
    "Files of the first line lie in a folder of their own in $TMPDIR, as long as the program runs.\n";

bool run(std::string_view part, const std::string& folder, ravo::bench::extent how_much) {
  using namespace ravo::bench;
  if (part == "ways")
    compare_ways(how_much);
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
  auto how_much = ravo::bench::extent::full;
  for (int i = 1; i < count; ++i) {
    const std::string_view word = words[i];
    if (word == "--quick")
      how_much = ravo::bench::extent::quick;
    else if (part.empty())
      part = word;
    else
      folder = word;
  }
  try {
    if (run(part, folder, how_much)) return 0;
  } catch (const std::exception& problem) {
    std::fprintf(stderr, "ravo_peers: %s\n", problem.what());
    return 1;
  }
  std::fputs(usage, stderr);
  return 2;
}
