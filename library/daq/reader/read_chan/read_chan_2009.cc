// The channel reader and the unzip worker of the older generation.
#include "ravo_daq_read_chan.h"

#include "read_chan/unzip_worker-inl.h"

#include "read_chan/find_entry-inl.h"
#include "read_chan/get_chan_data-inl.h"
#include "read_chan/life-inl.h"
#include "read_chan/print-inl.h"
#include "read_chan/start-inl.h"

template class ravo::daq_read_chan<ravo::generation_2009>;

void* unzip_thread(void* reader) {
  return ravo::unzip_thread<ravo::generation_2009>(static_cast<ravo_daq_read_chan*>(reader));
}
