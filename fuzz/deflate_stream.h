// Makes deflate streams that no encoder would make and that are still nearly valid: blocks with codes of
// any lengths, complete or not, numbers of symbols that the format forbids, and a matching checksum. The
// input chooses the content of the stream.
#ifndef RAVO_FUZZ_DEFLATE_STREAM_H
#define RAVO_FUZZ_DEFLATE_STREAM_H

#include <string>

namespace ravo::fuzz {

class input;

/// A deflate stream without the zlib wrapper.
std::string make_deflate_stream(input& from);

/// The stream in its wrapper, with the checksum of what it inflates to; with any if it does not inflate.
std::string wrap(const std::string& stream, std::size_t room);

}  // namespace ravo::fuzz

#endif
