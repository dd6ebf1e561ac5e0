// What a dataset, its events and its columns share: the files, the channels, the time line, the threads and
// the memory account. Fixed once it is opened, but for what is cached.
#ifndef RAVO_DATASET_DATASET_STATE_H
#define RAVO_DATASET_DATASET_STATE_H

#include <algorithm>
#include <functional>
#include <limits>
#include <map>
#include <memory>
#include <mutex>
#include <span>
#include <vector>

#include "align/dictionary_names.h"
#include "align/timeline.h"
#include "ravo_dataset/dataset.h"
#include "read/block_reading.h"
#include "select/channel_patterns.h"
#include "work/memory_budget.h"
#include "work/open_files.h"
#include "work/read_ahead.h"
#include "work/worker_pool.h"

namespace ravo {

namespace datasets {
/// The stored bytes of events that are decoded together, at most.
inline constexpr std::uint64_t largest_batch = 1024 * 1024;
/// What a column has and needs for each of its rows beside the values.
inline constexpr std::size_t bytes_of_row = 64;
}  // namespace datasets

/// Whether a reading takes all events of the selection.
enum class reading_extent { whole, part };

class dataset_state {
 public:
  dataset_state(selection what, dataset_options how);

  /// Finds and looks into the files, and resolves the channels.
  void open();

  std::size_t channel_or_throw(std::string_view label) const;
  std::optional<std::size_t> find_channel(std::string_view label) const;
  /// Throws read_cancelled when the stop token says so.
  void check_stop() const;
  bool is_stopped() const { return options.stop.stop_requested(); }

  /// Where the blocks of a channel in a file come from. Hold the open file as long as the source is used.
  datasets::block_source_file source_of(const datasets::segment& part, std::size_t channel,
                                        std::uint32_t file,
                                        std::shared_ptr<const datasets::open_file>& opened);

  /// Reserves memory, and waits for it.
  datasets::reservation reserve(std::size_t bytes, const std::string& what) {
    return memory.reserve(bytes, what, datasets::on_full::wait);
  }

  /// The account of a reading that begins: what is known to be missing already.
  read_ledger new_account() const;
  /// Counts a value that was expected, in row `position` of an account. Throws missing_data for a strict
  /// policy.
  void account(read_ledger& to, std::size_t position, std::size_t channel, const datasets::entry& where,
               value_status status) const;
  /// Counts the entries that a channel has of an event beside the one that is delivered.
  void account_others(read_ledger& to, std::size_t position, std::size_t channel,
                      std::span<const datasets::entry> others) const;
  /// Counts what never got into a segment's events: once for each reading, segment and channel. Of a file
  /// that is gone a reading that takes a part of the selection cannot say how many values it misses: the
  /// file is listed then, and throws missing_data unless all may be missing.
  void account_left_out(read_ledger& to, std::size_t position, const datasets::segment& part,
                        std::size_t channel, reading_extent extent) const;
  /// Adds a reading's account to that of all readings.
  void add_account(const read_ledger& of_reading);
  /// The same, and throws when too much is missing.
  void close_account(const read_ledger& of_reading);
  read_ledger all_readings() const;

  /// The number of selected events, counted without the step, from which on none is wanted.
  std::size_t end_of_events() const {
    constexpr std::size_t unlimited = std::numeric_limits<std::size_t>::max();
    return wanted.limit ? std::size_t{*wanted.limit} * wanted.step : unlimited;
  }

  /// The most bytes that are read in one piece: fewer where there is little memory.
  std::size_t window_bytes() const {
    return std::clamp<std::size_t>(memory.limit() / 16, 64 * 1024, datasets::largest_window);
  }

  const selection wanted;
  const dataset_options options;
  std::vector<dataset_file> files;      ///< those that can be read
  std::vector<dataset_file> all_files;  ///< those that cannot, too
  std::vector<refused_file> refused;
  std::vector<reading_problem> problems;  ///< with the answer to the selection
  std::vector<dataset_channel> channels;
  std::vector<datasets::wanted_channel> wanted_channels;
  std::map<std::string, std::string, std::less<>> labels_by_name;  ///< of "NAME:MEMBER": "NAME:n"

  datasets::memory_budget memory;
  datasets::open_files opened;
  datasets::dictionary_names names_in_dictionaries;
  datasets::read_ahead_list ahead;
  datasets::timeline timeline;
  datasets::worker_pool pool;  ///< last: its threads end before the rest goes

 private:
  using place_visitor = std::function<bool(const datasets::known_file&)>;  ///< false: it has seen enough

  void look_into_files(const std::vector<std::string>& paths);
  int member_of(const std::string& channel, const std::string& member,
                const std::function<void(const place_visitor&)>& visit_files);
  void check_that_files_may_be_missing() const;
  void note_unreadable(read_ledger& to, std::uint32_t file) const;
  void note_missing(read_ledger& to, std::size_t position, std::size_t channel,
                    const datasets::entry& where, missing_cause cause) const;
  bool takes_whole_file(std::uint32_t file) const;

  datasets::reservation tables_;  ///< for what is known of the files and channels
  mutable std::mutex mutex_;      ///< guards ledger_
  read_ledger ledger_;
};

/// Reservations that may outlive the dataset: they keep its budget alive.
struct kept_memory {
  explicit kept_memory(std::shared_ptr<dataset_state> its_state) : state(std::move(its_state)) {}
  std::shared_ptr<dataset_state> state;
  datasets::reservation values;
  std::vector<datasets::reservation> tables;
};

}  // namespace ravo

#endif
