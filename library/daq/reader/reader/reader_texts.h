// What the readers say in the words of their generation: every text that carries a class name or that the
// other generation words differently, whole. Texts common to both stand beside the code that prints them.
#ifndef RAVO_DAQ_READER_TEXTS_H
#define RAVO_DAQ_READER_TEXTS_H

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

  // get_data()
  static constexpr const char* slicer_time = "slicer_2010->get_data() %f msec\n";
  static constexpr const char* no_channel_header = "ravo_daq_reader_2010::get_data() chan_header is NULL\n";
};

}  // namespace ravo

#endif
