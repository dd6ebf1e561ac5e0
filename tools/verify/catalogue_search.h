// Finds the files of runs: those in a run catalogue, and those beside them with the
// names of these runs that the catalogue does not have. Raw files are not opened.
#ifndef RAVO_VERIFY_CATALOGUE_SEARCH_H
#define RAVO_VERIFY_CATALOGUE_SEARCH_H

#include "file_search.h"

namespace ravo::checks {

/// The files in the order of runs and paths, and what is wrong with the catalogue: its damaged files,
/// runs that it does not know, raw files that it lacks or has as growing. Throws
/// verification_error if the catalogue has none of the runs.
found_files find_files_of_runs(const catalogue_runs& wanted);

}  // namespace ravo::checks

#endif
