// A fresh folder for the files of one test, removed with all it holds when the test leaves. It knows
// nothing of what is written into it.
#ifndef RAVO_TEST_TEMPORARY_FOLDER_H
#define RAVO_TEST_TEMPORARY_FOLDER_H

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace ravo::test {

class temporary_folder {
 public:
  temporary_folder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "ravo_test_XXXXXX").string();
    if (!mkdtemp(pattern.data())) throw std::runtime_error("no temporary folder: " + pattern);
    path_ = pattern;
  }
  ~temporary_folder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  temporary_folder(const temporary_folder&) = delete;
  temporary_folder& operator=(const temporary_folder&) = delete;

  const std::filesystem::path& path() const { return path_; }

  /// The path of a file in the folder; the file need not exist.
  std::string file(std::string_view name) const { return (path_ / name).string(); }

  /// Writes a whole file and returns its path.
  std::string write(std::string_view name, std::span<const unsigned char> bytes) const {
    std::string where = file(name);
    std::ofstream out(where, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    out.close();
    if (!out) throw std::runtime_error("cannot write " + where);
    return where;
  }

 private:
  std::filesystem::path path_;
};

/// All bytes of a file.
inline std::vector<unsigned char> read_file(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) throw std::runtime_error("cannot read " + path);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

}  // namespace ravo::test

#endif
