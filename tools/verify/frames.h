// What camera frames say about themselves: the event they were taken for, and
// whether one is the same as the one before it, which no running camera delivers.
#ifndef RAVO_VERIFY_FRAMES_H
#define RAVO_VERIFY_FRAMES_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace ravo::checks {

struct frame {
  std::uint32_t event;                    ///< number; 0: it has none
  std::span<const unsigned char> pixels;  ///< empty if not a plain picture, for example if compressed
};

/// The frame in a block's data as readers return them; `nullopt` if the type is not a camera's.
std::optional<frame> find_frame(int dtype, std::span<const unsigned char> data);

/// Finds frames of one camera that are the same as the one before, bit for bit. Pictures
/// with hardly any different values, such as black ones, can be the same by nature.
class frame_repeats {
 public:
  bool is_repeat(std::span<const unsigned char> pixels);

 private:
  std::size_t size_ = 0;
  std::size_t hash_ = 0;
};

}  // namespace ravo::checks

#endif
