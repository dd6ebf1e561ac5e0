// Columns that a program keeps: what counts against the memory limit, and what of a dataset they keep
// alive.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <optional>
#include <vector>

#include "noisy_file.h"

namespace {

using namespace ravo;
using namespace ravo::test;

constexpr std::size_t events = 150, samples = 2048;
constexpr std::size_t of_values = events * samples * sizeof(float);

class KeptColumn : public testing::Test {
 protected:
  KeptColumn() { options.memory_limit = of_values + of_values / 2; }

  temporary_folder folder;
  dataset_options options;
  const std::string path = noise(folder, events, samples);
};

TEST_F(KeptColumn, CountsAsLongAsItLives) {
  const dataset data = dataset::open(of_files({path}), options);
  std::optional<column_data> kept = data.column("NOISE");
  EXPECT_THROW(data.column("NOISE"), memory_exceeded);
  kept.reset();
  EXPECT_EQ(data.column("NOISE").size(), events);
}

TEST_F(KeptColumn, NoLongerCountsOnceItIsDetached) {
  const dataset data = dataset::open(of_files({path}), options);
  std::vector<column_data> kept;
  for (int i = 0; i < 5; ++i) {
    kept.push_back(data.column("NOISE"));
    kept.back().detach();
  }
  EXPECT_LE(data.peak_memory(), options.memory_limit);
  for (const column_data& column : kept) {
    ASSERT_EQ(column.values<float>().size(), events * samples);
    EXPECT_TRUE(std::ranges::equal(column.values<float>(), kept.front().values<float>()));
    EXPECT_EQ(column.ledger.delivered(), events);
  }
}

TEST_F(KeptColumn, CountsUntilAllOfItsCopiesAreDetached) {
  const dataset data = dataset::open(of_files({path}), options);
  column_data column = data.column("NOISE"), copy = column;
  column.detach();
  EXPECT_THROW(data.column("NOISE"), memory_exceeded);
  copy.detach();
  EXPECT_EQ(data.column("NOISE").size(), events);
  EXPECT_EQ(copy.row<float>(1).data(), column.row<float>(1).data()) << "they share their values";
}

TEST_F(KeptColumn, KeepsTheFilesOpenUnlessItIsDetached) {
  const auto open_files = [this] {
    std::size_t count = 0;
    for (const auto& one : std::filesystem::directory_iterator("/proc/self/fd")) {
      std::error_code gone;
      if (std::filesystem::read_symlink(one.path(), gone).string() == path) ++count;
    }
    return count;
  };
  column_data column = dataset::open(of_files({path}), options).column("NOISE");
  EXPECT_EQ(open_files(), 1u);
  column.detach();
  EXPECT_EQ(open_files(), 0u);
  EXPECT_EQ(column.values<float>().size(), events * samples);
}

}  // namespace
