// The slicer of the current generation.
#include "ravo_daq_slicer_2010.h"
#include "slicer/alignment-inl.h"
#include "slicer/channels-inl.h"
#include "slicer/file_switch-inl.h"
#include "slicer/set_up-inl.h"
#include "slicer/start-inl.h"
#include "slicer/table_thread-inl.h"
#include "slicer/tear_down-inl.h"

template class ravo::daq_slicer<ravo::generation_2010>;

void* get_table_thread_2010(void* task) {
  if (task != nullptr)
    ravo::table_loading<ravo::generation_2010>(*static_cast<get_tables_task_2010*>(task)).run();
  return nullptr;
}
