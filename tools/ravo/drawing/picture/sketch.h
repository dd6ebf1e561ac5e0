// What the panels have in common: a picture that grows, a ruler
// that measures its texts, and the parts that all of them draw.
#ifndef RAVO_DRAWING_PICTURE_SKETCH_H
#define RAVO_DRAWING_PICTURE_SKETCH_H

#include <string>
#include <utility>

#include "drawing/picture/figure.h"

namespace ravo::drawing {

struct sketch {
  const text_ruler& ruler;
  picture made;

  void text(point at, std::string words, const text_style& style, anchor side = anchor::left,
            direction runs = direction::across) {
    if (!words.empty()) made.shapes.emplace_back(text_shape{at, std::move(words), style, side, runs});
  }
  void line(point from, point to, colour ink, double width = 1) {
    made.shapes.emplace_back(path_shape{{from, to}, ink, width});
  }
  void frame(const box& where) {
    made.shapes.emplace_back(path_shape{{{where.left, where.top},
                                         {where.right(), where.top},
                                         {where.right(), where.bottom()},
                                         {where.left, where.bottom()},
                                         {where.left, where.top}},
                                        ink_of_frames,
                                        1});
  }
};

inline constexpr text_style title_style{13, ink_of_text, weight::bold};
inline constexpr text_style axis_style{12, ink_of_text};
inline constexpr text_style tick_style{11, ink_of_text};
inline constexpr text_style note_style{11, ink_of_notes};

/// The horizontal space of a panel: `left` to `right` is the inside of
/// its frame, texts may be placed beside it within `begin` and `end`.
struct panel_space {
  double begin, left, right, end;
};

inline constexpr double tick_length = 4;
inline constexpr double label_gap = 8;    ///< between a frame and its labels
inline constexpr double row_height = 20;  ///< of titles, of labels, of texts below an axis

/// A place on the grid of half points, where lines are sharp.
double on_grid(double place);

/// The labels along an axis `length` points long: as many as have room.
std::vector<tick> ticks_across(interval range, double length, const text_ruler& ruler);
std::vector<tick> ticks_upward(interval range, double length);
/// The widest of the labels.
double width_of(const std::vector<tick>& ticks, const text_ruler& ruler);

/// Draws the title at the left, the note at the right; returns the space that they take, 0 if there are
/// none.
double draw_heading(sketch& on, const panel_space& space, double top, const std::string& title,
                    const std::string& note);

// Each of these draws below `top` and returns where it ends.

/// The space that a plot needs to the left of its frame.
double side_of(const plot_panel& shown, double height, const text_ruler& ruler);
double side_of(const frame_panel& shown, const text_ruler& ruler);
/// The space that it needs to the right of it: half of its last label.
double overhang_of(const plot_panel& shown, const text_ruler& ruler);
/// How large the pixels of a frame are drawn.
box pixels_of(const frame_panel& shown);
/// The space to the right of the pixels of a frame, for its scale.
double scale_width_of(const frame_panel& shown, const text_ruler& ruler);

/// Whether two plots have the same axis, so that only the lower one needs labels.
bool share_axis(const plot_panel& upper, const plot_panel& lower);
enum class axis_labels { shown, left_out };
double draw_panel(sketch& on, const plot_panel& shown, const panel_space& space, double top, double height,
                  axis_labels labels);
double draw_panel(sketch& on, const frame_panel& shown, const panel_space& space, double top);
double draw_panel(sketch& on, const table_panel& shown, const panel_space& space, double top);

}  // namespace ravo::drawing

#endif
