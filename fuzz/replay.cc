// Runs a fuzz target over files instead of letting a fuzzer choose: the corpora and the inputs that once
// failed, under every compiler and sanitizer.
// usage: TARGET FILE_OR_FOLDER...   A folder that does not exist counts as an empty one.
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

// An input that takes this long has hung; SIGALRM ends the process.
constexpr unsigned most_seconds = 60;

void add_inputs(const std::filesystem::path& where, std::vector<std::filesystem::path>& inputs) {
  if (!std::filesystem::is_directory(where)) {
    if (std::filesystem::exists(where)) inputs.push_back(where);
    return;
  }
  for (const auto& entry : std::filesystem::recursive_directory_iterator(where))
    if (entry.is_regular_file()) inputs.push_back(entry.path());
}

bool replay(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  const std::vector<char> bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  if (file.bad()) return false;
  // Memory of exactly this size, so that a sanitizer sees every access beyond it.
  const std::unique_ptr<std::uint8_t[]> copy(new std::uint8_t[bytes.size()]);
  std::copy(bytes.begin(), bytes.end(), copy.get());
  alarm(most_seconds);
  LLVMFuzzerTestOneInput(copy.get(), bytes.size());
  alarm(0);
  return true;
}

}  // namespace

int main(int count, char** arguments) {
  std::vector<std::filesystem::path> inputs;
  for (int i = 1; i < count; ++i) add_inputs(arguments[i], inputs);
  std::sort(inputs.begin(), inputs.end());
  // Printed before the run, so that the last line names the input that ended the process.
  for (const auto& path : inputs) {
    std::fprintf(stderr, "%s\n", path.c_str());
    if (!replay(path)) {
      std::fprintf(stderr, "cannot be read\n");
      return 1;
    }
  }
  std::fprintf(stderr, "%zu inputs replayed\n", inputs.size());
  return inputs.empty() ? 1 : 0;
}
