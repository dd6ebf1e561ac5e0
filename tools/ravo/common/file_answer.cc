#include "common/file_answer.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <filesystem>

#include "common/dataset_session.h"
#include "common/failure.h"
#include "common/raw_file.h"
#include "common/times.h"
#include "files/data_path_list.h"
#include "format/folders.h"
#include "format/time.h"
#include "ravo_evutl.h"
#include "ravo_file_generation.h"
#include "ravo_raw_generations.h"
#include "shared/escaping.h"
#include "shared/json_lines.h"

namespace ravo::tool {
namespace {

namespace fs = std::filesystem;

// "run 7", "runs 7 to 9" or "2025-...Z to 2025-...Z".
std::string request_text(const selection& wanted) {
  if (!wanted.runs) return fmt::format("{} to {}", time_text(*wanted.from), time_text(*wanted.to));
  const auto [first, last] = *wanted.runs;
  return first == last ? fmt::format("run {}", first) : fmt::format("runs {} to {}", first, last);
}

bool is_from_catalogue(const found_files& found) {
  return std::any_of(found.all.begin(), found.all.end(),
                     [](const found_file& file) { return file.by == found_by::catalogue; });
}

// The catalogue's answer to the request, as the end of a sentence.
std::string catalogue_text(const selection& wanted, const found_files& found) {
  if (is_from_catalogue(found)) return "has the answer";
  return is_folder(wanted.catalogue) ? "has no answer" : "is not there";
}

// The result of searching a data folder after the catalogue had no answer.
std::string folder_text(const std::string& folder) {
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

// A line for the catalogue and one for each data folder that was searched.
std::vector<std::string> searched_places(const selection& wanted, const found_files& found) {
  std::vector<std::string> lines{
      fmt::format("  catalogue {}: {}", wanted.catalogue, catalogue_text(wanted, found))};
  if (is_from_catalogue(found)) return lines;
  const std::string folders =
      wanted.data.empty() ? std::string(raw_format_2010::default_data_dir) : wanted.data;
  for (const std::string_view folder : split_data_path_list(folders))
    lines.push_back("  folder " + folder_text(std::string(folder)));
  return lines;
}

const char* text_of(found_by how) {
  switch (how) {
    case found_by::listing:
      return "named";
    case found_by::catalogue:
      return "in the catalogue";
    case found_by::name:
      return "its name fits";
    case found_by::earlier_name:
      return "edge: comes before the first";
    case found_by::later_name:
      return "edge: comes after the last";
    case found_by::context:
      return "for slow values alone";
  }
  return "";
}

const char* key_of(found_by how) {
  switch (how) {
    case found_by::listing:
      return "named";
    case found_by::catalogue:
      return "catalogue";
    case found_by::name:
      return "scan";
    case found_by::earlier_name:
      return "edge_before";
    case found_by::later_name:
      return "edge_behind";
    case found_by::context:
      return "context";
  }
  return "";
}

// What would be done with a file, and why.
struct outcome {
  const char* key;
  const char* text;
  bool is_read = false;
};
constexpr outcome taken{"taken", "", true};
constexpr outcome outside_period{"outside_period", "no events of the period"};
constexpr outcome not_closed{"not_closed",
                             "not closed: it changed less than half a minute ago and may still be written"};
constexpr outcome not_found{"not_found", "not found, or not readable, in the data directories"};
constexpr outcome left_out{"left_out", "it was left out when the selection was cut"};
constexpr outcome not_readable{"not_readable", "it cannot be read as a raw file; `ravo info` says why"};

bool has_events_of(const raw_file& file, const selection& wanted) {
  const std::vector<event_summary> all = file.events();
  return std::any_of(all.begin(), all.end(), [&wanted](const event_summary& events) {
    return (!wanted.from || microseconds(events.last.time) >= microseconds(*wanted.from)) &&
           (!wanted.to || microseconds(events.first.time) <= microseconds(*wanted.to));
  });
}

// For an existing file the event index decides, as when it is read.
outcome outcome_of(const found_file& file, const selection& wanted) {
  if (file.refusal == file_refusal::still_written) return not_closed;
  if (file.refusal == file_refusal::missing) return not_found;
  if (file.refusal != file_refusal::none) return left_out;
  try {
    return has_events_of(raw_file(file.path), wanted) ? taken : outside_period;
  } catch (const tables_too_large&) {
    return taken;  // too large for this check only
  } catch (const data_failure&) {
    return not_readable;
  }
}

// `nullopt` if the path is not a raw file.
std::optional<ravo_file_generation> generation_of(const std::string& path) {
  auto generation = ravo_file_generation::current;
  if (ravo_get_file_generation(path.c_str(), &generation) != 0) return std::nullopt;
  return generation;
}

void print_files(const selection& wanted, const found_files& found, output& out) {
  out.format("{}{} of experiment {}, stream {}{}\n", out.bold(), request_text(wanted), wanted.experiment,
             wanted.stream, out.plain());
  for (const std::string& line : searched_places(wanted, found)) out.print_line(line);
  std::size_t width = 0, to_read = 0;
  for (const found_file& file : found.all) width = std::max(width, file.path.size());
  out.print("\n");
  for (const found_file& file : found.all) {
    const outcome its = outcome_of(file, wanted);
    to_read += its.is_read ? 1 : 0;
    out.print_line(
        fmt::format("  {}  {:<{}}  {}{}{}{}", its.is_read ? "read" : "-   ", file.path, width,
                    text_of(file.by), its.is_read ? "" : "; ", its.text,
                    generation_of(file.path) == ravo_file_generation::older ? "  (older generation)" : ""));
  }
  out.format("\n{} file{} to read, {} left out\n", to_read, to_read == 1 ? "" : "s",
             found.all.size() - to_read);
}

void print_files_json(const selection& wanted, const found_files& found, output& out) {
  for (const found_file& file : found.all) {
    const auto generation = generation_of(file.path);
    const outcome its = outcome_of(file, wanted);
    out.print(json_line({{"file", file.path},
                         {"generation", generation ? json(name_of(*generation)) : json()},
                         {"read", its.is_read},
                         {"origin", key_of(file.by)},
                         {"outcome", its.key}}));
  }
}

std::string advice(const selection& wanted, const found_files& found) {
  const auto any = [&found](file_refusal refusal) {
    return std::any_of(found.all.begin(), found.all.end(),
                       [refusal](const found_file& file) { return file.refusal == refusal; });
  };
  if (any(file_refusal::still_written))
    return "wait half a minute, or name the files: named files are read at once";
  if (any(file_refusal::missing)) return "say with --data where the files are now";
  const bool is_answered = is_from_catalogue(found);
  if (!is_answered && is_folder(wanted.catalogue))
    return fmt::format(
        "if the files came after the catalogue was built, build it again: `ravo catalog build FOLDER "
        "--into {}`; `ravo catalog list {}` lists its runs",
        wanted.catalogue, wanted.catalogue);
  if (wanted.data.empty() && !is_answered)
    return "name a catalogue with --catalog (`ravo catalog build` makes one) or a folder with --data";
  if (!wanted.runs && !is_answered)
    return "by names alone, a period inside one file can be missed; a catalogue, which `ravo catalog "
           "build` makes, finds it";
  return "`ravo catalog list` lists the runs of a catalogue, `ravo info FILE` says the times of a file";
}

std::string why_nothing(const selection& wanted, const found_files& found) {
  constexpr std::size_t most_lines = 5;
  std::string text = shown("no files for {} of experiment {}, stream {}", request_text(wanted),
                           wanted.experiment, wanted.stream);
  for (const std::string& line : searched_places(wanted, found)) text += "\n" + printable(line);
  for (std::size_t i = 0; i < found.all.size() && i < most_lines; ++i) {
    const found_file& file = found.all[i];
    // Of a missing file only the name is given, not the path from the catalogue.
    const bool is_missing = file.refusal == file_refusal::missing;
    text += shown("\n  left out: {}: {}", is_missing ? fs::path(file.path).filename().string() : file.path,
                  outcome_of(file, wanted).text);
  }
  if (found.all.size() > most_lines) text += shown("\n  and {} more", found.all.size() - most_lines);
  return text + "\n" + printable(advice(wanted, found));
}

[[noreturn]] void refuse_without_files(const selection& wanted, const found_files& found) {
  for (const reading_problem& problem : found.problems)
    if (problem.reason == problem_reason::damaged_catalogue) print_message("ravo: {}\n", problem.text);
  throw data_failure(several_lines{why_nothing(wanted, found)});
}

}  // namespace

selection with_usual_catalogue(selection wanted) {
  if (wanted.files.empty() && wanted.catalogue.empty()) wanted.catalogue = default_catalogue;
  return wanted;
}

void refuse_without_files(const selection& wanted) {
  const selection asked = with_usual_catalogue(wanted);
  refuse_without_files(asked, look_for_files(asked));
}

void explain_files(const selection& wanted, print_form form, output& out) try {
  const selection asked = with_usual_catalogue(wanted);
  const found_files found = look_for_files(asked);
  if (found.files.empty()) refuse_without_files(asked, found);
  for (const reading_problem& problem : found.problems) print_message("ravo: {}\n", problem.text);
  if (form == print_form::lines)
    print_files_json(asked, found, out);
  else
    print_files(asked, found, out);
} catch (const selection_error& error) {
  throw data_failure(in_our_words(error));
}

void report_other_streams(const std::vector<std::string>& files, const std::string& stream) {
  const auto others = std::count_if(files.begin(), files.end(), [&stream](const std::string& path) {
    return fs::path(path).filename().string().find("_" + stream + "_") == std::string::npos;
  });
  if (others > 0)
    print_message(
        "ravo: the names of {} of the {} files do not say stream {}: folders are searched by run, "
        "time and experiment only\n",
        others, files.size(), stream);
}

}  // namespace ravo::tool
