// Keeps a program alive when a raw file that it reads is cut short by somebody else. Parts of files stay
// mapped while they are read (all baskets of the older generation, header baskets of slow channels of the
// current one), and the system ends a process with SIGBUS when it looks at a page that its file no longer
// has. With the guard, such a page reads as zeros, the channel that was read from it answers -6
// (INTERN_ERROR) from then on, and a line on standard output names it. Without it nothing is different but
// for the end of the process.
//
// The guard is the program's choice because a signal has one handler a process. It looks at faults in the
// library's own mappings alone; every other SIGBUS goes to the handler that was there before, or ends the
// process as it would have.
#ifndef RAVO_MAPPING_GUARD_H
#define RAVO_MAPPING_GUARD_H

#include "ravo_export.h"

/// Installs the guard for the whole process; files may be open already. 0, also when it is installed; else
/// an errno value. To be called by one thread at a time.
RAVO_EXPORT int ravo_install_mapping_guard();

/// Takes the guard away and puts the handler back that was there before. 0, also when it is not installed;
/// EBUSY when somebody has put another handler over it, which then stays, with the guard behind it. To be
/// called by one thread at a time, when no reader runs.
RAVO_EXPORT int ravo_remove_mapping_guard();

/// How many pages of files were found missing since the process began.
RAVO_EXPORT unsigned long ravo_get_missing_pages();

#endif
