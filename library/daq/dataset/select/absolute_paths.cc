#include <algorithm>
#include <filesystem>
#include <string>
#include <utility>

#include "ravo_dataset/selection.h"

namespace ravo {
namespace {

/// An empty path, which stands for a default, stays empty.
std::string absolute(const std::string& path) {
  if (path.empty()) return path;
  std::error_code error;
  const std::filesystem::path whole = std::filesystem::absolute(path, error);
  return error ? path : whole.lexically_normal().string();
}

/// The same of each of several paths, which ":" joins.
std::string all_absolute(const std::string& joined) {
  std::string made;
  for (std::size_t at = 0; at < joined.size();) {
    const std::size_t end = std::min(joined.find(':', at), joined.size());
    if (end > at) made += (made.empty() ? "" : ":") + absolute(joined.substr(at, end - at));
    at = end + 1;
  }
  return made;
}

}  // namespace

selection with_absolute_paths(selection wanted) {
  for (std::string& path : wanted.files) path = absolute(path);
  for (std::string& path : wanted.context) path = absolute(path);
  for (left_out_file& file : wanted.left_out) file.path = absolute(file.path);
  for (manifest_name& manifest : wanted.manifests) manifest.path = absolute(manifest.path);
  wanted.catalogue = absolute(wanted.catalogue);
  wanted.data = all_absolute(wanted.data);
  return wanted;
}

}  // namespace ravo
