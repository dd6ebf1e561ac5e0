// Checked reading of a raw file's parts, and the test that a table does not overlap its neighbours.
#include "file_tables.h"

#include <algorithm>
#include <cstddef>
#include <limits>

#include "format/read_exactly.h"
#include "ravo_evutl.h"
#include "ravo_evutl_optional.h"

namespace ravo {

bool table_file::holds(std::uint64_t offset, std::uint64_t length) const {
  const std::uint64_t end = static_cast<std::uint64_t>(length_);
  if (end < tail_size) return false;
  return offset <= end - tail_size && length <= end - tail_size - offset;
}

ravo_table_status table_file::read(std::uint64_t offset, void* destination, std::size_t length) const {
  return read_exactly(fd_, offset, destination, length) ? RAVO_TABLE_OK : RAVO_TABLE_UNREADABLE;
}

ravo_table_status table_file::read_words(std::uint64_t offset, void* destination, std::size_t words) const {
  if (words > static_cast<std::size_t>(std::numeric_limits<int>::max())) return RAVO_TABLE_WRONG_LENGTH;
  const ravo_table_status status = read(offset, destination, words * 4);
  if (status == RAVO_TABLE_OK) ravo_swap4(destination, destination, static_cast<int>(words));
  return status;
}

ravo_table_status table_file::read_tail(std::uint32_t& offset) const {
  if (length_ < static_cast<long>(tail_size)) return RAVO_TABLE_TOO_SHORT;
  return read_words(length() - tail_size, &offset, 1);
}

ravo_table_status check_clear(const table_file& file, const ravo_file_reference_table_2010& reference,
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

ravo_table_status read_table_head(const table_file& file, const ravo_file_reference_table_2010& reference,
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

namespace {

using reference_table = ravo_file_reference_table_2010;

// The bytes of a table that begins with its length.
ravo_table_status measure(const table_file& file, const reference_table& reference, std::uint32_t offset,
                          std::uint32_t pattern, std::size_t smallest, std::uint64_t& bytes) {
  table_head head{};
  const ravo_table_status status = read_table_head(file, reference, offset, pattern, smallest, head);
  bytes = static_cast<std::uint64_t>(head.length);
  return status;
}

ravo_table_status measure_dictionary(const table_file& file, const reference_table& reference,
                                     std::uint64_t& bytes) {
  return measure(file, reference, reference.cdt_ref, RAVO_CHAN_DICTIONARY_PATTERN,
                 sizeof(ravo_chan_dictionary_table_2010), bytes);
}

ravo_table_status measure_row(const table_file& file, const reference_table& reference,
                              std::uint64_t& bytes) {
  using table = ravo_event_chan_pointers_table;
  std::uint64_t whole = 0;
  if (const auto status = measure(file, reference, reference.ecp_ref, RAVO_EVENT_CHAN_POINTERS_PATTERN,
                                  sizeof(table), whole);
      status != RAVO_TABLE_OK)
    return status;
  std::int32_t maxev = 0;
  if (const auto status = file.read_words(reference.ecp_ref + offsetof(table, maxev), &maxev, 1);
      status != RAVO_TABLE_OK)
    return status;
  bytes = static_cast<std::uint64_t>(std::max(maxev, 0)) * sizeof(ravo_event_chan_ptr_entry);
  // A table has whole rows only, and no row is longer than it.
  return bytes <= whole - sizeof(table) ? RAVO_TABLE_OK : RAVO_TABLE_WRONG_LENGTH;
}

ravo_table_status measure_table(const table_file& file, const reference_table& reference, int table,
                                std::uint64_t& bytes) {
  switch (table) {
    case RAVO_TABLE_OF_EVENTS: {
      std::int32_t event_types = 0;
      return measure_event_index(file, reference, event_types, bytes);
    }
    case RAVO_TABLE_OF_CHANNELS:
      return measure_dictionary(file, reference, bytes);
    case RAVO_TABLE_OF_POINTERS: {
      // The dictionary, which says how many rows there are, is in memory at the same time.
      std::uint64_t dictionary = 0;
      if (const auto status = measure_dictionary(file, reference, dictionary); status != RAVO_TABLE_OK)
        return status;
      const auto status = measure(file, reference, reference.ecp_ref, RAVO_EVENT_CHAN_POINTERS_PATTERN,
                                  sizeof(ravo_event_chan_pointers_table), bytes);
      bytes += dictionary;
      return status;
    }
    case RAVO_ROW_OF_POINTERS:
      return measure_row(file, reference, bytes);
    case RAVO_TABLE_OF_ENVIRONMENT:
      return measure(file, reference, reference.eidt_ref, RAVO_ENV_DICTIONARY_PATTERN,
                     sizeof(ravo_env_dictionary_table_2010), bytes);
    case RAVO_TABLE_OF_DESCRIPTIONS: {
      const auto status = measure(file, reference, reference.xcd_ref, RAVO_XML_CHAN_DESCR_PATTERN,
                                  sizeof(ravo_xml_chan_descr_header_2010), bytes);
      ++bytes;  // the zero byte after the text
      return status;
    }
    default:
      return RAVO_TABLE_INVALID_ARGUMENT;
  }
}

}  // namespace

}  // namespace ravo

int ravo_get_table_memory(long len, const ravo_file_reference_table_2010* reference, int fd, int table,
                          unsigned long* bytes) {
  if (bytes) *bytes = 0;
  if (!ravo::usable(len, reference, bytes)) return RAVO_TABLE_INVALID_ARGUMENT;
  std::uint64_t measured = 0;
  const ravo_table_status status =
      ravo::measure_table(ravo::table_file(fd, len), *reference, table, measured);
  if (status == RAVO_TABLE_OK) *bytes = measured;
  return status;
}
