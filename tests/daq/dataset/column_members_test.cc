// One member of a column, chosen while it is read: every kind, both generations, damage included. The truth
// is the slice of the whole column, the events' values, and the channel "NAME:n".
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <map>
#include <random>
#include <utility>

#include "equal_columns.h"
#include "small_runs.h"

namespace {

using namespace ravo;
using namespace ravo::test;
using testing::HasSubstr;

struct members_case {
  ravo_file_generation generation;
  bool is_damaged;
};

/// The most members that a simulated value has, and one that it lacks.
constexpr int members_to_try = 6;

class MemberOf : public testing::TestWithParam<members_case> {
 protected:
  MemberOf() {
    const simulated_files& made = small_runs(GetParam().generation);
    wanted.files = GetParam().is_damaged ? damaged_copies(made.files(), folder) : made.files();
    wanted.slow = slow_policy::hold;
    wanted.max_age = 1'000'000;
    for (const std::string& channel : made.channels())
      if (!made.blocks(channel).empty()) wanted.channels.push_back(channel);
  }

  std::size_t below(std::size_t n) {
    return static_cast<std::size_t>(random() % std::max<std::size_t>(n, 1));
  }

  column_options random_rows(std::size_t rows) {
    column_options part;
    if (below(2) == 0) {
      part.first = below(rows);
      part.count = below(rows);
      part.step = 1 + below(3);
    } else {
      for (std::size_t row = 0; row < rows; ++row)
        if (below(4) == 0) part.row_list.push_back(row);
    }
    return part;
  }

