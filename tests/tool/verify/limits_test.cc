// Files that claim to hold more than a check takes: it says what was left out, and takes neither the
// memory nor the time for it. The files are sparse: they claim gigabytes and have hardly any bytes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <filesystem>

#include "check_limits.h"
#include "generation_name.h"
#include "handmade_file.h"
#include "simulated_files.h"
#include "small_file.h"

namespace {

using namespace ravo::test;
using namespace ravo::checks;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::UnorderedElementsAre;

long most_kilobytes() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss;
}

template <class layout>
class Limits : public testing::Test {
 protected:
  // The file with `part` at the offset `at` and its reference
  // table and tail after that, at `end`. The rest is a hole.
  std::string write(std::uint32_t at, const bytes& part, std::uint32_t end) {
    bytes reference;
    for (std::uint32_t i = 0; i < 168; i += 4) reference.u32(file.content.word(file.reference + i));
    reference.u32(end);
    std::string path = folder.write("f.raw", file.content.vector());
    std::fstream out(path, std::ios::binary | std::ios::in | std::ios::out);
    const auto put = [&out](std::uint32_t where, const bytes& what) {
      out.seekp(where);
      out.write(reinterpret_cast<const char*>(what.data()), static_cast<std::streamsize>(what.size()));
    };
    put(at, part);
    put(end, reference);
    return path;
  }
  void lead(std::uint32_t field, std::uint32_t to) { file.content.set_u32(file.reference + field, to); }

  temporary_folder folder;
  small_file file = small_file_like(layout{});
  const std::uint32_t begin = 8192;
};

using layouts = testing::Types<layout_2009, layout_2010>;
TYPED_TEST_SUITE(Limits, layouts, generation_name);

TYPED_TEST(Limits, LeaveOutABlockThatIsTooLarge) {
  constexpr std::uint32_t data = (256u << 20) + 4;
  const auto head = static_cast<std::uint32_t>(TypeParam::subhead);
  const std::uint32_t more = head + data - this->file.content.word(this->file.note_block + head - 4);
  bytes basket;
  basket.u32(0xcbacbaf3).u32(8 + head + data);
  for (std::uint32_t i = 0; i < head - 4; i += 4)
    basket.u32(this->file.content.word(this->file.note_block + i));
  basket.u32(head + data);
  const std::uint32_t entry = this->file.pointers + 12 + 2 * 16;
  this->file.content.set_u32(entry + 8, this->begin + 8).set_u32(entry + 12, this->begin + 8 + head);
  // The lengths of the event and its server block grow by the same amount.
  for (const std::uint32_t length : {this->file.event_headers + 8 + 4, this->file.server_blocks + 8 + 8})
    this->file.content.set_u32(length, this->file.content.word(length) + more);
  const std::string path = this->write(this->begin, basket, this->begin + 8 + head + data);
  const long before = most_kilobytes();
  EXPECT_THAT(
      lines_of(findings_of({path})),
      UnorderedElementsAre(HasSubstr("description.missing"), "f.raw block.too_large LINAC/NOTE 1000 " +
                                                                 std::to_string(this->begin + 8) + " x1"));
  EXPECT_LT(most_kilobytes() - before, 64 << 10);
}

TYPED_TEST(Limits, LeaveOutEventsWhenTheyAreTooMany) {
  constexpr std::uint32_t events = ravo::checks::most_events + 1;
  this->lead(156, this->begin);
  this->file.content.set_u32(this->file.event_index, 0);
  bytes basket;
  basket.u32(0xebaebaf3).u32(8 + events * 36);
  const std::string path = this->write(this->begin, basket, this->begin + 8 + events * 36);
  const long before = most_kilobytes();
  const auto lines = lines_of(findings_of({path}));
  EXPECT_THAT(lines, Contains("f.raw file.too_large - - " + std::to_string(this->begin) + " x1"));
  EXPECT_THAT(lines, Contains(HasSubstr("table.event_index")));
  EXPECT_LT(most_kilobytes() - before, 64 << 10);
}

TYPED_TEST(Limits, LeaveOutPointersWhenARowIsTooLong) {
  constexpr std::uint32_t entries = ravo::checks::most_events + 1;
  constexpr std::uint32_t length = 12 + 2 * entries * 16;  // the file has two channels
  this->lead(144, this->begin);
  bytes pointers;
  pointers.u32(0xecbecbf3).u32(length).u32(entries);
  const std::string path = this->write(this->begin, pointers, this->begin + length);
  const long before = most_kilobytes();
  EXPECT_THAT(lines_of(findings_of({path})),
              Contains("f.raw file.too_large - - " + std::to_string(this->begin) + " x1"));
  EXPECT_LT(most_kilobytes() - before, 64 << 10);
}

