// The slicer of the older generation.
#ifndef RAVO_DAQ_SLICER_H
#define RAVO_DAQ_SLICER_H

#include "ravo_daq/slicer.h"
#include "ravo_daq_read_chan.h"
#include "ravo_export.h"

/// One requested channel.
struct ravo_daq_chan_param {
  char name[80];
  char nname[80];       ///< nickname; may be empty
  int subchan;          ///< -1: the whole channel
  ravo_chan_prms prms;  ///< only carried and printed
};
static_assert(sizeof(ravo_daq_chan_param) == 192);

/// What the slicer shares with its table-loading thread.
struct get_tables_task : ravo::tables_task<ravo::generation_2009> {};

/// Aligns channels over older-generation raw files; see ravo::daq_slicer.
class ravo_daq_slicer : public ravo::daq_slicer<ravo::generation_2009> {
 public:
  using ravo::daq_slicer<ravo::generation_2009>::daq_slicer;
};

/// The body of a slicer's table-loading thread; the argument is its get_tables_task.
RAVO_EXPORT void* get_table_thread(void* task);

#endif
