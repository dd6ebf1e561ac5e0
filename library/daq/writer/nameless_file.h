// Files without a name in the target folder: whatever becomes of the process, the system removes them.
#ifndef RAVO_WRITER_NAMELESS_FILE_H
#define RAVO_WRITER_NAMELESS_FILE_H

#include <string>

#include "folder.h"

namespace ravo::writer {

/// Opens a file with a name that no reader takes for a raw file, made from `stem`; the name is stored
/// in `*name`. The descriptor, or -1 with errno set.
int open_hidden(const folder& place, const std::string& stem, int flags, std::string* name);

/// Opens a nameless file; where the file system has none, a hidden one whose name is removed at once.
/// `flags` is O_RDWR or O_WRONLY. The descriptor, or -1 with errno set.
int open_nameless(const folder& place, int flags);

}  // namespace ravo::writer

#endif