TYPED_TEST(Limits, LeaveOutTablesThatAreTooLarge) {
  constexpr std::uint32_t bytes_of_table = (300u << 20) / 96 / 272 * 96 * 272 + 8;
  this->lead(140, this->begin);
  bytes dictionary;
  dictionary.u32(0xdcadcaf3).u32(bytes_of_table);
  const std::string path = this->write(this->begin, dictionary, this->begin + bytes_of_table);
  const long before = most_kilobytes();
  EXPECT_THAT(lines_of(findings_of({path})),
              ElementsAre("f.raw file.too_large - - " + std::to_string(this->begin) + " x1"));
  EXPECT_LT(most_kilobytes() - before, 64 << 10);
}

// The dictionary stays where it is, before other
// tables, in a file that is long enough for the claim.
TYPED_TEST(Limits, DoNotExcuseATableThatIsTooLargeToBeTrue) {
  constexpr std::uint32_t row = TypeParam::dictionary_entry;
  const std::uint32_t at = this->file.dictionary;
  for (const std::uint32_t bytes_of_table :
       {8 + (100u << 20) / row * row, 8 + (100u << 20) / row * row + 4}) {
    this->file.content.set_u32(at + 4, bytes_of_table);
    EXPECT_THAT(lines_of(findings_of({this->write(this->begin, {}, this->begin + bytes_of_table)})),
                ElementsAre("f.raw table.dictionary - - " + std::to_string(at) + " x1"));
  }
}

TYPED_TEST(Limits, DoNotExcuseEventsThatAreTooManyToBeTrue) {
  constexpr std::uint32_t events = ravo::checks::most_events + 1;
  this->file.content.set_u32(this->file.event_index, 0);
  this->file.content.set_u32(this->file.event_headers + 4, 8 + events * 36);
  const std::string path = this->write(this->begin, {}, this->begin + 8 + events * 36);
  const auto lines = lines_of(findings_of({path}));
  EXPECT_THAT(lines, Contains("f.raw basket.event_headers - - " + std::to_string(this->file.event_headers) +
                              " x1"));
  EXPECT_THAT(lines, testing::Not(Contains(HasSubstr("file.too_large"))));
}

TYPED_TEST(Limits, DoNotExcuseAnEnvironmentDictionaryThatCoversTheDescriptions) {
  constexpr std::uint32_t bytes_of_table = 8 + (100u << 20);
  this->file.content.set_u32(this->file.environment + 4, bytes_of_table);
  EXPECT_THAT(lines_of(findings_of({this->write(this->begin, {}, this->begin + bytes_of_table)})),
              UnorderedElementsAre(
                  HasSubstr("description.missing"),
                  "f.raw table.environment - - " + std::to_string(this->file.environment) + " x1"));
}

TYPED_TEST(Limits, LeaveOutAnEventIndexAndDescriptionsThatAreTooLarge) {
  constexpr std::uint32_t events = (300u << 20) / 16;
  this->lead(8, this->begin);
  this->lead(16, this->begin + 8);  // where the events of type 1 are
  bytes index;
  index.u32(0xedaedaf3).u32(1).u32(1).u32(0).u32(0).u32(0).u32(0).u32(0).u32(0).u32(events);
  const std::uint32_t end = this->begin + 40 + events * 16;
  EXPECT_THAT(lines_of(findings_of({this->write(this->begin, index, end)})),
              Contains("f.raw file.too_large - - " + std::to_string(this->begin) + " x1"));

  this->file = small_file_like(TypeParam{});
  constexpr std::uint32_t text = 17u << 20;
  this->lead(152, this->begin);
  bytes xml;
  xml.u32(0xcddcddf3).u32(8 + text);
  EXPECT_THAT(lines_of(findings_of({this->write(this->begin, xml, this->begin + 8 + text)})),
              ElementsAre("f.raw file.too_large - - " + std::to_string(this->begin) + " x1"));
}

template <class layout>
class Reading : public testing::Test {
 protected:
  static constexpr std::uint32_t events = 3000;

