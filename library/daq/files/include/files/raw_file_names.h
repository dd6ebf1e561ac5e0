// What the scan of a directory reads in the names of raw files besides their time: runs and file numbers.
// Any file may be there, so numbers may be of any length. Opens nothing.
#ifndef RAVO_DAQ_FILES_RAW_FILE_NAMES_H
#define RAVO_DAQ_FILES_RAW_FILE_NAMES_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace ravo {

/// Whether a name contains "_run<N>_" for a run N from first to last, written without leading zeros.
bool names_run(std::string_view name, int first, int last);

/// The file number of a name: the digits directly after its last "file<digit>".
struct file_number {
  std::string_view before;  ///< the name up to the number
  std::string_view digits;
  std::int64_t value;
};

/// `nullopt` if the name has no such number, or a number that no file can have.
std::optional<file_number> find_file_number(std::string_view name);

/// The beginning of the name of a file with another number: up to the underscore after the number.
std::string name_up_to_number(const file_number& number, std::int64_t value);

}  // namespace ravo

#endif
