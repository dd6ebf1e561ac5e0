// Inflating: the fast library, which is tried before zlib, is checked against zlib alone. No stream may
// give more than the bound by which memory is allocated. LZO streams stay within their destination.
#include "decode/unzip.h"

#include <zlib.h>

#include <cstring>
#include <vector>

#include "both_ways.h"
#include "deflate_stream.h"
#include "expect.h"
#include "input.h"

namespace ravo::fuzz {
namespace {

constexpr std::size_t most_room = 1 << 16;

void decompress_lzo(const exact_copy& stream, std::size_t room) {
  const exact_copy into(std::string(room, '\0'));
  std::vector<unsigned char> work(1 << 10);
  const unzip_result result =
      unzip(unzipper::lzo, stream.data(), stream.size(), into.data(), room, work.data());
  if (!result.ok()) return;
  expect(result.produced <= room, "LZO stays within its destination");
  expect(result.produced <= most_unzipped(unzipper::lzo, stream.size()),
         "no LZO1X stream holds more than the bound");
}

/// What is compressed comes out again; with one byte less room both refuse it in the same way.
void there_and_back(input& from) {
  const int level = from.byte() % 10;
  const std::string_view content = from.rest();
  uLongf size = compressBound(static_cast<uLong>(content.size()));
  std::string stream(size, '\0');
  expect(compress2(reinterpret_cast<Bytef*>(stream.data()), &size,
                   reinterpret_cast<const Bytef*>(content.data()), static_cast<uLong>(content.size()),
                   level) == Z_OK,
         "zlib compresses");
  stream.resize(size);
  const exact_copy packed(stream);
  if (content.empty()) return;
  const exact_copy into(std::string(content.size(), '\0'));
  const unzip_result result =
      unzip(unzipper::zlib, packed.data(), packed.size(), into.data(), content.size(), nullptr);
  expect(result.ok() && result.produced == content.size() &&
             std::memcmp(into.data(), content.data(), content.size()) == 0,
         "what was compressed comes out again");
  if (content.size() > 1) inflate_both_ways(packed, content.size() - 1);
}

}  // namespace
}  // namespace ravo::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace ravo::fuzz;
  input from(data, size);
  const int way = from.byte() % 5;
  if (way == 2) {
    there_and_back(from);
    return 0;
  }
  const std::size_t room = from.half() % most_room + 1;
  if (way == 3 || way == 4) {
    const std::string stream = way == 3 ? make_deflate_stream(from) : std::string(from.rest());
    inflate_both_ways(exact_copy(wrap(stream, room)), room);
    return 0;
  }
  const exact_copy stream(from.rest());
  if (stream.size() == 0) return 0;
  if (way == 0)
    inflate_both_ways(stream, room);
  else
    decompress_lzo(stream, room);
  return 0;
}
