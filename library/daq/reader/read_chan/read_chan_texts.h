// What the channel readers and unzip workers of the generations say where it differs, whole. Texts that
// both share stand where they are printed.
#ifndef RAVO_DAQ_READER_READ_CHAN_TEXTS_H
#define RAVO_DAQ_READER_READ_CHAN_TEXTS_H

#include "ravo_daq/generation_2010.h"

namespace ravo {

template <class G>
struct read_chan_texts;

template <>
struct read_chan_texts<generation_2010> {
  static constexpr char start_not_initialized[] = "ravo_daq_read_chan_2010:start() %s not initialized\n";
  static constexpr char channel_not_found[] = "ravo_daq_read_chan_2010: channel not found\n";
  static constexpr char mapping_time[] =
      "START MMAP IN %f msec file:%s chbasket_size: %d  chn_base_size: %lu   entries: %d\n";
  static constexpr char data_not_initialized[] = "ravo_daq_read_chan_2010:get_chan_data() %s  not initialized\n";

  static constexpr char unzipped_not_convertible[] =
      "Failed to convert  err: %d  len: %ld  (possible corrupted or inconsistent data).. skipping\n";
  static constexpr char cut_failed[] = "device_to_one_channel_2010() failed for %s:%d\n";
};

}  // namespace ravo

#endif
