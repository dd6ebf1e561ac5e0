// A declared channel, as the parts of the writer pass it on.
#ifndef RAVO_WRITER_CHANNEL_H
#define RAVO_WRITER_CHANNEL_H

#include <cstdint>
#include <string>

#include "ravo_daq/raw_writer.h"

namespace ravo::writer {

struct channel {
  std::string name;
  RAVO_SUBBLOCK_TYPE dtype;
  ravo_compression compression;  ///< always `none` for the slow types
  int zlib_level;
  std::uint32_t key;  ///< 0 until the first event numbers the channels
  int env_index;
};

}  // namespace ravo::writer

#endif
