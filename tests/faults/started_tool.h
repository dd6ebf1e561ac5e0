// The tool, started on a machine that fails: its calls pass through the preloaded shim.
#ifndef RAVO_TEST_FAULTS_STARTED_TOOL_H
#define RAVO_TEST_FAULTS_STARTED_TOOL_H

#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "shim.h"
#include "temporary_folder.h"
#include "tool_run.h"

namespace ravo::test {

struct machine {
  unsigned kinds = 0;  ///< none: nothing fails
  long which = 0;
  mishap what = mishap::none;
  int error = 0;
  extent reach = extent::one_call;
  long seconds_ahead = 0;
  bool takes_fresh_files = true;  ///< without waiting until they have settled
};

struct machine_result : process_result {
  bool has_happened = false;
};

inline machine_result run_tool_on(const machine& how, const std::vector<std::string>& arguments) {
  const temporary_folder notes;
  std::vector<std::string> all = {"/usr/bin/env", "LD_PRELOAD=" RAVO_PRELOADED_FAULTS,
                                  "RAVO_TEST_SECONDS_AHEAD=" + std::to_string(how.seconds_ahead),
                                  "RAVO_TEST_FAULT_NOTE=" + notes.file("note")};
  if (how.kinds != 0)
    all.push_back("RAVO_TEST_FAULT=" + std::to_string(how.kinds) + " " + std::to_string(how.which) + " " +
                  std::to_string(static_cast<int>(how.what)) + " " + std::to_string(how.error) + " " +
                  std::to_string(static_cast<int>(how.reach)));
  if (how.takes_fresh_files) all.push_back("RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME=1");
  all.push_back(RAVO_TOOL);
  all.insert(all.end(), arguments.begin(), arguments.end());
  machine_result result{run_process(all)};
  result.has_happened = std::filesystem::exists(notes.file("note"));
  return result;
}

inline std::set<std::string> names_in(const std::filesystem::path& folder) {
  std::set<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder))
    names.insert(entry.path().filename().string());
  return names;
}

}  // namespace ravo::test

#endif
