// Where the reading layers get memory that callers or clean_up() release with free(). It stands alone so
// that a program can put its own two functions in place of these and see what a layer does when memory
// runs out; nothing else belongs here.
#ifndef RAVO_DAQ_READER_ALLOCATE_H
#define RAVO_DAQ_READER_ALLOCATE_H

#include <cstddef>

namespace ravo {

/// As malloc; null when there is no memory. Released with free().
[[gnu::noinline]] void* allocate(std::size_t size);
/// As realloc; null when there is no memory, and `memory` is then left as it is.
[[gnu::noinline]] void* reallocate(void* memory, std::size_t size);

}  // namespace ravo

#endif
