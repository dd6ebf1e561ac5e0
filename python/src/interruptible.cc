#include "interruptible.h"

#include <chrono>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>

namespace ravo::python {
namespace {

constexpr std::chrono::milliseconds between_looks{50};

/// A reading between the thread that reads and the one that waits.
class watched_reading {
 public:
  watched_reading(const std::function<void(const reading_controls&)>& work,
                  const progress_callback& progress)
      : work_(work), progress_(progress) {}

  /// On the thread that reads.
  void read() {
    reading_controls controls{stop_.get_token(), {}};
    if (progress_) controls.progress = [this](const read_progress& now) { note(now); };
    std::exception_ptr thrown;
    try {
      work_(controls);
    } catch (...) {
      thrown = std::current_exception();
    }
    const std::lock_guard lock(mutex_);
    thrown_ = thrown;
    has_ended_ = true;
    ended_.notify_all();
  }

  /// On the thread that waits, which does not hold the interpreter's lock.
  void watch() {
    std::unique_lock lock(mutex_);
    while (!ended_.wait_for(lock, between_looks, [this] { return has_ended_; })) {
      lock.unlock();
      look();
      lock.lock();
      if (!raised_) continue;
      stop_.request_stop();
      ended_.wait(lock, [this] { return has_ended_; });
    }
  }

  /// With the interpreter's lock, after the reading has ended.
  void finish() {
    if (raised_) std::rethrow_exception(raised_);
    if (thrown_) std::rethrow_exception(thrown_);
    report();
  }

 private:
  void note(const read_progress& now) {
    const std::lock_guard lock(mutex_);
    latest_ = now;
    is_new_ = true;
  }

  void look() {
    const nb::gil_scoped_acquire acquired;
    try {
      if (PyErr_CheckSignals() != 0) throw nb::python_error();
      report();
    } catch (...) {
      raised_ = std::current_exception();
    }
  }

  void report() {
    read_progress now;
    {
      const std::lock_guard lock(mutex_);
      if (!is_new_) return;
      is_new_ = false;
      now = latest_;
    }
    (*progress_)(now.done_bytes, now.total_bytes);
  }

  const std::function<void(const reading_controls&)>& work_;
  const progress_callback& progress_;
  std::stop_source stop_;
  std::exception_ptr raised_;  ///< in Python, on the thread that waits
  std::mutex mutex_;           ///< guards what follows
  std::condition_variable ended_;
  bool has_ended_ = false;
  std::exception_ptr thrown_;  ///< by the work
  read_progress latest_;
  bool is_new_ = false;
};

}  // namespace

void run_watched(const std::function<void(const reading_controls&)>& work,
                 const progress_callback& progress) {
  watched_reading reading(work, progress);
  {
    const nb::gil_scoped_release released;
    std::thread reader;
    try {
      reader = std::thread([&reading] { reading.read(); });
    } catch (const std::system_error&) {
      reading.read();  // the system has no thread left: the reading goes on here, and signals wait
    }
    reading.watch();
    if (reader.joinable()) reader.join();
  }
  reading.finish();
}

}  // namespace ravo::python
