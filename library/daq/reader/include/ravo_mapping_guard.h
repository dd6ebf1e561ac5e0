// Keeps a program alive when someone else truncates a raw file that it reads. Parts of files stay mapped
// while they are read (all baskets of the older generation, header baskets of slow channels of the current
// generation), and the system ends a process with SIGBUS when it accesses a page that its file no longer
// has. With the guard, such a page reads as zeros, the channel that was read from it returns -6
// (INTERN_ERROR) from then on, and a line on standard output names it. Otherwise the guard changes
// nothing.
//
// The guard is the program's choice because a signal has one handler per process. It handles only faults in
// the library's own mappings; every other SIGBUS goes to the handler that was there before, or ends the
// process as it would without the guard.
#ifndef RAVO_MAPPING_GUARD_H
#define RAVO_MAPPING_GUARD_H

#include "ravo_export.h"

/// Installs the guard for the whole process; files may be open already. 0, also if it is already installed;
/// otherwise an errno value. Must be called by one thread at a time.
RAVO_EXPORT int ravo_install_mapping_guard();

/// Removes the guard and restores the handler that was there before. 0, also if it is not installed; EBUSY
/// if another handler has been installed since, which then stays, and the guard stays below it. Must be
/// called by one thread at a time, when no reader runs.
RAVO_EXPORT int ravo_remove_mapping_guard();

/// How many pages of files have been found missing since the process began.
RAVO_EXPORT unsigned long ravo_get_missing_pages();

#endif
