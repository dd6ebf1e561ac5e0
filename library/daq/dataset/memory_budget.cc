#include "memory_budget.h"

#include <algorithm>
#include <chrono>
#include <string>

#include "ravo_dataset/errors.h"

namespace ravo::datasets {

memory_share& memory_share::operator=(memory_share&& other) noexcept {
  if (this == &other) return *this;
  release();
  budget_ = std::exchange(other.budget_, nullptr);
  bytes_ = std::exchange(other.bytes_, 0);
  return *this;
}

void memory_share::release() { shrink(0); }

void memory_share::shrink(std::size_t bytes) {
  if (budget_ == nullptr || bytes >= bytes_) return;
  budget_->give_back(bytes_ - bytes);
  bytes_ = bytes;
}

std::size_t memory_budget::used() const {
  const std::lock_guard lock(mutex_);
  return used_;
}

std::size_t memory_budget::peak() const {
  const std::lock_guard lock(mutex_);
  return peak_;
}

bool memory_budget::try_take(std::size_t bytes, memory_share& share) {
  share.release();
  const std::lock_guard lock(mutex_);
  if (used_ > limit_ || bytes > limit_ - used_) return false;
  used_ += bytes;
  peak_ = std::max(peak_, used_);
  share = memory_share(this, bytes);
  return true;
}

bool memory_budget::try_grow(std::size_t bytes, memory_share& share) {
  const std::lock_guard lock(mutex_);
  if (used_ > limit_ || bytes > limit_ - used_) return false;
  used_ += bytes;
  peak_ = std::max(peak_, used_);
  share.budget_ = this;
  share.bytes_ += bytes;
  return true;
}

bool memory_budget::take(std::size_t bytes, const char* what, memory_share& share,
                         const std::function<bool()>& give_up) {
  share.release();
  if (bytes > limit_)
    throw memory_exceeded(std::string(what) + " needs " + std::to_string(bytes) +
                          " bytes, more than the memory limit of " + std::to_string(limit_) +
                          "; raise the limit or select less");
  using clock = std::chrono::steady_clock;
  constexpr auto longest = std::chrono::seconds(10);
  std::unique_lock lock(mutex_);
  std::size_t seen = given_back_;
  auto since = clock::now();
  while (used_ > limit_ || bytes > limit_ - used_) {
    if (give_up && give_up()) return false;
    room_.wait_for(lock, std::chrono::milliseconds(20));
    if (seen != given_back_) {
      seen = given_back_;
      since = clock::now();
    } else if (clock::now() - since > longest) {
      throw memory_exceeded(std::string(what) + " needs " + std::to_string(bytes) + " bytes, and " +
                            std::to_string(used_) + " of the memory limit of " + std::to_string(limit_) +
                            " are in use; let go of events and columns, or raise the limit");
    }
  }
  used_ += bytes;
  peak_ = std::max(peak_, used_);
  share = memory_share(this, bytes);
  return true;
}

memory_share memory_budget::take_over(std::size_t bytes) {
  const std::lock_guard lock(mutex_);
  used_ += bytes;
  peak_ = std::max(peak_, used_);
  return memory_share(this, bytes);
}

void memory_budget::give_back(std::size_t bytes) {
  {
    const std::lock_guard lock(mutex_);
    used_ -= bytes;
    ++given_back_;
  }
  room_.notify_all();
}

}  // namespace ravo::datasets
