// The reference table at the end of a raw file, which says where the file's other tables are.
#ifndef RAVO_DATASET_REFERENCE_TABLE_H
#define RAVO_DATASET_REFERENCE_TABLE_H

#include <cstdint>
#include <vector>

#include "decode/table_operations.h"
#include "format/malloc_owner.h"
#include "work/open_files.h"

namespace ravo::detail {

/// Takes over the table that an operation returns; null if the operation fails.
template <class Table, class Load>
malloc_owner<Table> loaded(Load load) {
  Table* table = nullptr;
  const int status = load(&table);
  malloc_owner<Table> owner(table);
  if (status != 0) owner.reset();
  return owner;
}

/// Null if the file has none of this generation.
template <class G>
malloc_owner<typename G::reference_table> load_reference(const open_file& file) {
  const long length = file.length();
  if (length < 4) return nullptr;
  const long page = offset_of_tail(length);
  std::vector<unsigned char> tail(static_cast<std::size_t>(length - page));
  if (!file.read_all(static_cast<std::uint64_t>(page), tail.data(), tail.size())) return nullptr;
  return loaded<typename G::reference_table>([&](auto** table) {
    return table_operations<G>::get_reference_table(tail.data(), static_cast<long>(tail.size()), length,
                                                    file.descriptor(), table);
  });
}

}  // namespace ravo::detail

#endif
