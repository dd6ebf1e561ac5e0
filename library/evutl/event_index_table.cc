// Reads the event index table. The table has no length word: its entries are walked head by head,
// each checked against the file, before any memory is allocated. It is the same in both generations.
#include <cstddef>
#include <cstring>

#include "file_tables.h"
#include "ravo_evutl.h"

namespace {

using index_table = ravo_event_index_table_2010;
using entry_head = ravo_event_index_entry_head_2010;
using info_entry = ravo_event_info_entry_2010;

// Walks the entries and yields the bytes of the whole table, its head included.
ravo_table_status measure(const ravo::table_file& file, const ravo_file_reference_table_2010& reference,
                          std::int32_t event_types, std::uint64_t& length) {
  std::uint32_t seen = 0;
  length = sizeof(index_table);
  for (std::int32_t i = 0; i < event_types; ++i) {
    const std::uint64_t offset = reference.eit_pos_ref + length;
    if (!file.holds(offset, sizeof(entry_head))) return RAVO_TABLE_OUT_OF_FILE;
    entry_head head;
    if (const auto status = file.read_words(offset, &head, sizeof head / 4); status != RAVO_TABLE_OK)
      return status;
    if (head.event_type < 0 || head.event_type >= RAVO_EV_EVMAX) return RAVO_TABLE_WRONG_ENTRY;
    const std::uint32_t type_bit = 1u << head.event_type;
    if (seen & type_bit) return RAVO_TABLE_WRONG_ENTRY;
    seen |= type_bit;
    const std::uint32_t position = reference.eite_pos_ref[head.event_type];
    if (position != 0 && position != offset) return RAVO_TABLE_WRONG_ENTRY;
    if (head.length < 0) return RAVO_TABLE_WRONG_LENGTH;
    length += sizeof head + static_cast<std::uint64_t>(head.length) * sizeof(info_entry);
    if (!file.holds(reference.eit_pos_ref, length)) return RAVO_TABLE_OUT_OF_FILE;
  }
  // A reference to an entry that the table does not have points elsewhere.
  for (int type = 0; type < RAVO_EV_EVMAX; ++type)
    if (reference.eite_pos_ref[type] != 0 && !(seen & (1u << type))) return RAVO_TABLE_WRONG_ENTRY;
  return RAVO_TABLE_OK;
}

// The words of the table are read in one call, after the walk; a file that changed in between is refused.
bool still_fits(const index_table& table, std::int32_t event_types, std::uint64_t length) {
  if (table.nevent_types != event_types) return false;
  const unsigned char* bytes = reinterpret_cast<const unsigned char*>(&table);
  std::uint64_t offset = sizeof table;
  for (std::int32_t i = 0; i < event_types; ++i) {
    if (length - offset < sizeof(entry_head)) return false;
    entry_head head;
    std::memcpy(&head, bytes + offset, sizeof head);
    offset += sizeof head;
    if (head.event_type < 0 || head.event_type >= RAVO_EV_EVMAX || head.length < 0) return false;
    if (static_cast<std::uint64_t>(head.length) > (length - offset) / sizeof(info_entry)) return false;
    offset += static_cast<std::uint64_t>(head.length) * sizeof(info_entry);
  }
  return offset == length;
}

}  // namespace

ravo_table_status ravo::measure_event_index(const table_file& file,
                                            const ravo_file_reference_table_2010& reference,
                                            std::int32_t& event_types, std::uint64_t& length) {
  const std::uint32_t offset = reference.eit_pos_ref;
  if (offset == 0) return RAVO_TABLE_ABSENT;
  if (!file.holds(offset, sizeof(index_table))) return RAVO_TABLE_OUT_OF_FILE;
  index_table head;
  if (const auto status = file.read_words(offset, &head, sizeof head / 4); status != RAVO_TABLE_OK)
    return status;
  if (head.pattern != RAVO_EVENT_INDEX_PATTERN) return RAVO_TABLE_WRONG_PATTERN;
  if (head.nevent_types < 0 || head.nevent_types > RAVO_EV_EVMAX) return RAVO_TABLE_WRONG_LENGTH;
  event_types = head.nevent_types;
  if (const auto status = measure(file, reference, event_types, length); status != RAVO_TABLE_OK)
    return status;
  return check_clear(file, reference, offset, length);
}

int ravo_get_event_index_table_m_2010(long len, const ravo_file_reference_table_2010* reference, int fd,
                                      ravo_event_index_table_2010** table) {
  if (table) *table = nullptr;
  if (!ravo::usable(len, reference, table)) return RAVO_TABLE_INVALID_ARGUMENT;
  const ravo::table_file file(fd, len);
  std::int32_t event_types = 0;
  std::uint64_t length = 0;
  if (const auto status = ravo::measure_event_index(file, *reference, event_types, length);
      status != RAVO_TABLE_OK)
    return status;

  auto read = ravo::allocate<index_table>(length);
  if (!read) return RAVO_TABLE_NO_MEMORY;
  if (const auto status = file.read_words(reference->eit_pos_ref, read.get(), length / 4);
      status != RAVO_TABLE_OK)
    return status;
  if (!still_fits(*read, event_types, length)) return RAVO_TABLE_UNREADABLE;
  *table = read.release();
  return RAVO_TABLE_OK;
}

int ravo_get_event_index_table_m(long len, const ravo_file_reference_table* reference, int fd,
                                 ravo_event_index_table** table) {
  return ravo_get_event_index_table_m_2010(len, reference, fd, table);
}
