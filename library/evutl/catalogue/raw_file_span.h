// What the catalogue needs to know about a raw file, read from its event index and from nothing else.
#ifndef RAVO_CATALOGUE_RAW_FILE_SPAN_H
#define RAVO_CATALOGUE_RAW_FILE_SPAN_H

#include <sys/stat.h>

#include <cstdint>
#include <string>

#include "ravo_run_catalogue_builder.h"

namespace ravo::catalogue {

/// The entry of a raw file, or why it has no entry.
struct scanned_file {
  raw_file_entry entry;
  std::string problem;
};

/// Opens the file. If its status changed less than `closed_after` seconds before `now`, it counts as
/// growing: it is entered as not complete and may lack its tables, and its span then ends with its last
/// change.
scanned_file scan_raw_file(const std::string& path, std::int64_t now, int closed_after);

/// Brings the entry of a file up to date that the catalogue lists as growing. False: it has not settled
/// since, or cannot be read, and the entry is unchanged.
bool update(raw_file_entry& file, const std::string& path);

/// When the content last changed, in nanoseconds since the Unix epoch.
std::int64_t modification_time(const struct stat& about);

}  // namespace ravo::catalogue

#endif
