// Handmade older files that ravo convert does not rewrite: damaged files, files that contradict
// themselves, and files that the current generation cannot express. No part of them appears in the folder.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "conversion.h"
#include "handmade_file.h"
#include "tool_run.h"

namespace {

using namespace ravo::test;
using testing::HasSubstr;
namespace fs = std::filesystem;

using older_file = handmade_file_of<layout_2009>;

class ConvertRefusals : public testing::Test {
 protected:
  ConvertRefusals() {
    for (std::uint32_t i = 0; i < 3; ++i) made.events.push_back({500 + i, 1700000000 + i});
    handmade_channel plain("PLAIN"), packed("PACKED");
    for (std::size_t i = 0; i < 3; ++i) {
      plain.blocks.push_back(scalar<layout_2009>(i, 1.5F));
      handmade_block wave;
      wave.event = i;
      wave.dtype = 9;
      wave.payload = spectrum<layout_2009>({std::vector<float>(100, 2.0F)});
      packed.blocks.push_back(zipped(wave, 1));
    }
    made.channels = {plain, packed};
  }

  void expect_refusal(const bytes& content, const std::string& reason) {
    const std::string file = folder.write("odd.raw", {content.data(), content.size()});
    const std::string into = folder.file("new");
    const process_result result = run_tool({"convert", file, "--into", into});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "ravo: " + file + ": " + reason + "\n");
    EXPECT_TRUE(!fs::exists(into) || fs::is_empty(into)) << "something was left there";
  }

  std::size_t header(std::size_t event) const { return made.at.at("events") + 8 + event * 36; }
  std::size_t index_entry(std::size_t event) const { return made.at.at("index") + 8 + 32 + event * 16; }
  std::size_t pointer(std::size_t row, std::size_t event) const {
    return made.at.at("pointers") + 12 + (row * 3 + event) * 16;
  }
  std::size_t block(std::size_t event) const { return made.at.at("PLAIN") + 8 + event * (44 + 24); }

  temporary_folder folder;
  older_file made;
};

TEST_F(ConvertRefusals, NoneOfAGoodFile) {
  const bytes content = made.build();
  const std::string file = folder.write("good.raw", {content.data(), content.size()});
  const process_result result = run_tool({"convert", file, "--into", folder.file("new"), "--verify"});
  EXPECT_EQ(result.exit_code, 0) << result.err;
  EXPECT_EQ(current_raw_file(folder.file("new/good.raw")).events(), 3u);
}

TEST_F(ConvertRefusals, OfAnotherTimeInTheIndex) {
  bytes content = made.build();
  content.set_u32(index_entry(1), 1700000077);
  expect_refusal(content,
                 "contradicts itself: the event index has another number, time or type for event 501 at "
                 "2023-11-14T22:13:21.000000Z");
}

TEST_F(ConvertRefusals, OfAnotherNumberInTheIndex) {
  bytes content = made.build();
  content.set_u32(index_entry(2) + 8, 600);
  expect_refusal(content,
                 "contradicts itself: the event index has another number, time or type for event 502 at "
                 "2023-11-14T22:13:22.000000Z");
}

TEST_F(ConvertRefusals, OfAnEventThatTheIndexHasTwice) {
  bytes content = made.build();
  for (std::size_t word = 0; word < 16; word += 4)
    content.set_u32(index_entry(1) + word, content.word(index_entry(0) + word));
  expect_refusal(content,
                 "contradicts itself: the event index has event 500 at 2023-11-14T22:13:20.000000Z twice");
}

TEST_F(ConvertRefusals, OfAnEventThatIsNotInTheIndex) {
  bytes content = made.build();
  content.set_u32(made.at.at("index") + 8 + 28, 2);
  expect_refusal(content, "contradicts itself: it has 3 event headers, and 2 events in its index");
}

TEST_F(ConvertRefusals, OfAnIndexThatLeadsBesideTheHeaders) {
  bytes content = made.build();
  content.set_u32(index_entry(0) + 12, static_cast<std::uint32_t>(header(0)) + 4);
  expect_refusal(content, "contradicts itself: the event index has event 500 at " +
                              std::to_string(header(0) + 4) + ", where no event header is");
}

TEST_F(ConvertRefusals, OfAHeaderWithoutItsMarker) {
  bytes content = made.build();
  content.set_u32(header(1), 0xffeef3f3);
  expect_refusal(content, "contradicts itself: header 1 of its events has no marker");
}

TEST_F(ConvertRefusals, OfMoreServerBlocksThanThereAre) {
  bytes content = made.build();
  content.set_u32(header(0) + 32, 2);
  expect_refusal(content,
                 "contradicts itself: its events have 4 server blocks, by their headers, and the basket "
                 "holds 3");
  content.set_i32(header(0) + 32, -1);
  expect_refusal(content,
                 "contradicts itself: event 500 at 2023-11-14T22:13:20.000000Z has a negative number of "
                 "server blocks");
  for (std::size_t event = 0; event < 3; ++event) content.set_u32(header(event) + 32, 0x7fffffff);
  expect_refusal(content, "contradicts itself: its events have more server blocks than a file can hold");
}

