#include "ravo_dataset/manifest.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>

#include "ravo_dataset/errors.h"
#include "select/manifest_text.h"
#include "select/sha256.h"

namespace ravo {
namespace {

/// Calls `use` with each list of two selections.
template <class Use>
void for_lists(selection& a, const selection& b, Use use) {
  use(a.files, b.files);
  use(a.context, b.context);
  use(a.left_out, b.left_out);
  use(a.gaps, b.gaps);
  use(a.channels, b.channels);
  use(a.exact, b.exact);
}

void append_lists(selection& to, const selection& from) {
  for_lists(to, from,
            [](auto& list, const auto& more) { list.insert(list.end(), more.begin(), more.end()); });
}

selection without_lists(selection whole) {
  for_lists(whole, {}, [](auto& list, const auto& none) { list = none; });
  return whole;
}

[[noreturn]] void refuse(const std::string& path, const std::string& why) {
  throw selection_error("The manifest " + path + " " + why);
}

/// The bytes of a file. Throws selection_error if it cannot be read.
std::string bytes_of(const std::string& path) {
  constexpr std::uintmax_t most_bytes = std::uintmax_t{64} << 20;  // half a million paths
  std::error_code error;
  if (!std::filesystem::is_regular_file(path, error))
    refuse(path, "is not there, or is not a regular file");
  const std::uintmax_t size = std::filesystem::file_size(path, error);
  if (!error && size > most_bytes)
    refuse(path, "has " + std::to_string(size) + " bytes, and no more than " + std::to_string(most_bytes) +
                     " are read");
  std::ifstream stream(path, std::ios::binary);
  std::string bytes{std::istreambuf_iterator<char>(stream), {}};
  if (!stream) refuse(path, std::string("cannot be read: ") + std::strerror(errno));
  return bytes;
}

/// The lists of a manifest.
selection read_lists(const manifest_name& manifest) {
  const std::string bytes = bytes_of(manifest.path);
  const std::string digest = detail::sha256_of(bytes);
  if (digest != manifest.sha256)
    refuse(manifest.path, "is not the one that the selection names: its digest is sha256:" + digest +
                              ", and the selection has sha256:" + manifest.sha256);
  const selection read = [&] {
    try {
      return selection::parse(bytes);
    } catch (const selection_error& error) {
      refuse(manifest.path, std::string("has a word that cannot be read: ") + error.what());
    }
  }();
  if (const selection rest = without_lists(read); !(rest == selection()))
    refuse(manifest.path,
           "holds lists alone (file=, context=, left_out=, gap=, chan= and exact=): what else it has, " +
               rest.to_text() + ", belongs to the selection itself");
  return read;
}

/// Writes a new file. False: there is one already.
bool write_new(const std::string& path, const std::string& bytes) {
  std::FILE* const file = std::fopen(path.c_str(), "wbxe");
  if (file == nullptr && errno == EEXIST) return false;
  if (file == nullptr) refuse(path, std::string("cannot be written: ") + std::strerror(errno));
  const bool is_written = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
  int error = is_written ? 0 : errno;
  if (std::fclose(file) != 0 && error == 0) error = errno;
  if (error == 0) return true;
  std::remove(path.c_str());
  refuse(path, std::string("cannot be written: ") + std::strerror(error));
}

}  // namespace

selection with_manifests(const selection& wanted) {
  if (wanted.manifests.empty()) return wanted;
  selection whole = without_lists(wanted);
  whole.manifests.clear();
  for (const manifest_name& manifest : wanted.manifests) append_lists(whole, read_lists(manifest));
  append_lists(whole, wanted);
  return whole;
}

selection move_lists_to_manifest(const selection& wanted, const std::string& path) {
  const std::string bytes = detail::manifest_text(wanted);
  if (!write_new(path, bytes) && bytes_of(path) != bytes)
    refuse(path, "cannot be written: there is another file of that name");
  selection moved = without_lists(wanted);
  moved.manifests.push_back({path, detail::sha256_of(bytes)});
  return moved;
}

}  // namespace ravo
