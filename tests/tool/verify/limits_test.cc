// Files that claim to hold more than a check takes: it says what was left out, and takes neither the memory
// nor the time for it. The files are sparse: they claim gigabytes and have next to none.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <filesystem>

#include "generation_name.h"
#include "simulated_files.h"
#include "small_file.h"
#include "verify/limits.h"

namespace {

using namespace ravo::test;
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
  // The file with `part` at the offset `at` and its reference table and tail behind that, at `end`. What
  // lies between is a hole.
  std::string write(std::uint32_t at, const bytes& part, std::uint32_t end) {
    bytes reference;
    for (std::uint32_t i = 0; i < 168; i += 4) reference.u32(file.content.word(file.reference + i));
    reference.u32(end);
    const std::string path = folder.write("f.raw", file.content.vector());
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
  // The event and its server block are longer by as much.
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
  constexpr std::uint32_t events = ravo::verify::most_events + 1;
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
  constexpr std::uint32_t entries = ravo::verify::most_events + 1;
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

// The dictionary stays where it is, in front of other tables, in a file that is long enough for what it
// says.
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
  constexpr std::uint32_t events = ravo::verify::most_events + 1;
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

}  // namespace
