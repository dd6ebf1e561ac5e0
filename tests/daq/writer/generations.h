// The writers of the two generations as parameters of typed tests, each with the layout of its files in
// numbers and with types of its own for the kinds of channels that the tests write.
#ifndef RAVO_TEST_WRITER_GENERATIONS_H
#define RAVO_TEST_WRITER_GENERATIONS_H

#include <gtest/gtest.h>

#include "generation_name.h"
#include "ravo_daq_writer.h"
#include "ravo_daq_writer_2010.h"
#include "raw_layouts.h"

namespace ravo::test {

struct current : layout_2010 {
  using layout = layout_2010;
  using writer = ravo_daq_writer_2010;
  static constexpr RAVO_SUBBLOCK_TYPE single = RAVO_BLOCK_1CHAN_2010;
  static constexpr RAVO_SUBBLOCK_TYPE update = RAVO_UPD_BLOCK_2010;
  static constexpr RAVO_SUBBLOCK_TYPE environment = RAVO_ENV_BLOCK_2010;
};

struct older : layout_2009 {
  using layout = layout_2009;
  using writer = ravo_daq_writer;
  static constexpr RAVO_SUBBLOCK_TYPE single = RAVO_BLOCK_SINGLE;
  static constexpr RAVO_SUBBLOCK_TYPE update = RAVO_UPD_BLOCK;
  static constexpr RAVO_SUBBLOCK_TYPE environment = RAVO_ENV_BLOCK;
};

using generations = testing::Types<current, older>;

}  // namespace ravo::test

#endif
