// Descriptions of simulated channels beside what the simulator knows of them, and beside the layouts of
// their columns.
#include <gtest/gtest.h>

#include <set>

#include "channels.h"
#include "ravo_xml.h"
#include "small_runs.h"

namespace {

using namespace ravo;
using namespace ravo::test;

class DescriptionOracle : public testing::TestWithParam<ravo_file_generation> {
 protected:
  const simulated_files& files = small_runs(GetParam());
};

/// What the simulator says of a channel.
class said_of {
 public:
  explicit said_of(const simulator::channel& what) : all_{simulator::describe(what, 1)} {}
  ~said_of() { ravo_free_chan_descr(&all_); }
  said_of(const said_of&) = delete;
  said_of& operator=(const said_of&) = delete;
  const chan_descr_2010* operator->() const { return all_.front(); }

 private:
  std::vector<chan_descr_2010*> all_;
};

/// Values a second of blocks that lie in files one after the other.
double rate_of(const std::vector<known_block>& blocks) {
  double intervals = 0, span = 0;
  for (std::size_t i = 1; i < blocks.size(); ++i) {
    if (blocks[i].file != blocks[i - 1].file) continue;
    ++intervals;
    span +=
        static_cast<double>(microseconds_of(blocks[i].id.time) - microseconds_of(blocks[i - 1].id.time));
  }
  return span == 0 ? 0 : intervals * 1e6 / span;
}

TEST_P(DescriptionOracle, SaysWhatTheSimulatorKnows) {
  simulated_channels counts{3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3};
  const dataset data = dataset::open(select(files.files(), {}));
  const std::vector<channel_description> all = data.describe();
  ASSERT_EQ(all.size(), data.channels().size());
  std::size_t compared = 0;
  for (const simulator::channel& known : simulator::make_channels(counts, std::nullopt)) {
    SCOPED_TRACE(known.name);
    const auto position = data.find_channel(known.name);
    ASSERT_TRUE(position);
    const channel_description& found = all[*position];
    const said_of said(known);
    EXPECT_EQ(found.label, known.name);
    EXPECT_EQ(found.unit, said->units);
    EXPECT_EQ(found.description, said->prop_desc);
    if (!said->dims.empty()) {
      EXPECT_EQ(found.axis_label, said->dims.front()->dim_name);
      EXPECT_EQ(found.axis_unit, said->dims.front()->units);
    }
    EXPECT_TRUE(found.changes.empty());
    EXPECT_TRUE(found.problems.empty());
    const std::vector<known_block>& blocks = files.blocks(known.name);
    EXPECT_NEAR(found.rate, rate_of(blocks), 1e-9);
    std::set<std::int32_t> types;
    for (const known_block& block : blocks) types.insert(block.stored_dtype);
    for (const std::int32_t type : types)
      EXPECT_TRUE(std::count(found.data_types.begin(), found.data_types.end(), type)) << type;
    if (!types.empty()) {
      EXPECT_EQ(found.data_types.size(), types.size());
    }
    ++compared;
  }
  EXPECT_GT(compared, 40u);
}

TEST_P(DescriptionOracle, HasTheShapesOfColumns) {
  std::vector<std::string> labels;
  for (const std::string& channel : files.channels()) {
    labels.push_back(channel);
    labels.push_back(channel + ":0");
  }
  const dataset data = dataset::open(select(files.files(), labels));
  const std::vector<channel_description> all = data.describe();
  for (std::size_t i = 0; i < all.size(); ++i) {
    SCOPED_TRACE(all[i].label);
    const column_layout layout = data.layout(all[i].label);
    EXPECT_EQ(all[i].kind, layout.kind);
    EXPECT_EQ(all[i].element, layout.element);
    std::vector<dimension_size> dimensions;
    for (const described_dimension& one : all[i].dimensions)
      dimensions.push_back({one.dimension, one.size});
    EXPECT_EQ(dimensions, layout.dimensions);
    const channel_description alone = data.describe(all[i].label);
    EXPECT_EQ(alone.dimensions, all[i].dimensions);
    EXPECT_EQ(alone.unit, all[i].unit);
    EXPECT_EQ(alone.members, all[i].members);
  }
}

TEST_P(DescriptionOracle, NamesMembersWithTheirUnits) {
  const dataset data = dataset::open(
      select(files.files(), {"LINAC/BPM/001", "LINAC/BPM/001:2", "LINAC/RF/001:1", "LINAC/STATUS/001"}));
  using members = std::vector<described_member>;
  EXPECT_EQ(data.describe("LINAC/BPM/001").members, (members{{"X", "mm"}, {"Y", "mm"}, {"CHARGE", "nC"}}));
  EXPECT_EQ(data.describe("LINAC/BPM/001").unit, "mm, mm, nC");
  EXPECT_EQ(data.describe("LINAC/BPM/001:2").members, (members{{"CHARGE", "nC"}}));
  EXPECT_EQ(data.describe("LINAC/BPM/001:2").unit, "nC");
  EXPECT_EQ(data.describe("LINAC/RF/001:1").unit, "deg");
  std::vector<std::string> names;
  for (const described_member& member : data.describe("LINAC/STATUS/001").members)
    names.push_back(member.name);
  EXPECT_EQ(names, data.column("LINAC/STATUS/001").record_names);
}

INSTANTIATE_TEST_SUITE_P(Generations, DescriptionOracle,
                         testing::Values(ravo_file_generation::current, ravo_file_generation::older),
                         [](const auto& one) {
                           return one.param == ravo_file_generation::current ? "Current" : "Older";
                         });

}  // namespace
