// The scripted slicer's answers, and the reader made over the scripted layers.
#include "scripted_layers.h"

#include <chrono>

#include "api/channels-inl.h"
#include "api/data_paths-inl.h"
#include "api/edge_files-inl.h"
#include "api/file_registry-inl.h"
#include "api/inspection-inl.h"
#include "api/local_scan-inl.h"
#include "api/print_lists-inl.h"
#include "api/queries-inl.h"
#include "api/request_check-inl.h"
#include "api/request_init-inl.h"
#include "api/retrieval-inl.h"
#include "api/run_window-inl.h"
#include "api/settings-inl.h"
#include "api/start-inl.h"
#include "api/time_period-inl.h"

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
