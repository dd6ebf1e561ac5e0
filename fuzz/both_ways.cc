#include "both_ways.h"

#include <zlib.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <vector>

#include "decode/unzip.h"
#include "expect.h"

namespace ravo::fuzz {
namespace {

/// What zlib alone makes of a stream.
unzip_result inflate_alone(const exact_copy& stream, std::vector<unsigned char>& into) {
  z_stream state{};
  expect(inflateInit(&state) == Z_OK, "zlib can be started");
  state.next_in = stream.data();
  state.avail_in = static_cast<uInt>(stream.size());
  state.next_out = into.data();
  state.avail_out = static_cast<uInt>(into.size());
  unzip_result result;
  result.code = inflate(&state, Z_NO_FLUSH);
  result.step = result.code == Z_STREAM_END ? unzip_step::done : unzip_step::decompression;
  result.produced = state.total_out;
  inflateEnd(&state);
  return result;
}

/// Whether the checksum at the end of a stream, wherever that is, matches the bytes.
bool bears_checksum_of(const exact_copy& stream, const exact_copy& bytes, std::size_t size) {
  const uLong sum = adler32(1, bytes.data(), static_cast<uInt>(size));
  const unsigned char wanted[] = {static_cast<unsigned char>(sum >> 24),
                                  static_cast<unsigned char>(sum >> 16),
                                  static_cast<unsigned char>(sum >> 8), static_cast<unsigned char>(sum)};
  const unsigned char* const begin = stream.data();
  const unsigned char* const end = begin + stream.size();
  return std::search(begin, end, std::begin(wanted), std::end(wanted)) != end;
}

}  // namespace

void inflate_both_ways(const exact_copy& stream, std::size_t room) {
  const exact_copy into(std::string(room, '\0'));
  std::vector<unsigned char> alone(room);
  const unzip_result fast = unzip(unzipper::zlib, stream.data(), stream.size(), into.data(), room, nullptr);
  const unzip_result slow = inflate_alone(stream, alone);
  expect(fast.produced <= most_unzipped(unzipper::zlib, stream.size()) || !fast.ok(),
         "no deflate stream holds more than the bound");
  if (fast.ok() && slow.code == Z_DATA_ERROR) {
    expect(bears_checksum_of(stream, into, fast.produced),
           "a stream that zlib refuses has the checksum of its bytes");
    return;
  }
  expect(fast.step == slow.step && fast.code == slow.code, "zlib decides whether a stream is good");
  if (!slow.ok()) return;
  expect(fast.produced == slow.produced, "both ways give as many bytes");
  expect(std::memcmp(into.data(), alone.data(), fast.produced) == 0, "both ways give the same bytes");
}

}  // namespace ravo::fuzz
