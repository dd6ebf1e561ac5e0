// The stop token of the reading that a thread works for. A reading sets it while it is in the library, the
// worker pool passes it on to the threads that help, and whatever takes long or waits checks it. So no
// function in between needs to know of it.
#ifndef RAVO_DATASET_STOP_SCOPE_H
#define RAVO_DATASET_STOP_SCOPE_H

#include <stop_token>
#include <utility>

#include "ravo_dataset/errors.h"

namespace ravo::detail {

/// As long as it lives, the current thread works for a reading that ends when `stop` is requested.
class stop_scope {
 public:
  explicit stop_scope(std::stop_token stop) : stop_(std::move(stop)), outer_(current_) { current_ = this; }
  ~stop_scope() { current_ = outer_; }
  stop_scope(const stop_scope&) = delete;
  stop_scope& operator=(const stop_scope&) = delete;

  /// The token of the current thread's reading; one that is never requested if it reads nothing.
  static std::stop_token token() { return current_ != nullptr ? current_->stop_ : std::stop_token(); }
  static bool is_stopped() { return current_ != nullptr && current_->stop_.stop_requested(); }
  /// Throws read_cancelled once the reading is to stop.
  static void check() {
    if (is_stopped()) throw read_cancelled();
  }

 private:
  static inline thread_local const stop_scope* current_ = nullptr;
  const std::stop_token stop_;
  const stop_scope* const outer_;
};

}  // namespace ravo::detail

#endif
