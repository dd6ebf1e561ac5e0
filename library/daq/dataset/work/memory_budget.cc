#include "work/memory_budget.h"

#include <sys/mman.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <new>
#include <string>

#include "ravo_dataset/errors.h"

namespace ravo::datasets {

namespace {

// A freed block of the allocator's own may stay with it, resident: what lies above it keeps it from the
// system. Blocks of this size are mapped by themselves, and unmapped when they go; smaller ones would cost
// more in pages than they are.
constexpr std::size_t mapped_from = std::size_t{1} << 20;

unsigned char* new_slab(std::size_t size) {
  if (size < mapped_from) return static_cast<unsigned char*>(std::malloc(size));
  void* const memory = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  return memory == MAP_FAILED ? nullptr : static_cast<unsigned char*>(memory);
}

void delete_slab(void* memory, std::size_t size) {
  if (size < mapped_from)
    std::free(memory);
  else
    (void)::munmap(memory, size);
}

}  // namespace

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

void memory_slab::release() {
  if (memory_ != nullptr) budget_->give_back_slab(std::exchange(memory_, nullptr), std::exchange(size_, 0));
}

memory_slab& memory_slab::operator=(memory_slab&& other) noexcept {
  if (this == &other) return *this;
  release();
  budget_ = other.budget_;
  memory_ = std::exchange(other.memory_, nullptr);
  size_ = std::exchange(other.size_, 0);
  return *this;
}

namespace {
/// How many at_work this thread has made: the first one counts.
thread_local int works_here = 0;
}  // namespace

memory_budget::at_work::at_work(memory_budget& budget) : budget_(budget) {
  if (works_here++ == 0) ++budget_.at_work_;
}
memory_budget::at_work::~at_work() {
  if (--works_here == 0) --budget_.at_work_;
}

class memory_budget::waiting_here {
 public:
  explicit waiting_here(memory_budget& budget) : budget_(budget), count_(works_here > 0 ? 1 : 0) {
    budget_.waiting_workers_ += count_;
  }
  ~waiting_here() { budget_.waiting_workers_ -= count_; }
  waiting_here(const waiting_here&) = delete;
  waiting_here& operator=(const waiting_here&) = delete;

