// What is available by time, against the events of generated files; files that are gone; and that no block
// is read for it.
#include <gtest/gtest.h>

#include <filesystem>

#include "brute_force.h"
#include "format/time.h"

namespace {

using namespace ravo;
using namespace ravo::test;

/// Damage that the tables alone show. What else is wrong with a block is found when it is read.
bool is_known_from_tables(value_status status) {
  return status == value_status::misdirected || status == value_status::event_disputed;
}

template <class layout>
class Availability : public testing::Test {};
using layouts = testing::Types<layout_2010, layout_2009>;
TYPED_TEST_SUITE(Availability, layouts);

TYPED_TEST(Availability, CountsTheEventsOfEachChannel) {
  std::uint64_t damaged = 0;
  for (unsigned seed = 1; seed <= sets_to_try(40); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    generator random(seed + 9000);
    const temporary_folder folder;
    const generated all = random.make<TypeParam>(folder, !random.chance(3), harms::that_readers_notice);
    selection wanted = of_files(all.files, all.channels);
    wanted.step = 1 + random.below(2);
    const dataset data = dataset::open(wanted);
    availability_options options;
    options.bins = 1 + random.below(20);
    const availability_map seen = data.availability(options);
    ASSERT_EQ(seen.channels.size(), all.channels.size());
    ASSERT_EQ(data.ledger().expected(), 0u) << "nothing is read";
    for (const channel_availability& channel : seen.channels) {
      const std::vector<seen_value> values = values_of(data, channel.channel);
      ASSERT_EQ(channel.bins.size() + 1, seen.edges.size());
      for (std::size_t bin = 0; bin < channel.bins.size(); ++bin) {
        std::uint64_t recorded = 0, not_found = 0;
        for (const seen_value& one : values) {
          const std::int64_t time = in_microseconds(one.event.time);
          if (time < seen.edges[bin] || time >= seen.edges[bin + 1]) continue;
          ++(is_known_from_tables(one.status) ? not_found : recorded);
        }
        EXPECT_EQ(channel.bins[bin].recorded, recorded);
        EXPECT_EQ(channel.bins[bin].damaged, not_found);
        EXPECT_FALSE(channel.bins[bin].is_file_missing);
        damaged += not_found;
      }
    }
  }
  EXPECT_GT(damaged, 0u);
}

std::string write_second(const temporary_folder& folder, std::uint32_t second, const std::string& name) {
  handmade_file file;
  std::vector<std::pair<std::size_t, float>> numbers;
  for (std::uint32_t i = 0; i < 10; ++i) {
    file.events.push_back(event_at(1 + 10 * second + i, 1000 * second + 100 * i));
    numbers.emplace_back(i, 1.0f);
  }
  file.channels = {numbers_at("A", numbers)};
  return write(folder, name, file);
}

std::vector<bool> missing_of(const availability_map& seen) {
  std::vector<bool> missing;
  for (const availability_bin& bin : seen.channels.at(0).bins) missing.push_back(bin.is_file_missing);
  return missing;
}

TEST(AvailabilityOfFiles, MarksTheTimeOfAFileThatIsGone) {
  const temporary_folder folder;
  std::vector<std::string> files;
  for (std::uint32_t i = 0; i < 3; ++i)
    files.push_back(write_second(folder, i, "a" + std::to_string(i) + ".raw"));
  dataset_options opened;
  opened.open_files = 1;
  const dataset data = dataset::open(of_files(files), opened);
  ASSERT_TRUE(data.at(25));  // its file stays open
  std::filesystem::remove(files[1]);
  availability_options options;
  options.bins = 3;
  options.from = std::int64_t{noon} * 1000000;
  options.to = *options.from + 3000000;
  const availability_map seen = data.availability(options);
  EXPECT_EQ(missing_of(seen), (std::vector<bool>{false, true, false}));
  EXPECT_EQ(seen.channels[0].bins[0].recorded, 10u);
  EXPECT_EQ(seen.channels[0].bins[1].recorded, 0u);
  EXPECT_EQ(seen.channels[0].bins[2].recorded, 10u);
}

TEST(AvailabilityOfFiles, MarksTheTimeInTheNameOfAFileThatWasLeftOut) {
  // Noon of these files is 2023-11-14T22:13:20Z.
  const temporary_folder folder;
  std::vector<std::string> files;
  for (std::uint32_t i = 0; i < 3; ++i)
    files.push_back(write_second(
        folder, i,
        "linac_main_run1_file" + std::to_string(i) + "_20231114T22132" + std::to_string(i) + "Z.raw"));
  folder.write(std::filesystem::path(files[1]).filename().string(), std::vector<unsigned char>(50, 'x'));
  availability_options options;
  options.bins = 3;
  options.from = std::int64_t{noon} * 1000000;
  options.to = *options.from + 3000000;
  EXPECT_EQ(missing_of(dataset::open(of_files(files)).availability(options)),
            (std::vector<bool>{false, true, false}));
}

TEST(AvailabilityOfFiles, IsRefusedForBinsThatMakeNoSense) {
  const temporary_folder folder;
  const dataset data = dataset::open(of_files({write_second(folder, 0, "a.raw")}));
  availability_options none, reversed;
  none.bins = 0;
  reversed.from = 2;
  reversed.to = 1;
  EXPECT_THROW(data.availability(none), selection_error);
  EXPECT_THROW(data.availability(reversed), selection_error);
}

}  // namespace
