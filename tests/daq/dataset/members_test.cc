// NAME:n is member n, in every way of reading: every data type of either generation, stored plain and
// compressed, each of its members and two that it lacks. The truth is put together by hand.
#include <gtest/gtest.h>

#include <map>

#include "classic_reading.h"
#include "member_payloads.h"

namespace {

using namespace ravo;
using namespace ravo::test;

constexpr std::uint32_t plain = 0, by_zlib = 1, by_lzo = 2;

struct member_case {
  const data_type* type;
  bool is_current;
  std::uint32_t zip_flags;
};

bool is_slow_shape(payload_shape shape) {
  using enum payload_shape;
  return shape == update || shape == update_older || shape == environment;
}

std::vector<member_case> all_cases() {
  std::vector<member_case> cases;
  for (const bool is_current : {true, false})
    for (const data_type& type : data_types) {
      const type_generation other = is_current ? type_generation::older : type_generation::current;
      if (type.generation == other || type.members == 0) continue;
      for (const std::uint32_t zip_flags : {plain, by_zlib, by_lzo})
        if (zip_flags == plain || !is_slow_shape(type.shape))
          cases.push_back({&type, is_current, zip_flags});
    }
  return cases;
}

std::string name_of(const testing::TestParamInfo<member_case>& tested) {
  constexpr const char* stored[] = {"Plain", "Zlib", "Lzo"};
  return std::string(tested.param.type->name) + (tested.param.is_current ? "_Current_" : "_Older_") +
         stored[tested.param.zip_flags];
}

class Members : public testing::TestWithParam<member_case> {
 protected:
  static constexpr int most_members = 10;

  void SetUp() override {
    if (GetParam().is_current)
      write_file<layout_2010>();
    else
      write_file<layout_2009>();
  }

  /// The tested channel is C; M0, M1, ... hold its members alone, plain.
  template <class layout>
  void write_file() {
    known = payload_maker<layout>::make(*GetParam().type);
    handmade_file_of<layout> file;
    file.events = {event_at(1, 0)};
    handmade_channel tested("C");
    const std::uint32_t zip_flags = GetParam().zip_flags;
    tested.blocks = {zip_flags == plain ? known.whole.block : zipped(known.whole.block, zip_flags)};
    file.channels = {tested};
    for (std::size_t i = 0; i < known.members.size(); ++i) {
      handmade_channel alone("M" + std::to_string(i));
      alone.blocks = {known.members[i].block};
      file.channels.push_back(alone);
    }
    path = write(folder, "linac_main_run1_file1_20231114T221320Z.raw", file);
  }

  bool has_member(int member) const { return member < static_cast<int>(known.members.size()); }
  const known_block& member_block(int member) const {
    return known.members[static_cast<std::size_t>(member)];
  }
  static std::string label(int member) { return "C:" + std::to_string(member); }

  dataset open() const {
    std::vector<std::string> channels = {"C"};
    for (int n = 0; n < most_members; ++n) channels.push_back(label(n));
    for (std::size_t i = 0; i < known.members.size(); ++i) channels.push_back("M" + std::to_string(i));
    return dataset::open(of_files({path}, channels));
  }

  void expect_members(const event& one) const {
    EXPECT_EQ(numbers_of(one["C"]), known.whole.numbers);
    for (int n = 0; n < most_members; ++n) {
      SCOPED_TRACE(label(n));
      const value seen = one[label(n)];
      if (has_member(n)) {
        EXPECT_EQ(seen.status(), value_status::ok);
        EXPECT_EQ(numbers_of(seen), member_block(n).numbers);
        EXPECT_EQ(seen.kind(), one["M" + std::to_string(n)].kind());
        EXPECT_EQ(seen.type(), one["M" + std::to_string(n)].type());
      } else {
        EXPECT_EQ(seen.status(), value_status::cannot_convert);
      }
    }
  }

