#include "find_files.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <set>

#include "ravo_daq_reader.h"
#include "ravo_daq_reader_2010.h"
#include "ravo_dataset/errors.h"
#include "ravo_evutl.h"
#include "selection_words.h"

namespace ravo::datasets {
namespace {

namespace fs = std::filesystem;

void add_listed(const std::string& path, std::vector<std::string>& files) {
  std::error_code problem;
  if (!fs::is_directory(path, problem)) {
    files.push_back(path);  // whether it can be read is told when it is opened
    return;
  }
  bool any = false;
  for (const fs::directory_entry& found : fs::directory_iterator(path, problem))
    if (found.path().extension() == ".raw") {
      files.push_back(found.path().string());
      any = true;
    }
  if (problem || !any) throw selection_error("The folder " + path + " holds no raw files (*.raw)");
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
    std::error_code problem;
    for (const fs::directory_entry& found :
         fs::directory_iterator(wanted.data.substr(at, end - at), problem)) {
      const std::string name = found.path().filename().string();
      time_stamp time{};
      if (!name.starts_with(prefix) || found.path().extension() != ".raw") continue;
      if (get_time_from_file_name(name.c_str(), &time) != 0 ||
          (wanted.to && time.timeup > wanted.to->timeup))
        continue;
      timed.emplace_back(time.timeup, found.path().string());
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

void sort_by_name(std::vector<std::string>& files) {
  std::vector<char*> names;
  for (std::string& file : files) names.push_back(file.data());
  sort_files(&names);
  std::vector<std::string> sorted;
  std::set<std::string> seen;
  for (const char* name : names)
    if (seen.insert(fs::weakly_canonical(name).string()).second) sorted.emplace_back(name);
  files = std::move(sorted);
}

}  // namespace

std::vector<std::string> find_files(const selection& wanted) {
  std::vector<std::string> files;
  for (const std::string& path : wanted.files) add_listed(path, files);
  if (wanted.files.empty()) files = find_requested(wanted);
  sort_by_name(files);
  return files;
}

}  // namespace ravo::datasets
