// The scripted slicer's answers, and the reader made over the scripted layers.
#include "scripted_layers.h"

#include <chrono>

#include "reader/channels.hh"
#include "reader/data_paths.hh"
#include "reader/edge_files.hh"
#include "reader/file_registry.hh"
#include "reader/inspection.hh"
#include "reader/local_scan.hh"
#include "reader/print_lists.hh"
#include "reader/queries.hh"
#include "reader/request_check.hh"
#include "reader/request_init.hh"
#include "reader/retrieval.hh"
#include "reader/run_window.hh"
#include "reader/settings.hh"
#include "reader/start.hh"
#include "reader/time_period.hh"

namespace ravo {

namespace test {

int scripted_slicer::get_data(const ravo_time_id* id, std::vector<ravo_channel_entry_long*>* entries,
                              int mode) {
  ++the_slicer.questions;
  the_slicer.asked_id = id;
  the_slicer.asked_mode = mode;
  entries->clear();
  if (the_slicer.answers.empty()) return RAVO_DAQ_SLICER_OUT_OF_WINDOW;
  const slicer_script::answer now = the_slicer.answers.front();
  if (the_slicer.answers.size() > 1 || !the_slicer.repeats_last_answer) the_slicer.answers.pop_front();
  if (the_slicer.goes_round) the_slicer.answers.push_back(now);
  // Busy waiting: the time has to pass for the caller too.
  const auto until = std::chrono::steady_clock::now() + std::chrono::microseconds(now.delay_microseconds);
  while (std::chrono::steady_clock::now() < until) {
  }
  current_event_id = now.current;
  *entries = now.entries;
  return now.status;
}

}  // namespace test

template class daq_reader<test::scripted<generation_2010>>;
template class daq_reader<test::scripted<generation_2009>>;

}  // namespace ravo
