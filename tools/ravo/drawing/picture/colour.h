// Colours of pictures.
#ifndef RAVO_DRAWING_PICTURE_COLOUR_H
#define RAVO_DRAWING_PICTURE_COLOUR_H

#include <array>
#include <cstddef>
#include <cstdint>

namespace ravo::drawing {

struct colour {
  std::uint8_t red = 0, green = 0, blue = 0;
  bool operator==(const colour&) const = default;
};

inline constexpr colour ground{255, 255, 255};
inline constexpr colour ink_of_text{34, 34, 34};
inline constexpr colour ink_of_notes{95, 95, 95};
inline constexpr colour ink_of_frames{85, 85, 85};
inline constexpr colour ink_of_grids{228, 228, 228};

/// Colours that people with any colour vision can distinguish (Okabe and
/// Ito, 2008; without their yellow, which is too pale for lines on white).
inline constexpr std::array<colour, 7> line_colours = {{{0, 114, 178},
                                                        {213, 94, 0},
                                                        {0, 158, 115},
                                                        {204, 121, 167},
                                                        {230, 159, 0},
                                                        {86, 180, 233},
                                                        {0, 0, 0}}};

}  // namespace ravo::drawing

#endif
