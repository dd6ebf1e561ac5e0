// The loader's two header baskets: mapped just far enough to read their length, then whole; kept mapped,
// or copied to the heap and unmapped.
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "allocate.h"
#include "mapping.h"
#include "ravo_daq/file_get_tables.h"

namespace ravo {

template <class G>
int file_get_tables<G>::load_header_baskets() {
  constexpr auto event_size = basket_head_size + sizeof(ravo_eventheader);
  constexpr auto server_block_size = basket_head_size + sizeof(typename G::server_block_head);
  const int failure = load_basket(ref_tbl->evhdb_ref, event_size, -4, evh_base, evh_offset, evh_base_size, evhb);
  if (failure != 0) return failure;
  return load_basket(ref_tbl->srvbb_ref, server_block_size, -6, sbh_base, sbh_offset, sbh_base_size, sbhb);
}

// `head_failure` is the code for the first mapping, the one below it for the whole one.
template <class G>
template <class Basket>
int file_get_tables<G>::load_basket(unsigned long reference, unsigned long first_size, int head_failure,
                                    unsigned char*& base, unsigned long& offset, unsigned long& base_size,
                                    Basket*& basket) {
  const int whole_failure = head_failure - 1;
  file_mapping mapping;
  if (!mapping.map(fd, len, reference, first_size, basket_head_size)) return fail_mapping(head_failure);
  const auto length = static_cast<unsigned long>(basket_length(mapping.bytes()));  // negative: beyond any file
  const bool sensible = length >= basket_head_size;
  if (!sensible) errno = EINVAL;
  if (!sensible || !mapping.map(fd, len, reference, length, length)) return fail_mapping(whole_failure);
  base_size = mapping.size();

  if (basket_copy_mode != 0) {
    void* copy = allocate(length);
    if (copy == nullptr) return fail_mapping(whole_failure);
    copy_basket(copy, mapping.bytes(), length);
    offset = reference;
    basket = static_cast<Basket*>(copy);
    return 0;
  }
  offset = mapping.page_offset();
  basket = reinterpret_cast<Basket*>(mapping.bytes());
  base = mapping.base();
  mapping.release();
  return 0;
}

template <class G>
void file_get_tables<G>::release_baskets() {
  if (basket_copy_mode != 0) {
    std::free(evhb);
    std::free(sbhb);
    return;
  }
  if (evh_base != nullptr) munmap(evh_base, evh_base_size);
  if (sbh_base != nullptr) munmap(sbh_base, sbh_base_size);
}

}  // namespace ravo
