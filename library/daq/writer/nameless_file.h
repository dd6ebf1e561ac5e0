// Files without a name in the target folder: the system removes them however the process ends.
#ifndef RAVO_WRITER_NAMELESS_FILE_H
#define RAVO_WRITER_NAMELESS_FILE_H

#include <string>

#include "folder.h"

namespace ravo::writer {

/// Opens a file with a name that no reader takes for a raw file's, made from `stem`; the name is stored
/// in `*name`. Returns the descriptor, or -1 with errno set.
int open_hidden(const folder& place, const std::string& stem, int flags, std::string* name);

/// Opens a nameless file or, if the file system has none, a hidden file whose name is removed at once.
/// `flags` is O_RDWR or O_WRONLY. Returns the descriptor, or -1 with errno set.
int open_nameless(const folder& place, int flags);

}  // namespace ravo::writer

#endif
