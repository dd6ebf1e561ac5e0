// A ruler whose letters are all equally wide, whatever
// fonts the machine has, and queries of a drawn picture.
#ifndef RAVO_TEST_DRAWN_SHAPES_H
#define RAVO_TEST_DRAWN_SHAPES_H

#include <algorithm>
#include <string>
#include <vector>

#include "drawing/picture/figure.h"

namespace ravo::test {

/// Every letter is 0.6 of its size wide, every line 1.2 high.
struct even_ruler : drawing::text_ruler {
  drawing::text_size measure(const std::string& words, const drawing::text_style& style) const override {
    double letters = 0;
    for (const char byte : words) letters += (static_cast<unsigned char>(byte) & 0xc0) != 0x80;
    return {0.6 * style.size * letters, 1.2 * style.size};
  }
};

template <class Kind>
std::vector<Kind> all_of(const drawing::picture& drawn) {
  std::vector<Kind> found;
  for (const drawing::shape& one : drawn.shapes)
    if (const auto* kind = std::get_if<Kind>(&one)) found.push_back(*kind);
  return found;
}

inline std::vector<std::string> texts_of(const drawing::picture& drawn) {
  std::vector<std::string> texts;
  for (const auto& text : all_of<drawing::text_shape>(drawn)) texts.push_back(text.words);
  return texts;
}

/// The space that a text takes.
inline drawing::box room_of(const drawing::text_shape& text) {
  const drawing::text_size size = even_ruler().measure(text.words, text.style);
  if (text.runs == drawing::direction::upward)
    return {text.at.x - size.height / 2, text.at.y - size.width / 2, size.height, size.width};
  const double part = text.side == drawing::anchor::left     ? 0
                      : text.side == drawing::anchor::centre ? 0.5
                                                             : 1;
  return {text.at.x - part * size.width, text.at.y - size.height / 2, size.width, size.height};
}

inline bool overlap(const drawing::box& one, const drawing::box& other) {
  return one.left < other.right() && other.left < one.right() && one.top < other.bottom() &&
         other.top < one.bottom();
}

/// Lines of more than two points, or oblique lines of two: curves, not axes.
inline std::vector<drawing::path_shape> curves_of(const drawing::picture& drawn) {
  std::vector<drawing::path_shape> curves;
  for (const auto& path : all_of<drawing::path_shape>(drawn))
    if (path.ink != drawing::ink_of_grids && path.ink != drawing::ink_of_frames && path.width < 2)
      curves.push_back(path);
  return curves;
}

/// The frames of panels, from the top.
inline std::vector<drawing::box> frames_of(const drawing::picture& drawn) {
  std::vector<drawing::box> frames;
  for (const auto& path : all_of<drawing::path_shape>(drawn))
    if (path.ink == drawing::ink_of_frames && path.points.size() == 5)
      frames.push_back({path.points[0].x, path.points[0].y, path.points[2].x - path.points[0].x,
                        path.points[2].y - path.points[0].y});
  return frames;
}

}  // namespace ravo::test

#endif
