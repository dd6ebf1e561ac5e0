// Reads the channel dictionary of either generation, brings its words (not its names) into host order,
// and finds channels in it. The generations differ only in the size of the name field.
#include "channel_dictionary.h"

#include <cstring>

#include "file_tables.h"
#include "format/byte_view.h"
#include "ravo_evutl.h"

namespace {

template <class dictionary_entry>
void to_host_order(dictionary_entry& entry) {
  // The words after the name.
  constexpr std::size_t masks_offset = offsetof(dictionary_entry, ev_mask);
  constexpr int masks_words = (sizeof(dictionary_entry) - masks_offset) / 4;
  ravo_swap4(&entry.key, &entry.key, 1);
  ravo_swap4(&entry.ev_mask, &entry.ev_mask, masks_words);
}

template <class dictionary_table>
int find_channel(const dictionary_table* dictionary, const char* name,
                 ravo::dictionary_entry_of<dictionary_table>** entry) {
  if (entry) *entry = nullptr;
  if (!dictionary || !name) return RAVO_TABLE_NO_CHANNEL;
  const auto* entries = dictionary->channel_entry();
  for (int i = 0; i < ravo::channel_count(*dictionary); ++i) {
    if (std::strcmp(entries[i].chan_name, name) != 0) continue;
    // The entry is in the caller's own dictionary; the interface has no const variant.
    if (entry) *entry = const_cast<ravo::dictionary_entry_of<dictionary_table>*>(entries + i);
    return i;
  }
  return RAVO_TABLE_NO_CHANNEL;
}

}  // namespace

template <class dictionary_table>
int ravo::read_dictionary(long len, const ravo_file_reference_table* reference, int fd,
                          dictionary_table** table) {
  using dictionary_entry = dictionary_entry_of<dictionary_table>;
  if (table) *table = nullptr;
  if (!usable(len, reference, table)) return RAVO_TABLE_INVALID_ARGUMENT;
  const table_file file(fd, len);
  table_head head;
  if (const auto status = read_table_head(file, *reference, reference->cdt_ref,
                                          RAVO_CHAN_DICTIONARY_PATTERN, sizeof(dictionary_table), head);
      status != RAVO_TABLE_OK)
    return status;
  const std::size_t length = static_cast<std::size_t>(head.length);
  if ((length - sizeof(dictionary_table)) % sizeof(dictionary_entry) != 0) return RAVO_TABLE_WRONG_LENGTH;

  auto read = allocate<dictionary_table>(length);
  if (!read) return RAVO_TABLE_NO_MEMORY;
  if (const auto status = file.read(reference->cdt_ref, read.get(), length); status != RAVO_TABLE_OK)
    return status;
  read->pattern = head.pattern;
  read->length = head.length;
  for (int i = 0; i < channel_count(*read); ++i) {
    dictionary_entry& entry = read->channel_entry()[i];
    to_host_order(entry);
    if (!std::memchr(entry.chan_name, 0, sizeof entry.chan_name) || entry.count < 0)
      return RAVO_TABLE_WRONG_ENTRY;
  }
  *table = read.release();
  return RAVO_TABLE_OK;
}

template int ravo::read_dictionary(long, const ravo_file_reference_table*, int,
                                   ravo_chan_dictionary_table_2010**);
template int ravo::read_dictionary(long, const ravo_file_reference_table*, int,
                                   ravo_chan_dictionary_table**);

int ravo_get_channel_dictionary_table_m_2010(long len, const ravo_file_reference_table_2010* reference,
                                             int fd, ravo_chan_dictionary_table_2010** table) {
  return ravo::read_dictionary(len, reference, fd, table);
}

int ravo_get_channel_dictionary_table_m(long len, const ravo_file_reference_table* reference, int fd,
                                        ravo_chan_dictionary_table** table) {
  return ravo::read_dictionary(len, reference, fd, table);
}

int ravo_find_channel_by_name_2010(const ravo_chan_dictionary_table_2010* dictionary, const char* name,
                                   ravo_chan_dictionary_entry_2010** entry) {
  return find_channel(dictionary, name, entry);
}

int ravo_find_channel_by_name(const ravo_chan_dictionary_table* dictionary, const char* name,
                              ravo_chan_dictionary_entry** entry) {
  return find_channel(dictionary, name, entry);
}
