// The budget of the memory that a dataset may own: decoded blocks, windows of files, tables of events,
// columns. Memory is reserved here before it is used. If there is no room, a thread either waits or is
// refused; which threads may wait is decided in memory_turn.h.
#ifndef RAVO_DATASET_MEMORY_BUDGET_H
#define RAVO_DATASET_MEMORY_BUDGET_H

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>
#include <string>
#include <utility>

namespace ravo::detail {

class memory_budget;

/// What happens if there is no room now. A thread that holds memory which others may be waiting for must
/// not wait itself.
enum class on_full { wait, refuse };

/// Thrown if memory is refused. It never leaves the library: the work is done again when there is room.
struct memory_refused {};

/// What a growing list takes, as a multiple of its size: its elements are in the old memory and in the new,
/// which is twice as large.
inline constexpr std::size_t while_it_grows = 3;

/// A part of the budget, given back by the destructor.
class reservation {
 public:
  reservation() = default;
  reservation(reservation&& other) noexcept
      : budget_(std::exchange(other.budget_, nullptr)), bytes_(std::exchange(other.bytes_, 0)) {}
  reservation& operator=(reservation&& other) noexcept;
  ~reservation() { release(); }

  void release();
  /// Gives back all but `bytes`.
  void shrink(std::size_t bytes);
  std::size_t bytes() const { return bytes_; }

 private:
  friend class memory_budget;
  memory_budget* budget_ = nullptr;
  std::size_t bytes_ = 0;
};

/// Memory that belongs to the budget and goes back to its pool, to be used again.
class pooled_buffer {
 public:
  pooled_buffer() = default;
  pooled_buffer(pooled_buffer&& other) noexcept
      : budget_(other.budget_),
        memory_(std::exchange(other.memory_, nullptr)),
        size_(std::exchange(other.size_, 0)) {}
  pooled_buffer& operator=(pooled_buffer&& other) noexcept;
  ~pooled_buffer() { release(); }

  void release();
  unsigned char* data() const { return memory_; }
  std::size_t size() const { return size_; }

 private:
  friend class memory_budget;
  memory_budget* budget_ = nullptr;
  unsigned char* memory_ = nullptr;
  std::size_t size_ = 0;
};

class memory_budget {
 public:
  explicit memory_budget(std::size_t limit) : limit_(limit) {}
  ~memory_budget();
  memory_budget(const memory_budget&) = delete;
  memory_budget& operator=(const memory_budget&) = delete;

  /// What a waiting thread calls to free memory that is kept for later and can be made again; returns false
  /// if nothing is left to free. Set before the first reservation.
  void set_reclaim(std::function<bool()> reclaim) { reclaim_ = std::move(reclaim); }

  std::size_t limit() const { return limit_; }
  std::size_t used() const;
  std::size_t peak() const;

  /// Reserves memory. on_full::refuse: throws memory_refused if there is no room. on_full::wait: frees what
  /// can be made again, and waits as long as memory_wait allows; then, or if the limit is too small in any
  /// case, throws memory_exceeded, which names `what`. A wait ends when the reading is to stop.
  reservation reserve(std::size_t bytes, const std::string& what, on_full how);
  /// Calls `is_done` until it is true, waiting as reserve() does: for work that reserves `bytes` itself.
  void wait_until(const std::function<bool()>& is_done, std::size_t bytes, const std::string& what);
  /// Adds to a reservation; returns false, and leaves it as it is, if there is no room.
  bool try_grow(reservation& reserved, std::size_t bytes);

  /// A buffer of at least so many bytes, and at most twice as many. Buffers that were given back are handed
  /// out again, since the system takes longer to provide memory than we take to fill it. They are freed as
  /// soon as their room is needed. Without room it waits or throws as reserve() does.
  pooled_buffer take_buffer(std::size_t bytes, const std::string& what, on_full how);
  /// Resizes a buffer to at least so many bytes; its content is lost unless it is large enough already.
  void fit(pooled_buffer& buffer, std::size_t bytes, const std::string& what, on_full how);

  /// Marks the current thread as one that reads for the dataset, and gives memory back sooner or later.
  class at_work {
   public:
    explicit at_work(memory_budget& budget);
    ~at_work();
    at_work(const at_work&) = delete;
    at_work& operator=(const at_work&) = delete;

   private:
    memory_budget& budget_;
  };

 private:
  friend class reservation;
  friend class pooled_buffer;
  friend class memory_wait;
  /// A pooled buffer. This record lies in the buffer's own memory.
  struct free_buffer {
    free_buffer* next;
    std::size_t size;
  };
  static constexpr std::size_t smallest_pooled = 16 * 1024;
  /// An eighth of the limit is kept in the pool, and at least so much, so that large blocks need not be
  /// allocated again one by one if the limit has room for little more than one of them.
  static constexpr std::size_t pooled_with_any_limit = std::size_t{32} << 20;

  [[noreturn]] void refuse_for_good(std::size_t bytes, const std::string& what) const;
  bool are_others_at_work() const;
  bool make_room(std::size_t bytes);
  void count(std::size_t bytes);
  void empty_pool(std::size_t bytes);
  void give_back(std::size_t bytes);
  pooled_buffer find_buffer(std::size_t bytes);
  void give_back_buffer(unsigned char* memory, std::size_t size);

  const std::size_t limit_;
  std::function<bool()> reclaim_;
  std::atomic<int> at_work_{0};
  std::atomic<int> waiting_workers_{0};  ///< of those at work
  mutable std::mutex mutex_;             ///< guards what follows
  std::condition_variable room_;
  std::size_t used_ = 0;  ///< with the pool
  std::size_t peak_ = 0;
  free_buffer* pool_ = nullptr;
  std::size_t pool_bytes_ = 0;
  std::size_t given_back_ = 0;  ///< times
};

/// One wait of one thread for memory, and the rule for its end: nothing was given back for ten seconds,
/// or for one second if no other thread is at work that could give something back. A thread that
/// repeats its work gives up after half a minute in any case: two such threads would wake each other
/// for ever.
class memory_wait {
 public:
  enum class until { there_is_room, work_succeeds };
  memory_wait(memory_budget& budget, until what);

  /// Waits a moment; returns true if something was given back meanwhile. Throws read_cancelled.
  bool pause();
  /// Ignores what was given back so far.
  void begin_anew();
  bool is_over() const;

 private:
  using clock = std::chrono::steady_clock;
  memory_budget& budget_;
  const until what_;
  const clock::time_point begun_ = clock::now();
  clock::time_point last_return_ = begun_;
  std::size_t seen_ = 0;  ///< of memory_budget::given_back_
};

}  // namespace ravo::detail

#endif
