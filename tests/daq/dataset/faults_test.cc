// The dataset layer on a failing machine: every call of a kind fails in turn, once and from there on. A
// reading then throws what its header names, or reports by status what is missing; it delivers no wrong
// value, does not end the process, leaks nothing and leaves no thread.
#include "../../faults/shim.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bitset>
#include <cerrno>
#include <cstring>
#include <limits>
#include <map>
#include <new>
#include <optional>
#include <set>
#include <string_view>
#include <system_error>

#include "captured_output.h"
#include "noisy_file.h"
#include "written_files.h"

namespace {

using namespace ravo;
using namespace ravo::test;
using testing::HasSubstr;
using testing::Not;

template <class layout>
class Machine : public testing::Test {
 protected:
  // Two files of four events: a number of each event, plain and compressed, rows of different shapes, and
  // lists each of which has a record of its own. One block of each file has a name that no channel has,
  // for which the dictionary is read again.
  Machine() {
    for (std::uint32_t part = 0; part < 2; ++part) {
      handmade_file_of<layout> file;
      std::vector<std::pair<std::size_t, float>> numbers;
      handmade_channel waves("WAVES");
      for (std::uint32_t i = 0; i < 4; ++i) {
        const std::uint32_t number = 1 + part * 4 + i;
        file.events.push_back(event_at(number, number * 100));
        numbers.emplace_back(i, static_cast<float>(number));
        handmade_block block;
        block.event = i;
        block.dtype = layout::single_type;
        block.payload = spectrum<layout>({std::vector<float>(number, static_cast<float>(number))});
        waves.blocks.push_back(block);
      }
      file.channels = {numbers_at<layout>("ZLIB", numbers, 1), numbers_at<layout>("LZO", numbers, 2), waves,
                       lists_of(numbers)};
      bytes built = file.build();
      const std::string name = "FRONT_END";
      const std::size_t second_of_lzo = file.at.at("pointers") + 12 + (4 + 1) * 16;
      std::memcpy(built.data() + built.word(second_of_lzo + 8), name.data(), name.size());
      folder.write("part" + std::to_string(part) + ".raw", built.vector());
    }
    text = "file=" + folder.path().string();
  }

  static handmade_channel lists_of(const std::vector<std::pair<std::size_t, float>>& numbers) {
    handmade_channel lists("LISTS");
    for (const auto& [event, number] : numbers) {
      handmade_block block;
      block.event = event;
      block.dtype = RAVO_BLOCK_NAME_VALUE;
      block.payload.i32(1).text("", 80).i32(1).text(name_of_record(number), 80).f32(number);
      lists.blocks.push_back(block);
    }
    return lists;
  }
  static std::string name_of_record(float number) { return "R" + std::to_string(static_cast<int>(number)); }

  // A text without memory of its own: that of the reading is counted.
  struct kept_text {
    std::array<char, 32768> bytes{};

    void keep(std::string_view text) { text.copy(bytes.data(), bytes.size() - 1); }
    std::string text() const { return bytes.data(); }
  };

  struct outcome {
    bool has_thrown = false;
    kept_text said;                            ///< what was thrown, or the ledger in words
    std::bitset<value_status_count> statuses;  ///< of values that were not delivered
    std::bitset<missing_cause_count> causes;   ///< of what the ledger lists
    bool is_balanced = true;
    std::size_t values = 0;
    std::size_t wrong = 0;
    std::uint64_t missing = 0;
    std::size_t refused = 0;
  };

  void take(outcome& got, const value& seen, std::uint32_t event) const {
    if (!seen.has_value()) {
      got.statuses.set(static_cast<std::size_t>(seen.status()));
      return;
    }
    ++got.values;
    if (seen.scalar() != event) ++got.wrong;
  }

  // The row's number; that of a list is at the record that its event has.
  static float number_in(const column_data& column, std::size_t row) {
    std::size_t element = 0;
    if (!column.record_names.empty()) {
      const std::string name = name_of_record(static_cast<float>(column.numbers[row]));
      const auto& names = column.record_names;
      element = static_cast<std::size_t>(std::find(names.begin(), names.end(), name) - names.begin());
      if (element == names.size()) return 0;
    }
    return column.row<float>(row)[element];
  }

