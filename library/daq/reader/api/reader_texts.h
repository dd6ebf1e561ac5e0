// The texts of the readers that differ between the generations: every text that holds a class name or that
// the other generation words differently. Texts common to both are where they are printed.
#ifndef RAVO_DAQ_READER_TEXTS_H
#define RAVO_DAQ_READER_TEXTS_H

#include "ravo_daq/generation_2009.h"
#include "ravo_daq/generation_2010.h"

namespace ravo {

template <class G>
struct reader_texts;

template <>
struct reader_texts<generation_2010> {
  // add_file(); the arguments are the name, the name, bytes, the path, the path, and name and list.
  static constexpr const char* name_not_copied =
      "ravo_daq_reader_2010::add_file() Failed to malloc for file: %s\n";
  static constexpr const char* no_path_buffer =
      "ravo_daq_reader_2010::add_file() faile to allocate file buffer of %d bytes\n";
  static constexpr const char* file_not_found = "ravo_daq_reader_2010::add_file() file %s not found \n";
  static constexpr const char* file_not_closed =
      "ravo_daq_reader_2010::add_file() file %s skipped (not closed)\n";
  static constexpr const char* file_in_no_path =
      "ravo_daq_reader_2010::add_file() file %s not found in any default data path %s\n";

  // The times of the first and the last file, wherever they are taken from the files' names.
  static constexpr const char* no_start_time =
      "ravo_daq_reader_2010::init() failed to extract start time locally\n";
  static constexpr const char* no_stop_time =
      "ravo_daq_reader_2010::init() failed to extract stop time locally\n";

  // init() with a request
  static constexpr const char* no_run_numbers =
      "ravo_daq_reader_2010::init() Failed to malloc run number\n";
  static constexpr const char* no_catalogue_for_runs =
      "ravo_daq_reader_2010::init() Failed to get list of files for runs .. trying local directory scan\n";
  static constexpr const char* no_catalogue_for_period =
      "ravo_daq_reader_2010::init() Failed to get list of files for period ... trying local scan\n";
  static constexpr const char* found_file_of_run =
      "------>Found file %s time_stamp: %i  (star:%d  stop:%d\n";
  static constexpr const char* directory_unreadable =
      "ravo_daq_reader_2010(): unable read the files in the directory to get the name if the very first "
      "file\n";
  static constexpr const char* no_very_first_file =
      "ravo_daq_reader_2010(): unable to get the name of the very first file\n";
  // Printed for the very last file, although it names the first.
  static constexpr const char* no_very_last_file =
      "ravo_daq_reader_2010(): unable to get the name if the very first file\n";
  static constexpr const char* no_time_of_first_run =
      "----->ravo_daq_reader_2010::init() failed to extract time for run: %d trying locally\n";
  static constexpr const char* no_time_of_last_run =
      "ravo_daq_reader_2010::init() failed to extract time for run: %d\n";
  static constexpr const char* window_of_runs = "ravo_daq_reader_2010::init() making correction in time\n";
  static constexpr const char* window_reset = "ravo_daq_reader_2010::init() time reset\n";

  // The printers of one channel. The texts of all four name the first.
  static constexpr const char* printer_input =
      "ravo_daq_reader_2010::print_channel_event_headers() check input parameters\n";
  static constexpr const char* printer_no_file =
      "ravo_daq_reader_2010::print_channel_event_headers() check if file: %s accesible\n";
  static constexpr const char* printer_lost_file =
      "ravo_daq_reader_2010::print_channel_event_headers() something wrong with file: %s\n";
  static constexpr const char* printer_no_channel =
      "ravo_daq_reader_2010::print_channel_event_headers() channel: %s not found in file: %s\n";
  static constexpr const char* printer_not_started =
      "ravo_daq_reader_2010::print_channel_event_headers() failed to initialize channel: %s\n";

  // get_data()
  static constexpr const char* slicer_time = "slicer_2010->get_data() %f msec\n";
  static constexpr const char* no_channel_header = "ravo_daq_reader_2010::get_data() chan_header is NULL\n";
};

template <>
struct reader_texts<generation_2009> {
  // add_file(); the arguments are the name, the name, bytes, the path, the path, and name and list.
  static constexpr const char* name_not_copied = "Failed to malloc for file: %s\n";
  static constexpr const char* no_path_buffer =
      "ravo_daq_reader::add_file() faile to allocate file buffer of %d bytes\n";
  static constexpr const char* file_not_found = "ravo_daq_reader::add_file() file %s not found\n";
  static constexpr const char* file_in_no_path =
      "ravo_daq_reader::add_file() file %s not found in any default data path %s\n";

  // The times of the first and the last file, wherever they are taken from the files' names.
  static constexpr const char* no_start_time =
      "ravo_daq_reader::init() failed to extract start time locally\n";
  static constexpr const char* no_stop_time =
      "ravo_daq_reader::init() failed to extract stop time locally\n";

  // init() with a request
  static constexpr const char* no_run_numbers = "ravo_daq_reader::init() Failed to malloc run number\n";
  static constexpr const char* no_catalogue_for_runs =
      "ravo_daq_reader::init() Failed to get list of files for runs .. trying local directory scan\n";
  static constexpr const char* no_catalogue_for_period =
      "ravo_daq_reader::init() Failed to get list of files for period ... trying local scan\n";
  static constexpr const char* found_file_of_run = "Found file %s time_stamp: %i  (star:%d  stop:%d\n";
  static constexpr const char* directory_unreadable =
      "ravo_daq_reader(): unable read the files in the directory to get the name if the very first file\n";
  static constexpr const char* no_very_first_file =
      "ravo_daq_reader(): unable to get the name of the very first file\n";
  // Printed for the very last file, although it names the first.
  static constexpr const char* no_very_last_file =
      "ravo_daq_reader(): unable to get the name if the very first file\n";
  static constexpr const char* no_time_of_first_run =
      "----->ravo_daq_reader::init() failed to extract time for run: %d trying locally\n";
  static constexpr const char* no_time_of_last_run =
      "ravo_daq_reader::init() failed to extract time for run: %d\n";
  static constexpr const char* window_of_runs = "ravo_daq_reader::init() making correction in time\n";
  static constexpr const char* window_reset = "ravo_daq_reader::init() time reset\n";

  // get_data()
  // Names the other generation's slicer, as it always has.
  static constexpr const char* slicer_time = "slicer_2010->get_data() %f msec\n";
  static constexpr const char* no_channel_header = "ravo_daq_reader::get_data() chan_header is NULL\n";
};

}  // namespace ravo

#endif