TEST_F(ConvertRefusals, OfABlockInTheServerBlockOfAnotherEvent) {
  bytes content = made.build();
  content.set_u32(pointer(0, 0) + 4, content.word(pointer(0, 1) + 4));
  expect_refusal(content,
                 "contradicts itself: channel PLAIN is, in event 500 at 2023-11-14T22:13:20.000000Z, in a "
                 "server block of another event");
}

TEST_F(ConvertRefusals, OfPointersThatLeadNowhere) {
  bytes content = made.build();
  const std::uint32_t right = content.word(pointer(1, 2));
  content.set_u32(pointer(1, 2), right + 36);
  expect_refusal(content, "contradicts itself: a pointer of channel PACKED leads to no event header");
  content.set_u32(pointer(1, 2), 0);
  expect_refusal(content, "contradicts itself: a pointer of channel PACKED leads to no event header");
  content.set_u32(pointer(1, 2), right).set_u32(pointer(1, 2) + 4, content.word(pointer(1, 2) + 4) + 4);
  expect_refusal(content, "contradicts itself: a pointer of channel PACKED leads to no server block");
}

TEST_F(ConvertRefusals, OfABlockAfterTheEndOfTheFile) {
  bytes content = made.build();
  content.set_u32(pointer(0, 0) + 8, static_cast<std::uint32_t>(content.size()) - 8);
  expect_refusal(content, "damaged: a block of channel PLAIN at " + std::to_string(content.size() - 8) +
                              " does not lie in the file");
}

TEST_F(ConvertRefusals, OfABlockWithTheNameOfAnotherChannel) {
  bytes content = made.build();
  content.set_u32(block(1), 0x58585858);
  expect_refusal(content, "contradicts itself: the block of channel PLAIN at " + std::to_string(block(1)) +
                              " bears another name");
}

TEST_F(ConvertRefusals, OfAChannelThatIsInAnEventTwice) {
  made.channels[0].blocks[1].event = 0;
  expect_refusal(
      made.build(),
      "cannot be rewritten: channel PLAIN is in this event already; give its data once an event");
}

TEST_F(ConvertRefusals, OfTypesThatAreNoChannelsData) {
  for (const auto& [code, name] : {std::pair{2, "RAVO_ENV_DICT_BLOCK"},
                                   {41, "RAVO_BLOCK_1CHAN_2010"},
                                   {29, "29"},
                                   {9 | 6 << 16, "393225"}}) {
    for (handmade_block& one : made.channels[0].blocks) one.dtype = code;
    expect_refusal(made.build(), std::string("cannot be rewritten: channel PLAIN has blocks of type ") +
                                     name + ", which is no channel's data in the older generation");
  }
}

TEST_F(ConvertRefusals, OfRowsAndIndicesThatAreNotInTheOrderOfTime) {
  std::swap(made.channels[0].blocks[0].event, made.channels[0].blocks[1].event);
  expect_refusal(made.build(),
                 "contradicts itself: the events of channel PLAIN are not in the order of time");
  made.events[1].seconds = 1600000000;
  expect_refusal(made.build(),
                 "contradicts itself: the event index is not in the order of time at event 501");
}

TEST_F(ConvertRefusals, OfDamagedBlocks) {
  bytes good = made.build();
  const std::size_t packed = made.at.at("PACKED") + 8;
  const std::string where =
      "damaged: the block of channel PACKED at " + std::to_string(packed) + " cannot be decoded: ";
  bytes content = good;
  content.set_u32(packed + 44 + 12, 0);
  expect_refusal(content, where + "its compressed data are damaged");
  content = good;
  content.set_u32(packed + 44, 4);
  expect_refusal(content, where + "it is compressed in an unknown way");
  content = good;
  content.set_u32(packed + 44 + 4, good.word(packed + 44 + 4) + 4);
  expect_refusal(content, where + "it does not inflate to the length that it states");
  made.channels[0].blocks[0].ldata = 44 + 20;
  expect_refusal(made.build(), "damaged: the block of channel PLAIN at " + std::to_string(block(0)) +
                                   " cannot be decoded: its data do not agree with its type");
}

// Whatever the length word says, no more is read than the file has.
TEST_F(ConvertRefusals, OfLengthsThatLeaveTheFile) {
  for (const std::int32_t length : {0x7fffffff, -1, 0, 43}) {
    made.channels[0].blocks[0].ldata = length;
    const bytes content = made.build();
    const std::string file = folder.write("long.raw", {content.data(), content.size()});
    const process_result result = run_tool({"convert", file, "--into", folder.file("new")});
    EXPECT_EQ(result.exit_code, 1) << length;
    EXPECT_THAT(result.err, HasSubstr(": damaged: the block of channel PLAIN at ")) << length;
  }
}

TEST_F(ConvertRefusals, OfAnEventNumberThatMeansSomethingElse) {
  made.events[1].number = 0xffffffff;
  expect_refusal(made.build(),
                 "cannot be rewritten: the event number 4294967295 means \"not decoded\" to readers; use "
                 "another one");
}

