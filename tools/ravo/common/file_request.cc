#include "common/file_request.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <map>
#include <memory>
#include <utility>

#include "common/escaping.h"
#include "common/failure.h"
#include "common/json_lines.h"
#include "common/raw_file.h"
#include "common/times.h"
#include "files/closed_file.h"
#include "format/folders.h"
#include "ravo_evutl.h"
#include "ravo_file_generation.h"
#include "ravo_run_catalogue.h"

namespace ravo::tool {
namespace {

namespace fs = std::filesystem;

template <std::size_t size>
void fill(char (&field)[size], const std::string& text, const char* option) {
  if (text.size() >= size)
    throw usage_failure(
        fmt::format("{}: longer than the {} letters that a request can hold", option, size - 1));
  std::memcpy(field, text.c_str(), text.size() + 1);
}

// Where files are looked for by their names.
std::string searched_folder(const file_request& request) {
  return request.data.value_or(raw_format_2010::default_data_dir);
}

ravo_daq_request record_of(const file_request& request, const ravo_daq_request& defaults) {
  ravo_daq_request record = defaults;
  fill(record.exp_name, request.experiment, "--experiment");
  fill(record.stream_name, request.stream, "--stream");
  fill(record.cdir, request.catalogue, "--catalog");
  // The older reader has no directory of its own; the files of both generations are looked for alike.
  fill(record.ddir, searched_folder(request), "--data");
  if (request.runs) {
    record.run_first = request.runs->first;
    record.run_last = request.runs->last;
  }
  // Half a window would be taken for none; all files of the runs are looked into then.
  if (request.from && request.to) {
    record.start_time = {0, *request.from};
    record.stop_time = {0, *request.to};
  }
  return record;
}

enum class catalogued { complete, growing_too };

// The files that the catalogue has of the request, in its order.
std::vector<std::string> catalogued_files(const file_request& request, catalogued which) {
  std::vector<ravo_root_xml_files*> found;
  const std::unique_ptr<std::vector<ravo_root_xml_files*>, decltype(&ravo_free_root_xml_files)> owner(
      &found, ravo_free_root_xml_files);
  const int only_closed = which == catalogued::complete ? 1 : 0;
  if (request.runs) {
    std::vector<int> numbers;
    for (int run = request.runs->first; run <= request.runs->last; ++run) numbers.push_back(run);
    std::vector<int*> runs;
    for (int& number : numbers) runs.push_back(&number);
    get_files_for_runs(&runs, &found, request.experiment.c_str(), request.stream.c_str(),
                       request.catalogue.c_str(), only_closed);
  } else {
    get_files_for_period(request.from->timeup, request.to->timeup, &found, request.experiment.c_str(),
                         request.stream.c_str(), request.catalogue.c_str(), only_closed);
  }
  std::vector<std::string> files;
  for (const ravo_root_xml_files* one : found)
    for (const std::string* file : one->rfiles) files.push_back(*file);
  return files;
}

// The folders in which the catalogue has files of the request, in its order.
std::vector<std::string> catalogued_folders(const file_request& request) {
  std::vector<std::string> folders;
  for (const std::string& file : catalogued_files(request, catalogued::complete)) {
    const std::string folder = fs::path(file).parent_path().string();
    // Folders are joined by ":", so that one with a ":" cannot be said.
    if (folder.empty() || folder.find(':') != std::string::npos) continue;
    if (std::find(folders.begin(), folders.end(), folder) == folders.end()) folders.push_back(folder);
  }
  return folders;
}

// The reader looks for what the catalogue names in its data directory, or along its data path list. Unless
// a directory is asked for, it is led to where the catalogue says that the files are, and only then along
// the list.
template <class Reader>
void lead_to_catalogued_folders(Reader& reader, const file_request& request, ravo_daq_request& record) {
  std::string paths;
  for (const std::string& folder : catalogued_folders(request)) paths += folder + ":";
  if (paths.empty()) return;
  record.ddir[0] = '\0';
  paths += reader.get_data_path_list();
  reader.set_data_path_list(paths.c_str());
}

bool is_from_catalogue(const file_decisions& decisions) {
  return std::any_of(decisions.begin(), decisions.end(),
                     [](const file_decision& one) { return one.origin == file_origin::catalogue; });
}

const char* text_of(file_origin origin) {
  switch (origin) {
    case file_origin::caller:
      return "named";
    case file_origin::catalogue:
      return "in the catalogue";
    case file_origin::scan:
      return "its name fits";
    case file_origin::start_candidate:
      return "no name fits better";
    case file_origin::previous:
      return "edge: comes before the first";
    case file_origin::next:
      return "edge: comes behind the last";
  }
  return "";
}

const char* text_of(file_outcome outcome) {
  switch (outcome) {
    case file_outcome::taken:
      return "";
    case file_outcome::outside_period:
      return "no events of the period";
    case file_outcome::other_experiment:
      return "of another experiment";
    case file_outcome::not_closed:
      return "not closed: it changed less than half a minute ago and may still be written";
    case file_outcome::not_found:
      return "not found, or not readable, in the data directories";
  }
  return "";
}

const char* key_of(file_origin origin) {
  switch (origin) {
    case file_origin::caller:
      return "named";
    case file_origin::catalogue:
      return "catalogue";
    case file_origin::scan:
      return "scan";
    case file_origin::start_candidate:
      return "start_candidate";
    case file_origin::previous:
      return "edge_before";
    case file_origin::next:
      return "edge_behind";
  }
  return "";
}

const char* key_of(file_outcome outcome) {
  switch (outcome) {
    case file_outcome::taken:
      return "taken";
    case file_outcome::outside_period:
      return "outside_period";
    case file_outcome::other_experiment:
      return "other_experiment";
    case file_outcome::not_closed:
      return "not_closed";
    case file_outcome::not_found:
      return "not_found";
  }
  return "";
}

std::size_t count(const file_decisions& decisions, file_outcome outcome) {
  return static_cast<std::size_t>(
      std::count_if(decisions.begin(), decisions.end(),
                    [outcome](const file_decision& one) { return one.outcome == outcome; }));
}

// What the catalogue did for the request, as the end of a sentence.
std::string catalogue_text(const file_request& request, const file_decisions& decisions) {
  if (is_from_catalogue(decisions)) return "has the answer";
  return is_folder(request.catalogue) ? "has no answer" : "is not there";
}

// What the data directory did for the request that the catalogue could not answer.
std::string data_text(const file_request& request) {
  const std::string folder = searched_folder(request);
  if (folder.find(':') != std::string::npos)
    return fmt::format("{}: several folders are not searched by name; name one", folder);
  folder_listing names(folder.c_str());
  std::size_t raw_files = 0;
  while (const char* const name = names.next()) {
    time_stamp time{};
    raw_files += get_time_from_file_name(name, &time) == 0 ? 1 : 0;
  }
  if (!names.is_readable()) return fmt::format("{}: {}", folder, std::strerror(names.error()));
  return fmt::format("{}: searched by name among {} raw file{}", folder, raw_files,
                     raw_files == 1 ? "" : "s");
}

// By the times in the names; a file that was met twice stands there once.
file_decisions by_time(const file_decisions& decisions) {
  using key = std::pair<std::uint32_t, std::string>;
  std::map<key, file_decision> sorted;
  for (const file_decision& one : decisions) {
    time_stamp time{};
    if (get_time_from_file_name(one.name.c_str(), &time) != 0) time = {};
    sorted.try_emplace(key(time.timeup, one.name), one);
  }
  file_decisions in_order;
  for (auto& [unused, one] : sorted) in_order.push_back(std::move(one));
  return in_order;
}

// What became of each file that would have been an answer.
struct near_miss {
  std::string file;
  std::string reason;
  file_outcome outcome = file_outcome::not_found;
};

std::vector<near_miss> near_misses(const file_request& request, const file_decisions& decisions) {
  std::vector<near_miss> all;
  for (const file_decision& one : decisions) all.push_back({one.name, text_of(one.outcome), one.outcome});
  if (is_from_catalogue(decisions)) return all;
  // No reader is given what the catalogue has as growing.
  for (const std::string& file : catalogued_files(request, catalogued::growing_too)) {
    const raw_file_state state = state_of_raw_file(file.c_str());
    if (state == raw_file_state::growing)
      all.push_back({file, text_of(file_outcome::not_closed), file_outcome::not_closed});
    else if (state == raw_file_state::missing)
      all.push_back({file, text_of(file_outcome::not_found), file_outcome::not_found});
    else
      all.push_back({file,
                     "the catalogue has it as growing, and it cannot be read as a raw file; `ravo info` "
                     "says why",
                     file_outcome::taken});
  }
  return all;
}

std::string advice(const file_request& request, const file_decisions& decisions,
                   const std::vector<near_miss>& misses) {
  const auto any = [&misses](file_outcome outcome) {
    return std::any_of(misses.begin(), misses.end(),
                       [outcome](const near_miss& one) { return one.outcome == outcome; });
  };
  if (any(file_outcome::not_closed))
    return "wait half a minute, or name the files: named files are read at once";
  if (any(file_outcome::not_found)) return "say with --data where the files are now";
  if (!is_from_catalogue(decisions) && is_folder(request.catalogue))
    return fmt::format(
        "if the files came after the catalogue was built, build it again: `ravo catalog build FOLDER "
        "--into "
        "{}`; `ravo catalog list {}` tells its runs",
        request.catalogue, request.catalogue);
  if (!request.data && !is_from_catalogue(decisions))
    return "name a catalogue with --catalog (`ravo catalog build` makes one) or a folder with --data";
  if (!request.runs && !is_from_catalogue(decisions))
    return "by names alone, a period inside one file can be missed; a catalogue, which `ravo catalog "
           "build` makes, "
           "finds it";
  return "`ravo catalog list` tells the runs of a catalogue, `ravo info FILE` the times of a file";
}

std::string why_nothing(const file_request& request, const file_decisions& decisions) {
  constexpr std::size_t most_lines = 5;
  const std::vector<near_miss> misses = near_misses(request, decisions);
  std::string text =
      shown("no files for {} of experiment {}, stream {}\n  catalogue {}: {}", request.text(),
            request.experiment, request.stream, request.catalogue, catalogue_text(request, decisions));
  if (!is_from_catalogue(decisions)) text += "\n  folder " + printable(data_text(request));
  for (std::size_t i = 0; i < misses.size() && i < most_lines; ++i)
    text += shown("\n  left out: {}: {}", misses[i].file, misses[i].reason);
  if (misses.size() > most_lines) text += shown("\n  and {} more", misses.size() - most_lines);
  return text + "\n" + printable(advice(request, decisions, misses));
}

}  // namespace

std::string file_request::text() const {
  if (!runs) return fmt::format("{} to {}", format_time(*from), format_time(*to));
  return runs->first == runs->last ? fmt::format("run {}", runs->first)
                                   : fmt::format("runs {} to {}", runs->first, runs->last);
}

namespace {

// By the rules of the reader's generation; false when it finds no file.
template <class Reader>
bool choose_files_with(Reader& reader, const file_request& request, int debug, file_decisions& decisions,
                       output& out) {
  reader.set_debug(debug);
  ravo_daq_request record = record_of(request, reader.request);
  if (!request.data) lead_to_catalogued_folders(reader, request, record);
  decisions.clear();
  reader.decisions = &decisions;
  const int status = reader.init(&record, nullptr);
  reader.decisions = nullptr;
  // A first file that is refused is explained better by whoever looks into it next.
  if (status == RAVO_DAQ_READER_OK || status == RAVO_DAQ_READER_BAD_FILE_FORMAT) return true;
  if (status == RAVO_DAQ_READER_FILES_NOT_FOUND) return false;
  const std::string words = out.take_library_output();
  throw data_failure(several_lines{shown("the reader refuses the request for {}: {} (status {})",
                                         request.text(), reader.get_last_error(), status) +
                                   (words.empty() ? "" : "\nthe library said:\n" + words)});
}

// Nothing of a path that is no raw file.
std::optional<ravo_file_generation> generation_of(const std::string& path) {
  auto generation = ravo_file_generation::current;
  if (ravo_get_file_generation(path.c_str(), &generation) != 0) return std::nullopt;
  return generation;
}

bool is_older(const std::string& path) { return generation_of(path) == ravo_file_generation::older; }

}  // namespace

std::vector<std::string> files_of(const any_reader& reader) {
  return std::visit(
      [](const auto& one) { return std::vector<std::string>(one.files.begin(), one.files.end()); }, reader);
}

std::string explain_two_generations(const std::string& older, const std::string& current) {
  return fmt::format(
      "{} is of the older generation of the raw format, {} of the current one, and a request "
      "reads one generation; read them apart, or rewrite the older files first: `ravo convert {} "
      "--into DIR`",
      older, current, older);
}

namespace {

void tell_damaged_catalogue_files(const catalogue_problems& damaged) {
  for (const std::string& text : damaged.texts()) tell("ravo: {}; build the catalogue again\n", text);
}

// Which generation the files are of is seen only when they are found, and what is found depends on the
// reader: files before a period are opened, and a reader opens those of its own generation.
void choose_files_of_either(any_reader& reader, const file_request& request, int debug,
                            file_decisions& decisions, output& out) {
  const bool found =
      choose_files_with(reader.emplace<ravo_daq_reader_2010>(), request, debug, decisions, out);
  if (found && !is_older(files_of(reader).front())) return;
  file_decisions of_older;
  if (choose_files_with(reader.emplace<ravo_daq_reader>(), request, debug, of_older, out) &&
      is_older(files_of(reader).front())) {
    decisions = std::move(of_older);
    return;
  }
  throw data_failure(several_lines{why_nothing(request, decisions)});
}

}  // namespace

void choose_files(any_reader& reader, const file_request& request, int debug, file_decisions& decisions,
                  output& out) {
  const catalogue_problems damaged;
  try {
    choose_files_of_either(reader, request, debug, decisions, out);
  } catch (...) {
    tell_damaged_catalogue_files(damaged);
    throw;
  }
  tell_damaged_catalogue_files(damaged);
}

file_decisions decide_files(const file_request& request, int debug, output& out) {
  constexpr time_stamp latest{0xFFFFFFFFu, 999'999};
  file_decisions decisions;
  any_reader reader;
  choose_files(reader, request, debug, decisions, out);
  // What reading begins with: the window is set, and the files are trimmed to it.
  const ravo_time_id from{0, request.from.value_or(time_stamp{})};
  const ravo_time_id to{0, request.to.value_or(latest)};
  std::visit(
      [&](auto& one) {
        one.decisions = &decisions;
        one.set_start_point(&from);
        one.set_stop_point(&to);
        if (const int status = one.check_request(); status != RAVO_DAQ_READER_OK)
          throw data_failure(fmt::format("the reader refuses the request for {}: {} (status {})",
                                         request.text(), one.get_last_error(), status));
      },
      reader);
  return decisions;
}

std::size_t count_other_streams(const std::vector<std::string>& files, const std::string& stream) {
  return static_cast<std::size_t>(
      std::count_if(files.begin(), files.end(), [&stream](const std::string& path) {
        return fs::path(path).filename().string().find("_" + stream + "_") == std::string::npos;
      }));
}

void tell_other_streams(const std::vector<std::string>& files, const std::string& stream) {
  if (const std::size_t others = count_other_streams(files, stream))
    tell(
        "ravo: the names of {} of the {} files do not say stream {}: folders are searched by run, "
        "time and experiment only\n",
        others, files.size(), stream);
}

void print_decisions(const file_request& request, const file_decisions& decisions, output& out) {
  out.format("{}{} of experiment {}, stream {}{}\n", out.bold(), request.text(), request.experiment,
             request.stream, out.plain());
  out.format("  catalogue {}: {}\n", request.catalogue, catalogue_text(request, decisions));
  if (!is_from_catalogue(decisions)) out.format("  folder {}\n", data_text(request));
  const file_decisions sorted = by_time(decisions);
  std::size_t width = 0;
  for (const file_decision& one : sorted) width = std::max(width, one.name.size());
  out.print("\n");
  for (const file_decision& one : sorted)
    out.print_line(fmt::format("  {}  {:<{}}  {}{}{}{}",
                               one.outcome == file_outcome::taken ? "read" : "-   ", one.name, width,
                               text_of(one.origin), one.outcome == file_outcome::taken ? "" : "; ",
                               text_of(one.outcome), is_older(one.name) ? "  (older generation)" : ""));
  const std::size_t taken = count(sorted, file_outcome::taken);
  out.format("\n{} file{} to read, {} left out\n", taken, taken == 1 ? "" : "s", sorted.size() - taken);
}

void print_decisions_json(const file_decisions& decisions, output& out) {
  for (const file_decision& one : by_time(decisions)) {
    const auto generation = generation_of(one.name);
    out.print(json_line({{"file", one.name},
                         {"generation", generation ? json(name_of(*generation)) : json()},
                         {"read", one.outcome == file_outcome::taken},
                         {"origin", key_of(one.origin)},
                         {"outcome", key_of(one.outcome)}}));
  }
}

void check_generation(const file_decisions& decisions) {
  std::optional<std::string> older, current;
  for (const file_decision& one : by_time(decisions)) {
    if (one.outcome != file_outcome::taken) continue;
    std::optional<std::string>& of_its_generation = is_older(one.name) ? older : current;
    if (!of_its_generation) of_its_generation = one.name;
  }
  if (older && current) throw data_failure(explain_two_generations(*older, *current));
}

}  // namespace ravo::tool
