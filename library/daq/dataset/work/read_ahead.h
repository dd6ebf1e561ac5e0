// What readings of events have decoded and nobody holds, all of one dataset: another reading that has no
// room gets the memory of it. It is decoded again when it is needed.
#ifndef RAVO_DATASET_READ_AHEAD_H
#define RAVO_DATASET_READ_AHEAD_H

#include <memory>
#include <mutex>
#include <vector>

namespace ravo::detail {

/// What a reading decoded ahead of use, or what it is in the middle of.
enum class batch_turn { later, now };

/// Events that are decoded, or are being decoded.
class read_ahead {
 public:
  virtual ~read_ahead() = default;
  /// Gives back what is decoded; false where that is nothing, not yet, of the other kind, or held by
  /// somebody.
  virtual bool give_back(batch_turn which) = 0;
};

class read_ahead_list {
 public:
  void add(const std::shared_ptr<read_ahead>& ahead) {
    const std::lock_guard lock(mutex_);
    std::erase_if(all_, [](const auto& one) { return one.expired(); });
    all_.push_back(ahead);
  }

  /// Gives back what was begun last; false when there is nothing.
  bool give_one_back(batch_turn which) {
    std::vector<std::weak_ptr<read_ahead>> all;
    {
      const std::lock_guard lock(mutex_);
      all = all_;
    }
    for (auto one = all.rbegin(); one != all.rend(); ++one)
      if (const auto ahead = one->lock(); ahead && ahead->give_back(which)) return true;
    return false;
  }

 private:
  std::mutex mutex_;  ///< guards what follows
  std::vector<std::weak_ptr<read_ahead>> all_;
};

}  // namespace ravo::detail

#endif
