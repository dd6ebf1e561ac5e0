// The block decoder of the older generation.
#include "decode/decode_block.hh"
#include "ravo_daq_read_chan.h"

template ravo::decode_result<ravo::generation_2009> ravo::decode_block(
    const ravo::block_source&, const ravo_event_chan_ptr_entry&, const char*, int);
