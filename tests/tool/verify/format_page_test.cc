// What docs/raw-format.md says of files that other writers could have written, case by
// case: handmade files, and how reading (both ways), checking and converting handle them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <set>

#include "generation_name.h"
#include "handmade_file.h"
#include "packed_file.h"
#include "tool_run.h"

namespace {

using namespace ravo::test;
using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

using numbers = std::vector<double>;
using codes = std::vector<std::string>;

constexpr const char* file_name = "linac_main_run1_file1_20231114T221320Z.raw";
constexpr int toroid_2010 = 42, toroid_2009 = 10, normal = 1;

template <class layout>
class FormatPage : public testing::Test {
 protected:
  static constexpr bool is_older = std::is_same_v<layout, layout_2009>;

  // Three events, and a channel with a scalar in each.
  FormatPage() {
    for (std::uint32_t i = 0; i < 3; ++i) made.events.push_back({500 + i, 1700000000, 100000 * i});
    handmade_channel value("VALUE");
    for (std::size_t i = 0; i < 3; ++i)
      value.blocks.push_back(scalar<layout>(i, 1.5f + static_cast<float>(i)));
    made.channels.push_back(value);
  }
  handmade_channel& value() { return made.channels.front(); }
  std::vector<handmade_block>& blocks() { return value().blocks; }
  static numbers all() { return {1.5, 2.5, 3.5}; }

  static handmade_block update(std::size_t event, float number) {
    handmade_block block;
    block.event = event;
    block.dtype = layout::update_type;
    block.payload.text("VALUE", layout::update_name).i32(0).u32(1700000000).u32(0).f32(number);
    return block;
  }
  static handmade_block reading(std::size_t event, std::int32_t index, float number) {
    handmade_block block;
    block.event = event;
    block.dtype = RAVO_ENV_BLOCK;
    block.payload.i32(index).i32(0).u32(1700000000).u32(0).f32(number);
    return block;
  }
  template <class Make>
  void make_blocks(const Make& make) {
    for (std::size_t i = 0; i < 3; ++i) blocks()[i] = make(i, 1.5f + static_cast<float>(i));
  }

  // Builds the file with correct masks, descriptions and sums.
  bytes build() {
    made.xml = "<channel_descriptions version=\"1\">";
    for (handmade_channel& channel : made.channels) {
      made.xml += "<channel prop_name=\"" + channel.name + "\"/>";
      if (channel.blocks.empty()) continue;
      channel.dtype_mask = 0;
      for (const handmade_block& block : channel.blocks)
        if (block.dtype >= 0 && block.dtype < 32) channel.dtype_mask |= 1u << block.dtype;
    }
    made.xml += "</channel_descriptions>";
    bytes content = made.build();
    add_sums(content);
    return content;
  }

  // The sums of events and servers: the handmade file does not fill them in.
  void add_sums(bytes& content) const {
    std::map<std::uint32_t, std::uint32_t> channels;
    const std::size_t pointers = made.at.at("pointers"), row = content.word(pointers + 8);
    for (std::size_t r = 0; r < made.channels.size(); ++r)
      for (std::size_t i = 0; i < made.channels[r].blocks.size(); ++i) {
        const std::size_t entry = pointers + 12 + (r * row + i) * 16;
        const std::uint32_t header = content.word(entry), server = content.word(entry + 4);
        const std::uint32_t length = content.word(content.word(entry + 8) + layout::subhead - 4);
        content.set_u32(header + 4, content.word(header + 4) + length);
        content.set_u32(server + 8, content.word(server + 8) + length);
        content.set_u32(server + layout::server_block - 4, ++channels[server]);
      }
  }

