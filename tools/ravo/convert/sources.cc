#include "convert/sources.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <map>

#include "common/failure.h"
#include "format/folders.h"
#include "format/uninterrupted.h"
#include "ravo_file_generation.h"
#include "shared/whole_file.h"

namespace ravo::tool {
namespace {

namespace fs = std::filesystem;

std::vector<std::string> raw_files_of(const std::string& folder) {
  std::vector<std::string> files;
  folder_listing names(folder.c_str());
  while (const char* const name = names.next()) {
    const fs::path path = fs::path(folder) / name;
    struct stat about {};
    const bool is_file = uninterrupted::stat(path.c_str(), &about) == 0 && S_ISREG(about.st_mode);
    if (is_file && path.extension() == ".raw") files.push_back(path.string());
  }
  if (!names.is_readable()) throw data_failure(fmt::format("{}: {}", folder, std::strerror(names.error())));
  std::sort(files.begin(), files.end());
  return files;
}

bool is_current(const std::string& path) {
  auto generation = ravo_file_generation::older;
  return ravo_get_file_generation(path.c_str(), &generation) == 0 &&
         generation == ravo_file_generation::current;
}

}  // namespace

std::vector<conversion_source> find_sources(const std::vector<std::string>& asked,
                                            const std::string& into) {
  std::vector<std::string> paths;
  for (const std::string& path : asked) {
    const std::vector<std::string> found =
        is_folder(path) ? raw_files_of(path) : std::vector<std::string>{path};
    for (const std::string& one : found)
      if (std::find(paths.begin(), paths.end(), one) == paths.end()) paths.push_back(one);
  }
  std::vector<conversion_source> sources;
  std::map<std::string, std::string> source_of_target;
  for (const std::string& path : paths) {
    const conversion_source source{path, (fs::path(into) / fs::path(path).filename()).string(),
                                   is_current(path)};
    sources.push_back(source);
    if (source.is_current) continue;
    if (is_same_file(source.path, source.target))
      throw usage_failure(
          fmt::format("--into: {} would take the place of itself; name another folder", path));
    if (const auto [other, is_new] = source_of_target.try_emplace(source.target, path); !is_new)
      throw usage_failure(
          fmt::format("{} and {} would both become {}; convert them into folders of their own",
                      other->second, path, source.target));
  }
  return sources;
}

}  // namespace ravo::tool
