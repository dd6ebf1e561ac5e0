// Tells whether the acquisition has finished a raw file: it writes a file in one go, so a file whose inode
// has not changed for half a minute is complete. Knows nothing of the file's content.
#ifndef RAVO_DAQ_READER_CLOSED_FILE_H
#define RAVO_DAQ_READER_CLOSED_FILE_H

#include <cstdint>

namespace ravo {

enum class raw_file_state { missing, growing, closed };

/// Whether a file is complete, from the time of its last status change; both in seconds.
bool is_closed(std::int64_t status_change, std::int64_t now);

/// What the file system says of a file now.
raw_file_state state_of_raw_file(const char* path);

/// Whether the environment asks to take files without looking at them.
bool ignores_close_time();

}  // namespace ravo

#endif
