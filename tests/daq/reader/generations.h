// The two generations as parameters of typed tests of the reading layers: the layout of the files in
// numbers, the classes that a user names, and a data type of every kind.
#ifndef RAVO_TEST_READER_GENERATIONS_H
#define RAVO_TEST_READER_GENERATIONS_H

#include <gtest/gtest.h>

#include <string>
#include <type_traits>

#include "ravo_daq_reader.h"
#include "ravo_daq_reader_2010.h"
#include "ravo_payload.h"
#include "raw_layouts.h"

namespace ravo::test {

struct current_generation : layout_2010 {
  using layout = layout_2010;
  using records = generation_2010;
  using loader = ravo_file_get_tables_2010;
  using read_chan = ravo_daq_read_chan_2010;
  using slicer = ravo_daq_slicer_2010;
  using reader = ravo_daq_reader_2010;
  using spectrum_head = ravo_spect_head_2010;
  static constexpr bool has_means = false;      // in every spectrum
  static constexpr unsigned default_rate = 10;  // events in a second that a reader expects
  static constexpr RAVO_SUBBLOCK_TYPE single = RAVO_BLOCK_1CHAN_2010;
  static constexpr RAVO_SUBBLOCK_TYPE bpm = RAVO_BLOCK_BPM_2010;
  static constexpr RAVO_SUBBLOCK_TYPE rf = RAVO_BLOCK_RF_250K_2010;
  static constexpr RAVO_SUBBLOCK_TYPE update = RAVO_UPD_BLOCK_2010;
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
  using spectrum_head = ravo_spect_head;
  static constexpr bool has_means = true;
  static constexpr unsigned default_rate = 5;
  static constexpr RAVO_SUBBLOCK_TYPE single = RAVO_BLOCK_SINGLE;
  static constexpr RAVO_SUBBLOCK_TYPE bpm = RAVO_BLOCK_BPM;
  static constexpr RAVO_SUBBLOCK_TYPE rf = RAVO_BLOCK_RF_250K;
  static constexpr RAVO_SUBBLOCK_TYPE update = RAVO_UPD_BLOCK;
  static constexpr RAVO_SUBBLOCK_TYPE begin_of_run = RAVO_BOR_BLOCK;
  static constexpr RAVO_SUBBLOCK_TYPE end_of_run = RAVO_EOR_BLOCK;
};

/// Of two values the one of the generation.
template <class generation, class T>
constexpr T either(T of_current, T of_older) {
  return std::is_base_of_v<older_generation, generation> ? of_older : of_current;
}

/// Whether a reader keeps its files because the run catalogue named them; the older generation knows no such mark.
template <class Reader>
bool is_marked_by_catalogue(const Reader& reader) {
  if constexpr (requires { reader.found_from_run_catalogue; }) return reader.found_from_run_catalogue;
  return false;
}

using generations = testing::Types<current_generation, older_generation>;

struct generation_name {
  template <class generation>
  static std::string GetName(int) {
    return std::string(generation::name);
  }
};

}  // namespace ravo::test

#endif
