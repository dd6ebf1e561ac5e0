// Checks docs/raw-format.md against the code: the example's bytes, the table of data types, the markers
// and the sizes that it states.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <lzo/lzo1x.h>
#include <zlib.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "open_file.h"
#include "packed_file.h"
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
// before it up to the next offset. It is below the heading of a generation's example.
bytes documented_bytes(const std::string& heading) {
  std::istringstream lines(page());
  bytes content;
  std::string line, last;
  while (std::getline(lines, line) && line != heading) {
  }
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

struct current_example : current {
  static constexpr const char* heading = "## Example: a whole file";
};
struct older_example : older {
  static constexpr const char* heading = "## Example: an older file";
};
using examples = testing::Types<current_example, older_example>;

template <class G>
class DocumentedFile : public testing::Test {};
TYPED_TEST_SUITE(DocumentedFile, examples, generation_name);

TYPED_TEST(DocumentedFile, HasTheBytesThatWerePutTogetherByHand) {
  EXPECT_EQ(documented_bytes(TypeParam::heading).vector(), build_small_file<TypeParam>().content.vector());
}

TYPED_TEST(DocumentedFile, IsLoadedByTheTableOperations) {
  const bytes content = documented_bytes(TypeParam::heading);
  const open_file<TypeParam> file(content);
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
  EXPECT_EQ(content.word(block + TypeParam::subhead - 12), 23u);
  EXPECT_STREQ(reinterpret_cast<const char*>(content.data() + block + TypeParam::subhead), "beam on");
}

TYPED_TEST(DocumentedFile, HasTheStatedOffsets) {
  const small_file small = build_small_file<TypeParam>();
  const auto length = [&](std::uint32_t part) { return std::to_string(small.content.word(part + 4)); };
  const std::pair<std::uint32_t, std::string> parts[] = {
      {small.bpm_basket, "channel basket of `LINAC/BPM1`, " + length(small.bpm_basket) + " bytes"},
      {small.bpm_block[0], "its first block: subheader"},
      {small.bpm_block[0] + TypeParam::subhead, "its data: spectrum head"},
      {small.bpm_block[1], "its second block"},
      {small.note_basket, "channel basket of `LINAC/NOTE`, " + length(small.note_basket) + " bytes"},
      {small.event_headers, "event header basket, 80 bytes"},
      {small.server_blocks, "server block basket, " + length(small.server_blocks) + " bytes"},
      {small.event_index, "event index: one type"},
      {small.dictionary, "channel dictionary, " + length(small.dictionary) + " bytes"},
      {small.pointers, "event channel pointers, 76 bytes"},
      {small.environment, "environment dictionary, 16 bytes"},
      {small.descriptions, "channel descriptions, 176 bytes"},
      {small.reference, "reference table"},
      {small.tail(), "tail: `"}};
  const std::string text = page();
  const std::string example = text.substr(text.find(TypeParam::heading));
  for (const auto& [offset, what] : parts) {
    char row[128];
    std::snprintf(row, sizeof row, "| %u | 0x%03x | %s", offset, offset, what.c_str());
    EXPECT_THAT(example, testing::HasSubstr(row));
  }
  EXPECT_THAT(example,
              testing::HasSubstr("The file has " + std::to_string(small.content.size()) + " bytes"));
}

// ---- the file with compressed blocks ----------------------------------------------------------------

constexpr const char* packed_heading = "## Example: compressed blocks and padding";

TEST(DocumentedPackedFile, HasTheBytesThatWerePutTogetherByHand) {
  EXPECT_EQ(documented_bytes(packed_heading).vector(), build_packed_file().content.vector());
}

TEST(DocumentedPackedFile, IsLoadedByTheTableOperations) {
  const bytes content = documented_bytes(packed_heading);
  const open_file<current> file(content);
  const auto reference = file.reference();
  ASSERT_EQ(reference.status, 0);
  EXPECT_EQ(file.event_index(*reference.content).status, 0);
  EXPECT_EQ(file.environment(*reference.content).status, 0);
  EXPECT_EQ(file.descriptions(*reference.content).status, 0);
  const auto dictionary = file.dictionary(*reference.content);
  ASSERT_EQ(dictionary.status, 0);
  EXPECT_STREQ(dictionary.content->channel_entry()[1].chan_name, "LINAC/NOTE");
  const auto pointers = file.pointers(*reference.content);
  ASSERT_EQ(pointers.status, 0);
  // Following the second row leads to the text that has no padding after it.
  const std::uint32_t note = pointers.content->chptr()[3].data;
  EXPECT_STREQ(reinterpret_cast<const char*>(content.data() + note), "shut off");
}

// The samples that the page states, from the stored bytes and through the two libraries alone.
TEST(DocumentedPackedFile, HoldsTheStatedSamples) {
  const packed_file file = build_packed_file();
  for (const int i : {0, 1}) {
    const std::uint32_t zip = file.wave_block[i] + 268;
    const unsigned char* from = file.content.data() + zip + 12;
    const std::uint32_t stored = file.content.word(zip + 8);
    std::vector<unsigned char> data(file.content.word(zip + 4));
    uLongf room = data.size();
    lzo_uint lzo_room = data.size();
    if (i == 0)
      ASSERT_EQ(uncompress(data.data(), &room, from, stored), Z_OK);
    else
      ASSERT_EQ(lzo1x_decompress_safe(from, stored, data.data(), &lzo_room, nullptr), LZO_E_OK);
    bytes expected;
    expected.u32(1).u32(24).u32(1).f32(0).f32(0.5f).f32(0).u32(0).u32(0);
    for (int sample = 0; sample < 24; ++sample) expected.f32(i == 0 ? 1.5f : -2.0f);
    EXPECT_EQ(data, expected.vector());
  }
}

TEST(DocumentedPackedFile, HasTheStatedOffsets) {
  const packed_file file = build_packed_file();
  const std::pair<std::uint32_t, const char*> parts[] = {
      {file.event_headers, "event header basket, 80 bytes"},
      {file.server_blocks, "server block basket, 576 bytes"},
      {file.wave_basket, "channel basket of `LINAC/WAVE`, 644 bytes"},
      {file.wave_block[0], "its first block: subheader"},
      {file.wave_block[0] + 268, "its zip header: 1 (zlib), 128 bytes, 27 compressed"},
      {file.wave_block[0] + 307, "one byte of padding"},
      {file.wave_block[1], "its second block"},
      {file.wave_block[1] + 268, "its zip header: 2 (LZO1X), 128 bytes, 46 compressed"},
      {file.note_basket, "channel basket of `LINAC/NOTE`, 561 bytes"},
      {file.note_block[0] + 268, "the text `open` with its zero, and three bytes of padding"},
      {file.note_block[1] + 268, "the text `shut off` with its zero; the basket ends here"},
      {file.dictionary, "channel dictionary"},
      {file.event_index, "event index"},
      {file.pointers, "event channel pointers"},
      {file.environment, "environment dictionary, without entries"},
      {file.descriptions, "channel descriptions"},
      {file.reference, "reference table"},
      {file.tail(), "tail: `"}};
  const std::string text = page();
  const std::string example = text.substr(text.find(packed_heading));
  for (const auto& [offset, what] : parts) {
    char row[160];
    std::snprintf(row, sizeof row, "| %u | 0x%03x | %s", offset, offset, what);
    EXPECT_THAT(example, testing::HasSubstr(row));
  }
  EXPECT_THAT(example,
              testing::HasSubstr("The file has " + std::to_string(file.content.size()) + " bytes"));
}

// What the page says of the older records is what the records are.
TEST(DocumentedRecords, OfTheOlderGenerationAreThoseOfTheCode) {
  const auto row = [](const char* what, std::size_t size, const std::string& fields) {
    return "| " + std::string(what) + " | " + std::to_string(size) + " | " + fields + " |";
  };
  const auto at = [](const char* field, std::size_t offset) {
    return "`" + std::string(field) + "` " + std::to_string(offset);
  };
  const auto name = [](const char* field, std::size_t width, std::size_t offset) {
    return "`" + std::string(field) + "` char[" + std::to_string(width) + "] " + std::to_string(offset);
  };
  using entry = ravo_chan_dictionary_entry;
  using server = ravo_serv_block_head;
  using subhead = ravo_serv_block_subhead;
  using update = ravo_upd_data_block;
  const std::string text = page();
  EXPECT_THAT(
      text,
      testing::HasSubstr(row(
          "channel dictionary entry", sizeof(entry),
          at("key", 0) + ", " + name("chan_name", sizeof(entry::chan_name), offsetof(entry, chan_name)) +
              ", " + at("ev_mask", offsetof(entry, ev_mask)) + ", " +
              at("dtype_mask", offsetof(entry, dtype_mask)) + ", " + at("count", offsetof(entry, count)))));
  EXPECT_THAT(text,
              testing::HasSubstr(row("server block head", sizeof(server),
                                     at("time", 0) + ", " + at("ltotal", offsetof(server, ltotal)) + ", " +
                                         at("mpulse", offsetof(server, mpulse)) + ", " +
                                         name("server", sizeof(server::server), offsetof(server, server)) +
                                         ", " + at("tmask", offsetof(server, tmask)) + ", " +
                                         at("status", offsetof(server, status)) + ", " +
                                         at("nchan", offsetof(server, nchan)))));
  EXPECT_THAT(text, testing::HasSubstr(row("channel subheader", sizeof(subhead),
                                           name("chname", sizeof(subhead::chname), 0) + ", " +
                                               at("dtype", offsetof(subhead, dtype)) + ", " +
                                               at("error", offsetof(subhead, error)) + ", " +
                                               at("ldata", offsetof(subhead, ldata)))));
  EXPECT_THAT(text, testing::HasSubstr(row("older update", sizeof(update),
                                           name("upd_prop", sizeof(update::upd_prop), 0) + ", " +
                                               at("upd_ch_status", offsetof(update, upd_ch_status)) + ", " +
                                               at("upd_ch_time", offsetof(update, upd_ch_time)) + ", " +
                                               at("upd_ch_data", offsetof(update, upd_ch_data)))));
}

TEST(DocumentedMarkers, OfTheOlderGenerationAreThoseOfTheCode) {
  const std::string text = page();
  const std::string older_part = text.substr(text.find("## The older generation"));
  const std::pair<const char*, std::uint32_t> markers[] = {
      {"reference table", RAVO_REFERENCE_TABLE_PATTERN}, {"event header", RAVO_EVENT_HEADER_PATTERN}};
  for (const auto& [part, marker] : markers) {
    char row[64];
    std::snprintf(row, sizeof row, "| %s | `0x%08x` |", part, marker);
    EXPECT_THAT(older_part, testing::HasSubstr(row));
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
