// Tables count for the memory limit before they are loaded, and a file that claims more than the limit
// holds is refused by name. The files are sparse: they claim gigabytes and hold next to nothing. What a
// process has resident is measured in a process of its own.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <functional>

#include "generation_name.h"
#include "resident_memory.h"
#include "sparse_file.h"
#include "written_files.h"

namespace {

using namespace ravo;
using namespace ravo::test;
using testing::AllOf;
using testing::HasSubstr;

constexpr std::size_t mebibyte = std::size_t{1} << 20;
constexpr std::uint32_t hole = 1u << 20;

dataset_options with_limit(std::size_t bytes) {
  dataset_options options;
  options.memory_limit = bytes;
  options.threads = 4;
  return options;
}

/// What memory_exceeded says, or nothing where it is not thrown.
std::string refusal_of(const std::function<void()>& read) {
  try {
    read();
  } catch (const memory_exceeded& refused) {
    return refused.what();
  }
  return "";
}

template <class layout>
class TableMemory : public testing::Test {
 protected:
  TableMemory() {
    for (std::uint32_t i = 0; i < 4; ++i) file.events.push_back(event_at(i + 1, i * 100));
    file.channels = {numbers_at<layout>("A", {{0, 1.0f}, {1, 2.0f}, {2, 3.0f}, {3, 4.0f}})};
  }

  sparse_file sparse(std::uint32_t end) {
    sparse_file made;
    made.content = file.build();
    made.end = end;
    return made;
  }
  /// A file whose dictionary has so many channels without names, and no pointers.
  std::string with_dictionary(std::uint32_t channels, const std::string& name = "dictionary.raw") {
    const bytes dictionary = nameless_dictionary<layout>(channels);
    return sparse(hole + dictionary.word(4))
        .lead(reference_field::dictionary, hole, dictionary)
        .write(folder, name);
  }
  /// The event index of one type, with a hole for events.
  std::string with_index(std::uint32_t events, const std::string& name = "index.raw") {
    bytes index;
    index.u32(0xedaedaf3u).u32(1).i32(RAVO_EV_NORMAL).u32(noon).u32(0).u32(noon + 1).u32(0);
    index.u32(1).u32(events).u32(events);
    sparse_file made = sparse(hole + 40 + events * 16);
    made.lead(reference_field::event_index, hole, index);
    made.to[reference_field::event_type_0 + 4 * RAVO_EV_NORMAL] = hole + 8;
    return made.write(folder, name);
  }
  /// Rows of pointers of this length; the channel's own entries are at the beginning of its row.
  std::string with_pointers(std::uint32_t row_entries) {
    const bytes content = file.build();
    const std::size_t old = file.at.at("pointers");
    bytes pointers;
    pointers.u32(content.word(old)).u32(12 + row_entries * 16).u32(row_entries);
    for (std::size_t word = 0; word < 16; ++word) pointers.u32(content.word(old + 12 + word * 4));
    return sparse(hole + 12 + row_entries * 16)
        .lead(reference_field::pointers, hole, pointers)
        .write(folder, "pointers.raw");
  }

