// Finds members, parameters and values inside decoded blocks of both generations. Whether the data are
// what their type says is decided by check_payload alone; nothing here follows a count before that.
#include "ravo_block_access.h"

#include <cstdio>
#include <cstring>
#include <optional>

#include "format/payload_layout.h"
#include "ravo_evutl.h"

namespace {

using ravo::byte_view;
using ravo::payload_shape;

// The data of a block that have passed the check of their type.
struct sound_data {
  const ravo::data_type& type;
  byte_view view;

  template <class record>
  record read(std::size_t offset) const {
    record copy;
    std::memcpy(&copy, view.data() + offset, sizeof copy);
    return copy;
  }
};

template <class subhead>
std::optional<byte_view> data_of(const subhead* block) {
  if (!block || block->error & RAVO_CHAN_ZIP_FLAG) return std::nullopt;
  if (block->ldata < static_cast<std::int32_t>(sizeof(subhead))) return std::nullopt;
  return byte_view(reinterpret_cast<const unsigned char*>(block) + sizeof(subhead),
                   static_cast<std::size_t>(block->ldata) - sizeof(subhead), ravo::word_order::host);
}

template <class subhead>
std::optional<sound_data> check(const subhead* block) {
  const std::optional<byte_view> view = data_of(block);
  if (!view) return std::nullopt;
  const ravo::data_type* type = ravo::find_data_type(block->dtype);
  ravo::word_map words;
  if (!type || ravo::check_payload(*type, *view, words) != RAVO_DATA_OK) return std::nullopt;
  return sound_data{*type, *view};
}

// One member of a spectrum or of a region of interest, by offsets into the block's data; 0: not there.
struct spectrum_member {
  std::size_t values = 0;
  std::size_t mean = 0;
  std::size_t statistics = 0;
  std::int32_t samples = 0;
  std::int32_t groups = 1;
  float start = 0;
  float inc = 0;
  float groups_inc = 0;
};

std::optional<spectrum_member> member_of_spectrum(const sound_data& data, int member) {
  const auto head = data.read<ravo_spect_head_2010>(0);
  if (member < 0 || member >= head.members) return std::nullopt;
  const std::size_t members = static_cast<std::size_t>(head.members);
  const std::size_t index = static_cast<std::size_t>(member);
  spectrum_member found{.samples = head.samples,
                        .groups = head.groups,
                        .start = head.start,
                        .inc = head.inc,
                        .groups_inc = head.groups_inc};
  std::size_t at = sizeof head;
  if (head.flags & RAVO_SPECT_HAS_MEANS) {
    found.mean = at + index * sizeof(float);
    at += members * sizeof(float);
  }
  if (head.flags & RAVO_SPECT_HAS_STATISTICS) {
    found.statistics = at + index * sizeof(ravo_spect_statistics_2010);
    at += members * sizeof(ravo_spect_statistics_2010);
  }
  const std::size_t each = static_cast<std::size_t>(head.samples) * static_cast<std::size_t>(head.groups);
  found.values = at + index * each * sizeof(float);
  return found;
}

std::optional<spectrum_member> member_of_older_spectrum(const sound_data& data, int member) {
  const auto head = data.read<ravo_spect_head>(0);
  if (member < 0 || member >= head.members) return std::nullopt;
  const std::size_t index = static_cast<std::size_t>(member);
  const std::size_t means = static_cast<std::size_t>(head.members) * sizeof(float);
  return spectrum_member{
      .values = sizeof head + means + index * static_cast<std::size_t>(head.samples) * sizeof(float),
      .mean = sizeof head + index * sizeof(float),
      .samples = head.samples,
      .start = head.start,
      .inc = head.inc};
}

std::optional<spectrum_member> member_of_roi(const sound_data& data, int member) {
  const auto head = data.read<ravo_roi_head>(0);
  if (member == 0)
    return spectrum_member{
        .values = sizeof head, .samples = head.width, .start = static_cast<float>(head.x_start), .inc = 1};
  if (member == 1)
    return spectrum_member{.values = sizeof head + static_cast<std::size_t>(head.width) * sizeof(float),
                           .samples = head.height,
                           .start = static_cast<float>(head.y_start),
                           .inc = 1};
  return std::nullopt;
}

std::optional<spectrum_member> find_member(const sound_data& data, int member) {
  switch (data.type.shape) {
    case payload_shape::spectrum:
      return member_of_spectrum(data, member);
    case payload_shape::spectrum_older:
      return member_of_older_spectrum(data, member);
    case payload_shape::roi:
      return member_of_roi(data, member);
    default:
      return std::nullopt;
  }
}

template <class value>
void deliver(value* output, value given) {
  if (output) *output = given;
}

template <class record, class subhead>
record* inside(subhead* block, std::size_t offset) {
  return reinterpret_cast<record*>(reinterpret_cast<unsigned char*>(block + 1) + offset);
}

template <class subhead>
void* pointer_to_data(subhead* block, int member) {
  const std::optional<sound_data> data = check(block);
  if (!data) return nullptr;
  if (data->type.shape == payload_shape::text) return member == 0 ? block + 1 : nullptr;
  const std::optional<spectrum_member> found = find_member(*data, member);
  return found ? inside<void*>(block, found->values) : nullptr;
}

template <class subhead>
int number_of_members(int dtype, const subhead* block) {
  if ((dtype & 0xffff) != RAVO_BLOCK_GENERIC_SPECT) return get_channel_number(dtype, 0);
  const std::optional<sound_data> data = check(block);
  if (!data || data->type.code != RAVO_BLOCK_GENERIC_SPECT) return get_channel_number(dtype, 0);
  return data->read<ravo_spect_head_2010>(0).members;
}

// A member of the block and where it is; nothing when the block has none.
template <class subhead>
std::optional<spectrum_member> checked_member(const subhead* block, int member) {
  const std::optional<sound_data> data = check(block);
  return data ? find_member(*data, member) : std::nullopt;
}

}  // namespace

