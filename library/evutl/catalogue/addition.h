// Adds runs to a catalogue, as ravo::catalogue::add_runs() does, and reports the result for each raw file.
#ifndef RAVO_CATALOGUE_ADDITION_H
#define RAVO_CATALOGUE_ADDITION_H

#include <string>
#include <unordered_set>
#include <vector>

#include "ravo_run_catalogue_builder.h"

namespace ravo::catalogue {

struct addition {
  std::unordered_set<std::string> entered;  ///< paths of the raw files that the catalogue has now
  std::vector<file_problem> problems;
};

addition add_to_catalogue(const std::string& directory, const std::vector<run_entry>& runs);

}  // namespace ravo::catalogue

#endif
