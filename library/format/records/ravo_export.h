// Marks what the libraries export. Everything else in them is hidden from the programs that link to
// them.
#ifndef RAVO_EXPORT_H
#define RAVO_EXPORT_H

/// Stands before each function of the interface that is compiled into a library, and after the keyword of
/// each class that is thrown from one or is an argument of its templates. What a header defines inline
/// needs no mark.
#define RAVO_EXPORT [[gnu::visibility("default")]]

#endif
