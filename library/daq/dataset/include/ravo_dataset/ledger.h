// The account of a reading: for each channel what the files were to hold, what was delivered, and what is
// missing, by cause, to the last value: expected = delivered + missing.
#ifndef RAVO_DATASET_LEDGER_H
#define RAVO_DATASET_LEDGER_H

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "ravo_core_records.h"
#include "ravo_dataset/status.h"

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
  no_event_header,  ///< what the file says is the entry's event header is none: it belongs to no event
  second_of_event,  ///< the channel has another entry of the same event, which was delivered
};
inline constexpr std::size_t missing_cause_count = 11;
/// A few words. Static text.
const char* missing_cause_text(missing_cause cause);
/// The cause of a status for which is_missing() holds.
missing_cause missing_cause_of(value_status status);

/// One value that is missing.
struct missing_value {
  std::string channel;
  std::string file;
  std::uint64_t offset = 0;  ///< of the block's subheader; 0 where the file does not say
  ravo_time_id event{};
  missing_cause cause = missing_cause::file_missing;
  /// In the account of a column: its row; of what is of no row, the one that follows it.
  std::uint64_t row = 0;
};

/// A file that was left out as a whole, because it cannot be read, is not where it should be, or may still
/// be written: how many values it holds is not known.
struct refused_file {
  std::string path;
  std::string problem;
};

struct channel_ledger {
  std::string channel;
  std::uint64_t expected = 0;
  std::uint64_t delivered = 0;
  std::array<std::uint64_t, missing_cause_count> missing{};
  std::uint64_t missing_total() const;
  /// Whether every value is accounted for.
  bool is_balanced() const { return expected == delivered + missing_total(); }
};

struct read_ledger {
  /// No more missing values than these are listed one by one, and the first of each cause of each channel
  /// however many there are; all are counted.
  static constexpr std::size_t most_listed = 1000;

  std::vector<channel_ledger> channels;
  std::vector<missing_value> values;  ///< the first ones
  std::vector<refused_file> files;
  /// What is wrong with the answer to a selection of runs or of a period, in a sentence each: runs of which
  /// nothing was found, catalogue files that are damaged.
  std::vector<std::string> problems;

  std::uint64_t expected() const;
  std::uint64_t delivered() const;
  std::uint64_t missing() const;
  bool is_balanced() const;
  /// The account of a channel, made when there is none.
  channel_ledger& of(const std::string& channel);
  /// Adds another account.
  void add(const read_ledger& other);
  /// The account in lines for people; a line for each cause with file and offset.
  std::string to_text() const;
};

}  // namespace ravo

#endif
