// The block decoder of the current generation.
#include "decode/decode_block.hh"
#include "ravo_daq_read_chan_2010.h"

template ravo::decode_result<ravo::generation_2010> ravo::decode_block(const ravo::block_source&,
                                                                       const ravo_event_chan_ptr_entry&,
                                                                       const char*, int);
template std::optional<ravo::generation_2010::subhead> ravo::read_subheader<ravo::generation_2010>(
    const ravo::file_part&, unsigned long);
template ravo::decode_outcome ravo::locate_payload<ravo::generation_2010>(
    const ravo::file_part&, unsigned long, unsigned long, const ravo::generation_2010::subhead&,
    ravo::stored_payload&);
template ravo::decoded_payload ravo::decode_payload<ravo::generation_2010>(
    const ravo::stored_payload&, const ravo::generation_2010::subhead&, const char*, unsigned char*,
    unsigned char*);
template bool ravo::is_member_cut<ravo::generation_2010>(const ravo::stored_payload&, std::int32_t, int);
template bool ravo::cut_member<ravo::generation_2010>(const ravo::stored_payload&,
                                                      const ravo::generation_2010::subhead*, int,
                                                      ravo::generation_2010::subhead**);
