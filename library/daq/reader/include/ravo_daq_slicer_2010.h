// The slicer of the current generation.
#ifndef RAVO_DAQ_SLICER_2010_H
#define RAVO_DAQ_SLICER_2010_H

#include "ravo_daq/slicer.h"
#include "ravo_daq_read_chan_2010.h"
#include "ravo_export.h"

/// One requested channel.
struct ravo_daq_chan_param_2010 {
  char name[256];
  char nname[256];      ///< nickname; may be empty
  int subchan;          ///< -1: the whole channel
  ravo_chan_prms prms;  ///< only carried and printed
};
static_assert(sizeof(ravo_daq_chan_param_2010) == 544);

/// What the slicer shares with its table-loading thread.
struct get_tables_task_2010 : ravo::tables_task<ravo::generation_2010> {};

/// Aligns channels over current-generation raw files; see ravo::daq_slicer.
class ravo_daq_slicer_2010 : public ravo::daq_slicer<ravo::generation_2010> {
 public:
  using ravo::daq_slicer<ravo::generation_2010>::daq_slicer;
};

/// The body of a slicer's table-loading thread; the argument is its get_tables_task_2010.
RAVO_EXPORT void* get_table_thread_2010(void* task);

#endif
