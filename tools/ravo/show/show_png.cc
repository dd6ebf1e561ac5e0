// One channel of an event as a PNG file.
#include <fmt/format.h>

#include <stdexcept>

#include "drawing/plot_picture.h"
#include "drawing/png_file.h"
#include "failure.h"
#include "show/showing.h"
#include "times.h"
#include "type_names.h"

namespace ravo::tool {
namespace {

// A picture of more panels than this would be for nobody.
constexpr std::size_t most_panels = 32;

std::uint32_t pixel_at(const shown_image& image, std::size_t index) {
  std::uint32_t pixel = 0;
  const auto size = static_cast<std::size_t>(image.bytes_per_pixel);
  for (std::size_t i = 0; i < size; ++i) pixel = pixel << 8 | image.pixels[index * size + i];
  return pixel;
}

std::string write_image(const shown_image& image, const std::string& path) {
  const int width = image.picture.width, height = image.picture.height;
  if (image.bytes_per_pixel == 1) {
    drawing::write_png(path, width, height, std::span<const std::uint8_t>(image.pixels));
    return fmt::format("{} x {} pixels of 8 bits", width, height);
  }
  // More than 16 bits a pixel a PNG cannot hold; then the upper 16 count.
  const int shift = image.bytes_per_pixel > 2 ? 8 * (std::min(image.bytes_per_pixel, 4) - 2) : 0;
  std::vector<std::uint16_t> pixels(image.picture.pixels.size());
  for (std::size_t i = 0; i < pixels.size(); ++i)
    pixels[i] = static_cast<std::uint16_t>(pixel_at(image, i) >> shift);
  drawing::write_png(path, width, height, std::span<const std::uint16_t>(pixels));
  return fmt::format("{} x {} pixels of 16 bits{}", width, height,
                     shift == 0 ? "" : fmt::format(", the upper ones of {}", 16 + shift));
}

std::string write_plot(const shown_event& event, const shown_channel& channel,
                       const shown_spectrum& spectrum, const std::string& path) {
  if (spectrum.members.size() > most_panels)
    throw data_failure(fmt::format("{} has {} members; ask for one of them as {}:0", channel.name,
                                   spectrum.members.size(), channel.name));
  std::vector<drawing::plot_panel> panels;
  for (const shown_member& member : spectrum.members)
    panels.push_back(
        {fmt::format("{} {}{}  event {}", channel.name, member.name,
                     member.unit.empty() ? "" : " [" + member.unit + "]", event.id.event_number),
         spectrum.axis, member.curve()});
  drawing::write_png(path, drawing::plot_picture(panels));
  return fmt::format("a plot of {} member{}", panels.size(), panels.size() == 1 ? "" : "s");
}

}  // namespace

std::string write_png(const shown_event& event, const shown_channel& channel, const std::string& path) try {
  std::string what;
  if (const auto* image = std::get_if<shown_image>(&channel.data))
    what = write_image(*image, path);
  else if (const auto* spectrum = std::get_if<shown_spectrum>(&channel.data))
    what = write_plot(event, channel, *spectrum, path);
  else
    throw data_failure(fmt::format("--png: {} holds {}, which is no image and no spectrum", channel.name,
                                   data_type_name(channel.dtype)));
  return fmt::format("{}: {} of {}, event {}", path, what, channel.name, event.id.event_number);
} catch (const data_failure&) {
  throw;
} catch (const std::runtime_error& error) {
  throw data_failure(error.what());
}

}  // namespace ravo::tool