  temporary_folder folder;
  std::string path;
  known_payload known;
};

TEST_P(Members, AreThoseThatWereAskedForInEvents) {
  const dataset data = open();
  for (event_range events = data.events(); const event& one : events) expect_members(one);
  const auto found = data.at(1);
  ASSERT_TRUE(found);
  expect_members(*found);
}

TEST_P(Members, AreThoseThatWereAskedForInColumns) {
  const dataset data = open();
  for (const column_rows rows : {column_rows::recorded, column_rows::events})
    for (int n = 0; n < most_members; ++n) {
      SCOPED_TRACE(label(n));
      column_options options;
      options.rows = rows;
      const column_data column = data.column(label(n), options);
      ASSERT_EQ(column.size(), 1u);
      if (has_member(n)) {
        EXPECT_EQ(column.status[0], value_status::ok);
        EXPECT_EQ(numbers_of(column, 0), member_block(n).numbers);
      } else {
        EXPECT_EQ(column.status[0], value_status::cannot_convert);
      }
    }
}

TEST_P(Members, HaveTheDigestOfTheirOwnBlocks) {
  const dataset data = open();
  std::map<std::string, channel_digest> digests;
  for (const named_digest& one : data.digest()) digests.emplace(one.channel, one.digest);
  for (int n = 0; n < most_members; ++n) {
    SCOPED_TRACE(label(n));
    channel_digest none;
    none.add({1, {noon, 0}}, value_status::cannot_convert, {});
    EXPECT_EQ(digests.at(label(n)), has_member(n) ? digests.at("M" + std::to_string(n)) : none);
    column_options options;
    options.with_digest = true;
    EXPECT_EQ(*data.column(label(n), options).digest, digests.at(label(n)));
  }
}

/// What the classic readers are said to do: they cut types of several members, in the current generation
/// the generic spectrum too, and member 0 out of compressed blocks of other types. What they do not cut, or
/// cannot, is handed over whole.
TEST_P(Members, AreCutByTheClassicReadersAsTheyAreSaidToDo) {
  const member_case& tested = GetParam();
  const bool is_generic = tested.type->code == RAVO_BLOCK_GENERIC_SPECT;
  for (int n = 0; n < most_members; ++n) {
    SCOPED_TRACE(label(n));
    const bool is_cut = tested.type->members > 1 || (is_generic && tested.is_current) ||
                        (tested.zip_flags != plain && n == 0);
    const auto numbers =
        tested.is_current
            ? classic_numbers<ravo_daq_slicer_2010, ravo_daq_chan_param_2010>(path, "C", n, numbers_of)
            : classic_numbers<ravo_daq_slicer, ravo_daq_chan_param>(path, "C", n, numbers_of);
    EXPECT_EQ(numbers, is_cut && has_member(n) ? member_block(n).numbers : known.whole.numbers);
  }
}

INSTANTIATE_TEST_SUITE_P(EveryType, Members, testing::ValuesIn(all_cases()), name_of);

/// In an older block a name has 31 bytes; the name of what is cut out of it does not matter here.
TEST(MembersOfOlderFiles, AreReadWhateverTheLengthOfTheName) {
  const temporary_folder folder;
  const std::string name(31, 'N');
  handmade_file_of<layout_2009> file;
  file.events = {event_at(1, 0)};
  handmade_channel channel(name);
  handmade_block block;
  block.dtype = RAVO_BLOCK_RF_250K;
  block.payload = spectrum<layout_2009>({{1, 2}, {3, 4}});
  channel.blocks = {block};
  file.channels = {channel};
  const dataset data = dataset::open(of_files({write(folder, "a.raw", file)}, {name + ":1"}));
  EXPECT_EQ(numbers_of((*data.at(1))[0]), (std::vector<double>{3, 4}));
  EXPECT_EQ(numbers_of(data.column(name + ":1"), 0), (std::vector<double>{3, 4}));
}

}  // namespace
