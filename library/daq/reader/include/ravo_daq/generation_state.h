// State that only some generations of the reading layers have: base classes of their classes, which are
// empty for a generation without that state.
#ifndef RAVO_DAQ_GENERATION_STATE_H
#define RAVO_DAQ_GENERATION_STATE_H

#include <pthread.h>

#include "ravo_core_records.h"
#include "ravo_export.h"

namespace ravo {

/// State of loaders that may copy the header baskets.
template <bool is_present>
struct copy_mode_state {
  int basket_copy_mode = 0;  ///< 1: evhb and sbhb are heap copies; 0: they lie in the mappings
};
template <>
struct copy_mode_state<false> {};

/// State of loaders that clean up under a lock.
template <bool is_present>
struct clean_up_lock {
  clean_up_lock() { pthread_mutex_init(&mx, nullptr); }
  ~clean_up_lock() { pthread_mutex_destroy(&mx); }
  clean_up_lock(const clean_up_lock&) = delete;
  clean_up_lock& operator=(const clean_up_lock&) = delete;
  pthread_mutex_t mx;  ///< guards clean_up
};
template <>
struct clean_up_lock<false> {};

/// State of channel readers, slicers and readers that can check lookups by time against the event numbers.
template <bool is_present>
struct by_time_fix_state {
  bool by_time_fix = true;
};
template <>
struct by_time_fix_state<false> {};

/// State of channel readers that can check lookups by time against the event number of the last answer.
template <bool is_present>
struct last_answer_state {
  ravo_time_id event_cur{};  ///< the event that get_chan_data returned last
};
template <>
struct last_answer_state<false> {};

/// State of channel readers that trace lookups by number.
template <bool is_present>
struct lookup_trace_state {
  int index_to_start_search = -1;
  /// Set by hand, from a debugger: the next lookup by number prints all entries, once.
  RAVO_EXPORT static inline bool once = false;
};
template <>
struct lookup_trace_state<false> {};

/// State of readers that do not trim the files of the run catalogue.
template <bool is_present>
struct catalogue_state {
  bool found_from_run_catalogue = false;
};
template <>
struct catalogue_state<false> {};

}  // namespace ravo

#endif
