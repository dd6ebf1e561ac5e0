// What all event readings of a dataset have decoded and nobody holds: another reading that has no room
// takes the memory of it. It is decoded again when it is needed.
#ifndef RAVO_DATASET_READ_AHEAD_H
#define RAVO_DATASET_READ_AHEAD_H

#include <memory>
#include <mutex>
#include <vector>

namespace ravo::detail {

/// Decoded ahead of use, or being handed out.
enum class batch_turn { later, now };

/// Events that are decoded, or are being decoded.
class read_ahead {
 public:
  virtual ~read_ahead() = default;
  /// Gives back what is decoded; false if nothing is decoded (yet), if it is of the other kind, or if
  /// somebody holds it.
  virtual bool give_back(batch_turn which) = 0;
};

class read_ahead_list {
 public:
  void add(const std::shared_ptr<read_ahead>& ahead) {
    const std::lock_guard lock(mutex_);
    std::erase_if(all_, [](const auto& one) { return one.expired(); });
    all_.push_back(ahead);
  }

  /// Gives back what was begun last; false if there is nothing.
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
