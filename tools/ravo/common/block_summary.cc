#include "common/block_summary.h"

#include <cstring>

#include "format/payload_view.h"

namespace ravo::tool {
namespace {

// The text of a field of fixed size, which may lack the final zero.
std::string text_at(const byte_view& data, std::size_t offset, std::size_t size) {
  const auto* const text = reinterpret_cast<const char*>(data.data()) + offset;
  return {text, strnlen(text, size)};
}

// The name of member `index` of a block; for a subchannel, the name of the member that was cut out.
std::string member_name(const data_type& type, std::size_t index, const data_type* cut_from,
                        int subchannel) {
  if (cut_from && subchannel >= 0 && subchannel < cut_from->members)
    return std::string(cut_from->member_names[static_cast<std::size_t>(subchannel)]);
  if (static_cast<int>(index) < type.members && type.shape != payload_shape::none &&
      type.code != RAVO_BLOCK_GENERIC_SPECT)
    return std::string(type.member_names[index]);
  return "CH" + std::to_string(subchannel >= 0 ? static_cast<std::size_t>(subchannel) : index);
}

// The floats lie within the data, but may not be aligned.
void summarise_member(const member_parts& member, const byte_view& data, block_summary& summary) {
  const unsigned char* first = data.data() + member.values;
  summary.members.push_back(summarise_numbers(member.count(), [first](std::size_t i) {
    float value;
    std::memcpy(&value, first + i * sizeof value, sizeof value);
    return value;
  }));
}

bool summarise_parts(const spectrum_parts& spectrum, const byte_view& data, block_summary& summary) {
  for (std::size_t i = 0; i < spectrum.members; ++i) summarise_member(spectrum.member(i), data, summary);
  summary.scalar = spectrum.values_of_member() == 1;
  return true;
}

bool summarise_parts(const roi_parts& roi, const byte_view& data, block_summary& summary) {
  for (std::size_t i = 0; i < roi.members; ++i) summarise_member(roi.member(i), data, summary);
  return true;
}

// Only a picture has numbers.
bool summarise_parts(const image_parts& frame, const byte_view& data, block_summary& summary) {
  if (!frame.is_picture()) {
    summary.camera_bytes = static_cast<std::size_t>(frame.length);
    return true;
  }
  image_summary image{frame.width, frame.height, frame.bytes_per_pixel(), frame.frame, 0, 0};
  const unsigned char* byte = data.data() + frame.pixels;
  const std::size_t size = static_cast<std::size_t>(image.bytes_per_pixel);
  const std::size_t count = static_cast<std::size_t>(frame.length) / size;
  double sum = 0;
  for (std::size_t i = 0; i < count; ++i) {
    std::uint32_t pixel = 0;
    for (const unsigned char* const end = byte + size; byte != end; ++byte) pixel = pixel << 8 | *byte;
    sum += pixel;
    if (pixel > image.max) image.max = pixel;
    if (i == 0 || pixel < image.min) image.min = pixel;
  }
  if (count > 0) image.mean = sum / static_cast<double>(count);
  summary.image = image;
  return true;
}

// The reader turns environment readings into updates; for
// one in its stored form only type and length are shown.
bool summarise_parts(const update_parts& update, const byte_view& data, block_summary& summary) {
  if (update.name_size == 0) return false;
  summary.update = {text_at(data, 0, update.name_size),
                    *data.at<std::int32_t>(update.status),
                    {*data.at<std::uint32_t>(update.time), *data.at<std::uint32_t>(update.time + 4)},
                    *data.at<float>(update.value)};
  return true;
}

bool summarise_parts(const name_value_parts& list, const byte_view& data, block_summary& summary) {
  summary.comment = text_at(data, list.comment, list.comment_size);
  for (std::size_t i = 0; i < list.count; ++i)
    summary.pairs.push_back({text_at(data, list.name(i), list.name_size), *data.at<float>(list.value(i))});
  return true;
}

bool summarise_parts(const text_part& text, const byte_view& data, block_summary& summary) {
  summary.text = text_at(data, 0, text.length);
  return true;
}

// The reader delivers none of these either.
bool summarise_parts(const records_part&, const byte_view&, block_summary&) { return false; }

}  // namespace

block_summary summarise(std::uint32_t dtype, int subchannel, std::span<const unsigned char> data) {
  block_summary summary;
  const data_type* type = find_data_type(static_cast<int>(dtype & 0xffff));
  if (!type) {
    summary.dtype = std::to_string(dtype & 0xffff);
    summary.consistent = false;
    return summary;
  }
  summary.dtype = std::string(type->name);
  const byte_view view(data.data(), data.size(), word_order::host);
  const parsed_payload payload = parse_payload(*type, view, text_rule::any);
  summary.consistent =
      payload.is_good() &&
      std::visit([&](const auto& parts) { return summarise_parts(parts, view, summary); }, payload.parts);
  const data_type* cut_from = dtype >> 16 ? find_data_type(static_cast<int>(dtype >> 16)) : nullptr;
  for (std::size_t i = 0; i < summary.members.size(); ++i)
    summary.members[i].name = member_name(*type, i, cut_from, cut_from ? subchannel : -1);
  return summary;
}

}  // namespace ravo::tool
