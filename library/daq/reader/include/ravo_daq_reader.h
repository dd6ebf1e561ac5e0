// The reader of the older generation.
#ifndef RAVO_DAQ_READER_H
#define RAVO_DAQ_READER_H

#include "ravo_daq_slicer.h"
// The reader's template needs the complete slicer classes.
#include "ravo_daq/reader.h"

/// One requested channel with its result of the current event.
struct ravo_daq_reader_result_entry {
  ravo_daq_chan_param chan;     ///< first, so that the entry serves as its parameters
  ravo_channel_entry_long res;  ///< what the caller gets; points into the copies below
  ravo_eventheader evhd;
  ravo_serv_block_head sbhd;
  int slow;                       ///< 1 once the channel has delivered a slow value
  int updated;                    ///< 1 when the channel has data of the current event
  ravo_serv_block_subhead* data;  ///< subheader and payload; grows, never shrinks
};

/// Reads channels of older-generation raw files, event by event; see ravo::daq_reader.
class ravo_daq_reader : public ravo::daq_reader<ravo::generation_2009> {
 public:
  using ravo::daq_reader<ravo::generation_2009>::daq_reader;
};

#endif