  Reading() {
    for (std::uint32_t i = 0; i < events; ++i) file.events.push_back({i + 1, 1'700'000'000 + i, 0});
  }
  void add_channel(const std::string& name, std::size_t blocks) {
    handmade_channel& channel = file.channels.emplace_back(name);
    for (std::size_t i = 0; i < blocks; ++i) channel.blocks.push_back(scalar<layout>(i, 1));
  }
  file_result check(const bytes& content) {
    return check_file(folder.write("f.raw", content.vector()), ravo::verification_depth::blocks, 2,
                      [](std::uint64_t) {});
  }

  temporary_folder folder;
  handmade_file_of<layout> file;
};
TYPED_TEST_SUITE(Reading, layouts, generation_name);

bool has(const file_result& result, finding_kind kind) { return result.findings.has(kind); }

TYPED_TEST(Reading, TakesAFewTimesTheFileThoughItsBlocksStandInReverse) {
  this->add_channel("A", this->events);
  bytes content = this->file.build();
  const std::size_t row = this->file.at.at("pointers") + 12;
  // All but the first, by which the basket is found.
  const bytes good = content;
  for (std::uint32_t i = 1; i < this->events; ++i)
    for (const std::size_t word : {8u, 12u})
      content.set_u32(row + i * 16 + word, good.word(row + (this->events - i) * 16 + word));
  const file_result result = this->check(content);
  EXPECT_TRUE(has(result, finding_kind::pointer_block_order));
  EXPECT_FALSE(has(result, finding_kind::file_too_entangled));
  EXPECT_EQ(result.blocks, this->events);
  EXPECT_LT(result.bytes_read, 5 * content.size());
}

// Tiny blocks, at every other event, and one more of them than a
// power of two: no part is read more often because of its size.
TYPED_TEST(Reading, TakesGoodFilesOfManyTinyBlocksToTheirEnd) {
  constexpr std::size_t channels = 400, blocks = 257;
  this->file.events.resize(2 * blocks);
  for (std::size_t i = 0; i < channels; ++i) {
    handmade_channel& channel = this->file.channels.emplace_back("C" + std::to_string(i));
    for (std::size_t n = 0; n < blocks; ++n) {
      handmade_block& block = channel.blocks.emplace_back();
      block.event = 2 * n;
      block.dtype = RAVO_BLOCK_NAME_VALUE_STRING;
      block.payload.text("ok", 4);
    }
  }
  const bytes content = this->file.build();
  const file_result result = this->check(content);
  EXPECT_FALSE(has(result, finding_kind::file_too_entangled)) << result.bytes_read << " " << content.size();
  EXPECT_EQ(result.blocks, channels * blocks);
}

// Heads of the older generation are too short for this.
using CurrentReading = Reading<layout_2010>;
TEST_F(CurrentReading, EndsWhereItComesToManyTimesTheFile) {
  constexpr std::size_t channels = 150;
  add_channel("whole", events);
  for (std::size_t i = 0; i < channels; ++i) {
    add_channel("C" + std::to_string(i), 1);
    handmade_block& block = file.channels.back().blocks[0];
    block.ldata = static_cast<std::int32_t>(layout_2010::subhead + block.payload.size());
    block.payload.fill(events + 400);
    file.channels.back().count = static_cast<std::int32_t>(events);
  }
  bytes content = file.build();
  // Each event of each channel leads one byte before the previous one.
  const std::size_t rows = file.at.at("pointers") + 12, row_size = events * 16;
  for (std::size_t channel = 1; channel <= channels; ++channel) {
    const std::size_t row = rows + channel * row_size;
    const std::uint32_t block = content.word(row + 8);
    for (std::uint32_t i = 1; i < events; ++i) {
      for (const std::size_t word : {0u, 4u})
        content.set_u32(row + i * 16 + word, content.word(rows + i * 16 + word));
      content.set_u32(row + i * 16 + 8, block + events - i);
      content.set_u32(row + i * 16 + 12,
                      static_cast<std::uint32_t>(block + events - i + layout_2010::subhead));
    }
  }
  const file_result result = check(content);
  EXPECT_TRUE(has(result, finding_kind::file_too_entangled));
  EXPECT_TRUE(has(result, finding_kind::block_type)) << "what was found before is reported";
  const std::uint64_t most = read_multiple * content.size() + always_read;
  EXPECT_LE(result.bytes_read, most);
  EXPECT_GT(result.bytes_read, most - 4096);  // each of its reads is shorter
}

}  // namespace
