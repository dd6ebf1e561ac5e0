// Data that still grow, followed: files are read when they are closed, and their events handed over in the
// order of time, as soon as nothing earlier will come. docs/dataset.md explains streams and the watermark.
#ifndef RAVO_DATASET_FOLLOW_H
#define RAVO_DATASET_FOLLOW_H

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

#include "ravo_dataset/dataset.h"
#include "ravo_export.h"

namespace ravo {

namespace detail {
class following;
struct window_facts;
}  // namespace detail

/// Time, waiting and closed files, as a follower sees them. What is empty is done by the system; a program
/// that sets them decides when time passes.
struct follow_clock {
  /// Seconds of a clock that is never set back.
  std::function<double()> now;
  /// Waits for so many seconds, and not longer than until stop is requested.
  std::function<void(double seconds, const std::stop_token& stop)> wait;
  /// Whether nobody writes to a file any more. By default: it has not changed for half a minute, or
  /// RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME is set.
  std::function<bool(const std::string& path)> is_closed;
};

struct follow_options {
  /// How files are read. Its limits and its damage policy hold for each hand-over by itself; its `stop` is
  /// replaced by the one below.
  dataset_options reading;
  double poll = 5;  ///< seconds between two looks for new files
  /// Seconds after which a stream delays the others no longer if it did not go on. More than a stream takes
  /// to fill a file.
  double silence = 900;
  /// Following ends so many seconds after it began: what was taken until then is handed over.
  std::optional<double> end_after;
  /// Whether following ends with the run, as a selection of runs always does: when files with an event of
  /// type RAVO_EV_EOR were taken from all streams that are not silent.
  bool until_end_of_run = false;
  /// Streams that are waited for from the beginning, by what stands before "_run" in the names of their
  /// files. Others are known from their first file on, while it is still written.
  std::vector<std::string> streams;
  std::stop_token stop;  ///< ends following, and every wait, at once
  follow_clock clock;
};

/// Why following ended.
enum class end_of_following {
  not_ended,
  stopped,        ///< by the stop token: what was not handed over yet is left
  end_of_run,     ///< the run has ended, or a later one has begun
  end_of_period,  ///< nothing more will come before the selection's `to`
  time_is_up,     ///< follow_options::end_after
  limit,          ///< the selection's limit is reached
};
/// A few words. Static text.
RAVO_EXPORT const char* end_of_following_text(end_of_following end);

/// An event that was handed over. Copies share its data.
class followed_event {
 public:
  /// The event, with the channels that were known when it was handed over: its dataset's.
  const event& get() const { return event_; }
  const event& operator*() const { return event_; }
  const event* operator->() const { return &event_; }
  /// Their labels.
  RAVO_EXPORT const std::vector<std::string>& labels() const;
  /// It came after its time: the watermark had passed it, or a part of it was handed over before. It has
  /// the values of the late files alone, and none that are held.
  bool is_late() const { return is_late_; }
  /// Whether the channel has no value because its stream is silent and may still deliver it. The status of
  /// the value is `not_recorded`. Throws access_error for a channel that the event lacks.
  RAVO_EXPORT bool is_not_yet_recorded(std::size_t channel) const;
  /// The same by label. Throws selection_error.
  RAVO_EXPORT bool is_not_yet_recorded(std::string_view label) const;

 private:
  friend class detail::following;
  followed_event(event one, bool is_late, std::shared_ptr<const detail::window_facts> facts)
      : event_(std::move(one)), is_late_(is_late), facts_(std::move(facts)) {}
  event event_;
  bool is_late_;
  std::shared_ptr<const detail::window_facts> facts_;
};

/// Follows a selection. For one thread at a time; events may outlive it.
class follower {
 public:
  /// Begins. Throws selection_error for a selection that makes no sense, and for slow=nearest, which asks
  /// for values that come later.
  RAVO_EXPORT explicit follower(const selection& wanted, follow_options options = {});
  /// The same for a selection's text.
  RAVO_EXPORT explicit follower(std::string_view text, follow_options options = {});
  RAVO_EXPORT follower(follower&&) noexcept;
  RAVO_EXPORT follower& operator=(follower&&) noexcept;
  RAVO_EXPORT ~follower();

  /// The next event; waits for it. `nullopt` when following has ended. Throws what reading a dataset
  /// throws, and file_left_out for a file that cannot be read if the damage policy does not allow it; the
  /// next call goes on after it.
  RAVO_EXPORT std::optional<followed_event> next();

  /// Up to which time everything was taken: what comes later from before it is late. `nullopt` at first.
  RAVO_EXPORT std::optional<time_stamp> watermark() const;
  /// Why following ended.
  RAVO_EXPORT end_of_following ended() const;
  /// The ledger of everything that was handed over so far, and of files that were left out.
  RAVO_EXPORT read_ledger ledger() const;
  /// The files that came after their time, in whole or in part.
  RAVO_EXPORT const std::vector<std::string>& late_files() const;
  /// The patterns of channels that nothing matches in the files so far. They may name channels that come
  /// later; if none come, they are mistakes.
  RAVO_EXPORT std::vector<std::string> unmatched_patterns() const;

 private:
  std::unique_ptr<detail::following> following_;
};

}  // namespace ravo

#endif
