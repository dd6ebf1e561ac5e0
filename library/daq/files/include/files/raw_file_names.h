// What the scan of a directory reads in the names of raw files beside their time: runs and file numbers.
// The names are anybody's, so numbers may be of any length. Opens nothing.
#ifndef RAVO_DAQ_READER_RAW_FILE_NAMES_H
#define RAVO_DAQ_READER_RAW_FILE_NAMES_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace ravo {

/// What follows the last "/" of a path.
std::string_view name_in_path(std::string_view path);

/// Whether a name has "_run<N>_" for a run N of first, ..., last, written without leading zeros.
bool names_run(std::string_view name, int first, int last);

/// The file number of a name: the digits directly behind its last "file<digit>".
struct file_number {
  std::string_view before;  ///< the name up to the number
  std::string_view digits;
  std::int64_t value;
};

/// Nothing when the name has no such number, or one that no file can have.
std::optional<file_number> find_file_number(std::string_view name);

/// The beginning of the names of the file with another number: up to the underscore behind it.
std::string name_up_to_number(const file_number& number, std::int64_t value);

}  // namespace ravo

#endif
