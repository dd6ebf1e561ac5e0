// Loader, channel reader, unzip worker and decompression of the older generation.
#ifndef RAVO_DAQ_READ_CHAN_H
#define RAVO_DAQ_READ_CHAN_H

#include "ravo_daq/file_get_tables.h"
#include "ravo_daq/generation_2009.h"
#include "ravo_daq/read_chan.h"
#include "ravo_daq_unzip.h"
#include "ravo_export.h"

/// Loads the tables of one older-generation raw file; see ravo::file_get_tables.
class ravo_file_get_tables : public ravo::file_get_tables<ravo::generation_2009> {
 public:
  using ravo::file_get_tables<ravo::generation_2009>::file_get_tables;
};

/// Reads one channel of one older-generation raw file; see ravo::daq_read_chan.
class ravo_daq_read_chan : public ravo::daq_read_chan<ravo::generation_2009> {
 public:
  using ravo::daq_read_chan<ravo::generation_2009>::daq_read_chan;
};

/// The body of a channel reader's worker thread; the argument is the ravo_daq_read_chan. Returns
/// -1 without a reader, -2 if the reader has no baskets, -3 if it has no output array, otherwise 0, as a
/// pointer-sized integer.
RAVO_EXPORT void* unzip_thread(void* reader);

#endif
