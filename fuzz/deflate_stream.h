// Makes deflate streams that an encoder would never make and that still come close to being right: blocks
// with codes of any lengths, whole or not, counts of symbols that the format forbids, and a checksum that
// fits. What the stream says is chosen by the input.
#ifndef RAVO_FUZZ_DEFLATE_STREAM_H
#define RAVO_FUZZ_DEFLATE_STREAM_H

#include <string>

namespace ravo::fuzz {

class input;

/// A deflate stream without the zlib wrapper.
std::string make_deflate_stream(input& from);

/// The stream in its wrapper, with the checksum of what it inflates to; where it does not inflate, any.
std::string wrap(const std::string& stream, std::size_t room);

}  // namespace ravo::fuzz

#endif
