// The writer of the current generation; that of the older generation is ravo_daq_writer.h.
#ifndef RAVO_DAQ_WRITER_2010_H
#define RAVO_DAQ_WRITER_2010_H

#include "ravo_daq/raw_writer.h"
#include "ravo_export.h"

/// Writes raw files of the current generation; see ravo::raw_writer.
class ravo_daq_writer_2010 : public ravo::raw_writer {
 public:
  RAVO_EXPORT ravo_daq_writer_2010();
};

#endif
