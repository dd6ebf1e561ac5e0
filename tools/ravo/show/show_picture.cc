// Writes an event as a picture file.
#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <stdexcept>

#include "common/failure.h"
#include "common/type_names.h"
#include "drawing/grey_png.h"
#include "drawing/picture/picture_file.h"
#include "shared/whole_file.h"
#include "show/showing.h"

namespace ravo::tool {
namespace {

std::string ending_of(const std::string& path) {
  std::string ending = std::filesystem::path(path).extension().string();
  std::transform(ending.begin(), ending.end(), ending.begin(),
                 [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
  return ending;
}

drawing::picture_format format_of(const std::string& path) {
  const std::string ending = ending_of(path);
  if (ending == ".png") return drawing::picture_format::png;
  if (ending == ".svg") return drawing::picture_format::svg;
  throw usage_failure(fmt::format("--picture: '{}': a picture's name ends in .png or .svg", path));
}

std::uint32_t pixel_at(const shown_image& image, std::size_t index) {
  std::uint32_t pixel = 0;
  const auto size = static_cast<std::size_t>(image.bytes_per_pixel);
  for (std::size_t i = 0; i < size; ++i) pixel = pixel << 8 | image.pixels[index * size + i];
  return pixel;
}

// Pixels that are stored in more than two bytes and whose values fit into two.
std::vector<std::uint16_t> pixels_in_16_bits(const shown_channel& channel, const shown_image& image) {
  const auto refuse = [&](const std::string& why) {
    throw data_failure(
        fmt::format("{}: {}, and a PNG holds 16 bits; show --json has all values", channel.name, why));
  };
  if (image.bytes_per_pixel > 4) refuse(fmt::format("its pixels have {} bytes", image.bytes_per_pixel));
  std::vector<std::uint16_t> pixels(image.picture.pixels.size());
  for (std::size_t i = 0; i < pixels.size(); ++i) {
    const std::uint32_t pixel = pixel_at(image, i);
    if (pixel > 0xffff) refuse(fmt::format("it has a pixel of {}", pixel));
    pixels[i] = static_cast<std::uint16_t>(pixel);
  }
  return pixels;
}

const shown_image& only_frame_of(const shown_event& event) {
  if (event.channels.size() != 1)
    throw usage_failure(fmt::format("--pixels writes the frame of one channel, and {} are asked for",
                                    event.channels.size()));
  const shown_channel& channel = event.channels.front();
  if (const auto* image = std::get_if<shown_image>(&channel.data)) return *image;
  if (!channel.problem.empty()) throw data_failure(fmt::format("{}: {}", channel.name, channel.problem));
  throw data_failure(
      fmt::format("--pixels: {} holds {}, which is no frame", channel.name, data_type_name(channel.dtype)));
}

struct written {
  std::string bytes;
  std::string what;
};

written exact_frame(const shown_event& event) {
  const shown_image& image = only_frame_of(event);
  const int width = image.picture.width, height = image.picture.height;
  const bool is_narrow = image.bytes_per_pixel == 1;
  return {is_narrow ? drawing::grey_png(width, height, std::span<const std::uint8_t>(image.pixels))
                    : drawing::grey_png(width, height, pixels_in_16_bits(event.channels.front(), image)),
          fmt::format("{} x {} pixels of {} bits", width, height, is_narrow ? 8 : 16)};
}

std::string what_is_drawn(const shown_event& event) {
  if (event.channels.size() != 1) return {};
  const shown_channel& channel = event.channels.front();
  if (const auto* spectrum = std::get_if<shown_spectrum>(&channel.data))
    return fmt::format("a plot of {} member{}", spectrum->members.size(),
                       spectrum->members.size() == 1 ? "" : "s");
  if (const auto* image = std::get_if<shown_image>(&channel.data))
    return fmt::format("a frame of {} x {} pixels", image->picture.width, image->picture.height);
  return "a picture";
}

written drawn_event(const shown_event& event, const picture_wishes& wished) {
  const auto ruler = drawing::picture_ruler();
  const drawing::picture picture = draw(figure_of(event, wished.drawn), *ruler);
  return {picture_bytes(picture, format_of(wished.path)), what_is_drawn(event)};
}

}  // namespace

void check_ending(const picture_wishes& wished) {
  if (format_of(wished.path) == drawing::picture_format::svg && wished.is_exact)
    throw usage_failure("--pixels: only a .png holds pixels as they are");
}

std::string write_picture(const shown_event& event, const picture_wishes& wished) try {
  const written made = wished.is_exact ? exact_frame(event) : drawn_event(event, wished);
  whole_file file(wished.path);
  file.append(made.bytes);
  file.publish();
  const std::size_t channels = event.channels.size();
  const std::string of =
      channels == 1 ? event.channels.front().name : fmt::format("a picture of {} channels", channels);
  return fmt::format("{}: {}{}{}, event {}", wished.path, made.what, made.what.empty() ? "" : " of ", of,
                     event.id.event_number);
} catch (const data_failure&) {
  throw;
} catch (const usage_failure&) {
  throw;
} catch (const std::runtime_error& error) {
  throw data_failure(error.what());
}

}  // namespace ravo::tool
