// Holds docs/raw-format.md against the code: the example's bytes, the table of data types, the markers
// and the sizes that it states.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>

#include "open_file.h"
#include "ravo_data_types.h"
#include "small_file.h"

namespace {

using namespace ravo::test;

std::string page() {
  std::ifstream in(RAVO_SOURCE_FOLDER "/docs/raw-format.md");
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

// The bytes of the dump: lines of an offset, up to 16 bytes and their characters; "*" repeats the line
// before it up to the next offset.
bytes documented_bytes() {
  std::istringstream lines(page());
  bytes content;
  std::string line, last;
  bool inside = false;
  while (std::getline(lines, line)) {
    if (line.rfind("00000000  ", 0) == 0) inside = true;
    if (!inside) continue;
    if (line.rfind("```", 0) == 0) break;
    if (line == "*") continue;
    const std::size_t offset = std::stoul(line.substr(0, 8), nullptr, 16);
    while (content.size() < offset) content.raw(last);
    if (content.size() != offset) ADD_FAILURE() << "offset out of step: " << line;
    std::istringstream words(line.substr(8, 51));
    last.clear();
    for (std::string word; words >> word;) last += static_cast<char>(std::stoi(word, nullptr, 16));
    content.raw(last);
  }
  return content;
}

TEST(DocumentedFile, HasTheBytesThatWerePutTogetherByHand) {
  EXPECT_EQ(documented_bytes().vector(), build_small_file<current>().content.vector());
}

TEST(DocumentedFile, IsLoadedByTheTableOperations) {
  const open_file<current> file(documented_bytes());
  const auto reference = file.reference();
  ASSERT_EQ(reference.status, 0);
  EXPECT_EQ(file.event_index(*reference.content).status, 0);
  const auto dictionary = file.dictionary(*reference.content);
  ASSERT_EQ(dictionary.status, 0);
  EXPECT_STREQ(dictionary.content->channel_entry()[1].chan_name, "LINAC/NOTE");
  const auto pointers = file.pointers(*reference.content);
  ASSERT_EQ(pointers.status, 0);
  EXPECT_EQ(file.environment(*reference.content).status, 0);
  EXPECT_EQ(file.descriptions(*reference.content).status, 0);

  // Following the second row leads to the text.
  const std::uint32_t block = pointers.content->chptr()[2].chhd;
  const bytes content = documented_bytes();
  EXPECT_EQ(content.word(block + 256), 23u);
  EXPECT_STREQ(reinterpret_cast<const char*>(content.data() + block + 268), "beam on");
}

TEST(DocumentedFile, HasTheStatedOffsets) {
  const small_file small = build_small_file<current>();
  const std::string text = page();
  const std::pair<std::uint32_t, const char*> parts[] = {
      {small.bpm_basket, "channel basket of `LINAC/BPM1`, 616 bytes"},
      {small.note_basket, "channel basket of `LINAC/NOTE`, 284 bytes"},
      {small.event_headers, "event header basket, 80 bytes"},
      {small.server_blocks, "server block basket, 576 bytes"},
      {small.event_index, "event index: one type"},
      {small.dictionary, "channel dictionary, 552 bytes"},
      {small.pointers, "event channel pointers, 76 bytes"},
      {small.environment, "environment dictionary, 16 bytes"},
      {small.descriptions, "channel descriptions, 176 bytes"},
      {small.reference, "reference table"}};
  for (const auto& [offset, what] : parts) {
    char row[128];
    std::snprintf(row, sizeof row, "| %u | 0x%03x | %s", offset, offset, what);
    EXPECT_THAT(text, testing::HasSubstr(row));
  }
}

const char* shape_name(ravo::payload_shape shape) {
  using enum ravo::payload_shape;
  switch (shape) {
    case none:
      return "none";
    case update:
      return "update";
    case update_older:
      return "older update";
    case environment:
      return "environment";
    case env_dictionary:
      return "environment dictionary";
    case spectrum:
      return "spectrum";
    case spectrum_older:
      return "older spectrum";
    case image:
      return "image";
    case image_ext:
      return "extended image";
    case roi:
      return "region of interest";
    case name_value:
      return "name-value";
    case text:
      return "text";
  }
  return "";
}

TEST(DocumentedTypes, AreThoseOfTheTable) {
  const std::string text = page();
  for (const ravo::data_type& type : ravo::data_types) {
    const char* generation = type.generation == ravo::type_generation::older     ? "older"
                             : type.generation == ravo::type_generation::current ? "current"
                                                                                 : "both";
    std::string members;
    for (int i = 0; i < type.members; ++i)
      members += (i ? ", " : "") + std::string(type.member_names[static_cast<std::size_t>(i)]);
    const std::string row = "\n| " + std::to_string(type.code) + " | `" + std::string(type.name) + "` | " +
                            generation + " | " + shape_name(type.shape) + " | " +
                            std::to_string(type.members) + " | " + members + " | " +
                            std::string(type.axis) + " |\n";
    EXPECT_THAT(text, testing::HasSubstr(row));
  }
}

TEST(DocumentedTypes, OfEventsAreThoseOfTheTable) {
  const std::string text = page();
  for (int type = 0; type < RAVO_EV_EVMAX; ++type)
    EXPECT_THAT(text, testing::HasSubstr("\n| " + std::to_string(type) + " | `" + event_name_itoa(type) +
                                         "` | " + (is_slow_event(type) ? "slow" : "") + " |\n"));
}

TEST(DocumentedMarkers, AreThoseOfTheCode) {
  const std::string text = page();
  const std::pair<const char*, std::uint32_t> markers[] = {
      {"reference table", RAVO_REFERENCE_TABLE_PATTERN_2010},
      {"event index", RAVO_EVENT_INDEX_PATTERN},
      {"channel dictionary", RAVO_CHAN_DICTIONARY_PATTERN},
      {"event channel pointers", RAVO_EVENT_CHAN_POINTERS_PATTERN},
      {"environment dictionary", RAVO_ENV_DICTIONARY_PATTERN},
      {"channel descriptions", RAVO_XML_CHAN_DESCR_PATTERN},
      {"event header basket", RAVO_EVENT_HEADER_BASKET_PATTERN},
      {"server block basket", RAVO_SERVER_BLOCK_BASKET_PATTERN},
      {"channel basket", RAVO_CHANNEL_BASKET_PATTERN},
      {"event header", RAVO_EVENT_HEADER_PATTERN_2010}};
  for (const auto& [part, marker] : markers) {
    char row[64];
    std::snprintf(row, sizeof row, "| %s | `0x%08x` |", part, marker);
    EXPECT_THAT(text, testing::HasSubstr(row));
  }
}

}  // namespace
