// ravo catalog build: raw files into the run catalogue, and what came of it.
#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "common/escaping.h"
#include "common/failure.h"
#include "common/interrupt.h"
#include "common/json_lines.h"
#include "common/progress.h"
#include "format/folders.h"
#include "ravo_run_catalogue_builder.h"
#include "verbs/catalog.h"

namespace ravo::tool {
namespace {

// The reader's own switch: who takes files that were just closed wants them in the catalogue too.
bool takes_fresh_files() { return std::getenv("RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME") != nullptr; }

bool was_interrupted() {
  try {
    check_for_interrupt();
    return false;
  } catch (const interrupted&) {
    return true;
  }
}

catalogue::build_result build(const catalogue::build_settings& settings) {
  progress_bar bar("cataloguing");
  return catalogue::build(settings, [&bar](std::size_t done, std::size_t total) {
    if (was_interrupted()) return false;
    bar.show(static_cast<double>(done) / static_cast<double>(std::max<std::size_t>(total, 1)));
    return true;
  });
}

void report(const catalogue::build_result& result, const catalog_build_options& asked, output& out) {
  for (const catalogue::file_problem& problem : result.problems)
    tell("ravo: {}: {}\n", problem.file, problem.text);
  if (asked.json) {
    json line{{"catalogue", asked.directory}, {"files", result.raw_files}, {"runs", result.runs},
              {"opened", result.opened},      {"growing", result.growing}, {"left_out", result.left_out},
              {"problems", json::array()}};
    for (const catalogue::file_problem& problem : result.problems)
      line["problems"].push_back({{"file", problem.file}, {"problem", problem.text}});
    out.print(json_line(line));
    return;
  }
  out.format("{}: {} file{} of {} run{}, {} opened, {} still growing{}\n", asked.directory,
             result.raw_files, result.raw_files == 1 ? "" : "s", result.runs, result.runs == 1 ? "" : "s",
             result.opened, result.growing,
             result.left_out == 0 ? "" : fmt::format(", {} left out", result.left_out));
}

}  // namespace

void build_catalog(const catalog_build_options& asked, output& out) {
  if (!is_folder(asked.raw_folder))
    throw data_failure(fmt::format("{}: {}", asked.raw_folder,
                                   uninterrupted::access(asked.raw_folder.c_str(), F_OK) == 0
                                       ? "is not a folder"
                                       : std::strerror(errno)));
  catalogue::build_settings settings;
  settings.raw_folder = asked.raw_folder;
  settings.catalogue_directory = asked.directory;
  settings.experiment = asked.experiment;
  settings.threads = asked.threads;
  if (takes_fresh_files()) settings.closed_after = -1;
  const catalogue::build_result result = build(settings);
  report(result, asked, out);
  check_for_interrupt();
  if (result.problems.empty()) return;
  throw data_failure(asked.directory + ": what is named above is left out");
}

}  // namespace ravo::tool
