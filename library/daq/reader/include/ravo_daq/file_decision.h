// What a reader decided about a file that it met on its way to the files of a request, for people who ask
// why a file is read or not.
#ifndef RAVO_DAQ_FILE_DECISION_H
#define RAVO_DAQ_FILE_DECISION_H

#include <string>

namespace ravo {

/// How a file was met.
enum class file_origin {
  caller,           ///< named by the caller
  catalogue,        ///< the run catalogue lists it for the request
  scan,             ///< its name in the data directory fits the request
  start_candidate,  ///< no name in the data directory lies in the period; this file may reach into it
  previous,         ///< comes before the first file of a scan
  next,             ///< comes behind the last file of a scan
};

/// What came of it.
enum class file_outcome {
  taken,
  outside_period,    ///< left out: no events of the request's period
  other_experiment,  ///< left out: the path does not contain the experiment's name
  not_closed,        ///< left out: changed a moment ago, so that it may still be written
  not_found,         ///< left out: not in the data directories, or not readable there
};

struct file_decision {
  std::string name;  ///< the full path, where it came to that; else the name as it was met
  file_origin origin;
  file_outcome outcome;
};

}  // namespace ravo

#endif
