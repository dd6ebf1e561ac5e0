// Places in a picture, and the dots between two of them.
#ifndef RAVO_DRAWING_DOTS_H
#define RAVO_DRAWING_DOTS_H

#include <cstdlib>

namespace ravo::drawing {

/// A place in a picture, counted from its upper left corner.
struct place {
  int x;
  int y;
  bool operator==(const place&) const = default;
};

/// Calls `take` with every dot of the straight line between two places, both included.
template <class Take>
void walk_line(place from, place to, Take take) {
  const int across = std::abs(to.x - from.x), down = -std::abs(to.y - from.y);
  const int step_x = from.x < to.x ? 1 : -1, step_y = from.y < to.y ? 1 : -1;
  for (int error = across + down;;) {
    take(from);
    if (from == to) return;
    const int twice = 2 * error;
    if (twice >= down) {
      error += down;
      from.x += step_x;
    }
    if (twice <= across) {
      error += across;
      from.y += step_y;
    }
  }
}

}  // namespace ravo::drawing

#endif
