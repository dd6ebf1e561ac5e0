// Finds the reference table from a file's last 4 bytes. It checks the table itself; the operation that
// reads what the table refers to checks that. The generations differ only in the table's marker.
// The markers of event headers, which identify the generation of an event, are compared here too.
#include <unistd.h>

#include <cstring>

#include "file_tables.h"
#include "format/byte_view.h"
#include "ravo_evutl.h"
#include "ravo_evutl_optional.h"

namespace {

using ravo::byte_view;
using ravo::word_order;
using reference_table = ravo_file_reference_table;

constexpr int reference_table_words = sizeof(reference_table) / 4;

// A reference into the reference table itself can only be damage.
bool refers_to_itself(const reference_table& table, std::uint64_t offset) {
  std::uint32_t words[reference_table_words];
  std::memcpy(words, &table, sizeof table);
  for (int i = 2; i < reference_table_words; ++i)
    if (words[i] >= offset && words[i] - offset < sizeof table) return true;
  return false;
}

// From the mapping of the tail if the table lies inside it, otherwise through the descriptor.
ravo_table_status read_reference_table(const byte_view& tail, const ravo::table_file& file,
                                       std::uint32_t offset, reference_table& table) {
  const std::uint64_t tail_offset = file.length() - tail.size();
  if (offset < tail_offset) return file.read_words(offset, &table, reference_table_words);
  const auto part = tail.sub(offset - tail_offset, sizeof table);
  if (!part) return RAVO_TABLE_OUT_OF_FILE;
  ravo_swap4(part->data(), &table, reference_table_words);
  return RAVO_TABLE_OK;
}

int find_reference_table(const unsigned char* tail, long tail_length, long len, int fd,
                         std::uint32_t pattern, reference_table** table) {
  if (!table) return RAVO_TABLE_INVALID_ARGUMENT;
  *table = nullptr;
  if (!tail || tail_length < 0 || len < tail_length) return RAVO_TABLE_INVALID_ARGUMENT;
  if (tail_length < static_cast<long>(ravo::tail_size)) return RAVO_TABLE_TOO_SHORT;

  const byte_view view(tail, static_cast<std::size_t>(tail_length), word_order::file);
  const ravo::table_file file(fd, len);
  const std::uint32_t offset = *view.at<std::uint32_t>(view.size() - ravo::tail_size);
  if (offset == 0) return RAVO_TABLE_ABSENT;
  if (!file.holds(offset, sizeof(reference_table))) return RAVO_TABLE_OUT_OF_FILE;

  auto read = ravo::allocate<reference_table>(sizeof(reference_table));
  if (!read) return RAVO_TABLE_NO_MEMORY;
  if (const auto status = read_reference_table(view, file, offset, *read); status != RAVO_TABLE_OK)
    return status;
  if (read->pattern != pattern) return RAVO_TABLE_WRONG_PATTERN;
  if (read->length != sizeof(reference_table)) return RAVO_TABLE_WRONG_LENGTH;
  if (refers_to_itself(*read, offset)) return RAVO_TABLE_OVERLAP;
  *table = read.release();
  return RAVO_TABLE_OK;
}

bool begins_with(const void* header, std::uint32_t pattern) {
  std::uint32_t word = 0;
  ravo_swap4(header, &word, 1);
  return word == pattern;
}

}  // namespace

long ravo_get_page_offset(long, long offset, long* rem) {
  const long page = sysconf(_SC_PAGESIZE);
  const long aligned = offset > 0 ? offset - offset % page : 0;
  if (rem) *rem = offset - aligned;
  return aligned;
}

int get_ravo_file_reference_table_m_2010(const unsigned char* tail, long tail_length, long len, int fd,
                                         ravo_file_reference_table_2010** table) {
  return find_reference_table(tail, tail_length, len, fd, RAVO_REFERENCE_TABLE_PATTERN_2010, table);
}

int get_ravo_file_reference_table_m(const unsigned char* tail, long tail_length, long len, int fd,
                                    ravo_file_reference_table** table) {
  return find_reference_table(tail, tail_length, len, fd, RAVO_REFERENCE_TABLE_PATTERN, table);
}

bool ravo_is_event_header_2010(const void* header) {
  return header && begins_with(header, RAVO_EVENT_HEADER_PATTERN_2010);
}

bool ravo_is_event_header(const void* header) {
  return header && begins_with(header, RAVO_EVENT_HEADER_PATTERN);
}
