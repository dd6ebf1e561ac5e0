// Readings that Ctrl-C ends. A reading runs on a thread of its own, without the interpreter's lock; the
// caller waits for it, wakes now and then, and asks Python whether a signal has come.
#ifndef RAVO_PYTHON_INTERRUPTIBLE_H
#define RAVO_PYTHON_INTERRUPTIBLE_H

#include <functional>
#include <optional>
#include <stop_token>
#include <type_traits>
#include <utility>

#include "binding.h"
#include "ravo_dataset/progress.h"

namespace ravo::python {

/// What a reading gets for its options.
struct reading_controls {
  std::stop_token stop;
  progress_function progress;  ///< empty if nobody asked for it
};

/// A Python function of the done and the total bytes.
using progress_callback = std::optional<nb::typed<nb::callable, nb::object(std::uint64_t, std::uint64_t)>>;

/// Runs `work` and returns when it has ended. Signals and `progress` are served on the calling thread. When
/// one of them raises, the reading is stopped, and what was raised is thrown; what `work` throws is thrown
/// too.
void run_watched(const std::function<void(const reading_controls&)>& work,
                 const progress_callback& progress);

/// The same for work with a result.
template <class Work>
auto run_interruptible(Work work, const progress_callback& progress = {}) {
  std::optional<std::invoke_result_t<Work, const reading_controls&>> made;
  run_watched([&](const reading_controls& controls) { made.emplace(work(controls)); }, progress);
  return std::move(*made);
}

}  // namespace ravo::python

#endif
