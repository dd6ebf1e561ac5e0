// The two functions of allocate.h and nothing else: a definition of them in a program takes their place.
#include "allocate.h"

#include <cstdlib>

namespace ravo {

void* allocate(std::size_t size) { return std::malloc(size); }

void* reallocate(void* memory, std::size_t size) { return std::realloc(memory, size); }

}  // namespace ravo
