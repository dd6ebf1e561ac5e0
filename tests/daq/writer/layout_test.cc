// The bytes of one small file of each generation, word by word, against values worked out by hand.
#include <gtest/gtest.h>

#include "bytes.h"
#include "ravo_xml.h"
#include "writing.h"

namespace {

using namespace ravo::test;

// Three events; a spectrum, a text whose length is no multiple of 4, an environment reading, and a
// channel that never occurs. The first channel is numbered around the key that the second one claims.
template <class G>
std::string write_small_file(const temporary_folder& folder) {
  typename G::writer writer;
  must(writer, writer.open(settings_in(folder)));
  must(writer, writer.add_channel(channel_of("A", G::single)));
  ravo_daq_writer_channel named = channel_of("TXT", RAVO_BLOCK_NAME_VALUE_STRING);
  named.key = 1;
  must(writer, writer.add_channel(named));
  ravo_daq_writer_channel reading = channel_of("E", G::environment);
  reading.env_index = 4;
  must(writer, writer.add_channel(reading));
  must(writer, writer.add_channel(channel_of("NONE", G::update)));

  ravo_daq_writer_event event = event_of(7, 1700000000, 500000);
  event.tmask = 0x11;
  event.status = -2;
  must(writer, writer.begin_event(event));
  must(writer, writer.begin_server_block({"SRV", {1700000000, 400000}, 99, 5, 0x20}));
  must(writer, give(writer, 0, spectrum<typename G::layout>(1, {1.5f, -2.0f}), 0x1000));
  must(writer, give(writer, 1, text("abcd")));
  must(writer, writer.begin_server_block({"ENVSRV", {1700000000, 450000}, -1, 0, 0}));
  must(writer, give(writer, 2, environment(4, 1699999999, 20.5f)));
  must(writer, writer.end_event());
  must(writer, give_event(writer, event_of(8, 1700000001, 0, RAVO_EV_HB), {}));
  must(writer, writer.begin_event(event_of(9, 1700000002, 1)));
  must(writer, writer.begin_server_block({"SRV", {1700000002, 0}, 100, 0, 0}));
  must(writer, give(writer, 0, spectrum<typename G::layout>(1, {3.0f, 4.0f})));
  must(writer, writer.end_event());
  must(writer, writer.close());
  return writer.get_files().at(0);
}

template <class layout>
bytes event_header(std::uint32_t length, std::uint32_t number, std::uint32_t type, std::uint32_t seconds,
                   std::uint32_t microseconds, std::uint32_t tmask, std::int32_t status,
                   std::uint32_t server_blocks) {
  bytes out;
  return out.u32(layout::event_header_marker)
      .u32(length)
      .u32(number)
      .u32(type)
      .u32(seconds)
      .u32(microseconds)
      .u32(tmask)
      .i32(status)
      .u32(server_blocks);
}

template <class layout>
bytes server_block(std::uint32_t seconds, std::uint32_t microseconds, std::uint32_t length,
                   std::int32_t mpulse, const char* server, std::uint32_t tmask, std::uint32_t status,
                   std::uint32_t channels) {
  bytes out;
  return out.u32(seconds)
      .u32(microseconds)
      .u32(length)
      .i32(mpulse)
      .text(server, layout::server_name)
      .u32(tmask)
      .u32(status)
      .u32(channels);
}

template <class layout>
bytes subheader(const char* name, std::uint32_t dtype, std::uint32_t error, std::uint32_t length) {
  bytes out;
  return out.text(name, layout::block_name).u32(dtype).u32(error).u32(length);
}

bytes spectrum_of(float first, float second) {
  bytes out;
  return out.u32(1).u32(2).u32(1).f32(0.5f).f32(0.25f).f32(0).u32(0).u32(0).f32(first).f32(second);
}

template <class layout>
bytes dictionary_entry(std::uint32_t key, const char* name, std::uint32_t ev_mask, std::uint32_t dtype_mask,
                       std::uint32_t count) {
  bytes out;
  return out.u32(key).text(name, layout::dictionary_name).u32(ev_mask).u32(dtype_mask).u32(count);
}

bytes small_file_by_hand(layout_2010) {
  using layout = layout_2010;
  bytes out;
  // 0: signature
  out.raw("RAVO raw 2010\r\n\x1a");
  // 16: event headers. Lengths: 36 + (284 + 308 + 273) + (284 + 288); 36; 36 + 284 + 308
  out.u32(0xebaebaf3).u32(8 + 3 * 36);
  out.append(event_header<layout>(1473, 7, 1, 1700000000, 500000, 0x11, -2, 2));
  out.append(event_header<layout>(36, 8, 0, 1700000001, 0, 0, 0, 0));
  out.append(event_header<layout>(628, 9, 1, 1700000002, 1, 0, 0, 1));
  // 132: server blocks
  out.u32(0xb5bb5bf3).u32(8 + 3 * 284);
  out.append(server_block<layout>(1700000000, 400000, 865, 99, "SRV", 5, 0x20, 2));
  out.append(server_block<layout>(1700000000, 450000, 572, -1, "ENVSRV", 0, 0, 1));
  out.append(server_block<layout>(1700000002, 0, 592, 100, "SRV", 0, 0, 1));
  // 992: A, blocks at 1000 and 1308
  out.u32(0xcbacbaf3).u32(8 + 2 * 308);
  out.append(subheader<layout>("A", 41, 0x1000, 308)).append(spectrum_of(1.5f, -2.0f));
  out.append(subheader<layout>("A", 41, 0, 308)).append(spectrum_of(3.0f, 4.0f));
  // 1616: TXT, block at 1624, filled up to a multiple of 4
  out.u32(0xcbacbaf3).u32(8 + 276);
  out.append(subheader<layout>("TXT", 23, 0, 273)).raw("abcd").fill(1).fill(3);
  // 1900: E, block at 1908
  out.u32(0xcbacbaf3).u32(8 + 288);
  out.append(subheader<layout>("E", 35, 0, 288)).u32(4).u32(0).u32(1699999999).u32(17).f32(20.5f);
  // 2196: channel dictionary; no bit for the types from 32 on
  out.u32(0xdcadcaf3).u32(8 + 4 * 272);
  out.append(dictionary_entry<layout>(2, "A", 1u << 1, 0, 2));
  out.append(dictionary_entry<layout>(1, "TXT", 1u << 1, 1u << 23, 1));
  out.append(dictionary_entry<layout>(3, "E", 1u << 1, 0, 1));
  out.append(dictionary_entry<layout>(4, "NONE", 0, 0, 0));
  // 3292: event index, entries at 3300 and 3348
  out.u32(0xedaedaf3).u32(2);
  out.u32(0).u32(1700000001).u32(0).u32(1700000001).u32(0).u32(8).u32(8).u32(1);
  out.u32(1700000001).u32(0).u32(8).u32(24 + 36);
  out.u32(1).u32(1700000000).u32(500000).u32(1700000002).u32(1).u32(7).u32(9).u32(2);
  out.u32(1700000000).u32(500000).u32(7).u32(24);
  out.u32(1700000002).u32(1).u32(9).u32(24 + 72);
  // 3412: pointer table, four rows of two
  out.u32(0xecbecbf3).u32(12 + 4 * 2 * 16).u32(2);
  out.u32(24).u32(140).u32(1000).u32(1268).u32(96).u32(708).u32(1308).u32(1576);
  out.u32(24).u32(140).u32(1624).u32(1892).fill(16);
  out.u32(24).u32(424).u32(1908).u32(2176).fill(16);
  out.fill(32);
  // 3552: environment dictionary
  out.u32(0xeddeddf3).u32(16).u32(3).u32(4);
  // 3568: channel descriptions, filled up to a multiple of 4
  const std::string xml = ravo_store_chan_descr({});
  out.u32(0xcddcddf3).u32(8 + static_cast<std::uint32_t>(xml.size())).raw(xml);
  while (out.size() % 4 != 0) out.fill(1);
  // the reference table and its offset
  const auto reference = static_cast<std::uint32_t>(out.size());
  out.u32(0xfefafaf3).u32(168).u32(3292).u32(3300).u32(3348).fill(30 * 4);
  out.u32(2196).u32(3412).u32(3552).u32(3568).u32(16).u32(132).u32(992);
  return out.u32(reference);
}

// The same file of the older generation.
bytes small_file_by_hand(layout_2009) {
  using layout = layout_2009;
  const auto spectrum_with_mean = [](float first, float second) {
    return bytes().u32(1).u32(2).f32(0.5f).f32(0.25f).f32(0.75f).f32(first).f32(second);
  };
  bytes out;
  // 0: signature
  out.raw("RAVO raw 2009\r\n\x1a");
  // 16: event headers. Lengths: 36 + (76 + 72 + 49) + (76 + 64); 36; 36 + 76 + 72
  out.u32(0xebaebaf3).u32(8 + 3 * 36);
  out.append(event_header<layout>(373, 7, 1, 1700000000, 500000, 0x11, -2, 2));
  out.append(event_header<layout>(36, 8, 0, 1700000001, 0, 0, 0, 0));
  out.append(event_header<layout>(184, 9, 1, 1700000002, 1, 0, 0, 1));
  // 132: server blocks
  out.u32(0xb5bb5bf3).u32(8 + 3 * 76);
  out.append(server_block<layout>(1700000000, 400000, 197, 99, "SRV", 5, 0x20, 2));
  out.append(server_block<layout>(1700000000, 450000, 140, -1, "ENVSRV", 0, 0, 1));
  out.append(server_block<layout>(1700000002, 0, 148, 100, "SRV", 0, 0, 1));
  // 368: A, blocks at 376 and 448
  out.u32(0xcbacbaf3).u32(8 + 2 * 72);
  out.append(subheader<layout>("A", 9, 0x1000, 72)).append(spectrum_with_mean(1.5f, -2.0f));
  out.append(subheader<layout>("A", 9, 0, 72)).append(spectrum_with_mean(3.0f, 4.0f));
  // 520: TXT, block at 528, filled up to a multiple of 4
  out.u32(0xcbacbaf3).u32(8 + 52);
  out.append(subheader<layout>("TXT", 23, 0, 49)).raw("abcd").fill(1).fill(3);
  // 580: E, block at 588
  out.u32(0xcbacbaf3).u32(8 + 64);
  out.append(subheader<layout>("E", 3, 0, 64)).u32(4).u32(0).u32(1699999999).u32(17).f32(20.5f);
  // 652: channel dictionary; every older type has its bit
  out.u32(0xdcadcaf3).u32(8 + 4 * 96);
  out.append(dictionary_entry<layout>(2, "A", 1u << 1, 1u << 9, 2));
  out.append(dictionary_entry<layout>(1, "TXT", 1u << 1, 1u << 23, 1));
  out.append(dictionary_entry<layout>(3, "E", 1u << 1, 1u << 3, 1));
  out.append(dictionary_entry<layout>(4, "NONE", 0, 1u << 1, 0));
  // 1044: event index, entries at 1052 and 1100
  out.u32(0xedaedaf3).u32(2);
  out.u32(0).u32(1700000001).u32(0).u32(1700000001).u32(0).u32(8).u32(8).u32(1);
  out.u32(1700000001).u32(0).u32(8).u32(24 + 36);
  out.u32(1).u32(1700000000).u32(500000).u32(1700000002).u32(1).u32(7).u32(9).u32(2);
  out.u32(1700000000).u32(500000).u32(7).u32(24);
  out.u32(1700000002).u32(1).u32(9).u32(24 + 72);
  // 1164: pointer table, four rows of two
  out.u32(0xecbecbf3).u32(12 + 4 * 2 * 16).u32(2);
  out.u32(24).u32(140).u32(376).u32(420).u32(96).u32(292).u32(448).u32(492);
  out.u32(24).u32(140).u32(528).u32(572).fill(16);
  out.u32(24).u32(216).u32(588).u32(632).fill(16);
  out.fill(32);
  // 1304: environment dictionary
  out.u32(0xeddeddf3).u32(16).u32(3).u32(4);
  // 1320: channel descriptions, filled up to a multiple of 4
  const std::string xml = ravo_store_chan_descr({});
  out.u32(0xcddcddf3).u32(8 + static_cast<std::uint32_t>(xml.size())).raw(xml);
  while (out.size() % 4 != 0) out.fill(1);
  // the reference table and its offset
  const auto reference = static_cast<std::uint32_t>(out.size());
  out.u32(0xfeafeaf3).u32(168).u32(1044).u32(1052).u32(1100).fill(30 * 4);
  out.u32(652).u32(1164).u32(1304).u32(1320).u32(16).u32(132).u32(368);
  return out.u32(reference);
}

template <class G>
class WriterLayout : public testing::Test {};
TYPED_TEST_SUITE(WriterLayout, generations, generation_name);

TYPED_TEST(WriterLayout, ASmallFileHasTheBytesWorkedOutByHand) {
  const temporary_folder folder;
  const std::string path = write_small_file<TypeParam>(folder);
  const std::vector<unsigned char> written = read_file(path);
  const bytes by_hand = small_file_by_hand(TypeParam{});
  ASSERT_EQ(written.size(), by_hand.size());
  for (std::size_t i = 0; i < written.size(); i += 4)
    ASSERT_EQ(bytes().append(by_hand).word(i), std::uint32_t{written[i]} << 24 |
                                                   std::uint32_t{written[i + 1]} << 16 |
                                                   std::uint32_t{written[i + 2]} << 8 | written[i + 3])
        << "word at offset " << i;
}

TYPED_TEST(WriterLayout, TheNameHasExperimentStreamRunFileAndTheFirstEventsTime) {
  const temporary_folder folder;
  EXPECT_EQ(write_small_file<TypeParam>(folder), folder.file("linac_main_run1_file1_20231114T221320Z.raw"));
}

TYPED_TEST(WriterLayout, TheFolderHoldsTheFileAndNothingElse) {
  const temporary_folder folder;
  write_small_file<TypeParam>(folder);
  EXPECT_EQ(names_in(folder.path()),
            std::vector<std::string>{"linac_main_run1_file1_20231114T221320Z.raw"});
}

TYPED_TEST(WriterLayout, TheSameInputGivesTheSameBytes) {
  const temporary_folder first, second;
  EXPECT_EQ(read_file(write_small_file<TypeParam>(first)), read_file(write_small_file<TypeParam>(second)));
}

}  // namespace
