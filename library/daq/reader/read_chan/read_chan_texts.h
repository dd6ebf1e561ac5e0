// The texts of channel readers and unzip workers that differ between the generations. Texts that both
// share are where they are printed. Where the arguments differ too, a text is a function.
#ifndef RAVO_DAQ_READER_READ_CHAN_TEXTS_H
#define RAVO_DAQ_READER_READ_CHAN_TEXTS_H

#include <cstdio>

#include "ravo_daq/generation_2009.h"
#include "ravo_daq/generation_2010.h"

namespace ravo {

template <class G>
struct read_chan_texts;

template <>
struct read_chan_texts<generation_2010> {
  static constexpr char start_not_initialized[] = "ravo_daq_read_chan_2010:start() %s not initialized\n";
  static constexpr char channel_not_found[] = "ravo_daq_read_chan_2010: channel not found\n";
  static void mapping_time(double milliseconds, const char* file, int basket, unsigned long mapped,
                           int entries) {
    std::printf("START MMAP IN %f msec file:%s chbasket_size: %d  chn_base_size: %lu   entries: %d\n",
                milliseconds, file, basket, mapped, entries);
  }
  static constexpr char data_not_initialized[] =
      "ravo_daq_read_chan_2010:get_chan_data() %s  not initialized\n";

  static void unzipped_not_convertible(int error, long length, unsigned long) {
    std::printf(
        "Failed to convert  err: %d  len: %ld  (possible corrupted or inconsistent data).. skipping\n",
        error, length);
  }
  static constexpr char cut_failed[] = "device_to_one_channel_2010() failed for %s:%d\n";
};

template <>
struct read_chan_texts<generation_2009> {
  static constexpr char start_not_initialized[] = "ravo_daq_read_chan:start() %s  not initialized\n";
  static constexpr char channel_not_found[] = "ravo_daq_read_chan: channel not found\n";
  static void mapping_time(double milliseconds, const char* file, int, unsigned long mapped, int entries) {
    std::printf("START MMAP IN %f msec  file: %s chn_base_size: %lu  entries: %d\n", milliseconds, file,
                mapped, entries);
  }
  static constexpr char data_not_initialized[] = "ravo_daq_read_chan:get_chan_data() %s not initialized\n";

  static void unzipped_not_convertible(int error, long length, unsigned long thread) {
    std::printf("Failed to convert unzipped err: %d  len: %ld %lu .. exiting\n", error, length, thread);
  }
  static constexpr char cut_failed[] = "device_to_one_channel() failed for %s:%d\n";
};

}  // namespace ravo

#endif
