// The reader of the current generation: the class that programs use.
#ifndef RAVO_DAQ_READER_2010_H
#define RAVO_DAQ_READER_2010_H

#include "ravo_daq_slicer_2010.h"
// The reader's template needs the complete slicer classes.
#include "ravo_daq/reader.h"

/// One requested channel with its result of the current event.
struct ravo_daq_reader_result_entry_2010 {
  ravo_daq_chan_param_2010 chan;  ///< first, so that the entry serves as its parameters
  ravo_channel_entry_long res;    ///< what the caller gets; points into the copies below
  ravo_eventheader evhd;
  ravo_serv_block_head_2010 sbhd;
  int slow;                            ///< 1 once the channel has delivered a slow value
  int updated;                         ///< 1 when the channel has data of the current event
  ravo_serv_block_subhead_2010* data;  ///< subheader and payload; grows, never shrinks
};

/// Reads channels of current-generation raw files, event by event; see ravo::daq_reader.
class ravo_daq_reader_2010 : public ravo::daq_reader<ravo::generation_2010> {
 public:
  using ravo::daq_reader<ravo::generation_2010>::daq_reader;
};

#endif