  void read(outcome& got) const {
    dataset_options options;
    options.threads = 3;
    const dataset data = dataset::open(text, options);
    got.refused = data.ledger().files.size();
    static_cast<void>(data.plan());
    event_range events = data.events();
    for (const event& one : events)
      for (std::size_t channel = 0; channel < one.channels(); ++channel)
        take(got, one[channel], one.number());
    for (const dataset_channel& channel : data.channels()) {
      column_options with_digest;
      with_digest.with_digest = true;
      const column_data column = data.column(channel.label, with_digest);
      for (std::size_t row = 0; row < column.size(); ++row) {
        if (!has_value(column.status[row])) {
          got.statuses.set(static_cast<std::size_t>(column.status[row]));
          continue;
        }
        ++got.values;
        if (number_in(column, row) != static_cast<float>(column.numbers[row])) ++got.wrong;
      }
    }
    if (const auto found = data.at(7)) take(got, (*found)["LZO"], 7);
    got.missing = data.ledger().missing();
    got.refused = data.ledger().files.size();  // also those that could not be read later on
    got.is_balanced = data.ledger().is_balanced();
    for (const missing_value& one : data.ledger().values)
      got.causes.set(static_cast<std::size_t>(one.cause));
    got.said.keep(data.ledger().to_text());
  }
  static constexpr std::size_t all_values = 2 * 4 * 8 + 1;

  outcome try_to_read() const {
    outcome got;
    try {
      read(got);
    } catch (const dataset_error& error) {
      got.has_thrown = true;
      got.said.keep(error.what());
    } catch (const std::bad_alloc&) {
      got.has_thrown = true;
    }
    return got;
  }

  /// Nothing is missing because of the file itself, and the system's reason is reported.
  static void expect_machine_blamed(const outcome& got, int error, long which) {
    const std::string said = got.said.text();
    if (got.has_thrown || got.values != all_values) {
      EXPECT_THAT(said, HasSubstr(std::generic_category().message(error))) << which;
    }
    for (const char* blame : {"damaged", "cut short", "no raw file", "no events"})
      EXPECT_THAT(said, Not(HasSubstr(blame))) << which;
    for (std::size_t i = 0; i < value_status_count; ++i) {
      const auto status = static_cast<value_status>(i);
      EXPECT_TRUE(status == value_status::file_missing || !got.statuses[i])
          << which << " " << value_status_text(status);
    }
    for (std::size_t i = 0; i < missing_cause_count; ++i) {
      const auto cause = static_cast<missing_cause>(i);
      EXPECT_TRUE(cause == missing_cause::file_missing || !got.causes[i])
          << which << " " << missing_cause_text(cause);
    }
  }

  /// The rows that a column misses when one read fails, and only because it does; nothing when there are
  /// fewer reads. With one thread they come in one order.
  std::optional<std::vector<std::size_t>> missing_with_one_bad_read(const char* channel, long which) const {
    dataset_options options;
    options.threads = 1;
    const dataset data = dataset::open(text, options);
    const fault armed(call::read, which, mishap::failure, EIO);
    const column_data column = data.column(channel);
    armed.disarm();
    std::vector<std::size_t> missing;
    for (std::size_t row = 0; row < column.size(); ++row)
      if (column.status[row] != value_status::ok) {
        EXPECT_EQ(column.status[row], value_status::file_missing) << which << " row " << row;
        missing.push_back(row);
      } else {
        EXPECT_EQ(number_in(column, row), static_cast<float>(column.numbers[row])) << which;
      }
    if (column.ledger.missing() > 0) {
      EXPECT_THAT(column.ledger.to_text(), HasSubstr("could not be read: Input/output error")) << which;
    }
    return armed.happened() ? std::optional(missing) : std::nullopt;
  }

