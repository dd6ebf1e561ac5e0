// The properties of the current generation of the raw format that the reading layers' templates need: its
// records, its sizes and its rules. The texts of its messages and its operations of the table-access
// library are in the library's sources.
#ifndef RAVO_DAQ_GENERATION_2010_H
#define RAVO_DAQ_GENERATION_2010_H

#include <cstddef>

#include "ravo_export.h"
#include "ravo_raw_generations.h"

class ravo_file_get_tables_2010;
class ravo_daq_read_chan_2010;
class ravo_daq_slicer_2010;
struct ravo_daq_chan_param_2010;
struct get_tables_task_2010;
struct ravo_daq_reader_result_entry_2010;
RAVO_EXPORT void* get_table_thread_2010(void* task);

namespace ravo {

/// The current generation, as an argument of the reading layers' templates.
struct RAVO_EXPORT generation_2010 : raw_format_2010 {
  // The public classes.
  using file_tables = ravo_file_get_tables_2010;
  using read_chan = ravo_daq_read_chan_2010;
  using slicer = ravo_daq_slicer_2010;
  using chan_param = ravo_daq_chan_param_2010;
  using tables_task = get_tables_task_2010;
  using result_entry = ravo_daq_reader_result_entry_2010;

  // The record of a description.
  using chan_descr = chan_descr_2010;

  /// What a reader asks for by default.
  static constexpr time_stamp default_time_diff{0, 50000};
  static constexpr ravo_time_id default_period{1, {0, 100000}};
  /// The environment may set a reader's first time difference.
  static constexpr bool reads_time_diff_from_environment = true;
  /// A reader takes only files that the acquisition has finished.
  static constexpr bool waits_for_closed_files = true;
  /// Of the files of runs, only those that also belong to the request's period are taken.
  static constexpr bool limits_runs_to_period = true;
  /// A directory scan for the files of runs opens files that begin before the period, to see how far they
  /// reach.
  static constexpr bool opens_earlier_files = true;
  /// The files that the run catalogue names are not trimmed by the times in their names.
  static constexpr bool trusts_run_catalogue = true;
  /// Readers and channel readers print the headers and data of one channel of a file.
  static constexpr bool prints_channels = true;
  /// The reason for a start that is refused, or that leaves out channels, is printed.
  static constexpr bool explains_failed_start = true;

  /// Channels of fast events get heap copies of the two header baskets.
  static constexpr bool copies_header_baskets = true;
  /// A loader locks its mutex during clean_up().
  static constexpr bool locks_clean_up = true;
  /// A channel's basket is copied to the heap, and its mapping released.
  static constexpr bool copies_channel_basket = true;
  /// Lookups by time are checked against the event numbers.
  static constexpr bool has_by_time_fix = true;
  /// An unzipped block that cannot be converted leaves an entry without data; the worker goes on.
  static constexpr bool keeps_unconverted_entries = true;
  /// Lookups by number remember where they ended, print their time at negative debug levels when they take
  /// long, and can print what they search.
  static constexpr bool traces_lookups = true;

  /// The body of a slicer's table-loading thread.
  static constexpr auto table_thread = &get_table_thread_2010;
  /// That thread pauses while three loaded files are unclaimed.
  static constexpr bool limits_read_ahead = true;
  /// It checks at every step whether to stop, not only when it has taken a credit.
  static constexpr bool stops_between_steps = true;
  /// After loading all files, it waits until the slicer stops it.
  static constexpr bool waits_when_loaded = true;
  /// An only channel tries again when a change of file returns OUT_OF_WINDOW.
  static constexpr bool retries_single_channel = true;
  /// In a search for the last event by time, a channel of update blocks never wins a tie.
  static constexpr bool update_blocks_lose_ties = true;
  /// A slicer without channels forgets its current event.
  static constexpr bool forgets_event_without_channels = false;
};

}  // namespace ravo

#endif
