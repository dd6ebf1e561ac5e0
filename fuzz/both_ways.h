// Checks the fast library, which is tried before zlib, against zlib alone: what zlib accepts, both accept,
// with the same length and bytes; what zlib refuses is refused at the same step with the same code, from
// which its text is made. Streams that break the rules of the format and still bear the checksum of their
// output are excepted.
#ifndef RAVO_FUZZ_BOTH_WAYS_H
#define RAVO_FUZZ_BOTH_WAYS_H

#include "input.h"

namespace ravo::fuzz {

/// Inflates a zlib stream into `room` bytes in both ways.
void inflate_both_ways(const exact_copy& stream, std::size_t room);

}  // namespace ravo::fuzz

#endif
