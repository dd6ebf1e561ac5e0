// Reads the event channel pointer table, whole or only the rows of listed channels. The table is the same
// in both generations; the dictionary that assigns its rows is not. The offsets in its entries are passed
// on as they are: the code that follows an offset checks it against what is mapped.
#include <limits>
#include <string_view>
#include <unordered_map>

#include "channel_dictionary.h"
#include "file_tables.h"
#include "ravo_evutl.h"

namespace {

using pointer_table = ravo_event_chan_pointers_table;
using pointer_entry = ravo_event_chan_ptr_entry;
using reference_table = ravo_file_reference_table;

constexpr std::size_t largest_table = std::numeric_limits<std::int32_t>::max();

// What is known about the table on disk once its head has been accepted.
struct table_shape {
  std::int32_t length;
  std::int32_t maxev;
  std::size_t row_bytes() const { return static_cast<std::size_t>(maxev) * sizeof(pointer_entry); }
};

// The table has exactly one row for each of the dictionary's channels.
template <class dictionary_table>
ravo_table_status read_shape(const ravo::table_file& file, const reference_table& reference,
                             const dictionary_table& dictionary, table_shape& shape) {
  ravo::table_head head;
  if (const auto status =
          ravo::read_table_head(file, reference, reference.ecp_ref, RAVO_EVENT_CHAN_POINTERS_PATTERN,
                                sizeof(pointer_table), head);
      status != RAVO_TABLE_OK)
    return status;
  std::int32_t maxev = 0;
  if (const auto status = file.read_words(reference.ecp_ref + offsetof(pointer_table, maxev), &maxev, 1);
      status != RAVO_TABLE_OK)
    return status;
  shape = {head.length, maxev};
  if (maxev < 0 || shape.row_bytes() > file.length()) return RAVO_TABLE_WRONG_LENGTH;
  const std::uint64_t rows = static_cast<std::uint64_t>(ravo::channel_count(dictionary));
  // At most 2^23 rows of 2^35 bytes: the product fits 64 bits.
  if (sizeof(pointer_table) + rows * shape.row_bytes() != static_cast<std::uint64_t>(head.length))
    return RAVO_TABLE_WRONG_LENGTH;
  return RAVO_TABLE_OK;
}

template <class dictionary_table>
bool count_fits_row(const dictionary_table& dictionary, int channel, const table_shape& shape) {
  return dictionary.channel_entry()[channel].count <= shape.maxev;
}

// For each listed name its dictionary row, or -1.
template <class dictionary_table>
std::vector<int> rows_of(const std::vector<char*>& names, const dictionary_table& dictionary) {
  std::unordered_map<std::string_view, int> row_of_name;
  for (int i = 0; i < ravo::channel_count(dictionary); ++i)
    row_of_name.emplace(dictionary.channel_entry()[i].chan_name, i);
  std::vector<int> rows;
  rows.reserve(names.size());
  for (const char* name : names) {
    const auto found = name ? row_of_name.find(name) : row_of_name.end();
    rows.push_back(found == row_of_name.end() ? -1 : found->second);
  }
  return rows;
}

template <class dictionary_table>
ravo_table_status read_listed_rows(const ravo::table_file& file, const reference_table& reference,
                                   const dictionary_table& dictionary, const std::vector<int>& rows,
                                   pointer_table** table) {
  table_shape shape;
  if (const auto status = read_shape(file, reference, dictionary, shape); status != RAVO_TABLE_OK)
    return status;
  for (const int row : rows)
    if (row >= 0 && !count_fits_row(dictionary, row, shape)) return RAVO_TABLE_WRONG_ENTRY;
  if (shape.maxev > 0 && rows.size() > (largest_table - sizeof(pointer_table)) / shape.row_bytes())
    return RAVO_TABLE_WRONG_LENGTH;
  const std::size_t length = sizeof(pointer_table) + rows.size() * shape.row_bytes();

  // The rows of absent names are never written: zeroed memory that nobody touches costs no pages.
  auto read = ravo::allocate_zeroed<pointer_table>(length);
  if (!read) return RAVO_TABLE_NO_MEMORY;
  read->pattern = RAVO_EVENT_CHAN_POINTERS_PATTERN;
  read->length = static_cast<std::int32_t>(length);
  read->maxev = shape.maxev;
  pointer_entry* destination = read->chptr();
  for (const int row : rows) {
    if (row >= 0) {
      const std::uint64_t offset =
          reference.ecp_ref + sizeof(pointer_table) + static_cast<std::uint64_t>(row) * shape.row_bytes();
      if (const auto status = file.read_words(offset, destination, shape.row_bytes() / 4);
          status != RAVO_TABLE_OK)
        return status;
    }
    destination += shape.maxev;
  }
  *table = read.release();
  return RAVO_TABLE_OK;
}

template <class dictionary_table>
int read_all_rows(long len, const reference_table* reference, int fd, pointer_table** table) {
  if (table) *table = nullptr;
  if (!ravo::usable(len, reference, table)) return RAVO_TABLE_INVALID_ARGUMENT;
  // Only the dictionary says how many rows there are.
  dictionary_table* loaded = nullptr;
  if (const int status = ravo::read_dictionary(len, reference, fd, &loaded); status != RAVO_TABLE_OK)
    return status;
  const ravo::malloc_owner<dictionary_table> dictionary(loaded);

  const ravo::table_file file(fd, len);
  table_shape shape;
  if (const auto status = read_shape(file, *reference, *dictionary, shape); status != RAVO_TABLE_OK)
    return status;
  for (int i = 0; i < ravo::channel_count(*dictionary); ++i)
    if (!count_fits_row(*dictionary, i, shape)) return RAVO_TABLE_WRONG_ENTRY;

  const std::size_t length = static_cast<std::size_t>(shape.length);
  auto read = ravo::allocate<pointer_table>(length);
  if (!read) return RAVO_TABLE_NO_MEMORY;
  if (const auto status = file.read_words(reference->ecp_ref, read.get(), length / 4);
      status != RAVO_TABLE_OK)
    return status;
  // The head that was accepted counts, even if the file has changed since.
  read->pattern = RAVO_EVENT_CHAN_POINTERS_PATTERN;
  read->length = shape.length;
  read->maxev = shape.maxev;
  *table = read.release();
  return RAVO_TABLE_OK;
}

template <class dictionary_table>
int read_rows_by_list(long len, const reference_table* reference, int fd, const std::vector<char*>* names,
                      const dictionary_table* dictionary, pointer_table** table) try {
  if (table) *table = nullptr;
  if (!ravo::usable(len, reference, table) || !names || !dictionary) return RAVO_TABLE_INVALID_ARGUMENT;
  const std::vector<int> rows = rows_of(*names, *dictionary);
  bool any = false;
  for (const int row : rows) any = any || row >= 0;
  if (!any) return RAVO_TABLE_NO_CHANNEL;
  return read_listed_rows(ravo::table_file(fd, len), *reference, *dictionary, rows, table);
} catch (...) {
  return RAVO_TABLE_NO_MEMORY;
}

}  // namespace

