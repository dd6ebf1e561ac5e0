// Finds out whether the acquisition has finished a raw file. Does not read the file's content.
#ifndef RAVO_DAQ_FILES_CLOSED_FILE_H
#define RAVO_DAQ_FILES_CLOSED_FILE_H

#include "format/settled_file.h"

namespace ravo {

enum class raw_file_state { missing, growing, closed };

/// What the file system reports about a file now.
raw_file_state state_of_raw_file(const char* path);

}  // namespace ravo

#endif
