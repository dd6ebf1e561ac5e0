// Writes the run catalogue that ravo_run_catalogue.h queries: from raw files, or from descriptions of them.
// It is apart from that header because readers do not need it and a site's own table-access library does
// not have it. docs/run-catalogue.md describes what is written.
#ifndef RAVO_RUN_CATALOGUE_BUILDER_H
#define RAVO_RUN_CATALOGUE_BUILDER_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "ravo_core_records.h"
#include "ravo_export.h"

namespace ravo::catalogue {

/// One raw file. With both times zero it holds no events and is in no answer.
struct raw_file_entry {
  std::string path;  ///< absolute, or relative to the catalogue directory
  std::uint64_t bytes = 0;
  std::int64_t modified =
      0;                     ///< last change of the content, nanoseconds since the Unix epoch; 0: not known
  std::uint64_t events = 0;  ///< 0 also where they could not be counted yet
  time_stamp start{};        ///< first event
  time_stamp end{};          ///< last event
  bool complete = true;      ///< false: may still grow

  bool has_time() const { return start.timeup != 0 || start.timelow != 0; }
};

/// One run of one stream.
struct run_entry {
  std::string experiment;
  std::string stream;
  int run = 0;
  time_stamp start{};  ///< of its first file; derived from the files when the run is written
  time_stamp end{};    ///< of its last file; derived likewise
  std::vector<raw_file_entry> files;
};

/// A file that could not be used or written, and why.
struct file_problem {
  std::string file;
  std::string text;
  bool unreadable = false;  ///< it could not be read, and may be intact
};

/// Adds raw files to the catalogue. A file replaces the file of the run that has the same name (last
/// component of the path); the other files of the run stay. Several processes and threads may add at the
/// same time; readers see a run with all of the given files or none. Returns what could not be done.
RAVO_EXPORT std::vector<file_problem> add_runs(const std::string& directory,
                                               const std::vector<run_entry>& runs);

/// What a catalogue holds, run after run in the order of experiment, stream and number. An empty experiment
/// or stream means all. Returns the catalogue files that are damaged; they are skipped.
RAVO_EXPORT std::vector<file_problem> visit_runs(const std::string& directory,
                                                 const std::string& experiment, const std::string& stream,
                                                 const std::function<void(const run_entry&)>& visit);

struct build_settings {
  std::string raw_folder;           ///< raw files of this folder and its subfolders
  std::string catalogue_directory;  ///< made if it does not exist
  std::string experiment;  ///< only files of this experiment; empty: the last "_" of the name's first part
                           ///< separates the experiment before it from the stream after it
  int closed_after =
      29;  ///< seconds without change after which a file is complete; negative: every readable file is
  int threads = 0;  ///< 0: as many as there are processors
};

struct build_result {
  std::size_t raw_files = 0;  ///< found and now in the catalogue, added by this build or before
  std::size_t opened = 0;     ///< of these: new or changed, and therefore opened
  std::size_t growing = 0;    ///< of these: entered as not complete
  std::size_t runs = 0;       ///< runs that they belong to
  std::size_t left_out = 0;   ///< found, but unusable, or in a run that could not be written
  bool stopped = false;  ///< `progress` asked to stop, or there was no memory to name a problem; what was
                         ///< done until then is in the catalogue
  std::vector<file_problem> problems;  ///< raw files that were skipped, catalogue files that were damaged
};

/// Makes or extends a catalogue from raw files. Files that it knows with their size and time of change are
/// not opened. The calling thread calls `progress` (may be empty) from time to time with the number of
/// files done and the number of files to open; it returns false to stop.
RAVO_EXPORT build_result build(const build_settings& settings,
                               const std::function<bool(std::size_t done, std::size_t total)>& progress);

}  // namespace ravo::catalogue

#endif
