// Aligned events: each has a value of every channel of the dataset, decoded ahead of use, in the order of
// the events.
#ifndef RAVO_DATASET_EVENT_H
#define RAVO_DATASET_EVENT_H

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <optional>
#include <stop_token>
#include <string_view>

#include "ravo_core_records.h"
#include "ravo_dataset/ledger.h"
#include "ravo_dataset/progress.h"
#include "ravo_dataset/single_pass_iterator.h"
#include "ravo_dataset/values.h"
#include "ravo_export.h"

namespace ravo {

namespace detail {
class event_batch;
class event_reader;
}  // namespace detail

/// One aligned event. Copies share its data, which lives as long as any of them.
class event {
 public:
  std::uint32_t number() const { return id_.event_number; }
  time_stamp time() const { return id_.time; }
  const ravo_time_id& id() const { return id_; }
  /// The channels of the dataset, in its order.
  RAVO_EXPORT std::size_t channels() const;
  /// The value of a channel by its position in the dataset. Throws access_error if there are fewer.
  RAVO_EXPORT value operator[](std::size_t channel) const;
  /// The same by its label. Throws selection_error if the dataset has no such channel.
  RAVO_EXPORT value operator[](std::string_view label) const;

 private:
  friend class detail::event_reader;
  friend class event_range;
  friend class dataset;
  event() = default;
  std::shared_ptr<const detail::event_batch> batch_;
  std::size_t index_ = 0;
  ravo_time_id id_{};
};

enum class event_order { forward, backward };

struct event_options {
  event_order order = event_order::forward;
  /// A slice of the selection's events, in their forward order: `count` of them from `first` on, every
  /// `step`-th.
  std::size_t first = 0;
  std::optional<std::size_t> count;
  std::size_t step = 1;
  std::stop_token stop{};  ///< ends the reading with read_cancelled
  /// To know the total, all events of the reading are aligned before the first one is returned.
  progress_function progress{};
};

/// The events of one reading, for a single pass. begin() starts it; it ends when the iterator reaches end()
/// or the range is destroyed.
class event_range {
 public:
  using iterator = single_pass_iterator<event_range, event>;

  RAVO_EXPORT event_range(event_range&&) noexcept;
  RAVO_EXPORT event_range& operator=(event_range&&) noexcept;
  RAVO_EXPORT ~event_range();

  RAVO_EXPORT iterator begin();
  std::default_sentinel_t end() const { return {}; }
  /// The next event, or `nullopt` at the end: the same without an iterator.
  RAVO_EXPORT std::optional<event> next();
  /// The ledger of what was returned so far.
  RAVO_EXPORT read_ledger ledger() const;

 private:
  friend iterator;
  friend class dataset;
  explicit event_range(std::unique_ptr<detail::event_reader> reader);
  RAVO_EXPORT void advance();
  std::unique_ptr<detail::event_reader> reader_;
  std::optional<event> current_;
  bool begun_ = false;
};

}  // namespace ravo

#endif
