// The two functions of allocate.h and nothing else: a definition of them in a program takes their place.
#include "decode/allocate.h"

#include <sys/mman.h>

#include <cstdint>
#include <cstdlib>

namespace ravo {
namespace {

/// The frames of a file need hundreds of megabytes of new memory: handing them out page by page takes the
/// system as long as decoding them. This asks for large pages, where there are any; the system may refuse.
void ask_for_large_pages(void* memory, std::size_t size) {
  constexpr std::uintptr_t page = 4096;
  const auto begin = reinterpret_cast<std::uintptr_t>(memory) & ~(page - 1);
  const auto end = (reinterpret_cast<std::uintptr_t>(memory) + size + page - 1) & ~(page - 1);
  (void)madvise(reinterpret_cast<void*>(begin), end - begin, MADV_HUGEPAGE);
}

}  // namespace

void* allocate(std::size_t size) {
  constexpr std::size_t large = std::size_t{1} << 20;
  void* const memory = std::malloc(size);
  if (memory != nullptr && size >= large) ask_for_large_pages(memory, size);
  return memory;
}

void* reallocate(void* memory, std::size_t size) { return std::realloc(memory, size); }

}  // namespace ravo
