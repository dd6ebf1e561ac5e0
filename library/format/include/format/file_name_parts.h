// The parts of a raw file's name, <experiment>_<stream>_run<N>_file<M>_<time>.raw, read from its end.
#ifndef RAVO_FILE_NAME_PARTS_H
#define RAVO_FILE_NAME_PARTS_H

#include <cstdint>
#include <optional>
#include <string_view>

namespace ravo {

struct file_name_parts {
  std::uint32_t seconds;             ///< the time, since the Unix epoch
  std::optional<std::uint64_t> run;  ///< `nullopt`: the name lacks a run or a file number
  std::uint64_t file = 0;
  std::string_view before_run;  ///< what stands before "_run": experiment and stream
};

/// The parts of a path's last component; `nullopt` if it holds no time.
std::optional<file_name_parts> parse_file_name(std::string_view path);

/// What follows the last "/".
std::string_view last_component(std::string_view path);

}  // namespace ravo

#endif