int ravo_get_event_chan_pointers_table_m_2010(long len, const ravo_file_reference_table_2010* reference,
                                              int fd, ravo_event_chan_pointers_table** table) {
  return read_all_rows<ravo_chan_dictionary_table_2010>(len, reference, fd, table);
}

int ravo_get_event_chan_pointers_table_m(long len, const ravo_file_reference_table* reference, int fd,
                                         ravo_event_chan_pointers_table** table) {
  return read_all_rows<ravo_chan_dictionary_table>(len, reference, fd, table);
}

int ravo_get_event_chan_pointers_table_by_list_m_2010(long len,
                                                      const ravo_file_reference_table_2010* reference,
                                                      int fd, const std::vector<char*>* names,
                                                      const ravo_chan_dictionary_table_2010* dictionary,
                                                      ravo_event_chan_pointers_table** table) {
  return read_rows_by_list(len, reference, fd, names, dictionary, table);
}

int ravo_get_event_chan_pointers_table_by_list_m(long len, const ravo_file_reference_table* reference,
                                                 int fd, const std::vector<char*>* names,
                                                 const ravo_chan_dictionary_table* dictionary,
                                                 ravo_event_chan_pointers_table** table) {
  return read_rows_by_list(len, reference, fd, names, dictionary, table);
}
