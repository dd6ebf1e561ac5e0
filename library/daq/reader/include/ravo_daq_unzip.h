// Inflates one compressed channel block, from memory into memory. Both functions keep no state and
// may run in many threads at once. The reason for a failure is printed on standard output.
#ifndef RAVO_DAQ_UNZIP_H
#define RAVO_DAQ_UNZIP_H

#include "ravo_export.h"

/// Inflates a deflate stream with zlib wrapper: `slen` bytes at `start` into `dest`, which has room for
/// `*dlen` bytes. 0: `*dlen` is the number of bytes produced. 1: the stream was refused, or it failed.
RAVO_EXPORT int make_zlib(unsigned char* start, int slen, unsigned char* dest, int* dlen);

/// Decompresses an LZO1X stream; arguments and result as for make_zlib. Never writes past `*dlen` bytes.
/// `prm` is the work memory; LZO1X does not use it to decompress, so it may be null.
RAVO_EXPORT int make_lzo(unsigned char* start, int slen, unsigned char* dest, int* dlen,
                         unsigned char* prm);

#endif