  std::size_t pointer(std::size_t event) const { return made.at.at("pointers") + 12 + event * 16; }
  std::size_t header(std::size_t event) const { return made.at.at("events") + 8 + event * 36; }
  std::size_t server(std::size_t event) const {
    return made.at.at("servers") + 8 + event * layout::server_block;
  }
  std::size_t indexed(std::size_t event) const { return made.at.at("index") + 8 + 32 + event * 16; }
  std::size_t in_dictionary(std::size_t row, std::size_t after_name) const {
    return made.at.at("dictionary") + 8 + row * layout::dictionary_entry + 4 + layout::dictionary_name +
           after_name;
  }
  void give_name(bytes& content, std::size_t block, const std::string& name) const {
    const std::size_t at = content.word(pointer(block) + 8);
    std::memset(content.data() + at, 0, layout::block_name);
    std::memcpy(content.data() + at, name.data(), name.size());
  }
  static void swap_entries(bytes& content, std::size_t one, std::size_t other) {
    for (std::size_t word = 0; word < 16; word += 4) {
      const std::uint32_t mine = content.word(one + word);
      content.set_u32(one + word, content.word(other + word)).set_u32(other + word, mine);
    }
  }

  std::string write(const bytes& content) const {
    return folder.write(file_name, {content.data(), content.size()});
  }

  // The numbers that a way of reading gives for VALUE, event by event; with "--classic", or without.
  static numbers read(const std::string& file, const std::vector<std::string>& how = {}) {
    std::vector<std::string> arguments{"read", file, "-c", "VALUE", "--json"};
    arguments.insert(arguments.end(), how.begin(), how.end());
    numbers found;
    for (const json& line : json_lines(run_tool(arguments).out)) {
      if (!line.contains("channels")) continue;  // the closing object
      const json& one = line.at("channels").at(0);
      EXPECT_EQ(one.value("value_status", "ok"), "ok") << one;
      if (one.contains("value"))
        found.push_back(one.at("value"));
      else if (one.contains("members"))
        found.push_back(one.at("members").at(0).at("mean"));
    }
    return found;
  }

  void expect_read(const bytes& content, const numbers& expected) {
    const std::string file = write(content);
    EXPECT_EQ(read(file), expected) << "dataset layer";
    EXPECT_EQ(read(file, {"--classic"}), expected) << "classic reader";
  }

  codes verify(const bytes& content) {
    codes found;
    for (const json& line : json_lines(run_tool({"verify", "--json", write(content)}).out))
      if (line.contains("kind")) found.push_back(line.at("kind"));
    std::sort(found.begin(), found.end());
    return found;
  }

  // Converts older files and expects the same numbers afterwards; returns what is reported as lost.
  std::string convert(const bytes& content, const numbers& expected) {
    if (!is_older) return "";
    const process_result result = run_tool(
        {"convert", write(content), "--into", folder.file("new"), "--force", "--verify", "--json"});
    EXPECT_EQ(result.exit_code, 0) << result.err;
    if (result.exit_code != 0) return result.err;
    EXPECT_EQ(read(folder.file("new") + "/" + file_name), expected) << "converted";
    codes found;
    for (const json& line : json_lines(run_tool({"verify", "--json", folder.file("new")}).out))
      if (line.contains("kind")) found.push_back(line.at("kind"));
    after_conversion = found;
    return json_lines(result.out).at(0).at("losses").dump();
  }
  void expect_no_conversion(const bytes& content, const std::string& reason) {
    if (!is_older) return;
    const process_result result = run_tool({"convert", write(content), "--into", folder.file("new")});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(result.err, HasSubstr(reason));
  }
  void expect_sound(const bytes& content) {
    EXPECT_THAT(verify(content), IsEmpty());
    expect_read(content, all());
    if (is_older) {
      EXPECT_EQ(convert(content, all()), "[]");
    }
  }

