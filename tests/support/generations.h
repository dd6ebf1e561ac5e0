// The two generations as parameters of typed tests: the layout of the files in numbers, a data type of
// every kind, and the classes that a user names. These are only declared here: a test includes what it
// uses.
#ifndef RAVO_TEST_GENERATIONS_OF_CLASSES_H
#define RAVO_TEST_GENERATIONS_OF_CLASSES_H

#include <gtest/gtest.h>

#include <type_traits>

#include "generation_name.h"
#include "ravo_payload.h"
#include "ravo_raw_codes.h"
#include "raw_layouts.h"

class ravo_file_get_tables;
class ravo_file_get_tables_2010;
class ravo_daq_read_chan;
class ravo_daq_read_chan_2010;
class ravo_daq_slicer;
class ravo_daq_slicer_2010;
class ravo_daq_reader;
class ravo_daq_reader_2010;
class ravo_daq_writer;
class ravo_daq_writer_2010;

namespace ravo {
struct generation_2009;
struct generation_2010;
}  // namespace ravo

namespace ravo::test {

struct current_generation : layout_2010 {
  using layout = layout_2010;
  using records = generation_2010;
  using loader = ravo_file_get_tables_2010;
  using read_chan = ravo_daq_read_chan_2010;
  using slicer = ravo_daq_slicer_2010;
  using reader = ravo_daq_reader_2010;
  using writer = ravo_daq_writer_2010;
  using spectrum_head = ravo_spect_head_2010;
  static constexpr bool has_means = false;      // in every spectrum
  static constexpr unsigned default_rate = 10;  // events in a second that a reader expects
  static constexpr RAVO_SUBBLOCK_TYPE single = RAVO_BLOCK_1CHAN_2010;
  static constexpr RAVO_SUBBLOCK_TYPE bpm = RAVO_BLOCK_BPM_2010;
  static constexpr RAVO_SUBBLOCK_TYPE rf = RAVO_BLOCK_RF_250K_2010;
  static constexpr RAVO_SUBBLOCK_TYPE update = RAVO_UPD_BLOCK_2010;
  static constexpr RAVO_SUBBLOCK_TYPE environment = RAVO_ENV_BLOCK_2010;
  static constexpr RAVO_SUBBLOCK_TYPE begin_of_run = RAVO_BOR_BLOCK_2010;
  static constexpr RAVO_SUBBLOCK_TYPE end_of_run = RAVO_EOR_BLOCK_2010;
};

struct older_generation : layout_2009 {
  using layout = layout_2009;
  using records = generation_2009;
  using loader = ravo_file_get_tables;
  using read_chan = ravo_daq_read_chan;
  using slicer = ravo_daq_slicer;
  using reader = ravo_daq_reader;
  using writer = ravo_daq_writer;
  using spectrum_head = ravo_spect_head;
  static constexpr bool has_means = true;
  static constexpr unsigned default_rate = 5;
  static constexpr RAVO_SUBBLOCK_TYPE single = RAVO_BLOCK_SINGLE;
  static constexpr RAVO_SUBBLOCK_TYPE bpm = RAVO_BLOCK_BPM;
  static constexpr RAVO_SUBBLOCK_TYPE rf = RAVO_BLOCK_RF_250K;
  static constexpr RAVO_SUBBLOCK_TYPE update = RAVO_UPD_BLOCK;
  static constexpr RAVO_SUBBLOCK_TYPE environment = RAVO_ENV_BLOCK;
  static constexpr RAVO_SUBBLOCK_TYPE begin_of_run = RAVO_BOR_BLOCK;
  static constexpr RAVO_SUBBLOCK_TYPE end_of_run = RAVO_EOR_BLOCK;
};

/// Of two values the one of the generation.
template <class generation, class T>
constexpr T either(T of_current, T of_older) {
  return std::is_base_of_v<older_generation, generation> ? of_older : of_current;
}

using generations = testing::Types<current_generation, older_generation>;

}  // namespace ravo::test

#endif
