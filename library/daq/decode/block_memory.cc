#include "decode/block_memory.h"

#include <malloc.h>
#include <sanitizer/asan_interface.h>

#include <array>
#include <bit>
#include <cstdlib>
#include <mutex>
#include <new>

#include "decode/allocate.h"

namespace ravo {
namespace {

// Smaller ones lie in pages that others use too.
constexpr std::size_t least_kept = 4096;

/// At the beginning of a kept block, so that keeping it needs no other memory.
struct kept_block {
  kept_block* next;
  std::size_t size;
};

/// The kept blocks, in stacks of sizes that differ by an eighth at most: the last one given back may still
/// be in the cache.
class kept_blocks {
 public:
  /// A block of this size or hardly larger, or null: the system rounds what it hands out up to pages.
  void* take(std::size_t size) {
    const std::lock_guard lock(mutex_);
    const std::size_t own = stack_of(size);
    void* const memory = take_from(stacks_[own], size);
    return memory != nullptr || own + 1 == stacks ? memory : take_from(stacks_[own + 1], size);
  }

  bool keep(void* memory, std::size_t size) {
    const std::lock_guard lock(mutex_);
    if (size > most_kept_memory - bytes_) return false;
    kept_block*& top = stacks_[stack_of(size)];
    top = new (memory) kept_block{top, size};
    bytes_ += size;
    ASAN_POISON_MEMORY_REGION(top + 1, size - sizeof *top);
    return true;
  }

 private:
  static constexpr std::size_t steps = 8;  // for each power of two
  static constexpr std::size_t stacks = steps * 64;
  static constexpr int most_looked_at = 8;

  /// By the exponent, and the three bits after the first.
  static std::size_t stack_of(std::size_t size) {
    const auto exponent = static_cast<std::size_t>(std::bit_width(size) - 1);
    return exponent * steps + (size >> (exponent - 3)) % steps;
  }

  void* take_from(kept_block*& top, std::size_t size) {
    kept_block** place = &top;
    for (int i = 0; i < most_looked_at && *place != nullptr; ++i, place = &(*place)->next) {
      kept_block* const found = *place;
      if (found->size < size || found->size > size + size / 8) continue;
      *place = found->next;
      bytes_ -= found->size;
      ASAN_UNPOISON_MEMORY_REGION(found, found->size);
      return found;
    }
    return nullptr;
  }

  std::mutex mutex_;  ///< guards what follows
  std::array<kept_block*, stacks> stacks_{};
  std::size_t bytes_ = 0;
};

// Never destroyed: a reader may be destroyed after it, at the end of the program.
kept_blocks& kept() {
  static kept_blocks* const blocks = new kept_blocks;
  return *blocks;
}

}  // namespace

void* take_block(std::size_t size) {
  void* const memory = size < least_kept ? nullptr : kept().take(size);
  return memory != nullptr ? memory : allocate(size);
}

void give_back_block(void* memory) {
  if (memory == nullptr) return;
  const std::size_t size = malloc_usable_size(memory);
  if (size < least_kept || !kept().keep(memory, size)) std::free(memory);
}

}  // namespace ravo
