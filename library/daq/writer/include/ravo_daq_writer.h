// The writer of the older generation; that of the current generation is ravo_daq_writer_2010.h.
#ifndef RAVO_DAQ_WRITER_H
#define RAVO_DAQ_WRITER_H

#include "ravo_daq/raw_writer.h"
#include "ravo_export.h"

/// Writes raw files of the older generation; see ravo::raw_writer.
class ravo_daq_writer : public ravo::raw_writer {
 public:
  RAVO_EXPORT ravo_daq_writer();
};

#endif
