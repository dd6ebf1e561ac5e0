// The texts of the slicers that differ between the generations. A generation may put other arguments into
// a text, print it at another debug level, or not print it at all, so each is a function; texts that both
// generations share are where they are printed.
#ifndef RAVO_DAQ_READER_SLICER_TEXTS_H
#define RAVO_DAQ_READER_SLICER_TEXTS_H

#include <cstddef>
#include <cstdio>

#include "ravo_core_records.h"
#include "ravo_daq/generation_2009.h"
#include "ravo_daq/generation_2010.h"

namespace ravo {

template <class G>
struct slicer_texts;

template <>
struct slicer_texts<generation_2010> {
  // init
  static void no_memory_for_file(int size, const char* file) {
    std::printf("ravo_daq_slicer_2010::init() failed to malloc %d bytes for a file name %s\n", size, file);
  }
  static void no_memory_for_channel(const char* name) {
    std::printf("ravo_daq_slicer_2010::init() failed to malloc channel entry for %s\n", name);
  }
  static void nothing_to_read(std::size_t files, std::size_t channels) {
    if (files == 0) std::printf("SLICER:  no files found\n");
    if (channels == 0) std::printf("SLICER:  no channels in request, Pleas, add some\n");
  }

  // start
  static void channel_not_created(int debug, int chan) {
    if (debug != 0) std::printf("CREATE_CHANNEL[%d] failed\n", chan);
  }
  static void no_file_with_events(int debug, const char* name, int subchan) {
    if (debug != 0) std::printf("ERROR with channel (no cfgs) %s:%d\n", name, subchan);
  }
  static void channel_not_started(int debug, const char* name, int subchan, int status) {
    if (debug != 0) std::printf("ERROR with channel (start) %s:%d error: %d\n", name, subchan, status);
  }
  static void leaving_channel_out(int debug) {
    if (debug != 0) std::printf("Calling clean_descr()\n");
  }

  // create_channel
  static void creating_channel(const char* name, int subchan, const char* file) {
    std::printf("ravo_daq_slicer_2010::create_channel()CREATING CHANNEL: %s:%d file:%s\n", name, subchan,
                file);
  }
  static void creation_time(double microseconds) {
    if (microseconds > 1000) std::printf("CREATE CHANNEl %f msec\n", microseconds / 1000);
  }

  // start_channel
  static void positioning_at_first_event() {
    std::printf("Calling get_chan_data() start channel (up) ret:%d \n", 0);
  }
  static void start_time(double microseconds) {
    std::printf("slicer_2010->start() for channel took: %f msec\n", microseconds / 1000);
  }

  // change_config
  static void leaving_file(int chan, const char*, int entry) {
    std::printf("Channel[%d] switching to the next file fentry before: %d\n", chan, entry);
  }

  // get_data
  static void aligning(int, const ravo_time_id&, int) {}
  static void time_before_asking(double microseconds) {
    if (microseconds > 1000) std::printf("get_data() start %f msec\n", microseconds / 1000);
  }
  static void time_after_asking(double microseconds) {
    if (microseconds > 1000) std::printf("get_data() middle %f msec\n", microseconds / 1000);
  }
  static void compared_with_current_event(bool) { std::printf("found: \n"); }

  // clean_up
  static void thread_joined() { std::printf("THREAD joined table_thread: \n"); }
};

template <>
struct slicer_texts<generation_2009> {
  // init
  static void no_memory_for_file(int size, const char* file) {
    std::printf("ravo_daq_slicer::init() failed to malloc %d bytes for a file name %s\n", size, file);
  }
  static void no_memory_for_channel(const char* name) {
    std::printf("ravo_daq_slicer::init() failed to malloc channel entry for %s\n", name);
  }
  static void nothing_to_read(std::size_t files, std::size_t channels) {
    std::printf("SLICER: either no files (%d) or channels: (%d)\n", static_cast<int>(files),
                static_cast<int>(channels));
  }

  // start; what is wrong with a channel is printed at every debug level
  static void channel_not_created(int, int) {}
  static void no_file_with_events(int, const char* name, int subchan) {
    std::printf("ERROR with channel (no cfgs) %s:%d\n", name, subchan);
  }
  static void channel_not_started(int, const char* name, int subchan, int status) {
    std::printf("ERROR with channel (start) %s:%d error: %d\n", name, subchan, status);
  }
  static void leaving_channel_out(int) {}

  // create_channel
  static void creating_channel(const char* name, int subchan, const char* file) {
    std::printf("ravo_daq_slicer::create_channel()CREATING CHANNEL: %s:%d WITH FILE %s\n", name, subchan,
                file);
  }
  static void creation_time(double) {}

  // start_channel
  static void positioning_at_first_event() { std::printf("Calling get_chan_data() start channel (up)\n"); }
  static void start_time(double) {}

  // change_config
  static void leaving_file(int, const char* name, int entry) {
    std::printf("Channel %s switching to the next file fentry before: %d\n", name, entry);
  }

  // get_data
  static void aligning(int debug, const ravo_time_id& event, int synch_mode) {
    if (debug > 0)
      std::printf("current_event_id.event_number (input): %d:%d_%d  synch_mode:%d\n",
                  static_cast<int>(event.event_number), static_cast<int>(event.time.timeup),
                  static_cast<int>(event.time.timelow), synch_mode);
  }
  static void time_before_asking(double) {}
  static void time_after_asking(double) {}
  static void compared_with_current_event(bool found) { std::printf("found: %d\n", found ? 1 : 0); }

  // clean_up
  static void thread_joined() {}
};

}  // namespace ravo

#endif
