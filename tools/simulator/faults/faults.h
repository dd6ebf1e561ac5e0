// Damage of every kind, done to simulated files on purpose, with what a
// check of them has to find: the answer key of `ravo verify`. The findings
// follow from what was done to the bytes, not from a search for it.
#ifndef RAVO_SIMULATOR_FAULTS_H
#define RAVO_SIMULATOR_FAULTS_H

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "faults/raw_image.h"
#include "writing.h"

namespace ravo::simulator {

/// One line that a check has to report, exactly once.
struct expected_finding {
  std::string kind;  ///< as `ravo verify --json` has it
  std::string channel = {};
  std::optional<std::uint32_t> event = {};
  std::optional<std::uint64_t> offset = {};
  std::uint64_t count = 1;
};

/// Does the damage and returns what is to be found. Throws simulation_failed
/// if the file has nothing that could be damaged in this way.
using damage = std::vector<expected_finding> (*)(raw_image&);

struct fault_kind {
  const char* name;
  const char* what;
  damage make;  ///< null: made while the files are written, or affects several files
};

/// All kinds, by what is damaged.
std::span<const fault_kind> fault_kinds();
/// Null if there is none of this name.
const fault_kind* find_fault(const std::string& name);

/// What is to be found in a file; the path is empty for what is found over all files.
struct expectation {
  std::string file;
  std::vector<expected_finding> findings;
};

/// Throws std::invalid_argument for faults that files, so many in all, cannot have.
void check_faults(const std::vector<simulated_fault>& faults, int files);
/// Changes the settings for the faults that the machine itself makes.
void prepare_faults(settings& what, const std::vector<simulated_fault>& faults);
/// Damages the files that were written. Throws simulation_failed.
std::vector<expectation> make_faults(const settings& what, const simulation_result& made,
                                     const std::vector<simulated_fault>& faults);

/// Writes FILE.expected.json: one object for each finding, with those members of `ravo verify --json` that
/// identify it. Findings that belong to no file go to `folder`/all.expected.json. Removes old ones of the
/// `files`, which were just written. Throws whole_file_failure.
void write_expectations(const std::vector<expectation>& expected, const std::vector<std::string>& files,
                        const std::string& folder);

// The kinds, subject by subject.
std::span<const fault_kind> file_faults();
std::span<const fault_kind> table_faults();
std::span<const fault_kind> event_faults();
std::span<const fault_kind> pointer_faults();
std::span<const fault_kind> block_faults();

}  // namespace ravo::simulator

#endif
