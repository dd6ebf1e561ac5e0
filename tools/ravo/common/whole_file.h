// Small files read and written whole. One that the tool writes (an answer key, a list, a picture) appears
// under its name whole or not at all: until publish() it has no name, or one that begins with a dot; a file
// that was there before stays as it is until then.
#ifndef RAVO_TOOL_WHOLE_FILE_H
#define RAVO_TOOL_WHOLE_FILE_H

#include <cstdint>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

namespace ravo::tool {

/// The file cannot be read or written; what() names it and the reason.
struct whole_file_failure : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// All of a file. Throws whole_file_failure.
std::string read_whole_file(const std::string& path);

/// The length of a file; nothing when there is no such regular file.
std::optional<std::uint64_t> length_of_file(const std::string& path);
/// Whether something bears the name, and may be found.
bool is_there(const std::string& path);
/// Whether both names lead to one file that is there.
bool is_same_file(const std::string& one, const std::string& other);
/// Takes a file away if it is there. Throws whole_file_failure.
void remove_file(const std::string& path);
/// Makes a folder and those around it that are not there. Throws whole_file_failure.
void make_folder(const std::string& path);

class whole_file {
 public:
  /// Begins the file. What is no regular file (/dev/stdout, a pipe) is written to as it is. Throws
  /// whole_file_failure.
  explicit whole_file(std::string path);
  /// What was not published disappears.
  ~whole_file();
  whole_file(const whole_file&) = delete;
  whole_file& operator=(const whole_file&) = delete;

  const std::string& path() const { return path_; }
  /// Throws whole_file_failure.
  void append(std::string_view text);
  void append(std::span<const unsigned char> bytes);
  /// Brings the file to disk and gives it its name, in place of what bore it. Throws whole_file_failure;
  /// then nothing has changed under the name, unless the folder is what cannot be brought to disk.
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
  std::string hidden_;  // the name that it has meanwhile; empty: none
  std::string pending_;
  int file_ = -1;
  bool is_in_place_ = false;  // no regular file: nothing is replaced
};

}  // namespace ravo::tool

#endif
