// Headers of blocks as they lie in a file, brought into host order.
#ifndef RAVO_DECODE_COPY_HEADER_H
#define RAVO_DECODE_COPY_HEADER_H

#include <cstddef>

#include "format/byte_view.h"
#include "ravo_evutl.h"

namespace ravo {

/// A text without its end would be read past it by everyone who gets the header.
template <std::size_t size>
void end_text(char (&text)[size]) {
  text[size - 1] = '\0';
}

/// A header in host order. Its words are all swapped, and then those of its text back: text has no byte
/// order.
template <class Header>
void copy_header(const byte_view& from, Header* to, std::size_t text_offset, std::size_t text_size) {
  ravo_swap4(from.data(), to, static_cast<int>(sizeof(Header) / 4));
  unsigned char* text = reinterpret_cast<unsigned char*>(to) + text_offset;
  ravo_swap4(text, text, static_cast<int>(text_size / 4));
}

}  // namespace ravo

#endif
