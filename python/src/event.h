// Events in Python.
#ifndef RAVO_PYTHON_EVENT_H
#define RAVO_PYTHON_EVENT_H

#include <unistd.h>

#include <deque>
#include <exception>
#include <memory>
#include <optional>
#include <stop_token>

#include "interruptible.h"
#include "ravo_dataset/dataset.h"

namespace ravo::python {

/// An aligned event, which its values keep.
struct event_handle {
  std::shared_ptr<const event> data;

  explicit event_handle(event&& read);
};

/// numpy.datetime64(time, "us")
nb::object datetime_of(const time_stamp& time);

/// The events of one reading. Several are fetched at a time, so that an event costs no change of threads.
/// Cancelled, the reading ends.
class event_iterator {
 public:
  event_iterator(std::shared_ptr<dataset> from, event_options options, progress_callback progress);

  /// `nullopt` at the end. Throws in a child that was forked after the reading began. After
  /// memory_exceeded it goes on with the event that it did not return.
  std::optional<event_handle> next();
  /// Of what was fetched so far.
  read_ledger ledger() const;

 private:
  void fetch();
  bool fetch_some(const reading_controls& controls);
  void check_process() const;

  std::shared_ptr<dataset> from_;
  event_options options_;
  progress_callback progress_;
  std::shared_ptr<event_range> range_;
  std::shared_ptr<std::deque<event>> fetched_;
  std::size_t most_ = 1;  ///< events of the next fetch
  bool has_ended_ = false;
  std::exception_ptr thrown_;  ///< after the events that are fetched
  std::stop_source stop_;
  progress_function report_;  ///< of the fetch that goes on
  pid_t process_ = getpid();
};

}  // namespace ravo::python

#endif
