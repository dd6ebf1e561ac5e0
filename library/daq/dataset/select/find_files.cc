// The raw files that a selection names, each once and in order: listed, in folders, or found by run or
// period (requested_files.h).
#include "ravo_dataset/find_files.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <map>
#include <memory>
#include <new>
#include <set>

#include "format/folders.h"
#include "ravo_dataset/errors.h"
#include "ravo_dataset/manifest.h"
#include "ravo_evutl.h"
#include "select/requested_files.h"

namespace ravo {
namespace {

void add_listed(const std::string& path, std::vector<std::string>& files) {
  if (!is_folder(path)) {
    files.push_back(path);  // whether it can be read shows when it is opened
    return;
  }
  const std::vector<std::string> found = detail::raw_files_of(path);
  if (found.empty()) throw files_not_found("The folder " + path + " holds no raw files (*.raw)");
  files.insert(files.end(), found.begin(), found.end());
}

/// One name for all paths to the same file; the path itself if there is no file.
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

/// Sorts the files by name, and keeps each once.
void sort_by_name(std::vector<found_file>& all) {
  std::map<std::string, found_file> by_path;
  std::vector<std::string> paths;
  for (const found_file& file : all)
    if (by_path.try_emplace(file.path, file).second) paths.push_back(file.path);
  sort_by_name(paths);
  all.clear();
  for (const std::string& path : paths) all.push_back(by_path.at(path));
}

std::string why_nothing(const selection& wanted, const found_files& found) {
  std::string text = "No raw files are found for \"" + wanted.to_text() + "\"; look at catalog= and data=";
  for (const reading_problem& problem : found.problems) text += "\n" + problem.text;
  for (const refused_file& file : found.left_out) text += "\n" + file.path + ": " + file.problem;
  return text;
}

/// Adds the files that are listed for their slow values alone. One that is read for its events counts as
/// that.
void add_context(const selection& wanted, found_files& found) {
  if (wanted.context.empty()) return;
  std::set<std::string> known;
  for (const std::string& path : found.files) known.insert(one_name_of(path.c_str()));
  std::vector<std::string> listed;
  for (const std::string& path : wanted.context) add_listed(path, listed);
  for (const std::string& path : listed) {
    if (known.contains(one_name_of(path.c_str()))) continue;
    found.files.push_back(path);
    found.all.push_back({path, found_by::context, file_refusal::none});
  }
}

void add_left_out(const selection& wanted, found_files& found) {
  for (const left_out_file& file : wanted.left_out) {
    found.left_out.push_back({file.path, file.reason, "it was left out when the selection was cut"});
    found.all.push_back({file.path, found_by::listing, file.reason});
  }
}

/// A file that two runs list counts once among the files that are left out.
void drop_repeated(std::vector<refused_file>& left_out) {
  std::set<std::string> seen;
  std::erase_if(left_out, [&](const refused_file& one) { return !seen.insert(one.path).second; });
}

}  // namespace

found_files find_files(const selection& wanted) {
  found_files found = look_for_files(wanted);
  const auto is_own = [](const found_file& file) {
    return file.refusal == file_refusal::none && file.by != found_by::context;
  };
  if (std::none_of(found.all.begin(), found.all.end(), is_own))
    throw files_not_found(why_nothing(wanted, found));
  return found;
}

found_files look_for_files(const selection& asked) {
  const selection wanted = with_manifests(asked);
  if (!wanted.files.empty() && wanted.runs)
    throw selection_error(
        "The selection names files and runs: file= takes the place of run=, drop one of them");
  found_files found;
  for (const std::string& path : wanted.files) add_listed(path, found.files);
  for (const std::string& path : found.files) found.all.push_back({path, found_by::listing});
  if (wanted.files.empty()) found = detail::requested_files(wanted);
  add_context(wanted, found);
  add_left_out(wanted, found);
  sort_by_name(found.files);
  sort_by_name(found.all);
  drop_repeated(found.left_out);
  return found;
}

}  // namespace ravo
