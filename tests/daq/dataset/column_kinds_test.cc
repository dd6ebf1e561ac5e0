// Parts of columns of every kind, over simulated files: rows, members, samples, regions, slow values and
// damage, beside the whole columns; and all channels at once.
#include <gtest/gtest.h>

#include <random>

#include "equal_columns.h"
#include "small_runs.h"

namespace {

using namespace ravo;
using namespace ravo::test;

struct kinds_case {
  ravo_file_generation generation;
  bool is_damaged;
};

class EveryKind : public testing::TestWithParam<kinds_case> {
 protected:
  EveryKind() {
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

  /// Rows, and samples or a region where values have them.
  column_options random_part(const column_data& whole) {
    column_options part;
    switch (below(3)) {
      case 0:
        part.first = below(whole.size());
        part.count = below(whole.size());
        break;
      case 1:
        part.first = below(5);
        part.step = 1 + below(4);
        break;
      default:
        for (std::size_t row = 0; row < whole.size(); ++row)
          if (below(4) == 0) part.row_list.push_back(row);
    }
    const row_shape& shape = whole.layout.shape;
    const bool is_picture = whole.layout.kind == value_kind::image && shape[1] != 0;
    if (whole.layout.kind == value_kind::spectrum && below(2) == 0)
      part.samples = item_range{below(shape[2]), 1 + below(shape[2])};
    if (is_picture && below(2) == 0)
      part.region =
          pixel_region{below(shape[2]), below(shape[1]), 1 + below(shape[2]), 1 + below(shape[1])};
    return part;
  }

  temporary_folder folder;
  selection wanted;
  std::mt19937 random{11};
};

TEST_P(EveryKind, PartIsTheSliceOfTheWhole) {
  std::vector<std::string> labels = wanted.channels;
  for (const std::string& channel : wanted.channels) labels.push_back(channel + ":0");
  selection with_members = wanted;
  with_members.channels = labels;
  const dataset all = dataset::open(with_members);
  std::size_t with_values = 0, missing = 0;
  for (const std::string& channel : labels)
    for (const column_rows kind : {column_rows::recorded, column_rows::events}) {
      SCOPED_TRACE(channel + (kind == column_rows::events ? ", events" : ""));
      column_options options;
      options.rows = kind;
      const column_data whole = all.column(channel, options);
      missing += whole.ledger.missing();
      if (whole.layout.kind != value_kind::none) ++with_values;
      for (int i = 0; i < 3; ++i) {
        column_options part = random_part(whole);
        part.rows = kind;
        ASSERT_NO_FATAL_FAILURE(
            expect_slice(whole, slice_of(whole.size(), part), all.column(channel, part), part));
      }
    }
  EXPECT_GT(with_values, wanted.channels.size());
  EXPECT_EQ(missing > 20, GetParam().is_damaged);
  EXPECT_TRUE(all.ledger().is_balanced());
}

TEST_P(EveryKind, PartsAndChunksAddUpToTheWhole) {
  const dataset data = dataset::open(wanted);
  for (const std::string& channel : wanted.channels)
    for (const column_rows kind : {column_rows::recorded, column_rows::events}) {
      SCOPED_TRACE(channel + (kind == column_rows::events ? ", events" : ""));
      column_options options;
      options.rows = kind;
      options.with_digest = true;
      const column_data whole = data.column(channel, options);
      read_ledger of_chunks, of_parts;
      channel_digest digest_of_chunks, digest_of_parts;
      std::size_t row = 0;
      for (column_chunk_range chunks =
               data.column_chunks(channel, 1 + below(1 << (8 + below(12))), options);
           const column_data& chunk : chunks) {
        for (std::size_t i = 0; i < chunk.size(); ++i, ++row)
          ASSERT_NO_FATAL_FAILURE(expect_equal_row(whole, row, chunk, i)) << row;
        of_chunks.add(chunk.ledger);
        digest_of_chunks.add(*chunk.digest);
      }
      ASSERT_EQ(row, whole.size());
      options.step = 3;
      for (options.first = 0; options.first < 3; ++options.first) {
        const column_data part = data.column(channel, options);
        of_parts.add(part.ledger);
        digest_of_parts.add(*part.digest);
      }
      ASSERT_EQ(digest_of_chunks, *whole.digest);
      ASSERT_EQ(digest_of_parts, *whole.digest);
      ASSERT_NO_FATAL_FAILURE(expect_equal_counts(of_chunks, whole.ledger));
      ASSERT_NO_FATAL_FAILURE(expect_equal_counts(of_parts, whole.ledger));
    }
}

TEST_P(EveryKind, ColumnsAtOnceAreThoseThatAreReadAlone) {
  const dataset data = dataset::open(wanted);
  for (const column_rows kind : {column_rows::recorded, column_rows::events}) {
    column_options options;
    options.rows = kind;
    options.with_digest = true;
    read_progress last;
    column_options followed = options;
    followed.progress = [&last](const read_progress& now) {
      EXPECT_GE(now.done_bytes, last.done_bytes);
      last = now;
    };
    const std::vector<column_data> together = data.columns(wanted.channels, followed);
    EXPECT_GT(last.total_bytes, 0u);
    EXPECT_EQ(last.done_bytes, last.total_bytes);
    for (std::size_t i = 0; i < together.size(); ++i) {
      SCOPED_TRACE(wanted.channels[i]);
      const column_data alone = data.column(wanted.channels[i], options);
      ASSERT_NO_FATAL_FAILURE(expect_slice(alone, slice_of(alone.size(), {}), together[i]));
      ASSERT_EQ(together[i].is_ragged(), alone.is_ragged());
      ASSERT_EQ(together[i].record_names, alone.record_names);
      ASSERT_EQ(*together[i].digest, *alone.digest);
      ASSERT_NO_FATAL_FAILURE(expect_equal_counts(together[i].ledger, alone.ledger));
      if (kind == column_rows::events) {
        ASSERT_EQ(together[i].numbers, together[0].numbers) << "rows of one event";
      }
    }
  }
  EXPECT_TRUE(data.ledger().is_balanced());
}

INSTANTIATE_TEST_SUITE_P(Of, EveryKind,
                         testing::Values(kinds_case{ravo_file_generation::current, false},
                                         kinds_case{ravo_file_generation::current, true},
                                         kinds_case{ravo_file_generation::older, false},
                                         kinds_case{ravo_file_generation::older, true}),
                         [](const auto& test) {
                           return std::string(test.param.generation == ravo_file_generation::current
                                                  ? "CurrentFiles"
                                                  : "OlderFiles") +
                                  (test.param.is_damaged ? "Damaged" : "");
                         });

}  // namespace
