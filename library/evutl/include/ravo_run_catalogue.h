// The run catalogue: which raw files hold the events of a run or of a period, and when a run was. It lies
// below a catalogue directory as XML files, which docs/run-catalogue.md states; raw files are not opened.
#ifndef RAVO_RUN_CATALOGUE_H
#define RAVO_RUN_CATALOGUE_H

#include <string>
#include <vector>

#include "ravo_core_records.h"

/// What one catalogue file answers. The caller deletes the record and every string.
struct ravo_root_xml_files {
  std::vector<std::string*> rfiles;  ///< full paths of raw files
  std::string* xmlfile = nullptr;    ///< the catalogue file that lists them
};

/// The raw files of the runs, appended to `found`. 0 and a longer list: found. Non-zero: the catalogue has
/// no answer, and the list is as it was. `only_closed` non-zero: only files that the catalogue knows as
/// complete.
int get_files_for_runs(const std::vector<int*>* runs, std::vector<ravo_root_xml_files*>* found,
                       const char* experiment, const char* stream, const char* catalogue_directory,
                       int only_closed);

/// The raw files that hold events from `start` to `stop`, both seconds since the Unix epoch and inclusive.
/// As get_files_for_runs.
int get_files_for_period(unsigned start, unsigned stop, std::vector<ravo_root_xml_files*>* found,
                         const char* experiment, const char* stream, const char* catalogue_directory,
                         int only_closed);

/// Start and end of a run, over all streams of the experiment. Non-zero: the catalogue does not know it.
int get_time_for_run(int run, time_stamp* start, time_stamp* end, const char* experiment,
                     const char* catalogue_directory);

/// Deletes records with their strings, and empties the list.
void ravo_free_root_xml_files(std::vector<ravo_root_xml_files*>* found);

#endif
