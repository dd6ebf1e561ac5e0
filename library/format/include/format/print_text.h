// Texts that the printers share: times, bit names and field texts as a person reads them.
#ifndef RAVO_PRINT_TEXT_H
#define RAVO_PRINT_TEXT_H

#include <cstddef>
#include <cstdint>
#include <string>

#include "ravo_raw_format.h"

namespace ravo {

/// The text up to its zero or to the end of its field; control characters as \xNN, so that a damaged
/// name cannot play with the terminal.
std::string printable(const char* field, std::size_t size);

/// "2026-01-02T03:04:05.000006Z (1767323045 s 6 us)".
std::string time_and_words_text(const time_stamp& time);

/// The word in hexadecimal and the names of its RAVO_SBLOCK_ERROR bits, for example
/// "0x40000001 (RAVO_SB_ERR_NOT_COLLECTED RAVO_CHAN_ZIP_FLAG)"; bits without a name as numbers.
std::string error_text(std::int32_t bits);

/// The number and the name of a data type, for example "41 (RAVO_BLOCK_1CHAN_2010)"; for a subchannel
/// also the type that it was cut from.
std::string data_type_text(std::int32_t dtype);

/// The word in hexadecimal and the event types of its bits.
std::string event_mask_text(std::uint32_t mask);

}  // namespace ravo

#endif
