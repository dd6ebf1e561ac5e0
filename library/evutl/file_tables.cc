// Checked reading of a raw file's parts, and the test that a table keeps clear of its neighbours.
#include "file_tables.h"

#include <limits>

#include "ravo_evutl.h"
#include "read_exactly.h"

namespace ravo {

bool raw_file::holds(std::uint64_t offset, std::uint64_t length) const {
  const std::uint64_t end = static_cast<std::uint64_t>(length_);
  if (end < tail_size) return false;
  return offset <= end - tail_size && length <= end - tail_size - offset;
}

ravo_table_status raw_file::read(std::uint64_t offset, void* destination, std::size_t length) const {
  return read_exactly(fd_, offset, destination, length) ? RAVO_TABLE_OK : RAVO_TABLE_UNREADABLE;
}

ravo_table_status raw_file::read_words(std::uint64_t offset, void* destination, std::size_t words) const {
  if (words > static_cast<std::size_t>(std::numeric_limits<int>::max())) return RAVO_TABLE_WRONG_LENGTH;
  const ravo_table_status status = read(offset, destination, words * 4);
  if (status == RAVO_TABLE_OK) ravo_swap4(destination, destination, static_cast<int>(words));
  return status;
}

ravo_table_status raw_file::read_tail(std::uint32_t& offset) const {
  if (length_ < static_cast<long>(tail_size)) return RAVO_TABLE_TOO_SHORT;
  return read_words(length() - tail_size, &offset, 1);
}

ravo_table_status check_clear(const raw_file& file, const ravo_file_reference_table_2010& reference,
                              std::uint64_t offset, std::uint64_t length) {
  const std::uint64_t end = offset + length;  // both came out of 32-bit words
  std::uint32_t reference_offset = 0;
  if (const ravo_table_status status = file.read_tail(reference_offset); status != RAVO_TABLE_OK)
    return status;
  if (offset < std::uint64_t{reference_offset} + sizeof reference && reference_offset < end)
    return RAVO_TABLE_OVERLAP;
  // The entries of the event index are parts of a table, not neighbours; they are not listed here.
  const std::uint32_t neighbours[] = {reference.eit_pos_ref, reference.cdt_ref,  reference.ecp_ref,
                                      reference.eidt_ref,    reference.xcd_ref,  reference.evhdb_ref,
                                      reference.srvbb_ref,   reference.chanb_ref};
  int here = 0;
  for (const std::uint32_t start : neighbours) {
    if (start == offset)
      ++here;
    else if (start > offset && start < end)
      return RAVO_TABLE_OVERLAP;
  }
  return here > 1 ? RAVO_TABLE_OVERLAP : RAVO_TABLE_OK;
}

ravo_table_status read_table_head(const raw_file& file, const ravo_file_reference_table_2010& reference,
                                  std::uint32_t offset, std::uint32_t pattern, std::size_t smallest,
                                  table_head& head) {
  if (offset == 0) return RAVO_TABLE_ABSENT;
  if (!file.holds(offset, smallest)) return RAVO_TABLE_OUT_OF_FILE;
  if (const ravo_table_status status = file.read_words(offset, &head, 2); status != RAVO_TABLE_OK)
    return status;
  if (head.pattern != pattern) return RAVO_TABLE_WRONG_PATTERN;
  if (head.length < 0 || static_cast<std::size_t>(head.length) < smallest) return RAVO_TABLE_WRONG_LENGTH;
  const std::uint64_t length = static_cast<std::uint64_t>(head.length);
  if (!file.holds(offset, length)) return RAVO_TABLE_OUT_OF_FILE;
  return check_clear(file, reference, offset, length);
}

bool usable(long len, const ravo_file_reference_table_2010* reference, const void* result) {
  return len >= 0 && reference != nullptr && result != nullptr;
}

}  // namespace ravo
