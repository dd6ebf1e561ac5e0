// The ledgers of a dataset: what a reading expected of the files, what it delivered, and why the rest is
// missing. A ledger that is kept here balances, whatever part of the selection was read.
#ifndef RAVO_DATASET_LEDGER_KEEPER_H
#define RAVO_DATASET_LEDGER_KEEPER_H

#include <cstdint>
#include <mutex>
#include <span>
#include <string>
#include <vector>

#include "align/channel_table.h"
#include "align/timeline.h"
#include "ravo_dataset/dataset.h"
#include "ravo_dataset/ledger.h"
#include "work/open_files.h"

namespace ravo::detail {

/// The files of a dataset.
struct dataset_files {
  std::vector<dataset_file> readable;
  std::vector<dataset_file> all;  ///< those that cannot be read, too
  std::vector<refused_file> refused;
  std::vector<reading_problem> problems;  ///< with the answer to the selection
};

/// Whether a reading takes all events of the selection.
enum class reading_extent { whole, part };

class ledger_keeper {
 public:
  ledger_keeper(const selection& wanted, const damage_policy& damage, const dataset_files& files,
                const channel_table& channels, const timeline& line, const open_files& opened)
      : wanted_(wanted),
        damage_(damage),
        files_(files),
        channels_(channels),
        timeline_(line),
        opened_(opened) {}

  /// A ledger for a new reading, with what is already known to be missing.
  read_ledger open() const;
  /// Records a value that was expected, in row `position` of a ledger. Throws missing_data for a strict
  /// policy.
  void record(read_ledger& ledger, std::size_t position, std::size_t channel, const entry& where,
              value_status status) const;
  /// Records a channel's further entries of an event, beside the one that is delivered.
  void record_duplicates(read_ledger& ledger, std::size_t position, std::size_t channel,
                         std::span<const entry> duplicates) const;
  /// Records what alignment could not assign to a segment's events: once for each reading, segment and
  /// channel. If a file is gone, a reading of a part of the selection cannot say how many of its values are
  /// missing: it lists the file, and throws missing_data unless all may be missing.
  void record_unaligned(read_ledger& ledger, std::size_t position, const segment& part, std::size_t channel,
                        reading_extent extent) const;
  /// Adds the ledger of a reading to that of all readings.
  void add(const read_ledger& of_reading);
  /// The same, and throws missing_data when too much is missing.
  void close(const read_ledger& of_reading);
  read_ledger of_all_readings() const;

 private:
  void record_lost_file(read_ledger& ledger, std::size_t position, std::uint32_t file, std::size_t channel,
                        reading_extent extent) const;
  void record_missing(read_ledger& ledger, std::size_t position, std::size_t channel, const entry& where,
                      missing_cause cause) const;
  void note_unreadable(read_ledger& ledger, std::uint32_t file) const;
  bool takes_whole_file(std::uint32_t file) const;
  bool is_strict() const { return damage_.largest_missing_share <= 0; }

  const selection& wanted_;
  const damage_policy& damage_;
  const dataset_files& files_;
  const channel_table& channels_;
  const timeline& timeline_;
  const open_files& opened_;
  mutable std::mutex mutex_;  ///< guards ledger_
  read_ledger ledger_;
};

}  // namespace ravo::detail

#endif
