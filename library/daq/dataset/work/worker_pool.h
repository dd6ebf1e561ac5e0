// The dataset's threads, started once, and groups of tasks that are waited for together. A task must not
// wait for another one.
#ifndef RAVO_DATASET_WORKER_POOL_H
#define RAVO_DATASET_WORKER_POOL_H

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace ravo::detail {

class worker_pool {
 public:
  /// `threads`, with the one that calls run(): so many less one are started, and fewer if the system has no
  /// more.
  explicit worker_pool(std::size_t threads);
  /// Waits for the running tasks; those that still wait are dropped.
  ~worker_pool();
  worker_pool(const worker_pool&) = delete;
  worker_pool& operator=(const worker_pool&) = delete;

  /// With the thread that calls.
  std::size_t size() const { return threads_.size() + 1; }
  /// Leaves a task to the threads that were started, for the reading that the current thread works for.
  /// Where none was started, nobody does it.
  void add(std::function<void()> task);

  /// Runs `work(i)` for i from 0 to `count` - 1, here and on other threads, on up to `workers` altogether,
  /// and waits for all of them. The first exception ends the others' work and is thrown here. `poll` is
  /// called here now and then, between two pieces of work; it may throw. While another thread is in run()
  /// this waits for its turn: two at a time would have half of the memory each.
  void run(std::size_t count, std::size_t workers, const std::function<void(std::size_t)>& work,
           const std::function<void()>& poll = {});

 private:
  class turn;
  void serve();

  std::mutex mutex_;  ///< guards what follows
  std::condition_variable wake_;
  std::deque<std::function<void()>> tasks_;
  bool ended_ = false;
  std::atomic<std::size_t> waiting_{0};  ///< tasks, for readers without the lock
  std::condition_variable turn_;
  std::thread::id runner_;  ///< the thread that is in run()
  std::size_t runs_ = 0;    ///< of the runner, since `poll` may call run() itself
  std::vector<std::thread> threads_;
};

}  // namespace ravo::detail

#endif
