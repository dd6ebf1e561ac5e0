// Reverses the bytes of words: the way between file order and host order.
#include <cstdint>
#include <cstring>

#include "ravo_evutl.h"

void ravo_swap4(const void* source, void* destination, int words) {
  const unsigned char* from = static_cast<const unsigned char*>(source);
  unsigned char* to = static_cast<unsigned char*>(destination);
  // Neither side need be aligned; the copies compile to plain (and, here, vector) loads and stores.
  for (int i = 0; i < words; ++i, from += 4, to += 4) {
    std::uint32_t word;
    std::memcpy(&word, from, 4);
    word = __builtin_bswap32(word);
    std::memcpy(to, &word, 4);
  }
}
