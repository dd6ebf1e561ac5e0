#include "common/block_summary.h"

#include <cstring>

#include "ravo_payload.h"

namespace ravo::tool {
namespace {

using bytes = std::span<const unsigned char>;

template <class Record>
bool read(bytes data, std::size_t offset, Record& record) {
  if (data.size() < offset || data.size() - offset < sizeof record) return false;
  std::memcpy(&record, data.data() + offset, sizeof record);
  return true;
}

std::string text_of(const char* field, std::size_t size) { return {field, strnlen(field, size)}; }

// `count` floats from `offset` on, which lie inside the data, but not always where floats may lie.
number_summary summarise_numbers(bytes data, std::size_t offset, std::size_t count) {
  const unsigned char* first = data.data() + offset;
  return tool::summarise_numbers(count, [first](std::size_t i) {
    float value;
    std::memcpy(&value, first + i * sizeof value, sizeof value);
    return value;
  });
}

// Where the samples of a spectrum lie.
struct spectrum_extent {
  std::size_t members;
  std::size_t values_of_member;
  std::size_t first;
};

std::optional<spectrum_extent> extent(bytes data, std::size_t members, std::size_t values,
                                      std::size_t first) {
  if (first > data.size()) return std::nullopt;
  const std::size_t held = (data.size() - first) / sizeof(float);
  if (members == 0 || values > held / members) return std::nullopt;
  return spectrum_extent{members, values, first};
}

std::optional<spectrum_extent> extent_of_spectrum(bytes data) {
  ravo_spect_head_2010 head;
  if (!read(data, 0, head) || head.members < 1 || head.samples < 0 || head.groups < 1) return std::nullopt;
  const auto members = static_cast<std::size_t>(head.members);
  std::size_t first = sizeof head;
  if (head.flags & RAVO_SPECT_HAS_MEANS) first += members * sizeof(float);
  if (head.flags & RAVO_SPECT_HAS_STATISTICS) first += members * sizeof(ravo_spect_statistics_2010);
  return extent(data, members,
                static_cast<std::size_t>(head.samples) * static_cast<std::size_t>(head.groups), first);
}

std::optional<spectrum_extent> extent_of_older_spectrum(bytes data) {
  ravo_spect_head head;
  if (!read(data, 0, head) || head.members < 1 || head.samples < 0) return std::nullopt;
  const auto members = static_cast<std::size_t>(head.members);
  return extent(data, members, static_cast<std::size_t>(head.samples),
                sizeof head + members * sizeof(float));
}

// The name of member `index` of a block; of a subchannel, that of the member it was.
std::string member_name(const data_type& type, std::size_t index, const data_type* cut_from,
                        int subchannel) {
  if (cut_from && subchannel >= 0 && subchannel < cut_from->members)
    return std::string(cut_from->member_names[static_cast<std::size_t>(subchannel)]);
  if (static_cast<int>(index) < type.members && type.shape != payload_shape::none &&
      type.code != RAVO_BLOCK_GENERIC_SPECT)
    return std::string(type.member_names[index]);
  return "CH" + std::to_string(subchannel >= 0 ? static_cast<std::size_t>(subchannel) : index);
}

bool summarise_profiles(bytes data, block_summary& summary) {
  ravo_roi_head head;
  if (!read(data, 0, head) || head.width < 0 || head.height < 0) return false;
  const auto width = static_cast<std::size_t>(head.width), height = static_cast<std::size_t>(head.height);
  if ((data.size() - sizeof head) / sizeof(float) < width + height) return false;
  summary.members.push_back(summarise_numbers(data, sizeof head, width));
  summary.members.push_back(summarise_numbers(data, sizeof head + width * sizeof(float), height));
  return true;
}

// `pixels`: all that lies behind the head, of which `length` bytes are the camera's. Only a picture, which
// has a place for every pixel and is not compressed, has numbers.
bool summarise_pixels(bytes pixels, std::int32_t length, bool is_compressed, image_summary image,
                      block_summary& summary) {
  if (length < 0 || static_cast<std::size_t>(length) > pixels.size()) return false;
  const auto sent = static_cast<std::size_t>(length);
  const auto size = static_cast<std::uint64_t>(image.bytes_per_pixel);
  const bool is_sized = image.width >= 0 && image.height >= 0 && size >= 1 && size <= 4;
  const std::uint64_t count =
      is_sized ? static_cast<std::uint64_t>(image.width) * static_cast<std::uint64_t>(image.height) : 0;
  if (is_compressed || !is_sized || count * size != sent) {
    summary.camera_bytes = sent;
    return true;
  }
  double sum = 0;
  for (std::size_t i = 0; i < count; ++i) {
    std::uint32_t pixel = 0;
    for (std::size_t byte = 0; byte < size; ++byte) pixel = pixel << 8 | pixels[i * size + byte];
    sum += pixel;
    if (pixel > image.max) image.max = pixel;
    if (i == 0 || pixel < image.min) image.min = pixel;
  }
  if (count > 0) image.mean = sum / static_cast<double>(count);
  summary.image = image;
  return true;
}

bool summarise_frame(bytes data, block_summary& summary) {
  ravo_image_frame_head head;
  if (!read(data, 0, head)) return false;
  const int size = head.bpp & 0xf ? static_cast<int>(head.bpp & 0xf) : 1;
  return summarise_pixels(
      data.subspan(sizeof head), head.length, head.compr != 0,
      {static_cast<int>(head.w & 0xffff), static_cast<int>(head.h & 0xffff), size, head.frame, 0, 0},
      summary);
}

bool summarise_ext_frame(bytes data, block_summary& summary) {
  ravo_image_ext_frame_head head;
  if (!read(data, 0, head)) return false;
  return summarise_pixels(data.subspan(sizeof head), head.length, false,
                          {head.aoi_width, head.aoi_height, head.bpp < 1 ? 1 : head.bpp, head.frame, 0, 0},
                          summary);
}

template <class Update>
bool summarise_update(bytes data, block_summary& summary) {
  Update update;
  if (!read(data, 0, update)) return false;
  summary.update = {text_of(update.upd_prop, sizeof update.upd_prop), update.upd_ch_status,
                    update.upd_ch_time, update.upd_ch_data};
  return true;
}

bool summarise_pairs(bytes data, block_summary& summary) {
  ravo_name_value_block head;
  if (!read(data, 0, head) || head.ndata < 0) return false;
  summary.comment = text_of(head.comment, sizeof head.comment);
  for (std::size_t i = 0; i < static_cast<std::size_t>(head.ndata); ++i) {
    ravo_name_value_channel pair;
    if (!read(data, sizeof head + i * sizeof pair, pair)) return false;
    summary.pairs.push_back({text_of(pair.name, sizeof pair.name), pair.value});
  }
  return true;
}

bool summarise_spectrum(bytes data, const std::optional<spectrum_extent>& where, block_summary& summary) {
  if (!where) return false;
  const std::size_t size = where->values_of_member * sizeof(float);
  for (std::size_t member = 0; member < where->members; ++member)
    summary.members.push_back(
        summarise_numbers(data, where->first + member * size, where->values_of_member));
  summary.scalar = where->values_of_member == 1;
  return true;
}

bool summarise_shape(payload_shape shape, bytes data, block_summary& summary) {
  switch (shape) {
    case payload_shape::spectrum:
      return summarise_spectrum(data, extent_of_spectrum(data), summary);
    case payload_shape::spectrum_older:
      return summarise_spectrum(data, extent_of_older_spectrum(data), summary);
    case payload_shape::image:
      return summarise_frame(data, summary);
    case payload_shape::image_ext:
      return summarise_ext_frame(data, summary);
    case payload_shape::roi:
      return summarise_profiles(data, summary);
    case payload_shape::update:
      return summarise_update<ravo_upd_data_block_2010>(data, summary);
    case payload_shape::update_older:
      return summarise_update<ravo_upd_data_block>(data, summary);
    case payload_shape::name_value:
      return summarise_pairs(data, summary);
    case payload_shape::text:
      summary.text = text_of(reinterpret_cast<const char*>(data.data()), data.size());
      return true;
    // The reader hands none of these out; whoever meets one sees its type and its length.
    case payload_shape::none:
    case payload_shape::environment:
    case payload_shape::env_dictionary:
      return false;
  }
  return false;
}

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
  summary.consistent = summarise_shape(type->shape, data, summary);
  const data_type* cut_from = dtype >> 16 ? find_data_type(static_cast<int>(dtype >> 16)) : nullptr;
  for (std::size_t i = 0; i < summary.members.size(); ++i)
    summary.members[i].name = member_name(*type, i, cut_from, cut_from ? subchannel : -1);
  return summary;
}

}  // namespace ravo::tool