TEST_F(ConvertRefusals, OfAFileWithoutEvents) {
  made.events.clear();
  made.channels.clear();
  expect_refusal(made.build(), "has no events, and files without events are not written");
}

TEST_F(ConvertRefusals, OfDescriptionsThatCannotBeRead) {
  made.xml = "<channel_descriptions version=\"1\">";
  const bytes content = made.build();
  const std::string file = folder.write("odd.raw", {content.data(), content.size()});
  const process_result result = run_tool({"convert", file, "--into", folder.file("new")});
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_THAT(result.err, testing::StartsWith("ravo: " + file + ": channel descriptions: "));
}

// ---- what is recorded instead of being refused
// -----------------------------------------------------------

class ConvertLosses : public ConvertRefusals {
 protected:
  std::string losses_of(const bytes& content) {
    const std::string file = folder.write("odd.raw", {content.data(), content.size()});
    const process_result result =
        run_tool({"convert", file, "--into", folder.file("new"), "--force", "--verify", "--json"});
    EXPECT_EQ(result.exit_code, 0) << result.err;
    return json_lines(result.out).at(0).at("losses").dump();
  }
};

TEST_F(ConvertLosses, AreMiscountedServerBlocks) {
  // The handmade file says one channel for each server block, and has two.
  EXPECT_THAT(losses_of(made.build()),
              HasSubstr("3 of 3 server blocks state another number of channels than they have"));
  made.channels.pop_back();
  EXPECT_EQ(losses_of(made.build()), "[]");
}

TEST_F(ConvertLosses, AreKeysThatStandForNone) {
  bytes content = made.build();
  content.set_u32(made.at.at("dictionary") + 8, 0);
  EXPECT_THAT(
      losses_of(content),
      HasSubstr(R"({"channel":"PLAIN","text":"it has no key (0), and the new file gives it one"})"));
}

TEST_F(ConvertLosses, AreEnvironmentEntriesWithoutAChannel) {
  made.channels.pop_back();
  made.environment = {{1001, 5}, {77, 6}, {1001, 7}};
  const bytes content = made.build();
  EXPECT_THAT(losses_of(content),
              HasSubstr("2 of 3 entries of the environment dictionary are left out: they belong to no "
                        "channel, or to one that has an entry already, or their index is negative"));
  const auto kept = current_raw_file(folder.file("new/odd.raw")).environment();
  ASSERT_EQ(kept.size(), 1u);
  EXPECT_EQ(kept[0].first, 1001u);
  EXPECT_EQ(kept[0].second, 5u);
}

TEST_F(ConvertLosses, AreNegativeEnvironmentIndices) {
  made.channels.pop_back();
  made.environment = {{1001, -5}};
  EXPECT_THAT(losses_of(made.build()),
              HasSubstr("1 of 1 entries of the environment dictionary are left out"));
  EXPECT_TRUE(current_raw_file(folder.file("new/odd.raw")).environment().empty());
}

TEST_F(ConvertLosses, AreNotDescriptionsOfOtherChannels) {
  made.channels.pop_back();
  made.xml =
      "<channel_descriptions version=\"1\"><channel prop_name=\"ELSEWHERE\" units=\"A\"/><channel "
      "prop_name=\"PLAIN\" "
      "units=\"mm\"/><channel prop_name=\"PLAIN\" units=\"second\"/></channel_descriptions>";
  EXPECT_EQ(losses_of(made.build()), "[]");
  const std::string xml = current_raw_file(folder.file("new/odd.raw")).descriptions();
  const std::size_t elsewhere = xml.find("ELSEWHERE"), first = xml.find("units=\"mm\""),
                    second = xml.find("second");
  EXPECT_LT(elsewhere, first);
  EXPECT_LT(first, second);
  EXPECT_NE(second, xml.npos);
}

// Headers need not be in order of time; the writer sorts them.
TEST_F(ConvertLosses, AreNotEventsThatLieInAnotherOrder) {
  made.channels.pop_back();
  made.events = {{500, 1700000005}, {501, 1700000001, 0, RAVO_EV_IMAGE}, {502, 1700000006}};
  std::swap(made.channels[0].blocks[0].event, made.channels[0].blocks[1].event);
  made.channels[0].ev_mask = 1 << RAVO_EV_NORMAL | 1 << RAVO_EV_IMAGE;
  EXPECT_EQ(losses_of(made.build()), "[]");
}

TEST_F(ConvertLosses, AreMasksThatMissTypesOfEvents) {
  made.channels.pop_back();
  made.events[1].type = RAVO_EV_IMAGE;
  EXPECT_THAT(
      losses_of(made.build()),
      HasSubstr(
          R"({"channel":"PLAIN","text":"its mask of event types, 0x2, became 0x42, as its events are"})"));
  EXPECT_EQ(current_raw_file(folder.file("new/odd.raw")).find("PLAIN").ev_mask, 0x42u);
}

}  // namespace