  temporary_folder folder;
  selection wanted;
  std::mt19937 random{17};
};

/// The bytes of one member of a row of a whole column; `nullopt` if the row lacks it.
std::optional<std::vector<std::byte>> member_of_row(const column_data& whole, std::size_t row, int member) {
  const auto n = static_cast<std::size_t>(member);
  const row_shape shape = whole.shape_of_row(row);
  const std::vector<std::byte> all = bytes_of_row(whole, row);
  std::size_t first = 0, count = all.size();
  if (whole.layout.kind == value_kind::spectrum) {
    if (n >= shape[0]) return std::nullopt;
    count = all.size() / shape[0];
    first = n * count;
  } else if (whole.layout.kind == value_kind::roi) {
    if (n >= 2) return std::nullopt;
    first = n == 0 ? 0 : shape[1] * sizeof(float);
    count = shape[n + 1] * sizeof(float);
  } else if (n > 0) {
    return std::nullopt;
  }
  return std::vector(all.begin() + static_cast<std::ptrdiff_t>(first),
                     all.begin() + static_cast<std::ptrdiff_t>(first + count));
}

void expect_member(const column_data& whole, std::size_t row, const column_data& part, std::size_t in_part,
                   int member) {
  ASSERT_EQ(part.numbers[in_part], whole.numbers[row]);
  if (!has_value(whole.status[row])) {
    ASSERT_EQ(part.status[in_part], whole.status[row]);
    return;
  }
  const auto expected = member_of_row(whole, row, member);
  ASSERT_EQ(part.status[in_part], expected ? whole.status[row] : value_status::cannot_convert);
  if (!expected) return;
  ASSERT_EQ(bytes_of_row(part, in_part), *expected);
  const spectrum_axis is = axis_of_row(part, in_part), of_whole = axis_of_row(whole, row);
  const bool is_second = whole.layout.kind == value_kind::roi && member == 1;
  ASSERT_EQ(is.start, is_second ? of_whole.y_start : of_whole.start);
  ASSERT_EQ(is.increment, of_whole.increment);
}

TEST_P(MemberOf, EveryKindIsTheSliceOfTheWhole) {
  const dataset data = dataset::open(wanted);
  std::map<value_kind, int> compared;
  for (const std::string& channel : wanted.channels)
    for (const column_rows kind : {column_rows::recorded, column_rows::events}) {
      column_options options;
      options.rows = kind;
      const column_data whole = data.column(channel, options);
      if (whole.layout.kind == value_kind::name_value) continue;  // their members are records
      for (int member = 0; member < members_to_try; ++member) {
        SCOPED_TRACE(channel + " member " + std::to_string(member));
        column_options part = random_rows(whole.size());
        part.rows = kind;
        part.member = member;
        const column_data read = data.column(channel, part);
        const std::vector<std::size_t> rows = slice_of(whole.size(), part);
        ASSERT_EQ(read.size(), rows.size());
        for (std::size_t i = 0; i < rows.size(); ++i) {
          ASSERT_NO_FATAL_FAILURE(expect_member(whole, rows[i], read, i, member)) << rows[i];
          if (has_value(read.status[i])) ++compared[whole.layout.kind];
        }
        ASSERT_TRUE(read.ledger.is_balanced());
      }
    }
  for (const value_kind kind :
       {value_kind::spectrum, value_kind::roi, value_kind::image, value_kind::update, value_kind::text})
    EXPECT_GT(compared[kind], 10) << static_cast<int>(kind);
  EXPECT_TRUE(data.ledger().is_balanced());
}

TEST_P(MemberOf, ListsIsTheRecordAtThatPosition) {
  const dataset data = dataset::open(wanted);
  int compared = 0;
  for (const std::string& channel : wanted.channels) {
    if (data.layout(channel).kind != value_kind::name_value) continue;
    for (int member = 0; member < members_to_try; ++member) {
      column_options part;
      part.rows = column_rows::events;
      part.member = member;
      const column_data read = data.column(channel, part);
      std::size_t row = 0;
      for (event_range events = data.events(); const event& one : events) {
        SCOPED_TRACE(channel + " row " + std::to_string(row));
        const value seen = one[channel];
        const std::size_t at = row++;
        if (!seen.has_value()) {
          ASSERT_EQ(read.status[at], seen.status());
          continue;
        }
        const auto records = seen.name_values().records;
        if (static_cast<std::size_t>(member) >= records.size()) {
          ASSERT_EQ(read.status[at], value_status::cannot_convert);
          continue;
        }
        const ravo_name_value_channel& record = records[static_cast<std::size_t>(member)];
        const std::string name(record.name, strnlen(record.name, sizeof record.name));
        const auto place = std::find(read.record_names.begin(), read.record_names.end(), name);
        ASSERT_NE(place, read.record_names.end()) << name;
        const float value =
            read.row<float>(at)[static_cast<std::size_t>(place - read.record_names.begin())];
        ASSERT_EQ(std::memcmp(&value, &record.value, sizeof value), 0);
        ++compared;
      }
      ASSERT_EQ(row, read.size());
    }
  }
  EXPECT_GT(compared, 10);
}

TEST_P(MemberOf, ChannelHasTheAccountsOfTheChannelOfThatMember) {
  selection with_members = wanted;
  for (const std::string& channel : wanted.channels)
    for (int member = 0; member < 3; ++member)
      with_members.channels.push_back(channel + ":" + std::to_string(member));
  const dataset data = dataset::open(with_members);
  for (const std::string& channel : wanted.channels)
    for (int member = 0; member < 3; ++member) {
      const std::string label = channel + ":" + std::to_string(member);
      SCOPED_TRACE(label);
      column_options options;
      options.with_digest = true;
      const column_data expected = data.column(label, options);
      options.member = member;
      const column_data read = data.column(channel, options);
      EXPECT_EQ(*read.digest, *expected.digest);
      EXPECT_EQ(read.status, expected.status);
      EXPECT_EQ(read.layout.dimensions, expected.layout.dimensions);
      EXPECT_EQ(read.ledger.delivered(), expected.ledger.delivered());
      EXPECT_EQ(read.ledger.expected(), expected.ledger.expected());
      EXPECT_EQ(data.layout(channel, options).bytes(), data.layout(label).bytes());
    }
}

TEST_P(MemberOf, ChunksAndSeveralColumnsIsThatOfTheColumn) {
  const dataset data = dataset::open(wanted);
  column_options options;
  options.member = 1;
  const std::vector<column_data> together = data.columns(wanted.channels, options);
  for (std::size_t i = 0; i < wanted.channels.size(); ++i) {
    SCOPED_TRACE(wanted.channels[i]);
    const column_data whole = data.column(wanted.channels[i], options);
    ASSERT_NO_FATAL_FAILURE(expect_slice(whole, slice_of(whole.size(), {}), together[i]));
    std::size_t row = 0;
    for (column_chunk_range chunks = data.column_chunks(wanted.channels[i], 1 + below(5000), options);
         const column_data& chunk : chunks)
      for (std::size_t of_chunk = 0; of_chunk < chunk.size(); ++of_chunk, ++row)
        ASSERT_NO_FATAL_FAILURE(expect_equal_row(whole, row, chunk, of_chunk)) << row;
    ASSERT_EQ(row, whole.size());
  }
}

TEST_P(MemberOf, SpectraIsCutToItsSamples) {
  const dataset data = dataset::open(wanted);
  int compared = 0;
  for (const std::string& channel : wanted.channels) {
    column_options options;
    options.member = 1;
    const column_data whole = data.column(channel, options);
    if (whole.layout.kind != value_kind::spectrum || whole.layout.shape[2] < 8) continue;
    options.samples = item_range{3, 4};
    ASSERT_NO_FATAL_FAILURE(
        expect_slice(whole, slice_of(whole.size(), {}), data.column(channel, options), options));
    ++compared;
  }
  EXPECT_GT(compared, 3);
}

INSTANTIATE_TEST_SUITE_P(Of, MemberOf,
                         testing::Values(members_case{ravo_file_generation::current, false},
                                         members_case{ravo_file_generation::current, true},
                                         members_case{ravo_file_generation::older, false},
                                         members_case{ravo_file_generation::older, true}),
                         [](const auto& test) {
                           return std::string(test.param.generation == ravo_file_generation::current
                                                  ? "CurrentFiles"
                                                  : "OlderFiles") +
                                  (test.param.is_damaged ? "Damaged" : "");
                         });

/// The message of a selection_error.
template <class Read>
std::string refusal_of(Read read) {
  try {
    read();
  } catch (const selection_error& error) {
    return error.what();
  }
  return "";
}

TEST(MemberOfAMember, IsRefused) {
  const simulated_files& made = small_runs(ravo_file_generation::current);
  const std::string name = made.channels().front();
  const dataset data = dataset::open(select(made.files(), {name, name + ":0"}));
  column_options options;
  options.member = 0;
  EXPECT_THAT(refusal_of([&] { data.column(name + ":0", options); }), HasSubstr("is a member"));
  EXPECT_THAT(refusal_of([&] { data.layout(name + ":0", options); }), HasSubstr("is a member"));
  EXPECT_EQ(refusal_of([&] { data.column(name, options); }), "");
  options.member = -1;
  EXPECT_THAT(refusal_of([&] { data.column(name, options); }), HasSubstr("no member -1"));
  EXPECT_THAT(refusal_of([&] { data.column_chunks(name, 100, options); }), HasSubstr("no member -1"));
}

TEST(AbsolutePaths, MeanTheSameInEveryDirectory) {
  const std::string here = std::filesystem::current_path().string();
  selection wanted = selection::parse(
      "file=a.raw,/b.raw context=sub/../c.raw left_out=missing:d.raw chan=X "
      "manifest=lists,sha256:" +
      std::string(64, '0'));
  wanted.data = "one::/two";
  const selection made = with_absolute_paths(wanted);
  EXPECT_EQ(made.files, (std::vector<std::string>{here + "/a.raw", "/b.raw"}));
  EXPECT_EQ(made.context, std::vector<std::string>{here + "/c.raw"});
  EXPECT_EQ(made.left_out.front().path, here + "/d.raw");
  EXPECT_EQ(made.manifests.front().path, here + "/lists");
  EXPECT_EQ(made.data, here + "/one:/two");
  EXPECT_EQ(made.catalogue, "");
  EXPECT_EQ(made.channels, wanted.channels);
  EXPECT_EQ(with_absolute_paths(made), made);
}

}  // namespace
