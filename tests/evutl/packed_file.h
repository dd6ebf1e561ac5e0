// A small raw file with compressed blocks and padding, put together word by word: the third worked example
// of docs/raw-format.md. One channel has a zlib block and an LZO1X block of 24 equal samples, whose
// compressed bytes are here as other programs made them; the other has texts of 5 and 9 bytes, the last
// one without padding.
#ifndef RAVO_TEST_PACKED_FILE_H
#define RAVO_TEST_PACKED_FILE_H

#include <cstdint>
#include <string_view>

#include "bytes.h"
#include "raw_layouts.h"

namespace ravo::test {

struct packed_file {
  bytes content;
  std::uint32_t event_headers, server_blocks, wave_basket, wave_block[2], note_basket, note_block[2];
  std::uint32_t dictionary, event_index, pointers, environment, descriptions, reference;

  std::uint32_t tail() const { return static_cast<std::uint32_t>(content.size()) - 4; }
};

namespace packed_file_parts {

using namespace std::string_view_literals;

inline constexpr std::uint32_t seconds = 1767225600, payload = 32 + 24 * 4;
inline constexpr std::string_view zlib_bytes =
    "\x78\xda\x63\x60\x60\x60\x64\x60\x60\x90\x60\x80\xd0\x0c\xf6\x0c\xa8\xc0\xfe\x00\x6d\x31\x00\xc1\xe6\x18\x42"sv;
inline constexpr std::string_view lzo_bytes =
    "\x05\x00\x00\x00\x01\x00\x00\x00\x18\xdf\x00\x00\x3f\x00\x2c\x00\x00\x01\xc0\x00\x00\x00\x20\x2b\x0c"
    "\x00\x0d"
    "\xc0\x00\x00\x00\xc0\x00\x00\x00\xc0\x00\x00\x00\xc0\x00\x00\x00\x11\x00\x00"sv;
inline constexpr std::string_view descriptions =
    "<channel_descriptions version=\"1\"><channel prop_name=\"LINAC/WAVE\"/><channel "
    "prop_name=\"LINAC/NOTE\"/>"
    "</channel_descriptions>\0"sv;

inline std::uint32_t stored(std::string_view data) { return 268 + static_cast<std::uint32_t>(data.size()); }

// The zip flag is bit 30 of the error word; the zip header says how, how many bytes come out, how many
// there are.
inline void packed_block(bytes& file, std::uint32_t flags, std::string_view data) {
  file.text("LINAC/WAVE", 256).u32(41).u32(0x40000000).u32(12 + stored(data));
  file.u32(flags).u32(payload).u32(static_cast<std::uint32_t>(data.size())).raw(data);
}
inline void text_block(bytes& file, std::string_view text) {
  file.text("LINAC/NOTE", 256).u32(23).u32(0).u32(stored(text)).raw(text);
}
inline void pad(bytes& file) { file.fill((4 - file.size() % 4) % 4); }

inline void event(bytes& file, std::uint32_t number, std::uint32_t microseconds, std::uint32_t blocks) {
  file.u32(0xffeef3f3).u32(36 + 284 + blocks).u32(number).u32(1).u32(seconds).u32(microseconds);
  file.u32(0).u32(0).u32(1);
}
inline void server(bytes& file, std::uint32_t pulse, std::uint32_t microseconds, std::uint32_t blocks) {
  file.u32(seconds).u32(microseconds).u32(284 + blocks).u32(pulse);
  file.text("LINAC.SERVER", 256).u32(0).u32(0).u32(2);
}
inline void channel(bytes& file, std::uint32_t key, std::string_view name, std::uint32_t types) {
  file.u32(key).text(name, 256).u32(2).u32(types).u32(2);
}

}  // namespace packed_file_parts

inline packed_file build_packed_file() {
  using namespace packed_file_parts;
  constexpr std::string_view texts[] = {"open\0"sv, "shut off\0"sv};
  const std::uint32_t blocks[] = {12 + stored(zlib_bytes) + stored(texts[0]),
                                  12 + stored(lzo_bytes) + stored(texts[1])};
  packed_file file{};
  bytes& out = file.content;
  const auto here = [&] { return static_cast<std::uint32_t>(out.size()); };
  const auto end_basket = [&](std::uint32_t basket) { out.set_u32(basket + 4, here() - basket); };

  out.raw(layout_2010::signature);

  file.event_headers = here();
  out.u32(0xebaebaf3).u32(80);
  event(out, 2000, 0, blocks[0]);
  event(out, 2001, 100000, blocks[1]);

  file.server_blocks = here();
  out.u32(0xb5bb5bf3).u32(576);
  server(out, 77, 0, blocks[0]);
  server(out, 78, 100000, blocks[1]);

  file.wave_basket = here();
  out.u32(0xcbacbaf3).u32(0);
  file.wave_block[0] = here();
  packed_block(out, 1, zlib_bytes);
  pad(out);
  file.wave_block[1] = here();
  packed_block(out, 2, lzo_bytes);
  pad(out);
  end_basket(file.wave_basket);

  file.note_basket = here();
  out.u32(0xcbacbaf3).u32(0);
  file.note_block[0] = here();
  text_block(out, texts[0]);
  pad(out);
  file.note_block[1] = here();
  text_block(out, texts[1]);
  end_basket(file.note_basket);
  pad(out);  // bytes between two parts

  file.dictionary = here();
  out.u32(0xdcadcaf3).u32(8 + 2 * 272);
  channel(out, 21, "LINAC/WAVE", 0);
  channel(out, 22, "LINAC/NOTE", 1u << 23);

  const std::uint32_t header = file.event_headers + 8, head = file.server_blocks + 8;
  file.event_index = here();
  out.u32(0xedaedaf3).u32(1);
  out.u32(1).u32(seconds).u32(0).u32(seconds).u32(100000).u32(2000).u32(2001).u32(2);
  out.u32(seconds).u32(0).u32(2000).u32(header);
  out.u32(seconds).u32(100000).u32(2001).u32(header + 36);

  file.pointers = here();
  out.u32(0xecbecbf3).u32(12 + 2 * 2 * 16).u32(2);
  for (const std::uint32_t* row : {file.wave_block, file.note_block})
    for (std::uint32_t i = 0; i < 2; ++i)
      out.u32(header + 36 * i).u32(head + 284 * i).u32(row[i]).u32(row[i] + 268);

  file.environment = here();
  out.u32(0xeddeddf3).u32(8);

  file.descriptions = here();
  out.u32(0xcddcddf3).u32(static_cast<std::uint32_t>(8 + descriptions.size())).raw(descriptions);

  file.reference = here();
  out.u32(0xfefafaf3).u32(168).u32(file.event_index);
  for (int type = 0; type < 32; ++type) out.u32(type == 1 ? file.event_index + 8 : 0);
  out.u32(file.dictionary).u32(file.pointers).u32(file.environment).u32(file.descriptions);
  out.u32(file.event_headers).u32(file.server_blocks).u32(file.wave_basket);
  out.u32(file.reference);
  return file;
}

}  // namespace ravo::test

#endif
