// Finds members, parameters and values inside decoded blocks of both generations. parse_payload alone
// decides whether the data are what their type says; nothing here follows a count before that.
#include "ravo_block_access.h"

#include <cstdio>
#include <cstring>
#include <optional>

#include "format/payload_view.h"
#include "ravo_evutl.h"

namespace {

using namespace ravo;

// The data of a block that are what their type says.
struct sound_data {
  const data_type& type;
  byte_view view;
  payload_parts parts;

  // The record that the data begin with.
  template <class record>
  record head() const {
    record copy;
    std::memcpy(&copy, view.data(), sizeof copy);
    return copy;
  }
};

template <class subhead>
std::optional<byte_view> data_of(const subhead* block) {
  if (!block || block->error & RAVO_CHAN_ZIP_FLAG) return std::nullopt;
  if (block->ldata < static_cast<std::int32_t>(sizeof(subhead))) return std::nullopt;
  return byte_view(reinterpret_cast<const unsigned char*>(block) + sizeof(subhead),
                   static_cast<std::size_t>(block->ldata) - sizeof(subhead), word_order::host);
}

template <class subhead>
std::optional<sound_data> check(const subhead* block) {
  const std::optional<byte_view> view = data_of(block);
  const data_type* type = view ? find_data_type(block->dtype) : nullptr;
  if (!type) return std::nullopt;
  const parsed_payload payload = parse_payload(*type, *view);
  if (!payload.is_good()) return std::nullopt;
  return sound_data{*type, *view, payload.parts};
}

// One member of a spectrum or of a region of interest.
std::optional<member_parts> find_member(const sound_data& data, int member) {
  return std::visit(
      [member](const auto& parts) -> std::optional<member_parts> {
        if constexpr (requires { parts.member(0); })
          if (member >= 0 && static_cast<std::uint32_t>(member) < parts.members)
            return parts.member(static_cast<std::size_t>(member));
        return std::nullopt;
      },
      data.parts);
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
  if (std::holds_alternative<text_part>(data->parts)) return member == 0 ? block + 1 : nullptr;
  const std::optional<member_parts> found = find_member(*data, member);
  return found ? inside<void*>(block, found->values) : nullptr;
}

template <class subhead>
int number_of_members(int dtype, const subhead* block) {
  if ((dtype & 0xffff) != RAVO_BLOCK_GENERIC_SPECT) return get_channel_number(dtype, 0);
  const std::optional<sound_data> data = check(block);
  if (!data || data->type.code != RAVO_BLOCK_GENERIC_SPECT) return get_channel_number(dtype, 0);
  return static_cast<int>(std::get<spectrum_parts>(data->parts).members);
}

// A member of the block and where it is; `nullopt` if the block has no such member.
template <class subhead>
std::optional<member_parts> checked_member(const subhead* block, int member) {
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
  const std::optional<member_parts> found = checked_member(block, member);
  if (!found) return true;
  deliver(start, found->axis.start);
  deliver(inc, found->axis.increment);
  deliver(mean, found->mean ? inside<float>(block, found->mean) : nullptr);
  // It fits: the block has room for that many values.
  deliver(ndata, static_cast<int>(found->count()));
  return false;
}

bool get_spect_params_for_data_type_2010(ravo_serv_block_subhead_2010* block, float* start, float* inc,
                                         float** mean, int* ndata, int* groups, float* groups_inc,
                                         ravo_spect_statistics_2010** stats, int member) {
  const std::optional<member_parts> found = checked_member(block, member);
  if (!found) return true;
  deliver(start, found->axis.start);
  deliver(inc, found->axis.increment);
  deliver(mean, found->mean ? inside<float>(block, found->mean) : nullptr);
  deliver(ndata, static_cast<int>(found->samples));
  deliver(groups, static_cast<int>(found->groups));
  deliver(groups_inc, found->axis.groups_increment);
  deliver(stats,
          found->statistics ? inside<ravo_spect_statistics_2010>(block, found->statistics) : nullptr);
  return false;
}

int get_spect_code_description_2010(const ravo_serv_block_subhead_2010* block) {
  const data_type* type = block ? find_data_type(block->dtype) : nullptr;
  if (!type || type->axis.empty()) return 1;
  std::printf("%d %s  axis: %s  members:", static_cast<int>(type->code), type->name.data(),
              type->axis.data());
  for (int i = 0; i < type->members; ++i) std::printf(" %s", get_chan_name(type->code, i));
  std::printf("\n");
  return 0;
}

const char* get_chan_name(int dtype, int member) {
  const data_type* type = find_data_type(dtype);
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
  const auto* const image = data ? std::get_if<image_parts>(&data->parts) : nullptr;
  if (!image || image->is_extended) return 1;
  deliver(nx, image->width);
  deliver(ny, image->height);
  deliver(bpp, image->bytes_per_pixel());
  deliver(event_number, image->event);
  return 0;
}

int get_image_ext_params(const ravo_serv_block_subhead* block, ravo_image_ext_frame_head* head) {
  const std::optional<sound_data> data = check(block);
  const auto* const image = data ? std::get_if<image_parts>(&data->parts) : nullptr;
  if (!image || !image->is_extended) return 1;
  if (head) *head = data->head<ravo_image_ext_frame_head>();
  return 0;
}
