// Small files that are read and written whole. A file that the tool writes (an answer key,
// a list, a picture) appears under its name complete or not at all: until publish() it has
// no name, or one that begins with a dot, and an existing file of that name stays as it is.
#ifndef RAVO_SHARED_WHOLE_FILE_H
#define RAVO_SHARED_WHOLE_FILE_H

#include <cstdint>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

namespace ravo {

/// The file cannot be read or written; what() names it and the reason.
struct whole_file_failure : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// Reads a whole file. Throws whole_file_failure.
std::string read_whole_file(const std::string& path);

/// The length of a file; `nullopt` if there is no such regular file.
std::optional<std::uint64_t> length_of_file(const std::string& path);
/// Whether the path exists and may be looked up.
bool is_there(const std::string& path);
/// Whether both paths lead to the same existing file.
bool is_same_file(const std::string& one, const std::string& other);
/// Removes a file if it exists. Throws whole_file_failure.
void remove_file(const std::string& path);
/// Makes a folder and its missing parents. Throws whole_file_failure.
void make_folder(const std::string& path);

class whole_file {
 public:
  /// Begins the file. If the path is not a regular file (/dev/stdout,
  /// a pipe), it is written directly. Throws whole_file_failure.
  explicit whole_file(std::string path);
  /// Removes what was not published.
  ~whole_file();
  whole_file(const whole_file&) = delete;
  whole_file& operator=(const whole_file&) = delete;

  const std::string& path() const { return path_; }
  /// Throws whole_file_failure.
  void append(std::string_view text);
  void append(std::span<const unsigned char> bytes);
  /// Brings the file to disk and gives it its name, in place of an existing file. Throws
  /// whole_file_failure; then the name still has its old content, unless only the folder could not be
  /// brought to disk.
  void publish();

 private:
  void begin();
  void begin_hidden();
  void write_out();
  void give_name();
  void give_up() noexcept;
  [[noreturn]] void fail(int error) const;

  std::string path_;    // as it was given, for messages
  std::string target_;  // the file that is replaced: where a link leads
  std::string folder_;
  std::string hidden_;  // its temporary name; empty if it has none
  std::string pending_;
  int file_ = -1;
  bool is_in_place_ = false;  // not a regular file: written directly
};

}  // namespace ravo

#endif
