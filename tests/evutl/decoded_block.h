// A decoded block in memory as a reader holds it: subheader and data in host order, in memory that is
// exactly as long as the block says, so that a sanitizer sees every read past the end.
#ifndef RAVO_TEST_DECODED_BLOCK_H
#define RAVO_TEST_DECODED_BLOCK_H

#include <algorithm>
#include <cstring>
#include <memory>
#include <string_view>

#include "bytes.h"
#include "generations.h"

namespace ravo::test {

template <class generation>
class decoded_block {
 public:
  using subhead = typename generation::subhead_record;

  /// A name that fills its field has no terminating zero.
  decoded_block(std::string_view name, std::int32_t dtype, const bytes& host_data)
      : size_(sizeof(subhead) + host_data.size()), memory_(new unsigned char[size_]) {
    subhead head{};
    std::memcpy(head.chname, name.data(), std::min(name.size(), sizeof head.chname));
    head.dtype = dtype;
    head.ldata = static_cast<std::int32_t>(size_);
    std::memcpy(memory_.get(), &head, sizeof head);
    if (host_data.size() > 0) std::memcpy(memory_.get() + sizeof head, host_data.data(), host_data.size());
  }

  subhead* get() { return reinterpret_cast<subhead*>(memory_.get()); }
  const unsigned char* data() const { return memory_.get() + sizeof(subhead); }

 private:
  std::size_t size_;
  std::unique_ptr<unsigned char[]> memory_;
};

/// The bytes of host-order words, from the same words in file order.
inline bytes all_words_reversed(bytes data) {
  for (std::size_t i = 0; i + 4 <= data.size(); i += 4) data.set_u32(i, __builtin_bswap32(data.word(i)));
  return data;
}

}  // namespace ravo::test

#endif