 private:
  memory_budget& budget_;
  int count_;
};

bool memory_budget::are_others_at_work() const {
  return at_work_ - (works_here > 0 ? 1 : 0) > waiting_workers_;
}

std::chrono::milliseconds memory_budget::patience() const {
  using std::chrono::milliseconds;
  return at_work_ > waiting_workers_ ? milliseconds(10'000) : milliseconds(1000);
}

memory_budget::~memory_budget() {
  while (spare_ != nullptr) {
    spare_slab* const first = std::exchange(spare_, spare_->next);
    delete_slab(first, first->size);
  }
}

std::size_t memory_budget::used() const {
  const std::lock_guard lock(mutex_);
  return used_ - spare_bytes_;
}

std::size_t memory_budget::peak() const {
  const std::lock_guard lock(mutex_);
  return peak_;
}

bool memory_budget::try_take(std::size_t bytes, memory_share& share) {
  share.release();
  const std::lock_guard lock(mutex_);
  if (!make_room(bytes)) return false;
  add_to(share, bytes);
  return true;
}

bool memory_budget::try_grow(std::size_t bytes, memory_share& share) {
  const std::lock_guard lock(mutex_);
  if (!make_room(bytes)) return false;
  add_to(share, bytes);
  return true;
}

bool memory_budget::wait_for_return(std::chrono::milliseconds longest) {
  const waiting_here waiting(*this);
  std::unique_lock lock(mutex_);
  const std::size_t seen = given_back_;
  return room_.wait_for(lock, longest, [&] { return given_back_ != seen; });
}

bool memory_budget::take(std::size_t bytes, const char* what, memory_share& share,
                         const std::function<bool()>& give_up) {
  share.release();
  if (bytes > limit_)
    throw memory_exceeded(std::string(what) + " needs " + std::to_string(bytes) +
                          " bytes, more than the memory limit of " + std::to_string(limit_) +
                          "; raise the limit or select less");
  using clock = std::chrono::steady_clock;
  const waiting_here waiting(*this);
  std::unique_lock lock(mutex_);
  std::size_t seen = given_back_;
  auto since = clock::now();
  while (!make_room(bytes)) {
    if (give_up) {
      lock.unlock();
      if (give_up()) return false;
      lock.lock();
      if (make_room(bytes)) break;
    }
    if (seen == given_back_) room_.wait_for(lock, std::chrono::milliseconds(20));
    if (seen != given_back_) {
      seen = given_back_;
      since = clock::now();
    } else if (clock::now() - since > patience()) {
      throw memory_exceeded(std::string(what) + " needs " + std::to_string(bytes) + " bytes, and " +
                            std::to_string(used_ - spare_bytes_) + " of the memory limit of " +
                            std::to_string(limit_) +
                            " are in use; let go of events and columns, or raise the limit");
    }
  }
  add_to(share, bytes);
  return true;
}

void memory_budget::add_to(memory_share& share, std::size_t bytes) {
  used_ += bytes;
  peak_ = std::max(peak_, used_);
  share.budget_ = this;
  share.bytes_ += bytes;
}

/// Whether so many bytes more stay within the limit.
bool memory_budget::make_room(std::size_t bytes) {
  const std::size_t in_use = used_ - spare_bytes_;
  if (in_use > limit_ || bytes > limit_ - in_use) return false;
  drop_spare(bytes);
  return true;
}

/// Frees spare slabs until so many bytes more are no new peak: what is kept for later never makes it
/// higher.
void memory_budget::drop_spare(std::size_t bytes) {
  const std::size_t most = std::min(peak_, limit_);
  while (spare_ != nullptr && (used_ > most || bytes > most - used_)) {
    spare_slab* const first = std::exchange(spare_, spare_->next);
    used_ -= first->size;
    spare_bytes_ -= first->size;
    delete_slab(first, first->size);
  }
}

memory_slab memory_budget::try_take_slab(std::size_t bytes) {
  memory_slab slab;
  slab.budget_ = this;
  {
    const std::lock_guard lock(mutex_);
    for (spare_slab** place = &spare_; *place != nullptr; place = &(*place)->next) {
      spare_slab* const found = *place;
      if (found->size < bytes || found->size / 2 > bytes) continue;
      *place = found->next;
      spare_bytes_ -= found->size;
      slab.size_ = found->size;
      slab.memory_ = reinterpret_cast<unsigned char*>(found);
      return slab;
    }
    if (!make_room(bytes)) return slab;
    used_ += bytes;
    peak_ = std::max(peak_, used_);
  }
  slab.size_ = bytes;
  slab.memory_ = new_slab(bytes);
  if (slab.memory_ == nullptr) {
    give_back(bytes);
    throw std::bad_alloc();
  }
  return slab;
}

memory_slab memory_budget::make_slab(memory_share&& share) {
  memory_slab slab;
  slab.budget_ = this;
  slab.memory_ = new_slab(share.bytes_);
  if (slab.memory_ == nullptr) throw std::bad_alloc();
  slab.size_ = std::exchange(share.bytes_, 0);
  return slab;
}

bool memory_budget::try_fit(memory_slab& slab, std::size_t bytes) {
  constexpr std::size_t page = 4096;
  if (slab.data() != nullptr && slab.size() >= bytes) return true;
  slab.release();
  slab = try_take_slab((std::max(bytes, page) + page - 1) & ~(page - 1));
  return slab.data() != nullptr;
}

// Small ones come fast from the allocator, and no more are kept than a reading has at a time.
void memory_budget::give_back_slab(unsigned char* memory, std::size_t size) {
  bool is_kept = false;
  {
    const std::lock_guard lock(mutex_);
    const std::size_t most = std::max(limit_ / 8, std::min(limit_, kept_of_any_limit));
    is_kept = size >= smallest_spare && size <= most && spare_bytes_ <= most - size;
    if (is_kept) {
      spare_ = new (memory) spare_slab{spare_, size};
      spare_bytes_ += size;
      ++given_back_;
    }
  }
  if (is_kept) {
    room_.notify_all();
    return;
  }
  delete_slab(memory, size);
  give_back(size);
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
