// What the other tables need to know of a channel dictionary, of either generation.
#ifndef RAVO_CHANNEL_DICTIONARY_H
#define RAVO_CHANNEL_DICTIONARY_H

#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>

#include "ravo_raw_format.h"

namespace ravo {

/// The record of one channel in a dictionary.
template <class dictionary_table>
using dictionary_entry_of =
    std::remove_pointer_t<decltype(std::declval<dictionary_table&>().channel_entry())>;

/// The number of channels, from the dictionary's length word.
template <class dictionary_table>
int channel_count(const dictionary_table& dictionary) {
  if (dictionary.length < static_cast<std::int32_t>(sizeof dictionary)) return 0;
  return static_cast<int>((static_cast<std::size_t>(dictionary.length) - sizeof dictionary) /
                          sizeof(dictionary_entry_of<dictionary_table>));
}

/// Reads the dictionary of a file, for ravo_get_channel_dictionary_table_m and its _2010 variant.
template <class dictionary_table>
int read_dictionary(long len, const ravo_file_reference_table* reference, int fd, dictionary_table** table);

}  // namespace ravo

#endif
