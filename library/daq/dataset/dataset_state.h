// What a dataset, its events and its columns share: the files, the channels, the time line, the ledgers,
// the threads and the memory. Constant once it is opened, except for caches.
#ifndef RAVO_DATASET_DATASET_STATE_H
#define RAVO_DATASET_DATASET_STATE_H

#include <algorithm>
#include <limits>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "align/channel_table.h"
#include "align/dictionary_names.h"
#include "align/ledger_keeper.h"
#include "align/timeline.h"
#include "ravo_dataset/dataset.h"
#include "work/memory_budget.h"
#include "work/open_files.h"
#include "work/read_ahead.h"
#include "work/stop_scope.h"
#include "work/worker_pool.h"

namespace ravo::detail {

struct item;

/// The first readable value of each column, kept once it was found: it says what the column's values are,
/// also where only a part of the column is read.
class first_value_cache {
 public:
  using first_value = std::shared_ptr<const item>;  ///< null: no value of the column can be read

  /// What the value is of; the member is the one that was asked for, beside that of the channel.
  struct place {
    std::size_t channel = 0;
    column_rows rows = column_rows::recorded;
    std::optional<int> member;
    auto operator<=>(const place&) const = default;
  };

  std::optional<first_value> find(const place& where) const {
    const std::lock_guard lock(mutex_);
    const auto found = known_.find(where);
    return found == known_.end() ? std::nullopt : std::optional(found->second);
  }
  void keep(const place& where, first_value first) {
    const std::lock_guard lock(mutex_);
    known_.insert_or_assign(where, std::move(first));
  }

 private:
  mutable std::mutex mutex_;  ///< guards what follows
  std::map<place, first_value> known_;
};

class dataset_state {
 public:
  dataset_state(selection what, dataset_options how);
  /// The same for what a window hands over.
  dataset_state(selection what, dataset_options how, event_window window);

  /// Throws selection_error for a selection that makes no sense.
  static void check(const selection& wanted);

  /// Finds and scans the files, and resolves the channels.
  void open();

  /// Throws read_cancelled once the reading that the current thread works for is to stop.
  static void check_stop() { stop_scope::check(); }
  static bool is_stopped() { return stop_scope::is_stopped(); }

  /// Reserves memory, and waits for it.
  reservation reserve(std::size_t bytes, const std::string& what) {
    return memory.reserve(bytes, what, on_full::wait);
  }

  /// The number of selected events, before the step is applied, after which no more are wanted.
  std::size_t end_of_events() const {
    constexpr std::size_t unlimited = std::numeric_limits<std::size_t>::max();
    return wanted.limit ? wanted.phase + std::size_t{*wanted.limit} * wanted.step : unlimited;
  }
  /// Whether the step takes the selected event at this position, and how many it takes of the first ones.
  bool takes(std::size_t ordinal) const { return ordinal % wanted.step == wanted.phase; }
  std::size_t taken_of(std::size_t ordinals) const {
    return ordinals <= wanted.phase ? 0 : (ordinals - wanted.phase - 1) / wanted.step + 1;
  }

  const selection asked;   ///< as the caller wrote it
  const selection wanted;  ///< with the lists of its manifests
  const dataset_options options;
  dataset_files files;
  channel_table channels;

  memory_budget memory;
  open_files opened;
  dictionary_names names_in_dictionaries;
  read_ahead_list ahead;
  detail::timeline timeline;
  ledger_keeper ledgers;
  first_value_cache first_values;
  worker_pool pool;  ///< last: its threads end before the rest is destroyed

 private:
  void list_files(const std::vector<std::string>& paths, const file_scan& scan);
  void set_gaps(const std::vector<std::string>& readable);
  void check_that_files_may_be_missing() const;
  void reserve_tables();
  void set_window();
  int find_member(const file_scan& scan, std::uint32_t name, const std::string& channel,
                  const std::string& member);

  std::optional<event_window> window_;
  reservation tables_;  ///< for what is known of the files and channels
};

/// Reservations that may outlive the dataset: they keep its budget alive.
struct kept_memory {
  explicit kept_memory(std::shared_ptr<dataset_state> its_state) : state(std::move(its_state)) {}
  std::shared_ptr<dataset_state> state;
  reservation values;
  std::vector<reservation> tables;
};

}  // namespace ravo::detail

#endif
