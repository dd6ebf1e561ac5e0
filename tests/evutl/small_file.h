// A small but complete raw file of either generation, put together word by word: two channels, two
// events, every table. These are the worked examples of docs/raw-format.md, and what the tests damage.
#ifndef RAVO_TEST_SMALL_FILE_H
#define RAVO_TEST_SMALL_FILE_H

#include <cstdint>
#include <string>
#include <string_view>

#include "bytes.h"
#include "raw_layouts.h"

namespace ravo::test {

/// The file and where its parts begin.
struct small_file {
  bytes content;
  std::uint32_t bpm_basket, bpm_block[2], note_basket, note_block;
  std::uint32_t event_headers, server_blocks;
  std::uint32_t event_index, normal_entry, dictionary, pointers, environment, descriptions, reference;

  std::uint32_t tail() const { return static_cast<std::uint32_t>(content.size()) - 4; }
};

template <class layout>
inline constexpr std::string_view small_file_descriptions;
template <>
inline constexpr std::string_view small_file_descriptions<layout_2010> =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<channel_descriptions version=\"1\">\n"
    "  <channel prop_name=\"LINAC/BPM1\" units=\"mm\" dtype=\"41\" ev_type=\"2\"/>\n"
    "</channel_descriptions>\n";
template <>
inline constexpr std::string_view small_file_descriptions<layout_2009> =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<channel_descriptions version=\"1\">\n"
    "  <channel prop_name=\"LINAC/BPM1\" units=\"mm\" dtype=\"9\" ev_type=\"2\" />\n"
    "</channel_descriptions>\n";

namespace small_file_parts {

template <class layout>
void event_header(bytes& file, std::uint32_t number, std::uint32_t microseconds, std::uint32_t length) {
  file.u32(layout::event_header_marker).u32(length).u32(number).u32(1);
  file.u32(1767225600).u32(microseconds);
  file.u32(0).u32(0).u32(1);
}

template <class layout>
void server_block(bytes& file, std::uint32_t microseconds, std::uint32_t length, std::uint32_t pulse,
                  std::uint32_t channels) {
  file.u32(1767225600).u32(microseconds).u32(length).u32(pulse);
  file.text("LINAC.SERVER", layout::server_name).u32(0).u32(0).u32(channels);
}

// One sample: a scalar.
inline void scalar(bytes& file, layout_2010, float value) {
  file.u32(1).u32(1).u32(1).f32(0).f32(1).f32(0).u32(0).u32(0);
  file.f32(value);
}
inline void scalar(bytes& file, layout_2009, float value) {
  file.u32(1).u32(1).f32(0).f32(1);
  file.f32(value).f32(value);  // the mean, the value
}
inline constexpr std::uint32_t scalar_size(layout_2010) { return 32 + 4; }
inline constexpr std::uint32_t scalar_size(layout_2009) { return 16 + 4 + 4; }

template <class layout>
void bpm_block(bytes& file, float value) {
  file.text("LINAC/BPM1", layout::block_name).u32(layout::single_type).u32(0);
  file.u32(layout::subhead + scalar_size(layout{}));
  scalar(file, layout{}, value);
}

template <class layout>
void channel(bytes& file, std::uint32_t key, std::string_view name, std::uint32_t types,
             std::uint32_t count) {
  file.u32(key).text(name, layout::dictionary_name).u32(2).u32(types).u32(count);
}

}  // namespace small_file_parts

template <class layout>
small_file build_small_file_of() {
  using namespace small_file_parts;
  constexpr std::uint32_t subhead = layout::subhead, server_head = layout::server_block;
  constexpr std::uint32_t bpm_bytes = subhead + scalar_size(layout{}), note_bytes = subhead + 8;
  small_file file{};
  bytes& out = file.content;
  const auto here = [&] { return static_cast<std::uint32_t>(out.size()); };

  out.raw(layout::signature);

  file.bpm_basket = here();
  out.u32(0xcbacbaf3).u32(8 + 2 * bpm_bytes);
  file.bpm_block[0] = here();
  bpm_block<layout>(out, 0.5f);
  file.bpm_block[1] = here();
  bpm_block<layout>(out, -1.25f);

  file.note_basket = here();
  out.u32(0xcbacbaf3).u32(8 + note_bytes);
  file.note_block = here();
  out.text("LINAC/NOTE", layout::block_name).u32(23).u32(0).u32(note_bytes).text("beam on", 8);

  file.event_headers = here();
  out.u32(0xebaebaf3).u32(8 + 2 * 36);
  event_header<layout>(out, 1000, 0, 36 + server_head + bpm_bytes + note_bytes);
  event_header<layout>(out, 1001, 100000, 36 + server_head + bpm_bytes);

  file.server_blocks = here();
  out.u32(0xb5bb5bf3).u32(8 + 2 * server_head);
  server_block<layout>(out, 0, server_head + bpm_bytes + note_bytes, 77, 2);
  server_block<layout>(out, 100000, server_head + bpm_bytes, 78, 1);

  file.event_index = here();
  out.u32(0xedaedaf3).u32(1);
  file.normal_entry = here();
  out.u32(1).u32(1767225600).u32(0).u32(1767225600).u32(100000).u32(1000).u32(1001).u32(2);
  out.u32(1767225600).u32(0).u32(1000).u32(file.event_headers + 8);
  out.u32(1767225600).u32(100000).u32(1001).u32(file.event_headers + 8 + 36);

  file.dictionary = here();
  out.u32(0xdcadcaf3).u32(static_cast<std::uint32_t>(8 + 2 * layout::dictionary_entry));
  channel<layout>(out, 11, "LINAC/BPM1", layout::single_type < 32 ? 1u << (layout::single_type % 32) : 0,
                  2);
  channel<layout>(out, 12, "LINAC/NOTE", 1u << 23, 1);

  file.pointers = here();
  out.u32(0xecbecbf3).u32(12 + 2 * 2 * 16).u32(2);
  const std::uint32_t event0 = file.event_headers + 8, event1 = event0 + 36;
  const std::uint32_t server0 = file.server_blocks + 8, server1 = server0 + server_head;
  out.u32(event0).u32(server0).u32(file.bpm_block[0]).u32(file.bpm_block[0] + subhead);
  out.u32(event1).u32(server1).u32(file.bpm_block[1]).u32(file.bpm_block[1] + subhead);
  out.u32(event0).u32(server0).u32(file.note_block).u32(file.note_block + subhead);
  out.fill(16);

  file.environment = here();
  out.u32(0xeddeddf3).u32(8 + 8).u32(13).i32(4);

  file.descriptions = here();
  out.u32(0xcddcddf3).u32(static_cast<std::uint32_t>(8 + small_file_descriptions<layout>.size()));
  out.raw(small_file_descriptions<layout>);

  file.reference = here();
  out.u32(layout::reference_marker).u32(168).u32(file.event_index);
  for (int type = 0; type < 32; ++type) out.u32(type == 1 ? file.normal_entry : 0);
  out.u32(file.dictionary).u32(file.pointers).u32(file.environment).u32(file.descriptions);
  out.u32(file.event_headers).u32(file.server_blocks).u32(file.bpm_basket);
  out.u32(file.reference);
  return file;
}

/// The small file of a generation, which is a layout or is derived from one.
inline small_file small_file_like(layout_2010) { return build_small_file_of<layout_2010>(); }
inline small_file small_file_like(layout_2009) { return build_small_file_of<layout_2009>(); }
template <class generation>
small_file build_small_file() {
  return small_file_like(generation{});
}
inline std::string_view descriptions_like(layout_2010) { return small_file_descriptions<layout_2010>; }
inline std::string_view descriptions_like(layout_2009) { return small_file_descriptions<layout_2009>; }

}  // namespace ravo::test

#endif
