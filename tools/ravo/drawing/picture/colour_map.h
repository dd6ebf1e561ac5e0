// From brightness to colour. Each map gets evenly brighter to the eye from its low end to
// its high one, so that a picture shows the same in grey, and to people who see few colours.
#ifndef RAVO_DRAWING_PICTURE_COLOUR_MAP_H
#define RAVO_DRAWING_PICTURE_COLOUR_MAP_H

#include <array>

#include "drawing/picture/colour.h"

namespace ravo::drawing {

enum class colour_map {
  aurora,  ///< dark violet, blue, green, yellow
  ember,   ///< black, red, orange, white
  grey,    ///< black to white
};

/// The map's colours from its low end to its high one.
using colour_table = std::array<colour, 256>;
colour_table table_of(colour_map map);

/// The colour of a part from 0 to 1; a part outside this range has the colour of the nearer end.
colour colour_at(const colour_table& table, double part);

}  // namespace ravo::drawing

#endif
