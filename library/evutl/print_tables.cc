// Prints tables of a raw file for a person: the channel dictionary and the entries of the event index.
// The names of bits, times and texts come from print_text.h.
#include <cstdio>
#include <string>

#include "channel_dictionary.h"
#include "format/print_text.h"
#include "ravo_evutl.h"

namespace {

// The types of a mask's bits. Types without a bit leave the mask at 0.
std::string type_mask_text(std::uint32_t mask) {
  std::string text;
  for (int type = 0; type < 32; ++type)
    if (mask >> type & 1u) text += (text.empty() ? "" : ", ") + ravo::data_type_text(type);
  return text.empty() ? "0" : text;
}

template <class dictionary_entry>
void print_channel(int position, const dictionary_entry& channel) {
  std::printf("[%d] \"%s\"  key %u  events %d\n", position,
              ravo::printable(channel.chan_name, sizeof channel.chan_name).c_str(), channel.key,
              channel.count);
  std::printf("  event types %s  data types %s\n", ravo::event_mask_text(channel.ev_mask).c_str(),
              type_mask_text(channel.dtype_mask).c_str());
}

template <class dictionary_table>
void print_dictionary(const dictionary_table* dictionary) try {
  if (!dictionary) {
    std::printf("channel dictionary: none\n");
    return;
  }
  const int channels = ravo::channel_count(*dictionary);
  std::printf("channel dictionary: %d channels  pattern 0x%08x  length %d\n", channels, dictionary->pattern,
              dictionary->length);
  for (int i = 0; i < channels; ++i) print_channel(i, dictionary->channel_entry()[i]);
} catch (...) {
}

}  // namespace

void print_channel_dictionary_table_2010(const ravo_chan_dictionary_table_2010* dictionary) {
  print_dictionary(dictionary);
}
void print_channel_dictionary_table(const ravo_chan_dictionary_table* dictionary) {
  print_dictionary(dictionary);
}

void print_event_index_entry_2010(const ravo_event_index_entry_2010* entry) try {
  if (!entry) {
    std::printf("event index entry: none\n");
    return;
  }
  std::printf("event index entry: type %d (%s)  events %d  numbers %u to %u\n", entry->event_type,
              event_name_itoa(entry->event_type), entry->length, entry->event_number_first,
              entry->event_number_last);
  std::printf("  first %s\n", ravo::time_and_words_text(entry->event_time_first).c_str());
  std::printf("  last  %s\n", ravo::time_and_words_text(entry->event_time_last).c_str());
  for (int i = 0; i < entry->length; ++i) {
    const ravo_event_info_entry_2010& event = entry->event_info()[i];
    std::printf("  [%d] event %u  time %s  offset %u\n", i, event.event_number,
                ravo::time_and_words_text(event.time).c_str(), event.offset);
  }
} catch (...) {
}

void print_event_index_entry(const ravo_event_index_entry* entry) { print_event_index_entry_2010(entry); }
