// Prints a reader's own lists: its files and its channels. Definitions of ravo::daq_reader, included by the
// source file of each generation.
#ifndef RAVO_DAQ_READER_PRINT_LISTS_INL_H
#define RAVO_DAQ_READER_PRINT_LISTS_INL_H

#include <cstddef>
#include <cstdio>

#include "ravo_daq/reader.h"

namespace ravo {

template <class G>
void daq_reader<G>::print_files() {
  std::printf("========== READER files ==============\n");
  for (std::size_t i = 0; i < files.size(); ++i)
    std::printf("[%d] %s\n", static_cast<int>(i + 1), files[i]);
  std::printf("========== READER files END ==========\n");
}

template <class G>
void daq_reader<G>::print_channels() {
  std::printf("========== READER channels ==============\n");
  for (std::size_t i = 0; i < results.size(); ++i) {
    if (!results[i]) continue;
    const chan_param& channel = results[i]->chan;
    const int number = static_cast<int>(i + 1);
    if (channel.nname[0] != '\0')
      std::printf("[%d] %s:%d -> %s\t", number, channel.name, channel.subchan, channel.nname);
    else
      std::printf("[%d] %s:%d\t", number, channel.name, channel.subchan);
    const ravo_chan_prms& prms = channel.prms;
    std::printf("params:\tstart:%d\tsamples:%d\tinc:%d\ttstart:%f\ttsamples:%f\ttinc:%f\tfunc:0x%x\n",
                prms.start, prms.length, prms.inc, static_cast<double>(prms.tstart),
                static_cast<double>(prms.tlength), static_cast<double>(prms.tinc),
                static_cast<unsigned>(prms.func));
  }
  std::printf("========== READER channels END ==========\n");
}

}  // namespace ravo

#endif
