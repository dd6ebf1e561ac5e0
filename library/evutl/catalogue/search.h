// Answers requests from one stream's catalogue: the runs and their raw files that a period or a list of
// runs needs. Damaged catalogue files are skipped and reported to the caller. The public operations of
// look_up.cc build on it.
#ifndef RAVO_CATALOGUE_SEARCH_H
#define RAVO_CATALOGUE_SEARCH_H

#include <optional>
#include <string>
#include <vector>

#include "catalogue/stream_catalogue.h"

namespace ravo::catalogue {

/// Which raw files an answer may hold.
enum class wanted_files { complete, all };

/// One run's part of an answer.
struct found_run {
  std::string catalogue_file;
  time_stamp start{};              ///< of the first of the raw files
  std::vector<std::string> files;  ///< full paths, by time
};

struct search_result {
  std::vector<found_run> runs;
  std::vector<file_problem> damaged;  ///< catalogue files that were skipped
};

/// In the order of the list, each run once; runs without such files are omitted.
search_result find_runs(stream_catalogue& catalogue, const std::vector<int>& runs, wanted_files wanted);

/// Raw files whose span overlaps the seconds `start` to `stop`, both inclusive; by the time of each run's
/// first file.
search_result find_period(stream_catalogue& catalogue, std::uint32_t start, std::uint32_t stop,
                          wanted_files wanted);

}  // namespace ravo::catalogue

#endif
