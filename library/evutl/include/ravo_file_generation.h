// Finds out the generation of a raw file, for programs that read both generations. It is apart from
// ravo_evutl.h because readers, which are made for one generation, do not need it and a site's own
// table-access library does not have it.
#ifndef RAVO_FILE_GENERATION_H
#define RAVO_FILE_GENERATION_H

#include "ravo_export.h"

/// A generation of the raw format, by the year in its name.
enum class ravo_file_generation { older = 2009, current = 2010 };

/// The generation of the raw file at a path, by the marker of its reference table; the rest of the file
/// is not read. 0, or a ravo_table_status that says why it is not a raw file of either generation;
/// `*generation` is then unchanged.
RAVO_EXPORT int ravo_get_file_generation(const char* path, ravo_file_generation* generation);

#endif