  temporary_folder folder;
  handmade_file_of<layout> file;
};

using layouts = testing::Types<layout_2009, layout_2010>;
TYPED_TEST_SUITE(TableMemory, layouts, generation_name);

TYPED_TEST(TableMemory, OfADictionaryThatDoesNotFitIsRefusedByName) {
  const std::string path = this->with_dictionary(7'000'000);
  const auto read = [&] {
    const std::string refusal =
        refusal_of([&] { dataset::open(of_files({path}), with_limit(64 * mebibyte)); });
    return refusal.find(path) != std::string::npos && refusal.find("dictionary") != std::string::npos &&
           refusal.find("memory limit") != std::string::npos;
  };
  EXPECT_EXIT(exit_by(read, 4 * mebibyte), testing::ExitedWithCode(0), "");
}

TYPED_TEST(TableMemory, OfAnEventIndexThatDoesNotFitIsRefusedByName) {
  const std::string path = this->with_index(100'000'000);
  const std::string other = write(this->folder, "other.raw", this->file);
  const auto read = [&] {
    const std::string refusal = refusal_of([&] {
      dataset::open(of_files({path, other}), with_limit(64 * mebibyte));
    });
    return refusal.find(path) != std::string::npos && refusal.find("event index") != std::string::npos;
  };
  EXPECT_EXIT(exit_by(read, 4 * mebibyte), testing::ExitedWithCode(0), "");
}

TYPED_TEST(TableMemory, OfRowsOfPointersIsThatOfTheWholeRow) {
  const std::string path = this->with_pointers(100'000'000);
  const auto refused = [&] {
    const dataset data = dataset::open(of_files({path}), with_limit(64 * mebibyte));
    return !refusal_of([&] { data.size(); }).empty();
  };
  EXPECT_EXIT(exit_by(refused, 4 * mebibyte), testing::ExitedWithCode(0), "");
  // Where there is room for it, the row is read, and counts.
  const std::string fitting = this->with_pointers(2'000'000);
  const dataset data = dataset::open(of_files({fitting}), with_limit(64 * mebibyte));
  EXPECT_EQ(numbers_of(data.events()), (std::vector<std::uint32_t>{1, 2, 3, 4}));
  EXPECT_GE(data.peak_memory(), 32'000'000u);
  EXPECT_LE(data.peak_memory(), 64 * mebibyte);
}

// Two events of a channel whose headers lie at both ends of the file.
TYPED_TEST(TableMemory, OfEventHeadersThatLieFarApartIsSmall) {
  const bytes content = this->file.build();
  const std::size_t events = this->file.at.at("events");
  constexpr std::uint32_t far_away = hole + 8 + 36 * 59'623'196;  // on the grid of headers, 2 GiB on
  bytes basket, last;
  basket.u32(content.word(events)).u32(far_away + 36 - hole);
  for (std::size_t word = 0; word < 27; ++word) basket.u32(content.word(events + 8 + word * 4));
  for (std::size_t word = 27; word < 36; ++word) last.u32(content.word(events + 8 + word * 4));
  sparse_file made = this->sparse(far_away + 36);
  made.lead(reference_field::event_headers, hole, basket);
  made.parts[far_away] = last;
  const std::size_t row = this->file.at.at("pointers") + 12;
  for (std::uint32_t i = 0; i < 3; ++i) made.content.set_u32(row + i * 16, hole + 8 + i * 36);
  made.content.set_u32(row + 3 * 16, far_away);
  // The event index leads to the same places.
  const std::size_t index = this->file.at.at("index") + 8 + 32;
  for (std::uint32_t i = 0; i < 4; ++i)
    made.content.set_u32(index + i * 16 + 12, i < 3 ? hole + 8 + i * 36 : far_away);
  const std::string path = made.write(this->folder, "headers.raw");
  const auto read = [&] {
    const dataset data = dataset::open(of_files({path}), with_limit(64 * mebibyte));
    return numbers_of(data.events()) == std::vector<std::uint32_t>{1, 2, 3, 4} &&
           data.peak_memory() < 2 * mebibyte;
  };
  EXPECT_EXIT(exit_by(read, 16 * mebibyte), testing::ExitedWithCode(0), "");
}

TYPED_TEST(TableMemory, CountsForThePeakAndKeepsTheLimit) {
  constexpr std::uint32_t channels = 40'000;
  const std::size_t table = channels * TypeParam::dictionary_entry;
  const std::string path = this->with_dictionary(channels);
  const auto read = [&] {
    const dataset data = dataset::open(of_files({path}), with_limit(64 * mebibyte));
    return data.peak_memory() >= table && data.peak_memory() <= 64 * mebibyte;
  };
  EXPECT_EXIT(exit_by(read, 64 * mebibyte), testing::ExitedWithCode(0), "");
}

// More threads than there is room for dictionaries: they take turns.
TYPED_TEST(TableMemory, OfManyFilesIsTakenInTurn) {
  std::vector<std::string> paths;
  for (int i = 0; i < 8; ++i) paths.push_back(this->with_dictionary(20'000, std::to_string(i) + ".raw"));
  paths.push_back(write(this->folder, "good.raw", this->file));
  const std::size_t limit = 24 * mebibyte;
  const dataset data = dataset::open(of_files(paths), with_limit(limit));
  EXPECT_EQ(data.channels().size(), 1u);
  EXPECT_LE(data.peak_memory(), limit);
}

// All names that were found stay until the channels are chosen: together they may be too many.
TYPED_TEST(TableMemory, OfNamesThatAreTooManyIsRefusedAtOnce) {
  std::vector<std::string> paths;
  for (int which = 0; which < 3; ++which) {
    handmade_file_of<TypeParam> many;
    many.events = this->file.events;
    for (int i = 0; i < 900; ++i)
      many.channels.push_back(
          numbers_at<TypeParam>("C" + std::to_string(which) + "/" + std::to_string(i), {{0, 1.0f}}));
    paths.push_back(write(this->folder, "many" + std::to_string(which) + ".raw", many));
  }
  const auto begun = std::chrono::steady_clock::now();
  const std::string refusal = refusal_of([&] { dataset::open(of_files(paths), with_limit(1200u << 10)); });
  EXPECT_THAT(refusal, AllOf(HasSubstr("memory limit"), HasSubstr("1228800")));
  EXPECT_LT(std::chrono::steady_clock::now() - begun, std::chrono::seconds(5));
  EXPECT_EQ(dataset::open(of_files(paths), with_limit(8 * mebibyte)).channels().size(), 2700u);
}

}  // namespace