  /// Disturbs every call in turn; returns how many there were.
  long disturb(unsigned kinds, int error, extent reach) const {
    const outcome good = try_to_read();
    EXPECT_EQ(good.values, all_values);
    {
      // The process keeps the memory of its first exception.
      const fault armed(kinds, 0, mishap::failure, error, reach);
      try_to_read();
    }
    const long threads = settled_threads(idle_threads()), descriptors = open_descriptors();
    for (long which = 0;; ++which) {
      const allocation_count memory;
      const fault armed(kinds, which, mishap::failure, error, reach);
      const outcome got = try_to_read();
      const bool happened = armed.happened();
      const long calls = armed.calls();
      armed.disarm();
      EXPECT_LE(settled_threads(threads), threads) << which;
      EXPECT_EQ(open_descriptors(), descriptors) << which;
      EXPECT_EQ(memory.living(), 0) << which << " " << memory.places();
      EXPECT_EQ(got.wrong, 0u) << which;
      if (!got.has_thrown) {
        EXPECT_TRUE(got.is_balanced) << which;
        // Values that were not delivered are in the ledger, unless a whole file is.
        if (got.values != all_values) {
          EXPECT_TRUE(got.missing > 0 || got.refused > 0) << which;
        }
      }
      if (happened && (kinds & ~(call::open | call::read)) == 0) expect_machine_blamed(got, error, which);
      if (testing::Test::HasFailure()) return 0;
      if (!happened) {
        EXPECT_EQ(got.values, all_values);
        return calls;
      }
    }
  }

  void disturb_both_ways(unsigned kinds, int error, long at_least) const {
    for (const extent reach : {extent::one_call, extent::all_from_there})
      EXPECT_GE(disturb(kinds, error, reach), at_least);
  }

