// Copies headers of blocks from file order into host order.
#ifndef RAVO_DECODE_COPY_HEADER_H
#define RAVO_DECODE_COPY_HEADER_H

#include <cstddef>

#include "format/byte_view.h"
#include "ravo_evutl.h"

namespace ravo {

/// Terminates a text, so that nobody who gets the header reads past its end.
template <std::size_t size>
void end_text(char (&text)[size]) {
  text[size - 1] = '\0';
}

/// Copies a header into host order. All of its words are swapped, and then those of its text are swapped
/// back: text has no byte order.
template <class Header>
void copy_header(const byte_view& from, Header* to, std::size_t text_offset, std::size_t text_size) {
  ravo_swap4(from.data(), to, static_cast<int>(sizeof(Header) / 4));
  unsigned char* text = reinterpret_cast<unsigned char*>(to) + text_offset;
  ravo_swap4(text, text, static_cast<int>(text_size / 4));
}

}  // namespace ravo

#endif
