// The ledger of a reading: for each channel how many values the files should hold, how many were delivered,
// and how many are missing, by cause. It is exact: expected = delivered + missing.
#ifndef RAVO_DATASET_LEDGER_H
#define RAVO_DATASET_LEDGER_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "ravo_core_records.h"
#include "ravo_dataset/status.h"
#include "ravo_export.h"

namespace ravo {

/// Why a value is missing: a cause for each status of a missing value, and what alignment leaves out.
enum class missing_cause : std::uint8_t {
  file_missing,
  truncated,
  bad_checksum,
  cannot_inflate,
  cannot_convert,
  type_changed,
  misdirected,
  event_disputed,
  block_too_large,
  no_event_header,  ///< the entry's event header is not valid: the entry belongs to no event
  second_of_event,  ///< the channel has another entry of the same event, which was delivered
};
inline constexpr std::size_t missing_cause_count = 11;
/// A few words. Static text.
RAVO_EXPORT const char* missing_cause_text(missing_cause cause);
/// The cause of a status for which is_missing() holds.
constexpr missing_cause missing_cause_of(value_status status) {
  switch (status) {
    case value_status::ok:
    case value_status::not_recorded:
    case value_status::held:
    case value_status::stale:
    case value_status::file_missing:
      break;
    case value_status::truncated:
      return missing_cause::truncated;
    case value_status::bad_checksum:
      return missing_cause::bad_checksum;
    case value_status::cannot_inflate:
      return missing_cause::cannot_inflate;
    case value_status::cannot_convert:
      return missing_cause::cannot_convert;
    case value_status::type_changed:
      return missing_cause::type_changed;
    case value_status::misdirected:
      return missing_cause::misdirected;
    case value_status::event_disputed:
      return missing_cause::event_disputed;
    case value_status::block_too_large:
      return missing_cause::block_too_large;
  }
  return missing_cause::file_missing;
}

/// One value that is missing.
struct missing_value {
  std::string channel;
  std::string file;
  std::uint64_t offset = 0;  ///< of the block's subheader; 0 where the file does not say
  ravo_time_id event{};
  missing_cause cause = missing_cause::file_missing;
  /// In the ledger of a column: its row; for a value that belongs to no row, the row after it.
  std::uint64_t row = 0;
};

/// Why a file was left out as a whole.
enum class file_refusal : std::uint8_t {
  none,             ///< it was not left out
  machine_error,    ///< the system would not open or read it: nothing is known of the file itself
  missing,          ///< it is not where it should be
  still_written,    ///< it changed less than half a minute ago
  not_regular,      ///< it is no regular file
  not_a_raw_file,   ///< it is of neither generation, or was cut short
  damaged_tables,   ///< its channel dictionary or its event index is damaged
  lost_while_open,  ///< it vanished, changed, or turned out to be damaged after the dataset was opened
};
inline constexpr std::size_t file_refusal_count = 8;
/// A few words. Static text.
RAVO_EXPORT const char* file_refusal_text(file_refusal reason);

/// A file that was left out as a whole: it is not known how many values it holds.
struct RAVO_EXPORT refused_file {
  std::string path;
  file_refusal reason = file_refusal::none;
  std::string problem;  ///< why, in words
};

/// What a sentence of read_ledger::problems is about.
enum class problem_reason : std::uint8_t {
  runs_without_files,
  damaged_catalogue,
  machine_error,  ///< a file of the dataset that the system would not open or read any more
};
/// A problem other than missing values and files that are left out.
struct reading_problem {
  problem_reason reason = problem_reason::machine_error;
  std::string path;  ///< of the file that machine_error is about
  std::string text;  ///< one sentence
  bool operator==(const reading_problem&) const = default;
};

struct channel_ledger {
  std::string channel;
  std::uint64_t expected = 0;
  std::uint64_t delivered = 0;
  std::array<std::uint64_t, missing_cause_count> missing{};
  RAVO_EXPORT std::uint64_t missing_total() const;
  /// Whether every value is accounted for.
  bool is_balanced() const { return expected == delivered + missing_total(); }
};

struct read_ledger {
  /// At most this many missing values are listed one by one, but always the first of each cause of each
  /// channel; all are counted.
  static constexpr std::size_t most_listed = 1000;

  std::vector<channel_ledger> channels;
  std::vector<missing_value> values;  ///< the first ones
  std::vector<refused_file> files;
  /// What is wrong with the answer to a selection of runs or of a period: runs without files, damaged
  /// catalogue files; and files that the system could no longer read. Each once.
  std::vector<reading_problem> problems;

  RAVO_EXPORT std::uint64_t expected() const;
  RAVO_EXPORT std::uint64_t delivered() const;
  RAVO_EXPORT std::uint64_t missing() const;
  RAVO_EXPORT bool is_balanced() const;
  /// The ledger of a channel, added if there is none.
  RAVO_EXPORT channel_ledger& of(const std::string& channel);
  /// Adds another ledger, such as that of another part of a selection: all counts add up. The lists of
  /// both are joined, each file and each problem once; of missing values those of the first events are
  /// kept, in the order of their events' times, those of no event last. Sums do not depend on the order in
  /// which ledgers are added, but for the words of a file that two of them list. A row is that in its own
  /// part's column.
  RAVO_EXPORT void add(const read_ledger& other);
  /// The ledger as one line of JSON, from which from_json() makes the same ledger. docs/dataset.md says
  /// what is in it.
  RAVO_EXPORT std::string to_json() const;
  /// Reads what to_json() writes. Throws json_error for any other text; members that it does not know are
  /// passed over.
  RAVO_EXPORT static read_ledger from_json(std::string_view text);
  /// The ledger as lines for people; a line for each cause with file and offset.
  RAVO_EXPORT std::string to_text() const;
};

}  // namespace ravo

#endif
