#include "find_files.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <set>
#include <string_view>

#include "ravo_daq_reader.h"
#include "ravo_daq_reader_2010.h"
#include "ravo_dataset/errors.h"
#include "ravo_evutl.h"
#include "reader/folder_listing.h"
#include "reader/raw_file_names.h"
#include "selection_words.h"

namespace ravo::datasets {
namespace {

bool is_folder(const std::string& path) {
  struct stat found {};
  return ::stat(path.c_str(), &found) == 0 && S_ISDIR(found.st_mode);
}

/// The paths of the raw files in a folder. What cannot be read as a whole is refused: files of it would be
/// missing without a word.
std::vector<std::string> raw_files_of(const std::string& folder) {
  folder_listing listing(folder.c_str());
  const std::string prefix = folder.ends_with('/') ? folder : folder + "/";
  std::vector<std::string> files;
  while (const char* name = listing.next())
    if (std::string_view(name).ends_with(".raw")) files.push_back(prefix + name);
  if (!listing.is_readable())
    throw selection_error("The folder " + folder + " cannot be read: " + std::strerror(errno));
  return files;
}

void add_listed(const std::string& path, std::vector<std::string>& files) {
  if (!is_folder(path)) {
    files.push_back(path);  // whether it can be read is told when it is opened
    return;
  }
  const std::vector<std::string> found = raw_files_of(path);
  if (found.empty()) throw selection_error("The folder " + path + " holds no raw files (*.raw)");
  files.insert(files.end(), found.begin(), found.end());
}

template <std::size_t size>
void set_text(char (&field)[size], const std::string& text, const char* what) {
  if (text.size() >= size)
    throw selection_error(std::string(what) + " has more than " + std::to_string(size - 1) + " bytes");
  std::memcpy(field, text.c_str(), text.size() + 1);
}

template <class Reader>
std::vector<std::string> ask(const ravo_daq_request& request) {
  Reader reader;
  const int status = reader.init(&request, nullptr);
  std::vector<std::string> files;
  if (status != RAVO_DAQ_READER_OK) return files;
  for (int i = 0; i < reader.get_number_of_files(); ++i) files.emplace_back(reader.get_file_name(i));
  return files;
}

/// The files of a period by the times in their names: a file reaches from its own time to that of later
/// ones, so that some before the period are taken too, of which their event index then tells whether they
/// reach into it. The readers' requests want a file that begins in the period; this is for periods shorter
/// than a file.
std::vector<std::string> find_by_names(const selection& wanted) {
  constexpr std::size_t taken_before = 16;
  const std::string prefix = wanted.experiment + "_" + wanted.stream + "_";
  std::vector<std::pair<std::uint32_t, std::string>> timed;
  for (std::size_t at = 0; at < wanted.data.size();) {
    const std::size_t end = std::min(wanted.data.find(':', at), wanted.data.size());
    const std::string folder = wanted.data.substr(at, end - at);
    // One of several that is not there is no reason to refuse the others.
    const std::vector<std::string> found =
        is_folder(folder) ? raw_files_of(folder) : std::vector<std::string>();
    for (const std::string& path : found) {
      const std::string name(name_in_path(path));
      time_stamp time{};
      if (!name.starts_with(prefix) || get_time_from_file_name(name.c_str(), &time) != 0 ||
          (wanted.to && time.timeup > wanted.to->timeup))
        continue;
      timed.emplace_back(time.timeup, path);
    }
    at = end + 1;
  }
  std::sort(timed.begin(), timed.end());
  const auto begin =
      std::lower_bound(timed.begin(), timed.end(), std::pair(wanted.from->timeup, std::string()));
  const auto before = std::min<std::ptrdiff_t>(taken_before, begin - timed.begin());
  std::vector<std::string> files;
  for (auto one = begin - before; one != timed.end(); ++one) files.push_back(one->second);
  return files;
}

std::vector<std::string> find_requested(const selection& wanted) {
  ravo_daq_request request{};
  if (wanted.runs) {
    request.run_first = wanted.runs->first;
    request.run_last = wanted.runs->last;
  } else if (!wanted.from) {
    throw selection_error("The selection names no files: it needs file=, run= or from=");
  }
  if (wanted.from) request.start_time.time = *wanted.from;
  if (wanted.to) request.stop_time.time = *wanted.to;
  set_text(request.exp_name, wanted.experiment, "The experiment");
  set_text(request.stream_name, wanted.stream, "The stream");
  set_text(request.cdir, wanted.catalogue, "The catalogue's path");
  set_text(request.ddir, wanted.data, "The data path");
  request.time_diff = wanted.tolerance;
  request.period = {1, {0, 100000}};
  std::vector<std::string> files = ask<ravo_daq_reader_2010>(request);
  // The reader of the current generation refuses older files, and so does the other way round.
  if (files.empty()) files = ask<ravo_daq_reader>(request);
  if (files.empty() && !wanted.runs) files = find_by_names(wanted);
  if (files.empty())
    throw selection_error("No raw files are found for \"" + wanted.to_text() +
                          "\"; look at catalog= and data=");
  return files;
}

/// A name that all paths to a file share; the path itself where there is no file.
std::string one_name_of(const char* path) {
  const std::unique_ptr<char, decltype(&std::free)> resolved(::realpath(path, nullptr), &std::free);
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

}  // namespace

std::vector<std::string> find_files(const selection& wanted) {
  if (!wanted.files.empty() && wanted.runs)
    throw selection_error(
        "The selection names files and runs: file= takes the place of run=, drop one of them");
  std::vector<std::string> files;
  for (const std::string& path : wanted.files) add_listed(path, files);
  if (wanted.files.empty()) files = find_requested(wanted);
  sort_by_name(files);
  return files;
}

}  // namespace ravo::datasets