  temporary_folder folder;
  std::string text;
};

using layouts = testing::Types<layout_2010, layout_2009>;
TYPED_TEST_SUITE(Machine, layouts);

// ThreadSanitizer keeps its memory to itself.
#ifndef __SANITIZE_THREAD__
TYPED_TEST(Machine, WithoutMemoryEndsReadingsOnly) {
  this->disturb_both_ways(call::allocation, ENOMEM, 200);
}

// A reading that asks again after std::bad_alloc gets the event that it missed, and each is counted once.
TYPED_TEST(Machine, ThatHasMemoryAgainGoesOnWhereItStood) {
  int complete = 0;
  for (const event_order order : {event_order::forward, event_order::backward})
    for (long which = 0;; ++which) {
      const dataset data = dataset::open(this->text);
      event_options how;
      how.order = order;
      event_range events = data.events(how);
      std::vector<std::uint32_t> seen;
      seen.reserve(100);
      const fault armed(call::allocation, which, mishap::failure, ENOMEM);
      for (bool goes_on = true; goes_on;) try {
          while (const auto one = events.next()) {
            if (seen.size() < 100) seen.push_back(one->number());
          }
          goes_on = false;
        } catch (const std::bad_alloc&) {
        }
      const bool happened = armed.happened();
      armed.disarm();
      std::vector<std::uint32_t> expected{1, 2, 3, 4, 5, 6, 7, 8};
      if (order == event_order::backward) std::reverse(expected.begin(), expected.end());
      const read_ledger ledger = events.ledger();
      // Tables for which there was no memory are those of a file that cannot be read.
      if (ledger.missing() == 0) {
        EXPECT_EQ(seen, expected) << which;
      }
      EXPECT_TRUE(std::includes(
          expected.begin(), expected.end(), seen.begin(), seen.end(),
          [&](std::uint32_t a, std::uint32_t b) { return order == event_order::backward ? a > b : a < b; }))
          << which;
      EXPECT_EQ(ledger.delivered(), 4 * seen.size()) << which;
      EXPECT_EQ(ledger.expected(), 32u) << which;
      EXPECT_TRUE(ledger.is_balanced()) << which;
      complete += ledger.missing() == 0 ? 1 : 0;
      if (testing::Test::HasFailure() || !happened) break;
    }
  EXPECT_GT(complete, 20);
}
#endif

TYPED_TEST(Machine, WithoutDescriptorsIsReportedByFile) { this->disturb_both_ways(call::open, EMFILE, 2); }

TYPED_TEST(Machine, ThatReadsBadlyMissesValuesOnly) { this->disturb_both_ways(call::read, EIO, 20); }

// A separate pass over all blocks finds the records of a column of lists. A list that could be
// read only in the next pass has records that the column does not know: it is not another kind of value.
TYPED_TEST(Machine, ThatReadsAListBadlyAtFirstDoesNotCallItsTypeChanged) {
  int disturbed = 0;
  for (long which = 0;; ++which) {
    const auto rows = this->missing_with_one_bad_read("LISTS", which);
    if (!rows || testing::Test::HasFailure()) break;
    disturbed += rows->empty() ? 0 : 1;
  }
  EXPECT_GE(disturbed, 4) << "two files, two passes";
}

// The first readable block decides what a column's values are. The only block could be read only after
// that was asked: the column has no place for its value.
TYPED_TEST(Machine, ThatReadsTheOnlyBlockTooLateMissesIt) {
  handmade_file_of<TypeParam> file;
  file.events = {event_at(1, 0)};
  file.channels = {numbers_at<TypeParam>("ONE", {{0, 2.5f}})};
  const dataset data = dataset::open(of_files({write(this->folder, "one.raw", file)}));
  ASSERT_EQ(data.size(), 1u);
  int late = 0;
  for (long which = 0;; ++which) {
    const fault armed(call::read, which, mishap::failure, EIO);
    const column_data column = data.column("ONE");
    armed.disarm();
    if (!armed.happened()) break;
    ASSERT_EQ(column.size(), 1u) << which;
    EXPECT_TRUE(column.ledger.is_balanced()) << which;
    if (column.status[0] == value_status::ok) {
      EXPECT_EQ(column.values<float>()[0], 2.5f) << which;
      continue;
    }
    EXPECT_EQ(column.status[0], value_status::file_missing) << which;
    late += column.layout.kind == value_kind::none ? 1 : 0;
  }
  EXPECT_EQ(late, 1);
}

// The second block of LZO has in each file a name of its own, and whether it is another channel's is not
// known when the dictionary cannot be read.
TYPED_TEST(Machine, ThatCannotReadTheDictionaryAgainDoesNotCallABlockMisdirected) {
  std::set<std::vector<std::size_t>> missing;
  for (long which = 0;; ++which) {
    const auto rows = this->missing_with_one_bad_read("LZO", which);
    if (!rows || testing::Test::HasFailure()) break;
    missing.insert(*rows);
  }
  EXPECT_THAT(missing, testing::IsSupersetOf<std::vector<std::size_t>>({{1}, {5}}));
}

// The file is good: its reason is the machine's, whichever table or block could not be read.
TYPED_TEST(Machine, ThatReadsBadlyIsTheReasonOfEachRefusal) {
  std::size_t left_out = 0, unread = 0;
  for (const unsigned kind : {call::open, call::read})
    for (long which = 0, happened = 1; happened; ++which) {
      const fault armed(kind, which, mishap::failure, EIO);
      try {
        const dataset data = dataset::open(this->text);
        event_range events = data.events();
        while (events.next()) continue;
        const read_ledger ledger = events.ledger();
        for (const refused_file& file : ledger.files) {
          EXPECT_EQ(file.reason, file_refusal::machine_error) << which << " " << file.problem;
          ++left_out;
        }
        for (const reading_problem& problem : ledger.problems) {
          EXPECT_EQ(problem.reason, problem_reason::machine_error) << which << " " << problem.text;
          EXPECT_TRUE(problem.path == data.files()[0].path || problem.path == data.files()[1].path);
          ++unread;
        }
      } catch (const file_left_out& error) {
        EXPECT_EQ(error.file.reason, file_refusal::machine_error) << which << " " << error.what();
      }
      happened = armed.happened() ? 1 : 0;
    }
  EXPECT_GE(left_out, 4u);
  EXPECT_GE(unread, 4u);
}

TYPED_TEST(Machine, ThatInterruptsAnyCallMissesNothing) {
  constexpr unsigned kinds = call::open | call::read | call::stat | call::open_folder | call::list_folder;
  EXPECT_EQ(this->try_to_read().values, this->all_values);
  for (long first = 0; first < 2; ++first) {
    const fault armed(kinds, first, mishap::failure, EINTR, extent::every_second);
    const auto got = this->try_to_read();
    EXPECT_FALSE(got.has_thrown);
    EXPECT_EQ(got.values, this->all_values);
    EXPECT_EQ(got.refused, 0u);
    EXPECT_GE(armed.calls(), 20);
  }
}

// A request reads the catalogue's folder and the data folders too.
TYPED_TEST(Machine, ThatInterruptsAnyCallOfARequestMissesNothing) {
  constexpr unsigned kinds = call::open | call::read | call::stat | call::open_folder | call::list_folder;
  handmade_file_of<TypeParam> file;
  file.events.push_back(event_at(1, 100));
  file.channels = {numbers_at<TypeParam>("ZLIB", {{0, 1.0f}}, 1)};
  write(this->folder, "linac_main_run7_file1_20231114T221320Z.raw", file);
  setenv("RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME", "1", 1);
  const fault armed(kinds, 0, mishap::failure, EINTR, extent::every_second);
  const dataset data =
      dataset::open("run=7 catalog=" + this->folder.file("none") + " data=" + this->folder.path().string());
  unsetenv("RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME");
  EXPECT_EQ(data.ledger().files.size(), 0u);
  event_range events = data.events();
  EXPECT_EQ((*events.begin())["ZLIB"].scalar(), 1.0);
}

/// Calls that read a file while a column is read.
long reads_of_column(const dataset& data, const column_options& options) {
  constexpr long none_fails = std::numeric_limits<long>::max();
  const fault armed(call::read, none_fails, mishap::failure, EIO);
  data.column("NOISE", options);
  return armed.calls();
}

TEST(PartOfAColumn, ReadsTheBlocksOfItsRowsOnly) {
  constexpr std::size_t larger_than_a_window = 128 * 1024;  // samples
  const temporary_folder folder;
  const dataset data = dataset::open(of_files({noise(folder, 12, larger_than_a_window)}));
  data.layout("NOISE");
  column_options part;
  part.first = 11;
  data.column("NOISE", part);  // has looked at the first block of the column
  EXPECT_EQ(reads_of_column(data, part), 1);
  part.first = 3;
  part.count = 4;
  EXPECT_EQ(reads_of_column(data, part), 4);
  part = {};
  part.row_list = {2, 5, 9};
  part.samples = item_range{7, 3};
  EXPECT_EQ(reads_of_column(data, part), 3);
  part = {};
  part.count = 0;
  EXPECT_EQ(reads_of_column(data, part), 0);
  EXPECT_GE(reads_of_column(data, {}), 12);
}

TYPED_TEST(Machine, WithoutThreadsReadsWithFewer) {
  this->disturb_both_ways(call::thread, EAGAIN, 2);
  for (const long started : {0, 1}) {  // with none, the thread that asks reads
    const fault armed(call::thread, started, mishap::failure, EAGAIN, extent::all_from_there);
    EXPECT_EQ(this->try_to_read().values, this->all_values);
  }
}

TYPED_TEST(Machine, ThatCannotReadAFolderSaysWhichAndWhy) {
  for (const unsigned kind : {call::open_folder, call::list_folder}) {
    const fault armed(kind, 0, mishap::failure, EIO);
    try {
      dataset::open(this->text);
      ADD_FAILURE() << kind;
    } catch (const selection_error& error) {
      EXPECT_EQ(std::string(error.what()),
                "The folder " + this->folder.path().string() + " cannot be read: Input/output error");
    }
  }
}

TYPED_TEST(Machine, ThatCannotReadADataDirectorySaysSoToo) {
  const captured_output silence;
  const fault armed(call::open_folder, 0, mishap::failure, EACCES, extent::all_from_there);
  try {
    dataset::open("from=1700000000 to=1700000001 data=" + this->folder.path().string());
    FAIL();
  } catch (const selection_error& error) {
    EXPECT_THAT(error.what(), HasSubstr("cannot be read: Permission denied"));
  }
}

}  // namespace
