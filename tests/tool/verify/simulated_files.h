// Simulated files for the checks, made once, and the
// findings of a check as lines that can be compared.
#ifndef RAVO_TEST_VERIFY_SIMULATED_FILES_H
#define RAVO_TEST_VERIFY_SIMULATED_FILES_H

#include <string>
#include <vector>

#include "faults/faults.h"
#include "runs.h"
#include "temporary_folder.h"

namespace ravo::test {

/// A run of three small files with every kind of channel.
simulator::settings small_run(const std::string& folder, ravo_file_generation generation);

/// The same files, copied for a test that damages them.
class copied_run {
 public:
  explicit copied_run(ravo_file_generation generation);
  const temporary_folder folder;
  simulator::simulation_result made;
};

/// Checks the files, run by run, and returns every finding; files are identified by their names alone.
std::vector<checks::finding> findings_of(const std::vector<std::string>& files,
                                         verification_depth deep = verification_depth::blocks,
                                         unsigned threads = 2);

/// "file.raw kind channel event offset xcount", with "-" for what does not apply.
std::string line_of(const checks::finding& what);
std::vector<std::string> lines_of(const std::vector<checks::finding>& findings);
/// The same for the expected findings, also sorted.
std::vector<std::string> lines_of(const std::vector<simulator::expectation>& expected);

}  // namespace ravo::test

#endif
