// The properties of the older generation of the raw format that the reading layers' templates need; the
// members are those of generation_2010.h, where they are explained.
#ifndef RAVO_DAQ_GENERATION_2009_H
#define RAVO_DAQ_GENERATION_2009_H

#include <cstddef>

#include "ravo_export.h"
#include "ravo_raw_generations.h"

class ravo_file_get_tables;
class ravo_daq_read_chan;
class ravo_daq_slicer;
struct ravo_daq_chan_param;
struct get_tables_task;
struct ravo_daq_reader_result_entry;
RAVO_EXPORT void* get_table_thread(void* task);

namespace ravo {

/// The older generation, as an argument of the reading layers' templates.
struct RAVO_EXPORT generation_2009 : raw_format_2009 {
  using file_tables = ravo_file_get_tables;
  using read_chan = ravo_daq_read_chan;
  using slicer = ravo_daq_slicer;
  using chan_param = ravo_daq_chan_param;
  using tables_task = get_tables_task;
  using result_entry = ravo_daq_reader_result_entry;

  using chan_descr = chan_descr_2010;

  static constexpr time_stamp default_time_diff{0, 95000};
  static constexpr ravo_time_id default_period{1, {0, 200000}};
  static constexpr bool reads_time_diff_from_environment = false;
  static constexpr bool waits_for_closed_files = false;
  static constexpr bool limits_runs_to_period = false;
  static constexpr bool opens_earlier_files = false;
  static constexpr bool trusts_run_catalogue = false;
  static constexpr bool prints_channels = false;
  static constexpr bool explains_failed_start = false;

  static constexpr bool copies_header_baskets = false;
  static constexpr bool locks_clean_up = false;
  static constexpr bool copies_channel_basket = false;
  static constexpr bool has_by_time_fix = false;
  static constexpr bool keeps_unconverted_entries = false;
  static constexpr bool traces_lookups = false;

  static constexpr auto table_thread = &get_table_thread;
  static constexpr bool limits_read_ahead = false;
  static constexpr bool stops_between_steps = false;
  static constexpr bool waits_when_loaded = false;
  static constexpr bool retries_single_channel = false;
  static constexpr bool update_blocks_lose_ties = false;
  static constexpr bool forgets_event_without_channels = true;
};

}  // namespace ravo

#endif
