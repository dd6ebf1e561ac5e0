// The block decoder of the current generation.
#include "decode/decode_block.hh"
#include "ravo_daq_read_chan_2010.h"

template ravo::decode_result<ravo::generation_2010> ravo::decode_block(
    const ravo::block_source&, const ravo_event_chan_ptr_entry&, const char*, int);
