// Loads the two header baskets: first their length, then the whole basket, which is mapped or copied to
// the heap.
#include <cerrno>
#include <cstdint>
#include <cstdlib>

#include "decode/allocate.h"
#include "format/malloc_owner.h"
#include "mapping.h"
#include "ravo_daq/file_get_tables.h"

namespace ravo {

template <class G>
int file_get_tables<G>::load_header_baskets() {
  const int failure = load_basket(ref_tbl->evhdb_ref, -4, evh_base, evh_offset, evh_base_size, evhb);
  if (failure != 0) return failure;
  const int second = load_basket(ref_tbl->srvbb_ref, -6, sbh_base, sbh_offset, sbh_base_size, sbhb);
  if (second != 0) return second;
  errno = ESTALE;
  return is_unchanged() ? 0 : fail_mapping(-7);  // some of the parts may be of another file
}

// `head_failure` is the code for the basket's head, `head_failure` - 1 that for the whole basket.
template <class G>
template <class Basket>
int file_get_tables<G>::load_basket(unsigned long reference, int head_failure, unsigned char*& base,
                                    unsigned long& offset, unsigned long& base_size, Basket*& basket) {
  const int whole_failure = head_failure - 1;
  std::int32_t length_word = 0;
  if (!read_basket_length(fd, len, reference, length_word)) return fail_mapping(head_failure);
  const auto length = static_cast<unsigned long>(length_word);  // negative: larger than any file
  errno = EINVAL;
  if (length < basket_head_size || !lies_in_file(len, reference, length))
    return fail_mapping(whole_failure);

  if (are_baskets_copied()) {
    malloc_owner<void> copy(ravo::allocate(length));
    if (!copy || !copy_basket(fd, len, reference, copy.get(), length)) return fail_mapping(whole_failure);
    base_size = page_place(len, reference).rest + length;
    offset = reference;
    basket = static_cast<Basket*>(copy.release());
    return 0;
  }
  file_mapping mapping;
  if (!mapping.map(fd, len, reference, length)) return fail_mapping(whole_failure);
  base_size = mapping.size();
  offset = mapping.page_offset();
  basket = reinterpret_cast<Basket*>(mapping.bytes());
  base = mapping.base();
  mapping.release();
  return 0;
}

template <class G>
void file_get_tables<G>::release_baskets() {
  if (are_baskets_copied()) {
    std::free(evhb);
    std::free(sbhb);
    return;
  }
  file_mapping::unmap(evh_base, evh_base_size);
  file_mapping::unmap(sbh_base, sbh_base_size);
}

}  // namespace ravo
