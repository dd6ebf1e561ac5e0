#include "work/memory_budget.h"

#include <sys/mman.h>

#include <algorithm>
#include <cstdlib>
#include <new>

#include "ravo_dataset/errors.h"
#include "work/stop_scope.h"

namespace ravo::detail {

namespace {

// A block that the allocator frees may stay resident, since blocks above it keep the allocator from
// returning it to the system. Blocks of this size are mapped by themselves, and unmapped when they are
// freed; for smaller ones, whole pages would cost too much.
constexpr std::size_t mapped_from = std::size_t{1} << 20;

unsigned char* new_memory(std::size_t size) {
  if (size < mapped_from) return static_cast<unsigned char*>(std::malloc(size));
  void* const memory = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  return memory == MAP_FAILED ? nullptr : static_cast<unsigned char*>(memory);
}

void delete_memory(void* memory, std::size_t size) {
  if (size < mapped_from)
    std::free(memory);
  else
    (void)::munmap(memory, size);
}

}  // namespace

reservation& reservation::operator=(reservation&& other) noexcept {
  if (this == &other) return *this;
  release();
  budget_ = std::exchange(other.budget_, nullptr);
  bytes_ = std::exchange(other.bytes_, 0);
  return *this;
}

void reservation::release() { shrink(0); }

void reservation::shrink(std::size_t bytes) {
  if (budget_ == nullptr || bytes >= bytes_) return;
  budget_->give_back(bytes_ - bytes);
  bytes_ = bytes;
}

void pooled_buffer::release() {
  if (memory_ != nullptr)
    budget_->give_back_buffer(std::exchange(memory_, nullptr), std::exchange(size_, 0));
}

pooled_buffer& pooled_buffer::operator=(pooled_buffer&& other) noexcept {
  if (this == &other) return *this;
  release();
  budget_ = other.budget_;
  memory_ = std::exchange(other.memory_, nullptr);
  size_ = std::exchange(other.size_, 0);
  return *this;
}

// ---- who is at work

namespace {
/// How many at_work objects this thread has made; only the first one counts.
thread_local int works_here = 0;
}  // namespace

memory_budget::at_work::at_work(memory_budget& budget) : budget_(budget) {
  if (works_here++ == 0) ++budget_.at_work_;
}
memory_budget::at_work::~at_work() {
  if (--works_here == 0) --budget_.at_work_;
}

/// Whether a thread other than the calling one is at work and not waiting for memory.
bool memory_budget::are_others_at_work() const {
  return at_work_ - (works_here > 0 ? 1 : 0) > waiting_workers_;
}

memory_wait::memory_wait(memory_budget& budget, until what) : budget_(budget), what_(what) { begin_anew(); }

void memory_wait::begin_anew() {
  const std::lock_guard lock(budget_.mutex_);
  seen_ = budget_.given_back_;
}

bool memory_wait::pause() {
  stop_scope::check();
  const int workers = works_here > 0 ? 1 : 0;
  budget_.waiting_workers_ += workers;
  bool came_back = false;
  {
    std::unique_lock lock(budget_.mutex_);
    came_back = budget_.room_.wait_for(lock, std::chrono::milliseconds(20),
                                       [this] { return budget_.given_back_ != seen_; });
    seen_ = budget_.given_back_;
  }
  budget_.waiting_workers_ -= workers;
  if (came_back) last_return_ = clock::now();
  return came_back;
}

bool memory_wait::is_over() const {
  const auto now = clock::now();
  if (what_ == until::work_succeeds && now - begun_ > std::chrono::seconds(30)) return true;
  return now - last_return_ > std::chrono::seconds(budget_.are_others_at_work() ? 10 : 1);
}

// ---- reservations

memory_budget::~memory_budget() {
  while (pool_ != nullptr) {
    free_buffer* const first = std::exchange(pool_, pool_->next);
    delete_memory(first, first->size);
  }
}

std::size_t memory_budget::used() const {
  const std::lock_guard lock(mutex_);
  return used_ - pool_bytes_;
}

std::size_t memory_budget::peak() const {
  const std::lock_guard lock(mutex_);
  return peak_;
}

bool memory_budget::try_grow(reservation& reserved, std::size_t bytes) {
  const std::lock_guard lock(mutex_);
  if (!make_room(bytes)) return false;
  count(bytes);
  reserved.budget_ = this;
  reserved.bytes_ += bytes;
  return true;
}

reservation memory_budget::reserve(std::size_t bytes, const std::string& what, on_full how) {
  reservation reserved;
  if (try_grow(reserved, bytes)) return reserved;
  if (how == on_full::refuse) throw memory_refused();
  wait_until([&] { return try_grow(reserved, bytes); }, bytes, what);
  return reserved;
}

void memory_budget::wait_until(const std::function<bool()>& is_done, std::size_t bytes,
                               const std::string& what) {
  if (is_done()) return;
  if (bytes > limit_)
    throw memory_exceeded(what + " needs " + std::to_string(bytes) +
                          " bytes, more than the memory limit of " + std::to_string(limit_) +
                          "; raise the limit or select less");
  memory_wait wait(*this, memory_wait::until::there_is_room);
  while (!is_done()) {
    if (reclaim_ && reclaim_()) continue;
    if (wait.is_over()) refuse_for_good(bytes, what);
    wait.pause();
  }
}

void memory_budget::refuse_for_good(std::size_t bytes, const std::string& what) const {
  throw memory_exceeded(what + " needs " + std::to_string(bytes) + " bytes, and " + std::to_string(used()) +
                        " of the memory limit of " + std::to_string(limit_) +
                        " are in use; let go of events and columns, or raise the limit");
}

void memory_budget::count(std::size_t bytes) {
  used_ += bytes;
  peak_ = std::max(peak_, used_);
}

/// Whether that many more bytes stay within the limit.
bool memory_budget::make_room(std::size_t bytes) {
  const std::size_t in_use = used_ - pool_bytes_;
  if (in_use > limit_ || bytes > limit_ - in_use) return false;
  empty_pool(bytes);
  return true;
}

/// Frees pooled buffers until that many more bytes are no new peak: the pool must never raise the peak.
void memory_budget::empty_pool(std::size_t bytes) {
  const std::size_t most = std::min(peak_, limit_);
  while (pool_ != nullptr && (used_ > most || bytes > most - used_)) {
    free_buffer* const first = std::exchange(pool_, pool_->next);
    used_ -= first->size;
    pool_bytes_ -= first->size;
    delete_memory(first, first->size);
  }
}

void memory_budget::give_back(std::size_t bytes) {
  {
    const std::lock_guard lock(mutex_);
    used_ -= bytes;
    ++given_back_;
  }
  room_.notify_all();
}

// ---- buffers

/// A pooled buffer that fits; one without memory if there is none.
pooled_buffer memory_budget::find_buffer(std::size_t bytes) {
  pooled_buffer buffer;
  buffer.budget_ = this;
  const std::lock_guard lock(mutex_);
  for (free_buffer** place = &pool_; *place != nullptr; place = &(*place)->next) {
    free_buffer* const candidate = *place;
    if (candidate->size < bytes || candidate->size / 2 > bytes) continue;
    *place = candidate->next;
    pool_bytes_ -= candidate->size;
    buffer.size_ = candidate->size;
    buffer.memory_ = reinterpret_cast<unsigned char*>(candidate);
    break;
  }
  return buffer;
}

pooled_buffer memory_budget::take_buffer(std::size_t bytes, const std::string& what, on_full how) {
  pooled_buffer buffer = find_buffer(bytes);
  if (buffer.data() != nullptr) return buffer;
  reservation reserved = reserve(bytes, what, how);
  buffer.memory_ = new_memory(bytes);
  if (buffer.memory_ == nullptr) throw std::bad_alloc();
  buffer.size_ = std::exchange(reserved.bytes_, 0);
  return buffer;
}

void memory_budget::fit(pooled_buffer& buffer, std::size_t bytes, const std::string& what, on_full how) {
  constexpr std::size_t page = 4096;
  if (buffer.data() != nullptr && buffer.size() >= bytes) return;
  buffer.release();
  const std::size_t whole_pages = (std::max(bytes, page) + page - 1) & ~(page - 1);
  try {
    buffer = take_buffer(whole_pages, what, on_full::refuse);
  } catch (const memory_refused&) {
    if (how == on_full::refuse) throw;
    buffer = take_buffer(bytes, what, how);
  }
}

// The allocator is fast for small ones, and no more are kept than a reading uses at a time.
void memory_budget::give_back_buffer(unsigned char* memory, std::size_t size) {
  bool is_kept = false;
  {
    const std::lock_guard lock(mutex_);
    const std::size_t most = std::max(limit_ / 8, std::min(limit_, pooled_with_any_limit));
    is_kept = size >= smallest_pooled && size <= most && pool_bytes_ <= most - size;
    if (is_kept) {
      pool_ = new (memory) free_buffer{pool_, size};
      pool_bytes_ += size;
      ++given_back_;
    }
  }
  if (is_kept) {
    room_.notify_all();
    return;
  }
  delete_memory(memory, size);
  give_back(size);
}

}  // namespace ravo::detail
