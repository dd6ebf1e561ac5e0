// The run catalogue: which raw files hold the events of a run or of a period, and when a run was. It is a
// catalogue directory of XML files, described in docs/run-catalogue.md; raw files are not opened.
#ifndef RAVO_RUN_CATALOGUE_H
#define RAVO_RUN_CATALOGUE_H

#include <algorithm>
#include <string>
#include <vector>

#include "ravo_core_records.h"
#include "ravo_export.h"

/// The answer from one catalogue file. The caller deletes the record and every string.
struct ravo_root_xml_files {
  std::vector<std::string*> rfiles;  ///< full paths of raw files, by time
  std::string* xmlfile = nullptr;    ///< the catalogue file that lists them
};

// All look-ups: an experiment or stream that is empty (but see get_files_for_period), begins with "." or
// holds "/" is refused. A damaged catalogue file is reported on standard output, or to the thread's
// ravo::catalogue_problems if there is one, and counts as absent. A raw file without events is in no
// answer. Nothing is thrown. A catalogue may be written while it is queried.

/// The raw files of the runs, appended to `found`: one record per run, in the order of the list. 0 and a
/// longer list: found. Non-zero: the catalogue has no answer, and the list is unchanged. `only_closed`
/// non-zero: only files that the catalogue lists as complete.
RAVO_EXPORT int get_files_for_runs(const std::vector<int*>* runs, std::vector<ravo_root_xml_files*>* found,
                                   const char* experiment, const char* stream,
                                   const char* catalogue_directory, int only_closed);

/// The raw files whose time from first to last event overlaps `start` to `stop`, both in seconds since the
/// Unix epoch and inclusive; a stop of 0 means no end. One record per run, by time. An empty stream means
/// every stream of the experiment, in this look-up only. The result is like that of get_files_for_runs.
RAVO_EXPORT int get_files_for_period(unsigned start, unsigned stop,
                                     std::vector<ravo_root_xml_files*>* found, const char* experiment,
                                     const char* stream, const char* catalogue_directory, int only_closed);

/// Start and end of a run, over all streams of the experiment. Non-zero: the catalogue does not know it,
/// and neither time is touched.
RAVO_EXPORT int get_time_for_run(int run, time_stamp* start, time_stamp* end, const char* experiment,
                                 const char* catalogue_directory);

namespace ravo {

/// Collects, while it lives, the damaged catalogue files that look-ups of its thread would report on
/// standard output; of several, the innermost collects. (Defined here because a site's own library does not
/// have it: that library reports in its own way.)
class catalogue_problems {
 public:
  catalogue_problems() : outer_(innermost_) { innermost_ = this; }
  ~catalogue_problems() { innermost_ = outer_; }
  catalogue_problems(const catalogue_problems&) = delete;
  catalogue_problems& operator=(const catalogue_problems&) = delete;

  /// Null: problems are printed.
  static catalogue_problems* innermost() { return innermost_; }
  /// "Run catalogue: FILE is passed over: REASON", each once.
  const std::vector<std::string>& texts() const { return texts_; }
  void add(const std::string& text) {
    if (std::find(texts_.begin(), texts_.end(), text) == texts_.end()) texts_.push_back(text);
  }

 private:
  RAVO_EXPORT static inline thread_local catalogue_problems* innermost_ = nullptr;
  catalogue_problems* const outer_;
  std::vector<std::string> texts_;
};

}  // namespace ravo

/// Deletes records with their strings, and empties the list. (Defined here because a site's own library
/// does not have it.)
inline void ravo_free_root_xml_files(std::vector<ravo_root_xml_files*>* found) {
  if (!found) return;
  for (ravo_root_xml_files* one : *found) {
    if (!one) continue;
    for (std::string* file : one->rfiles) delete file;
    delete one->xmlfile;
    delete one;
  }
  found->clear();
}

#endif
