// Finds the files of runs: those in a run catalogue, and those beside them with the
// names of these runs that the catalogue does not have. Raw files are not opened.
#ifndef RAVO_VERIFY_CATALOGUE_SEARCH_H
#define RAVO_VERIFY_CATALOGUE_SEARCH_H

#include <stdexcept>
#include <string>

#include "verify/file_search.h"

namespace ravo::verify {

struct runs_of_catalogue {
  std::string directory, experiment, stream;
  int first, last;
};

/// The catalogue has none of the runs; what() says what it has instead.
struct unknown_runs : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// The files in the order of runs and paths, and what is wrong with the catalogue: its damaged files,
/// runs that it does not know, raw files that it lacks or has as growing. Throws unknown_runs.
found_files find_files_of_runs(const runs_of_catalogue& wanted);

}  // namespace ravo::verify

#endif
