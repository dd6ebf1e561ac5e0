// A picture as the bytes of a file. In builds without Cairo and Pango both functions throw a
// std::runtime_error that says how to get them.
#ifndef RAVO_DRAWING_PICTURE_PICTURE_FILE_H
#define RAVO_DRAWING_PICTURE_PICTURE_FILE_H

#include <memory>
#include <string>

#include "drawing/picture/lettering.h"
#include "drawing/picture/shapes.h"

namespace ravo::drawing {

/// Measures with the fonts of the pictures. Throws std::runtime_error if there is no font.
std::unique_ptr<text_ruler> picture_ruler();

enum class picture_format { png, svg };

/// Throws std::runtime_error if there is no memory for the picture, or if it is too large for the format.
std::string picture_bytes(const picture& drawn, picture_format format);

}  // namespace ravo::drawing

#endif
