// The raw files that a selection names, each once and in order: listed, in folders, or found by run or
// period (requested_files.h).
#include "ravo_dataset/find_files.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <memory>
#include <new>
#include <set>

#include "format/folders.h"
#include "ravo_dataset/errors.h"
#include "ravo_evutl.h"
#include "select/requested_files.h"

namespace ravo {
namespace {

void add_listed(const std::string& path, std::vector<std::string>& files) {
  if (!is_folder(path)) {
    files.push_back(path);  // whether it can be read is told when it is opened
    return;
  }
  const std::vector<std::string> found = datasets::raw_files_of(path);
  if (found.empty()) throw files_not_found("The folder " + path + " holds no raw files (*.raw)");
  files.insert(files.end(), found.begin(), found.end());
}

/// A name that all paths to a file share; the path itself where there is no file.
std::string one_name_of(const char* path) {
  const std::unique_ptr<char, decltype(&std::free)> resolved(uninterrupted::realpath(path), &std::free);
  if (!resolved && errno == ENOMEM) throw std::bad_alloc();
  return resolved ? resolved.get() : path;
}

void sort_by_name(std::vector<std::string>& files) {
  std::vector<char*> names;
  for (std::string& file : files) names.push_back(file.data());
  sort_files(&names);
  std::vector<std::string> sorted;
  std::set<std::string> seen;
  for (const char* name : names)
    if (seen.insert(one_name_of(name)).second) sorted.emplace_back(name);
  files = std::move(sorted);
}

/// A file that is listed under two runs is left out once.
void drop_repeated(std::vector<refused_file>& left_out) {
  std::set<std::string> seen;
  std::erase_if(left_out, [&](const refused_file& one) { return !seen.insert(one.path).second; });
}

}  // namespace

found_files find_files(const selection& wanted) {
  if (!wanted.files.empty() && wanted.runs)
    throw selection_error(
        "The selection names files and runs: file= takes the place of run=, drop one of them");
  found_files found;
  for (const std::string& path : wanted.files) add_listed(path, found.files);
  if (wanted.files.empty()) found = datasets::requested_files(wanted);
  sort_by_name(found.files);
  drop_repeated(found.left_out);
  return found;
}

}  // namespace ravo
