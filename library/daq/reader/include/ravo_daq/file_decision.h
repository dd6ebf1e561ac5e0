// What a reader decided about a file while it chose the files of a request, for people who ask why a file
// is read or not.
#ifndef RAVO_DAQ_FILE_DECISION_H
#define RAVO_DAQ_FILE_DECISION_H

#include <string>

namespace ravo {

/// How a file was found.
enum class file_origin {
  caller,           ///< named by the caller
  catalogue,        ///< the run catalogue lists it for the request
  scan,             ///< its name in the data directory fits the request
  start_candidate,  ///< no file in the data directory begins in the period; this file may reach into it
  previous,         ///< comes before the first file of a scan
  next,             ///< comes after the last file of a scan
};

/// What was decided.
enum class file_outcome {
  taken,
  outside_period,    ///< left out: no events of the request's period
  other_experiment,  ///< left out: the path does not contain the experiment's name
  not_closed,        ///< left out: changed a moment ago, so it may still be written
  not_found,         ///< left out: not in the data directories, or not readable there
};

struct file_decision {
  std::string name;  ///< the full path, if it was found; otherwise the name as it was given
  file_origin origin;
  file_outcome outcome;
};

}  // namespace ravo

#endif
