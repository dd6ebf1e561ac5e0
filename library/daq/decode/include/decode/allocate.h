// Where the reading layers get memory that callers or clean_up() release with free(). It is separate so
// that a program can replace the two functions by its own and test what a layer does when memory runs
// out; nothing else belongs here.
#ifndef RAVO_DECODE_ALLOCATE_H
#define RAVO_DECODE_ALLOCATE_H

#include <cstddef>

namespace ravo {

/// Like malloc; null when there is no memory. Released with free().
[[gnu::noinline]] void* allocate(std::size_t size);
/// Like realloc; null when there is no memory, and `memory` is then unchanged.
[[gnu::noinline]] void* reallocate(void* memory, std::size_t size);

}  // namespace ravo

#endif
