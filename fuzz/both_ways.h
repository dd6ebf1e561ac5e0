// The fast library in front of zlib, held against zlib alone: what zlib takes, both take, with the same
// length and bytes; what zlib refuses is refused at the same step with the same code, which is all that its
// text is made of, but for streams that break the rules of the format and still bear the checksum of what
// came out.
#ifndef RAVO_FUZZ_BOTH_WAYS_H
#define RAVO_FUZZ_BOTH_WAYS_H

#include "input.h"

namespace ravo::fuzz {

/// Inflates a zlib stream into `room` bytes both ways.
void inflate_both_ways(const exact_copy& stream, std::size_t room);

}  // namespace ravo::fuzz

#endif
