#include "show/event_contents.h"

#include <cstring>
#include <utility>

#include "ravo_daq_data.h"
#include "ravo_data_types.h"
#include "ravo_dataset/values.h"

namespace ravo::tool {
namespace {

// The text in a field that should end with a zero, and may not.
std::string text_of(const char* field, std::size_t room) { return {field, strnlen(field, room)}; }

std::size_t data_length(ravo_daq_getdata& event) {
  int ldata = 0;
  if (!event.GetData() || event.GetChanInfo(nullptr, nullptr, nullptr, &ldata) != 0) return 0;
  const std::size_t head =
      event.GetChanHead_2010() ? sizeof(ravo_serv_block_subhead_2010) : sizeof(ravo_serv_block_subhead);
  return ldata > 0 && static_cast<std::size_t>(ldata) > head ? static_cast<std::size_t>(ldata) - head : 0;
}

std::optional<shown_member> member_of(ravo_daq_getdata& event, int index) {
  shown_member member;
  float* mean = nullptr;
  int samples = 0, groups = 1;
  ravo_spect_statistics_2010* statistics = nullptr;
  if (event.GetSpectPar(&member.start, &member.step, &mean, &samples, index, &groups, &member.group_step,
                        &statistics) != 0)
    return std::nullopt;
  const float* values = event.GetSpect(index);
  if (!values || samples < 0 || groups < 1) return std::nullopt;
  member.index = index;
  if (const char* name = event.GetMembName(index))
    member.name = name;
  else
    member.name = "CH" + std::to_string(index);
  member.samples = static_cast<std::size_t>(samples);
  member.values.assign(values, values + member.samples * static_cast<std::size_t>(groups));
  if (mean) member.mean = *mean;
  for (int i = 0; statistics && i < 32; ++i)
    if (statistics->mask >> i & 1u) member.statistics[i] = statistics->val[i];
  return member;
}

std::optional<shown_spectrum> spectrum_of(ravo_daq_getdata& event, const data_type& type) {
  shown_spectrum spectrum;
  if (type.code != RAVO_BLOCK_GENERIC_SPECT) spectrum.axis = type.axis;
  for (int i = 0; i < event.GetNmemb(); ++i) {
    auto member = member_of(event, i);
    if (!member) return std::nullopt;
    spectrum.members.push_back(std::move(*member));
  }
  if (spectrum.members.empty()) return std::nullopt;
  return spectrum;
}

// ConvertImage() would leave the low four bytes of larger pixels.
std::optional<shown_image> image_of(ravo_daq_getdata& event, std::string& problem) {
  shown_image image;
  int length = 0;
  if (event.GetImagePar(&image.frame, nullptr, &image.bytes_per_pixel, &length) != 0) return std::nullopt;
  constexpr int most = image_view::most_bytes_per_pixel;
  if (image.bytes_per_pixel > most) {
    problem = "a frame with pixels of " + std::to_string(image.bytes_per_pixel) +
              " bytes, of which up to " + std::to_string(most) + " can be shown";
    return std::nullopt;
  }
  const float* values = event.ConvertImage();
  if (!values || event.GetImageSize(&image.x_start, &image.x_step, &image.picture.width, &image.y_start,
                                    &image.y_step, &image.picture.height) < 1)
    return std::nullopt;
  if (const ravo_image_ext_frame_head* head = event.GetImageHeader()) image.effective_bits = head->ebitpp;
  if (image.picture.width < 1 || image.picture.height < 1) return std::nullopt;
  const std::size_t pixels =
      static_cast<std::size_t>(image.picture.width) * static_cast<std::size_t>(image.picture.height);
  image.picture.pixels.assign(values, values + pixels);
  const char* bytes = event.GetImage();
  image.pixels.assign(bytes, bytes + length);
  return image;
}

template <class update_record>
time_stamp time_of_update(const char* data) {
  update_record update;
  std::memcpy(&update, data, sizeof update);
  return update.upd_ch_time;
}

std::optional<shown_slow_value> slow_value_of(ravo_daq_getdata& event) {
  shown_slow_value slow;
  if (event.GetSlowPrm(&slow.value, &slow.status, nullptr) != 0) return std::nullopt;
  // The block is a whole update record, or it would have no parameters. GetSlowPrm() tells seconds only.
  const bool is_current = event.GetChanHead_2010() != nullptr;
  slow.time = is_current ? time_of_update<ravo_upd_data_block_2010>(event.GetData())
                         : time_of_update<ravo_upd_data_block>(event.GetData());
  slow.property = text_of(event.GetData(), is_current ? sizeof(ravo_upd_data_block_2010::upd_prop)
                                                      : sizeof(ravo_upd_data_block::upd_prop));
  return slow;
}

std::optional<shown_pairs> pairs_of(ravo_daq_getdata& event) {
  shown_pairs pairs;
  char* comment = nullptr;
  int count = 0;
  ravo_name_value_channel* records = nullptr;
  if (event.GetValNamPrm(nullptr, &pairs.id, &comment, &count, &records) != 0) return std::nullopt;
  pairs.comment = text_of(comment, sizeof(ravo_name_value_block::comment));
  for (int i = 0; i < count; ++i)
    pairs.records.emplace_back(text_of(records[i].name, sizeof records[i].name), records[i].value);
  return pairs;
}

template <class Kind>
void take(std::optional<Kind> found, shown_channel& channel) {
  if (found) channel.data = std::move(*found);
}

shown_channel selected(ravo_daq_getdata& event) {
  shown_channel channel;
  event.GetChanInfo(nullptr, &channel.dtype, &channel.error, nullptr);
  channel.bytes = data_length(event);
  const data_type* type = find_data_type(channel.dtype);
  if (!type || channel.bytes == 0) return channel;
  switch (type->shape) {
    case payload_shape::update:
    case payload_shape::update_older:
    case payload_shape::environment:
      take(slow_value_of(event), channel);
      break;
    case payload_shape::spectrum:
    case payload_shape::spectrum_older:
    case payload_shape::roi:
      take(spectrum_of(event, *type), channel);
      break;
    case payload_shape::image:
    case payload_shape::image_ext:
      take(image_of(event, channel.problem), channel);
      break;
    case payload_shape::name_value:
      take(pairs_of(event), channel);
      break;
    case payload_shape::text:
      channel.data = shown_text{text_of(event.GetData(), channel.bytes)};
      break;
    case payload_shape::none:
    case payload_shape::env_dictionary:
      break;
  }
  return channel;
}

}  // namespace

std::vector<std::optional<shown_channel>> contents_of(std::vector<ravo_channel_entry_long*>& entries) {
  std::vector<std::optional<shown_channel>> contents(entries.size());
  ravo_daq_getdata event;
  if (entries.empty() || event.SetRes(&entries) < 0) return contents;
  for (int i = 0; i < event.GetNchan(); ++i) {
    const auto index = static_cast<std::size_t>(i);
    // A text, service data, fast data or an image; what is less is no channel.
    if (event.SetChan(i) < 1) continue;
    contents[index] = selected(event);
    contents[index]->told = entries[index]->event_id;
  }
  return contents;
}

}  // namespace ravo::tool
