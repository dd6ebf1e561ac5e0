// Reads the channel dictionary, brings its words (not its names) into host order, and finds channels
// in it.
#include "channel_dictionary.h"

#include <cstring>

#include "byte_view.h"
#include "file_tables.h"
#include "ravo_evutl.h"

namespace {

using dictionary_table = ravo_chan_dictionary_table_2010;
using dictionary_entry = ravo_chan_dictionary_entry_2010;

// The three words behind the name.
constexpr std::size_t masks_offset = offsetof(dictionary_entry, ev_mask);
constexpr int masks_words = (sizeof(dictionary_entry) - masks_offset) / 4;

void to_host_order(dictionary_entry& entry) {
  ravo_swap4(&entry.key, &entry.key, 1);
  ravo_swap4(&entry.ev_mask, &entry.ev_mask, masks_words);
}

}  // namespace

int ravo::channel_count(const ravo_chan_dictionary_table_2010& dictionary) {
  if (dictionary.length < static_cast<std::int32_t>(sizeof dictionary)) return 0;
  return static_cast<int>((static_cast<std::size_t>(dictionary.length) - sizeof dictionary) /
                          sizeof(dictionary_entry));
}

int ravo_get_channel_dictionary_table_m_2010(long len, const ravo_file_reference_table_2010* reference,
                                             int fd, ravo_chan_dictionary_table_2010** table) {
  if (table) *table = nullptr;
  if (!ravo::usable(len, reference, table)) return RAVO_TABLE_INVALID_ARGUMENT;
  const ravo::raw_file file(fd, len);
  ravo::table_head head;
  if (const auto status =
          ravo::read_table_head(file, *reference, reference->cdt_ref, RAVO_CHAN_DICTIONARY_PATTERN,
                                sizeof(dictionary_table), head);
      status != RAVO_TABLE_OK)
    return status;
  const std::size_t length = static_cast<std::size_t>(head.length);
  if ((length - sizeof(dictionary_table)) % sizeof(dictionary_entry) != 0) return RAVO_TABLE_WRONG_LENGTH;

  auto read = ravo::allocate<dictionary_table>(length);
  if (!read) return RAVO_TABLE_NO_MEMORY;
  if (const auto status = file.read(reference->cdt_ref, read.get(), length); status != RAVO_TABLE_OK)
    return status;
  read->pattern = head.pattern;
  read->length = head.length;
  for (int i = 0; i < ravo::channel_count(*read); ++i) {
    dictionary_entry& entry = read->channel_entry()[i];
    to_host_order(entry);
    if (!std::memchr(entry.chan_name, 0, sizeof entry.chan_name) || entry.count < 0)
      return RAVO_TABLE_WRONG_ENTRY;
  }
  *table = read.release();
  return RAVO_TABLE_OK;
}

int ravo_find_channel_by_name_2010(const ravo_chan_dictionary_table_2010* dictionary, const char* name,
                                   ravo_chan_dictionary_entry_2010** entry) {
  if (entry) *entry = nullptr;
  if (!dictionary || !name) return RAVO_TABLE_NO_CHANNEL;
  const dictionary_entry* entries = dictionary->channel_entry();
  for (int i = 0; i < ravo::channel_count(*dictionary); ++i) {
    if (std::strcmp(entries[i].chan_name, name) != 0) continue;
    // The caller's own dictionary is handed back to it; the interface has no const twin.
    if (entry) *entry = const_cast<dictionary_entry*>(entries + i);
    return i;
  }
  return RAVO_TABLE_NO_CHANNEL;
}
