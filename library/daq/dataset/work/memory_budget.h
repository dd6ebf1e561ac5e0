// The one account of the memory that a dataset may own: decoded blocks, windows of files, tables of events,
// columns. Whoever takes memory asks here first; it waits until there is room, or is told that there is
// none.
#ifndef RAVO_DATASET_MEMORY_BUDGET_H
#define RAVO_DATASET_MEMORY_BUDGET_H

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>
#include <utility>

namespace ravo::datasets {

class memory_budget;

/// A part of the budget, given back when it goes.
class memory_share {
 public:
  memory_share() = default;
  memory_share(memory_share&& other) noexcept
      : budget_(std::exchange(other.budget_, nullptr)), bytes_(std::exchange(other.bytes_, 0)) {}
  memory_share& operator=(memory_share&& other) noexcept;
  ~memory_share() { release(); }

  void release();
  /// Gives back all but `bytes`.
  void shrink(std::size_t bytes);
  std::size_t bytes() const { return bytes_; }

 private:
  friend class memory_budget;
  memory_share(memory_budget* budget, std::size_t bytes) : budget_(budget), bytes_(bytes) {}
  memory_budget* budget_ = nullptr;
  std::size_t bytes_ = 0;
};

/// A piece of memory that belongs to the budget and goes back to it, to be used again.
class memory_slab {
 public:
  memory_slab() = default;
  memory_slab(memory_slab&& other) noexcept
      : budget_(other.budget_),
        memory_(std::exchange(other.memory_, nullptr)),
        size_(std::exchange(other.size_, 0)) {}
  memory_slab& operator=(memory_slab&& other) noexcept;
  ~memory_slab() { release(); }

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

  std::size_t limit() const { return limit_; }
  std::size_t used() const;
  std::size_t peak() const;

  /// The share, or an empty one of 0 bytes and false when there is no room now.
  bool try_take(std::size_t bytes, memory_share& share);
  /// Adds to a share, or leaves it as it is: false.
  bool try_grow(std::size_t bytes, memory_share& share);
  /// A thread that reads for the dataset, and gives memory back sooner or later. Made on that thread.
  class at_work {
   public:
    explicit at_work(memory_budget& budget);
    ~at_work();
    at_work(const at_work&) = delete;
    at_work& operator=(const at_work&) = delete;

   private:
    memory_budget& budget_;
  };
  /// Whether a thread other than this one is at work, and does not wait for memory itself.
  bool are_others_at_work() const;

  /// Waits for room. Throws memory_exceeded, which names `what`, when the limit is smaller than that, or
  /// when nothing comes back: for some seconds while others are at work, and for a moment where there are
  /// none, since only who holds events and columns could give them back then. False when `give_up` said so,
  /// which is asked now and then, and may give back memory.
  bool take(std::size_t bytes, const char* what, memory_share& share, const std::function<bool()>& give_up);
  /// Waits until somebody gives something back; false when nobody did for so long.
  bool wait_for_return(std::chrono::milliseconds longest);
  /// A slab of at least so many bytes, at most twice as many; one without memory when there is no room now.
  /// Slabs that were given back are handed out again: the system takes longer to make memory than we to
  /// fill it. They go as soon as there is no room without them.
  memory_slab try_take_slab(std::size_t bytes);
  /// Makes a slab one of at least so many bytes, whose content is lost unless it is that already. False: it
  /// is none any more, and there is no room now.
  bool try_fit(memory_slab& slab, std::size_t bytes);
  /// A slab of what a share has.
  memory_slab make_slab(memory_share&& share);

 private:
  friend class memory_share;
  friend class memory_slab;
  /// A slab that nobody uses. It lies in its own memory.
  struct spare_slab {
    spare_slab* next;
    std::size_t size;
  };
  static constexpr std::size_t smallest_spare = 16 * 1024;
  /// An eighth of the limit is kept for later, and so much in any case, so that large blocks need not be
  /// made anew one by one where the limit holds little more than one of them.
  static constexpr std::size_t kept_of_any_limit = std::size_t{32} << 20;

  class waiting_here;
  std::chrono::milliseconds patience() const;
  bool make_room(std::size_t bytes);
  void add_to(memory_share& share, std::size_t bytes);
  void drop_spare(std::size_t bytes);
  void give_back(std::size_t bytes);
  void give_back_slab(unsigned char* memory, std::size_t size);

  const std::size_t limit_;
  std::atomic<int> at_work_{0};
  std::atomic<int> waiting_workers_{0};  ///< of those at work
  mutable std::mutex mutex_;             ///< guards what follows
  std::condition_variable room_;
  std::size_t used_ = 0;  ///< with the spare slabs
  std::size_t peak_ = 0;
  spare_slab* spare_ = nullptr;
  std::size_t spare_bytes_ = 0;
  std::size_t given_back_ = 0;  ///< times
};

}  // namespace ravo::datasets

#endif
