// The slicer of the current generation.
#include "ravo_daq_slicer_2010.h"
#include "slicer/alignment.hh"
#include "slicer/channels.hh"
#include "slicer/file_switch.hh"
#include "slicer/set_up.hh"
#include "slicer/start.hh"
#include "slicer/table_thread.hh"
#include "slicer/tear_down.hh"

template class ravo::daq_slicer<ravo::generation_2010>;

void* get_table_thread_2010(void* task) {
  if (task != nullptr)
    ravo::table_loading<ravo::generation_2010>(*static_cast<get_tables_task_2010*>(task)).run();
  return nullptr;
}
