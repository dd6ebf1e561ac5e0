#include "convert/current_form.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "ravo_payload.h"
#include "ravo_raw_format.h"

namespace ravo::tool {
namespace {

using bytes = std::vector<unsigned char>;

// The older types that have no current type of the same name with "_2010".
struct renamed_type {
  RAVO_SUBBLOCK_TYPE older;
  RAVO_SUBBLOCK_TYPE current;
  std::string_view lost;
};
constexpr std::string_view one_of_three = "which of WS_SLOW, WSS_RAW and WSS_COR it was";
constexpr renamed_type renamed_types[] = {
    {RAVO_BLOCK_SINGLE, RAVO_BLOCK_1CHAN_2010, ""},
    {RAVO_BLOCK_WS_FAST, RAVO_BLOCK_1CHAN_2010, "that its member is called SIGNAL"},
    {RAVO_BLOCK_WS_SLOW, RAVO_BLOCK_WS_2010, one_of_three},
    {RAVO_BLOCK_WSS_RAW, RAVO_BLOCK_WS_2010, one_of_three},
    {RAVO_BLOCK_WSS_COR, RAVO_BLOCK_WS_2010, one_of_three},
    {RAVO_UPD_BLOCK_DONT_USE_31, RAVO_UPD_BLOCK_2010, "that its updates had a type of their own"},
};

const data_type* find_by_name(const std::string& name) {
  for (const data_type& row : data_types)
    if (row.name == name) return &row;
  return nullptr;
}

template <class Record>
Record read(std::span<const unsigned char> from) {
  Record record;
  std::memcpy(&record, from.data(), sizeof record);
  return record;
}

template <class Record>
bytes record_and_rest(const Record& record, std::span<const unsigned char> rest) {
  bytes to(sizeof record + rest.size());
  std::memcpy(to.data(), &record, sizeof record);
  std::copy(rest.begin(), rest.end(), to.begin() + sizeof record);
  return to;
}

// The means and the values are consecutive in both forms.
bytes current_spectrum(std::span<const unsigned char> data) {
  const auto from = read<ravo_spect_head>(data);
  return record_and_rest(
      ravo_spect_head_2010{from.members, from.samples, 1, from.start, from.inc, 0, RAVO_SPECT_HAS_MEANS, 0},
      data.subspan(sizeof from));
}

bytes current_update(std::span<const unsigned char> data) {
  const auto from = read<ravo_upd_data_block>(data);
  ravo_upd_data_block_2010 to{};
  static_assert(sizeof to.upd_prop > sizeof from.upd_prop);
  std::memcpy(to.upd_prop, from.upd_prop, strnlen(from.upd_prop, sizeof from.upd_prop));
  to.upd_ch_status = from.upd_ch_status;
  to.upd_ch_time = from.upd_ch_time;
  to.upd_ch_data = from.upd_ch_data;
  return record_and_rest(to, {});
}

}  // namespace

std::optional<current_type> current_type_of(RAVO_SUBBLOCK_TYPE older) {
  const data_type* type = find_data_type(older);
  // The high bits of a block's type word count here: a file has none.
  if (!type || type->code != older || type->members == 0 || type->generation == type_generation::current)
    return std::nullopt;
  if (type->generation == type_generation::both) return current_type{type, ""};
  for (const renamed_type& row : renamed_types)
    if (row.older == older) return current_type{find_data_type(row.current), row.lost};
  const data_type* same = find_by_name(std::string(type->name) + "_2010");
  if (!same) return std::nullopt;
  return current_type{same, ""};
}

bytes current_data(const data_type& older, std::span<const unsigned char> data) {
  if (older.shape == payload_shape::spectrum_older) return current_spectrum(data);
  if (older.shape == payload_shape::update_older) return current_update(data);
  return {data.begin(), data.end()};
}

}  // namespace ravo::tool