void* get_pointer_to_data_2009(ravo_serv_block_subhead* block, int member) {
  return pointer_to_data(block, member);
}

void* get_pointer_to_data_2010(ravo_serv_block_subhead_2010* block, int member) {
  return pointer_to_data(block, member);
}

bool get_spect_params_for_data_type_2009(ravo_serv_block_subhead* block, float* start, float* inc,
                                         float** mean, int* ndata, int member) {
  const std::optional<spectrum_member> found = checked_member(block, member);
  if (!found) return true;
  deliver(start, found->start);
  deliver(inc, found->inc);
  deliver(mean, found->mean ? inside<float>(block, found->mean) : nullptr);
  // The product fits: the block has room for that many values. Without samples, groups can be any number.
  deliver(ndata, found->samples > 0 ? found->samples * found->groups : 0);
  return false;
}

bool get_spect_params_for_data_type_2010(ravo_serv_block_subhead_2010* block, float* start, float* inc,
                                         float** mean, int* ndata, int* groups, float* groups_inc,
                                         ravo_spect_statistics_2010** stats, int member) {
  const std::optional<spectrum_member> found = checked_member(block, member);
  if (!found) return true;
  deliver(start, found->start);
  deliver(inc, found->inc);
  deliver(mean, found->mean ? inside<float>(block, found->mean) : nullptr);
  deliver(ndata, found->samples);
  deliver(groups, found->groups);
  deliver(groups_inc, found->groups_inc);
  deliver(stats,
          found->statistics ? inside<ravo_spect_statistics_2010>(block, found->statistics) : nullptr);
  return false;
}

int get_spect_code_description_2010(const ravo_serv_block_subhead_2010* block) {
  const ravo::data_type* type = block ? ravo::find_data_type(block->dtype) : nullptr;
  if (!type || type->axis.empty()) return 1;
  std::printf("%d %s  axis: %s  members:", static_cast<int>(type->code), type->name.data(),
              type->axis.data());
  for (int i = 0; i < type->members; ++i) std::printf(" %s", get_chan_name(type->code, i));
  std::printf("\n");
  return 0;
}

const char* get_chan_name(int dtype, int member) {
  const ravo::data_type* type = ravo::find_data_type(dtype);
  if (!type || member < 0 || member >= type->members) return nullptr;
  return type->member_names[static_cast<std::size_t>(member)].data();
}

int get_channel_number(int dtype, const ravo_serv_block_subhead* block) {
  return number_of_members(dtype, block);
}

int get_channel_number(int dtype, const ravo_serv_block_subhead_2010* block) {
  return number_of_members(dtype, block);
}

int get_number_of_upd_channels(const ravo_serv_block_subhead* block) {
  const std::optional<sound_data> data = check(block);
  return data && data->type.shape == payload_shape::update_older ? 1 : 0;
}

int get_update_params(ravo_serv_block_subhead* block, int record, char** name, int* status,
                      time_stamp* time, float* value) {
  if (record < 0 || record >= get_number_of_upd_channels(block)) return 1;
  ravo_upd_data_block* update = inside<ravo_upd_data_block>(block, 0);
  deliver(name, static_cast<char*>(update->upd_prop));
  deliver(status, update->upd_ch_status);
  deliver(time, update->upd_ch_time);
  deliver(value, update->upd_ch_data);
  return 0;
}

int get_image_params(const ravo_serv_block_subhead* block, int* nx, int* ny, int* bpp,
                     unsigned* event_number) {
  const std::optional<sound_data> data = check(block);
  if (!data || data->type.shape != payload_shape::image) return 1;
  const auto head = data->read<ravo_image_frame_head>(0);
  const int bytes = static_cast<int>(head.bpp & 0xf);
  deliver(nx, static_cast<int>(head.w & 0xffff));
  deliver(ny, static_cast<int>(head.h & 0xffff));
  deliver(bpp, bytes ? bytes : 1);
  deliver(event_number, head.event_nm);
  return 0;
}

int get_image_ext_params(const ravo_serv_block_subhead* block, ravo_image_ext_frame_head* head) {
  const std::optional<sound_data> data = check(block);
  if (!data || data->type.shape != payload_shape::image_ext) return 1;
  if (head) *head = data->read<ravo_image_ext_frame_head>(0);
  return 0;
}
