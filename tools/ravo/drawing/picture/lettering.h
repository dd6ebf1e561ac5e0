// Texts that have to fit: how large they are, where to break them and which part to omit.
#ifndef RAVO_DRAWING_PICTURE_LETTERING_H
#define RAVO_DRAWING_PICTURE_LETTERING_H

#include <string>
#include <vector>

#include "drawing/picture/shapes.h"

namespace ravo::drawing {

struct text_size {
  double width = 0, height = 0;
};

/// Measures texts. Fonts differ from machine to machine; tests have a ruler of their own.
class text_ruler {
 public:
  virtual ~text_ruler() = default;
  /// The size of one line in UTF-8.
  virtual text_size measure(const std::string& words, const text_style& style) const = 0;

  double width_of(const std::string& words, const text_style& style) const {
    return measure(words, style).width;
  }
};

/// The text, or its begin and end with "…" between them if it is wider.
std::string fitted(const std::string& words, const text_style& style, double width,
                   const text_ruler& ruler);

/// The text in lines of the width, broken after a blank or a "/" if
/// there is one; at most `most` lines, the last of which is fitted.
std::vector<std::string> wrapped(const std::string& words, const text_style& style, double width,
                                 std::size_t most, const text_ruler& ruler);

/// A number's label in printed form: with a minus sign, and "2×10⁷" for "2e+07".
std::string as_in_print(const std::string& label);

}  // namespace ravo::drawing

#endif
