#include "simulator/older_form.h"

#include <algorithm>
#include <cstring>
#include <span>

#include "ravo_data_types.h"
#include "ravo_payload.h"
#include "simulator/append.h"

namespace ravo::simulator {
namespace {

using bytes = std::vector<unsigned char>;

// For spectra of one group, without means and statistics: all that have an older form are of this kind.
bytes older_spectrum(const bytes& payload) {
  ravo_spect_head_2010 from;
  std::memcpy(&from, payload.data(), sizeof from);
  bytes to;
  append(to, ravo_spect_head{from.members, from.samples, from.start, from.inc});
  const unsigned char* sample = payload.data() + sizeof from;
  for (int member = 0; member < from.members; ++member) {
    double sum = 0;
    for (int i = 0; i < from.samples; ++i, sample += sizeof(float)) {
      float value;
      std::memcpy(&value, sample, sizeof value);
      sum += static_cast<double>(value);
    }
    append(to, static_cast<float>(from.samples > 0 ? sum / from.samples : 0));
  }
  append(to, std::span(payload).subspan(sizeof from));
  return to;
}

bytes older_update(const bytes& payload) {
  ravo_upd_data_block_2010 from;
  std::memcpy(&from, payload.data(), sizeof from);
  ravo_upd_data_block to{};
  std::memcpy(to.upd_prop, from.upd_prop, strnlen(from.upd_prop, sizeof to.upd_prop - 1));
  to.upd_ch_status = from.upd_ch_status;
  to.upd_ch_time = from.upd_ch_time;
  to.upd_ch_data = from.upd_ch_data;
  bytes block;
  append(block, to);
  return block;
}

}  // namespace

RAVO_SUBBLOCK_TYPE older_form(RAVO_SUBBLOCK_TYPE dtype) {
  switch (dtype) {
    case RAVO_BLOCK_BPM_2010:
      return RAVO_BLOCK_BPM;
    case RAVO_BLOCK_TOROID_2010:
      return RAVO_BLOCK_TOROID;
    case RAVO_BLOCK_RF_250K_2010:
      return RAVO_BLOCK_RF_250K;
    case RAVO_BLOCK_ENERGY_2010:
      return RAVO_BLOCK_ENERGY;
    case RAVO_UPD_BLOCK_2010:
      return RAVO_UPD_BLOCK;
    case RAVO_BOR_BLOCK_2010:
      return RAVO_BOR_BLOCK;
    case RAVO_EOR_BLOCK_2010:
      return RAVO_EOR_BLOCK;
    default:
      return dtype;
  }
}

bytes older_form(RAVO_SUBBLOCK_TYPE dtype, const bytes& payload) {
  const data_type* type = find_data_type(dtype);
  if (!type || older_form(dtype) == dtype) return payload;
  return type->shape == payload_shape::spectrum ? older_spectrum(payload) : older_update(payload);
}

}  // namespace ravo::simulator
