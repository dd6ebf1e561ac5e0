// Letters of five by seven dots, for labels in pictures. ASCII only.
#ifndef RAVO_DRAWING_SMALL_FONT_H
#define RAVO_DRAWING_SMALL_FONT_H

#include <array>

namespace ravo::drawing {

inline constexpr int letter_width = 5;
inline constexpr int letter_height = 7;

/// The rows of a letter from the top; of each row bit 4 is the leftmost dot.
using letter_rows = std::array<unsigned char, letter_height>;

/// A letter's shape; a box for one that there is none of.
letter_rows rows_of(char letter);

}  // namespace ravo::drawing

#endif
