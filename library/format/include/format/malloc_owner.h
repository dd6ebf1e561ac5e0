// Owner of memory that a caller will release with free(): frees it unless it is released to the
// caller.
#ifndef RAVO_MALLOC_OWNER_H
#define RAVO_MALLOC_OWNER_H

#include <cstddef>
#include <cstdlib>
#include <memory>

namespace ravo {

struct free_memory {
  void operator()(void* memory) const { std::free(memory); }
};

template <class T>
using malloc_owner = std::unique_ptr<T, free_memory>;

/// `size` bytes for a T and what follows it, unset; empty when there is no memory.
template <class T>
malloc_owner<T> allocate(std::size_t size) {
  return malloc_owner<T>(static_cast<T*>(std::malloc(size)));
}

/// The same, all bytes zero. Large memory that nobody writes to costs no pages.
template <class T>
malloc_owner<T> allocate_zeroed(std::size_t size) {
  return malloc_owner<T>(static_cast<T*>(std::calloc(size, 1)));
}

}  // namespace ravo

#endif