  temporary_folder folder;
  handmade_file_of<layout> made;
  codes after_conversion;
};

using layouts = testing::Types<layout_2010, layout_2009>;
TYPED_TEST_SUITE(FormatPage, layouts, generation_name);

TYPED_TEST(FormatPage, APlainFileIsSound) { this->expect_sound(this->build()); }

// ---- baskets ----------------------------------------------------------------------------------------

// A channel whose last block has `odd` bytes after a word; another part follows at the next word.
TYPED_TEST(FormatPage, PaddingAfterTheLastBlockMayBeThereOrNot) {
  for (const std::size_t padding : {0u, 1u, 2u, 3u}) {
    handmade_channel text("TEXT");
    handmade_block block;
    block.dtype = RAVO_BLOCK_NAME_VALUE_STRING;
    block.payload.text("abc", 5);  // three bytes of padding follow
    text.blocks = {block};
    text.basket_length = static_cast<std::int32_t>(8 + TypeParam::subhead + 5 + padding);
    this->made.channels.resize(1, handmade_channel(""));
    this->made.channels.push_back(text);
    SCOPED_TRACE(padding);
    this->expect_sound(this->build());
    this->made.channels.insert(this->made.channels.begin(), text);  // and followed by another basket
    this->made.channels.front().name = "FIRST";
    this->expect_sound(this->build());
    this->made.channels.erase(this->made.channels.begin());
  }
}

TYPED_TEST(FormatPage, PaddingMayHoldAnything) {
  handmade_channel text("TEXT");
  handmade_block block;
  block.dtype = RAVO_BLOCK_NAME_VALUE_STRING;
  block.payload.text("abc", 5);
  text.blocks = {block, block};
  text.blocks[1].event = 1;
  this->made.channels.push_back(text);
  bytes content = this->build();
  const std::size_t end = this->made.at.at("TEXT") + 8 + TypeParam::subhead + 5;
  for (std::size_t i = 0; i < 3; ++i) content.data()[end + i] = 0xff;
  this->expect_sound(content);
}

TYPED_TEST(FormatPage, BlocksMayStandInAnotherOrderAfterTheFirst) {
  std::swap(this->blocks()[1], this->blocks()[2]);
  bytes content = this->build();
  this->swap_entries(content, this->pointer(1), this->pointer(2));
  EXPECT_THAT(this->verify(content), ElementsAre("pointer.block_order"));
  this->expect_read(content, this->all());
  if (this->is_older) {
    EXPECT_EQ(this->convert(content, this->all()), "[]");
  }
}

// Readers expect the basket's head before the first event's block.
TYPED_TEST(FormatPage, ABasketThatBeginsWithAnotherEventsBlockIsDamage) {
  std::swap(this->blocks()[0], this->blocks()[2]);
  bytes content = this->build();
  this->swap_entries(content, this->pointer(0), this->pointer(2));
  EXPECT_THAT(this->verify(content), ElementsAre("basket.first_block", "pointer.block_order"));
  const std::string file = this->write(content);
  EXPECT_EQ(closing_of(run_tool({"read", file, "-c", "VALUE", "--json"}).out).at("ledger").at("delivered"),
            0);
  EXPECT_EQ(run_tool({"read", file, "-c", "VALUE", "--classic", "--json"}).out, "");
  if (this->is_older) {
    EXPECT_EQ(this->convert(content, this->all()), "[]");
  }
  // The same if its blocks have a name that no channel has.
  for (std::size_t i = 0; i < 3; ++i) this->give_name(content, i, "FRONT_END/7");
  EXPECT_THAT(this->verify(content),
              ElementsAre("basket.first_block", "block.foreign_name", "pointer.block_order"));
}

// ---- names ------------------------------------------------------------------------------------------

TYPED_TEST(FormatPage, ABlockMayBearANameThatNoChannelHas) {
  bytes content = this->build();
  this->give_name(content, 1, "FRONT_END/7");
  EXPECT_THAT(this->verify(content), ElementsAre("block.foreign_name"));
  const std::string file = this->write(content);
  EXPECT_EQ(this->read(file), this->all());
  // The classic reader decodes the block, and returns it with its own name.
  EXPECT_THAT(run_tool({"read", file, "-c", "VALUE", "--classic"}).err,
              HasSubstr("VALUE: 2 of 3 blocks read"));
  this->expect_no_conversion(content, "bears another name");
}

TYPED_TEST(FormatPage, ABlockOfTheNameOfAnotherChannelIsDamage) {
  this->made.channels.push_back(handmade_channel("OTHER"));
  this->made.channels.back().ev_mask = 0;
  bytes content = this->build();
  this->give_name(content, 1, "OTHER");
  EXPECT_THAT(this->verify(content), ElementsAre("block.name"));
  const std::string file = this->write(content);
  EXPECT_EQ(closing_of(run_tool({"read", file, "-c", "VALUE", "--json"}).out).at("ledger").at("delivered"),
            2);
  EXPECT_THAT(run_tool({"read", file, "-c", "VALUE", "--classic"}).err,
              HasSubstr("VALUE: 2 of 3 blocks read"));
  this->expect_no_conversion(content, "bears another name");
}

// ---- dictionary -------------------------------------------------------------------------------------

TYPED_TEST(FormatPage, AChannelWithoutEventsMayNameDataTypesButNoEventTypes) {
  handmade_channel idle("IDLE");
  idle.ev_mask = 0;
  for (const std::uint32_t mask : {0u, 1u << 9, 1u << 9 | 1u << 13}) {
    this->made.channels.resize(1, idle);
    idle.dtype_mask = mask;
    this->made.channels.push_back(idle);
    this->expect_sound(this->build());
  }
  this->made.channels.back().ev_mask = 2;
  const bytes content = this->build();
  EXPECT_THAT(this->verify(content), ElementsAre("dictionary.idle_mask"));
  this->expect_read(content, this->all());
  if (this->is_older) {
    EXPECT_THAT(this->convert(content, this->all()), HasSubstr("its mask of event types, 0x2, became 0"));
  }
}

TYPED_TEST(FormatPage, BlocksOfAChannelMayHaveSeveralTypes) {
  this->blocks()[1].dtype = this->is_older ? toroid_2009 : toroid_2010;
  this->expect_sound(this->build());
  EXPECT_THAT(this->after_conversion, IsEmpty());
}

TYPED_TEST(FormatPage, KeyZeroIsNoKey) {
  this->made.channels.push_back(this->value());
  this->made.channels.back().name = "OTHER";
  bytes content = this->build();
  for (const std::size_t row : {0u, 1u})
    content.set_u32(this->made.at.at("dictionary") + 8 + row * TypeParam::dictionary_entry, 0);
  EXPECT_THAT(this->verify(content), IsEmpty());
  this->expect_read(content, this->all());
  if (this->is_older) {
    EXPECT_THAT(this->convert(content, this->all()),
                HasSubstr("it has no key (0), and the new file gives it one"));
  }
}

// ---- events -----------------------------------------------------------------------------------------

TYPED_TEST(FormatPage, AnEventMayHaveNoTime) {
  this->made.events[0].seconds = 0;
  const bytes content = this->build();
  EXPECT_THAT(this->verify(content), ElementsAre("event.no_time"));
  this->expect_read(content, this->all());
  if (this->is_older) {
    EXPECT_EQ(this->convert(content, this->all()), "[]");
  }
}

TYPED_TEST(FormatPage, AnEntryOfTheIndexMayHaveNoEvents) {
  for (const bool is_referred_to : {false, true}) {
    bytes content = this->build();
    const std::size_t reference = this->made.at.at("reference"), index = this->made.at.at("index");
    bytes table;
    for (std::size_t at = reference; at < reference + 168; at += 4) table.u32(content.word(at));
    // The index is written again after everything else, with one more entry.
    const auto moved = static_cast<std::uint32_t>(content.size());
    content.u32(0xedaedaf3u).u32(2);
    for (std::size_t at = index + 8; at < index + 8 + 32 + 3 * 16; at += 4) content.u32(content.word(at));
    const auto empty = static_cast<std::uint32_t>(content.size());
    content.i32(7).fill(28);
    table.set_u32(8, moved)
        .set_u32(12 + 4 * normal, moved + 8)
        .set_u32(12 + 4 * 7, is_referred_to ? empty : 0);
    const auto end = static_cast<std::uint32_t>(content.size());
    content.append(table).u32(end);
    this->expect_sound(content);
  }
}

TYPED_TEST(FormatPage, AMillionMicrosecondsAreDamage) {
  bytes content = this->build();
  for (const std::size_t time : {this->header(1) + 16, this->indexed(1)})
    content.set_u32(time, 1699999999).set_u32(time + 4, 1100000);
  EXPECT_THAT(this->verify(content), ElementsAre("event.time"));
  this->expect_read(content, this->all());
  this->expect_no_conversion(content, "the event time 1699999999 s 1100000 us is not valid");
  const process_result printed = run_tool({"read", this->write(content), "-c", "VALUE", "--json"});
  EXPECT_THAT(printed.out, HasSubstr("2023-11-14T22:13:19Z+1100000us"));
  EXPECT_THAT(printed.out, testing::Not(testing::ContainsRegex("[.][0-9]{7,}Z")));
}

TYPED_TEST(FormatPage, AMillionMicrosecondsOfAServerAreDamage) {
  bytes content = this->build();
  content.set_u32(this->server(1), 1699999999).set_u32(this->server(1) + 4, 1100000);
  EXPECT_THAT(this->verify(content), ElementsAre("server.time"));
  this->expect_read(content, this->all());
  if (this->is_older) {
    EXPECT_EQ(this->convert(content, this->all()), "[]");
  }
}

// ---- readings ---------------------------------------------------------------------------------------

TYPED_TEST(FormatPage, AMillionMicrosecondsOfAReadingAreDamage) {
  this->make_blocks(this->update);
  this->expect_sound(this->build());
  bytes content = this->build();
  const std::size_t time = content.word(this->pointer(1) + 12) + TypeParam::update_name + 4;
  content.set_u32(time, 1699999999).set_u32(time + 4, 1000000);
  EXPECT_THAT(this->verify(content), ElementsAre("block.reading_time"));
  this->expect_read(content, this->all());
  if (this->is_older) {
    EXPECT_EQ(this->convert(content, this->all()), "[]");
  }
}

TYPED_TEST(FormatPage, WhatFollowsAReadingInItsBlockMeansNothing) {
  this->make_blocks(this->update);
  this->blocks()[1].payload.u32(0x2a2a2a2a);
  const bytes content = this->build();
  EXPECT_THAT(this->verify(content), ElementsAre("block.reading_length"));
  this->expect_read(content, this->all());
  if (this->is_older) {
    EXPECT_EQ(this->convert(content, this->all()), "[]");
  }
}

TYPED_TEST(FormatPage, ANegativeEnvironmentIndexIsNone) {
  this->make_blocks(
      [](std::size_t i, float number) { return FormatPage<TypeParam>::reading(i, -3, number); });
  this->made.environment = {{1001, -3}};
  const bytes content = this->build();
  EXPECT_THAT(this->verify(content), ElementsAre("environment.negative"));
  this->expect_read(content, this->all());
  if (this->is_older) {
    EXPECT_THAT(this->convert(content, this->all()),
                HasSubstr("1 of 1 entries of the environment dictionary are left out"));
  }
}

// ---- compressed blocks ------------------------------------------------------------------------------

TYPED_TEST(FormatPage, OtherBitsOfZipFlagsMeanNothing) {
  for (const std::uint32_t flags : {1u, 2u, 3u, 5u, 6u, 0x80000001u}) {
    SCOPED_TRACE(flags);
    this->make_blocks(scalar<TypeParam>);
    this->blocks()[1] = zipped(this->blocks()[1], flags);
    const bytes content = this->build();
    EXPECT_EQ(this->verify(content), (flags & ~3u) == 0 ? codes{} : codes{"block.zip_flags"});
    this->expect_read(content, this->all());
    if (this->is_older) {
      EXPECT_EQ(this->convert(content, this->all()), "[]");
    }
  }
}

// There may be bytes after a zlib stream, so the two lengths can differ.
TYPED_TEST(FormatPage, OfTwoCompressedLengthsTheZipHeadersCounts) {
  const std::string packed = compress_zlib(this->blocks()[1].payload);
  this->blocks()[1] = zipped(this->blocks()[1], 1);
  for (const int more : {4, -4}) {
    SCOPED_TRACE(more);
    const auto length = static_cast<std::int32_t>(TypeParam::subhead + 12 + packed.size());
    this->blocks()[1].ldata = length - more;  // the zip header's length is right
    const bytes content = this->build();
    EXPECT_THAT(this->verify(content), testing::Contains(testing::StartsWith("block.")));
    this->expect_read(content, this->all());
    if (this->is_older) {
      EXPECT_EQ(this->convert(content, this->all()), "[]");
    }
  }
}

TYPED_TEST(FormatPage, ACompressedLengthThatLeavesTheBasketIsNotReadable) {
  this->blocks()[2] = zipped(this->blocks()[2], 1);
  this->blocks()[2].zipp_length = 1 << 20;
  const bytes content = this->build();
  EXPECT_THAT(this->verify(content), ElementsAre("block.zip_header"));
  EXPECT_EQ(run_tool({"read", this->write(content), "-c", "VALUE"}).exit_code, 0);
  this->expect_no_conversion(content, "cannot be decoded");
}

// ---- types and payloads -----------------------------------------------------------------------------

TYPED_TEST(FormatPage, ABlockOfTheOtherGenerationsTypeIsReadByThatTypeAndDamage) {
  using other = std::conditional_t<FormatPage<TypeParam>::is_older, layout_2010, layout_2009>;
  this->blocks()[1] = scalar<other>(1, 2.5f);
  const bytes content = this->build();
  EXPECT_THAT(this->verify(content), testing::Contains("block.type"));
  this->expect_read(content, this->all());
  this->expect_no_conversion(content, "which is no channel's data in the older generation");
}

TYPED_TEST(FormatPage, SpareWordsAreReadOverAndOdd) {
  if (this->is_older) return;  // an older spectrum has none; extended images are in the simulator's faults
  bytes content = this->build();
  content.set_u32(content.word(this->pointer(1) + 12) + 28, 1);
  EXPECT_THAT(this->verify(content), ElementsAre("block.spare_words"));
  this->expect_read(content, this->all());
}

TYPED_TEST(FormatPage, TextsThatAreNotUtf8AreHandedOutAndOdd) {
  this->make_blocks(this->update);
  bytes content = this->build();
  content.data()[content.word(this->pointer(1) + 12)] = 0xb5;  // "µ" in Latin-1
  content.data()[this->server(0) + 16] = 0xb5;
  EXPECT_THAT(this->verify(content), ElementsAre("text.encoding", "text.encoding"));
  this->expect_read(content, this->all());
  if (this->is_older) {
    EXPECT_EQ(this->convert(content, this->all()), "[]");
  }
}

// ---- the page's example -----------------------------------------------------------------------------

TEST(FormatPageExample, WithCompressedBlocksIsReadAsThePageSays) {
  const temporary_folder folder;
  const bytes content = build_packed_file().content;
  const std::string file =
      folder.write("linac_main_run1_file1_20260101T000000Z.raw", {content.data(), content.size()});
  for (const std::vector<std::string>& how : {std::vector<std::string>{}, {"--classic"}}) {
    std::vector<std::string> arguments{"read", file, "-c", "LINAC/WAVE", "-c", "LINAC/NOTE", "--json"};
    arguments.insert(arguments.end(), how.begin(), how.end());
    const std::vector<json> lines = json_lines(run_tool(arguments).out);
    ASSERT_GE(lines.size(), 2u);
    const std::pair<double, const char*> expected[] = {{1.5, "open"}, {-2.0, "shut off"}};
    for (const std::size_t i : {0u, 1u}) {
      const json& wave = lines[i].at("channels").at(0).at("members").at(0);
      EXPECT_EQ(wave.at("count"), 24);
      EXPECT_EQ(wave.at("min"), expected[i].first);
      EXPECT_EQ(wave.at("max"), expected[i].first);
      EXPECT_EQ(lines[i].at("channels").at(1).at("text"), expected[i].second);
    }
  }
}

}  // namespace
