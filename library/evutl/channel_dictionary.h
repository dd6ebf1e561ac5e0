// What the other tables need to know of a channel dictionary in memory.
#ifndef RAVO_CHANNEL_DICTIONARY_H
#define RAVO_CHANNEL_DICTIONARY_H

#include "ravo_raw_format.h"

namespace ravo {

/// The number of channels that the dictionary's length word stands for.
int channel_count(const ravo_chan_dictionary_table_2010& dictionary);

}  // namespace ravo

#endif
