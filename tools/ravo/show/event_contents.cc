#include "show/event_contents.h"

#include <fmt/format.h>

#include <cstring>
#include <utility>

#include "ravo_data_types.h"
#include "ravo_evutl.h"

namespace ravo::tool {
namespace {

// The text of a field that should end with a zero byte, but may not.
template <std::size_t room>
std::string text_of(const char (&field)[room]) {
  return {field, strnlen(field, room)};
}

// In the second profile of a region of interest the axis has another start.
shown_member member_of(const value& one, const spectrum_view& spectrum, std::size_t index) {
  const std::span<const float> values = spectrum.member(index);
  const bool is_second_profile = one.kind() == value_kind::roi && index == 1;
  shown_member member;
  member.index = static_cast<int>(index);
  const char* name = get_chan_name(one.type(), member.index);
  member.name = name ? name : fmt::format("CH{}", index);
  member.start = is_second_profile ? spectrum.y_start : spectrum.start;
  member.step = spectrum.increment;
  member.group_step = spectrum.groups_increment;
  member.samples = values.size() / spectrum.groups;
  member.values.assign(values.begin(), values.end());
  if (index < spectrum.means.size()) member.mean = spectrum.means[index];
  if (index >= spectrum.statistics.size()) return member;
  const ravo_spect_statistics_2010& statistics = spectrum.statistics[index];
  for (int i = 0; i < 32; ++i)
    if (statistics.mask >> i & 1u) member.statistics[i] = statistics.val[i];
  return member;
}

void take_spectrum(const value& one, shown_channel& channel) {
  const spectrum_view view = one.spectrum();
  if (view.members == 0 || view.groups == 0) return;
  const data_type* type = find_data_type(one.type());
  shown_spectrum spectrum;
  // Only for a generic spectrum the type does not say what start and increment count.
  if (type && type->code != RAVO_BLOCK_GENERIC_SPECT) spectrum.axis = type->axis;
  for (std::size_t i = 0; i < view.members; ++i) spectrum.members.push_back(member_of(one, view, i));
  channel.data = std::move(spectrum);
}

void take_image(const value& one, shown_channel& channel) {
  const image_view view = one.image();
  if (view.bytes_per_pixel > image_view::most_bytes_per_pixel) {
    channel.problem = fmt::format("a frame with pixels of {} bytes, of which up to {} can be shown",
                                  view.bytes_per_pixel, image_view::most_bytes_per_pixel);
    return;
  }
  if (!view.is_complete() || view.pixels.empty()) return;
  shown_image image;
  image.bytes_per_pixel = static_cast<int>(view.bytes_per_pixel);
  image.frame = view.number;
  image.x_start = view.x_start;
  image.y_start = view.y_start;
  image.x_step = view.x_increment;
  image.y_step = view.y_increment;
  image.effective_bits = view.effective_bits;
  image.picture.width = static_cast<int>(view.width);
  image.picture.height = static_cast<int>(view.height);
  image.picture.pixels.reserve(view.width * view.height);
  for (std::size_t y = 0; y < view.height; ++y)
    for (std::size_t x = 0; x < view.width; ++x)
      image.picture.pixels.push_back(static_cast<float>(view.pixel(x, y)));
  image.pixels = view.pixels;
  channel.data = std::move(image);
}

void take_pairs(const value& one, shown_channel& channel) {
  const name_value_view view = one.name_values();
  shown_pairs pairs{view.id, std::string(view.comment), {}};
  for (const ravo_name_value_channel& record : view.records)
    pairs.records.emplace_back(text_of(record.name), record.value);
  channel.data = std::move(pairs);
}

void take_update(const value& one, shown_channel& channel) {
  const update_view view = one.update();
  channel.data = shown_slow_value{std::string(view.property), view.value, view.status, view.time};
}

}  // namespace

shown_channel contents_of(const value& one) {
  shown_channel channel;
  channel.dtype = one.type();
  channel.error = one.error_bits();
  channel.bytes = one.bytes().size();
  channel.recorded_with = one.recorded_with();
  channel.is_held = one.is_held();
  if (channel.bytes == 0) return channel;
  switch (one.kind()) {
    case value_kind::spectrum:
    case value_kind::roi:
      take_spectrum(one, channel);
      break;
    case value_kind::image:
      take_image(one, channel);
      break;
    case value_kind::name_value:
      take_pairs(one, channel);
      break;
    case value_kind::text:
      channel.data = shown_text{std::string(one.text())};
      break;
    case value_kind::update:
      take_update(one, channel);
      break;
    case value_kind::none:
    case value_kind::other:
      break;
  }
  return channel;
}

}  // namespace ravo::tool
