// The slicer of the older generation.
#include "ravo_daq_slicer.h"
#include "slicer/alignment.hh"
#include "slicer/channels.hh"
#include "slicer/file_switch.hh"
#include "slicer/set_up.hh"
#include "slicer/start.hh"
#include "slicer/table_thread.hh"
#include "slicer/tear_down.hh"

template class ravo::daq_slicer<ravo::generation_2009>;

void* get_table_thread(void* task) {
  if (task != nullptr)
    ravo::table_loading<ravo::generation_2009>(*static_cast<get_tables_task*>(task)).run();
  return nullptr;
}
