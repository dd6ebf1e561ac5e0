// The one table of data types: a row per RAVO_SUBBLOCK_TYPE with its name, generation, payload shape,
// members and axis. Conversion, splitting, naming, printing and the writer all read this table; a new
// data type is a new row here and nothing else.
#ifndef RAVO_DATA_TYPES_H
#define RAVO_DATA_TYPES_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string_view>

#include "ravo_raw_format.h"

namespace ravo {

/// How the data of a block are laid out; the records are in ravo_payload.h and ravo_raw_format.h.
enum class payload_shape {
  none,            ///< a marker value, never the type of a block
  update,          ///< ravo_upd_data_block_2010
  update_older,    ///< ravo_upd_data_block
  environment,     ///< ravo_env_data_block_2010 (both generations)
  env_dictionary,  ///< pairs of words: ravo_env_dictionary_entry_2010 (both generations)
  spectrum,        ///< ravo_spect_head_2010 and what follows it
  spectrum_older,  ///< ravo_spect_head and what follows it
  image,           ///< ravo_image_frame_head and pixels
  image_ext,       ///< ravo_image_ext_frame_head and pixels
  roi,             ///< ravo_roi_head and two profiles
  name_value,      ///< ravo_name_value_block and its records
  text,            ///< one zero-terminated text
};

/// Which generation of the raw format writes a type.
enum class type_generation { older, current, both };

/// One row of the table.
struct data_type {
  RAVO_SUBBLOCK_TYPE code;
  std::string_view name;  ///< the enumerator's name
  type_generation generation;
  payload_shape shape;
  int members;                                   ///< subchannels in one block; 0: not a channel's data
  std::array<std::string_view, 8> member_names;  ///< the first `members` are set
  std::string_view axis;                         ///< what start and inc count; empty: no axis
};

inline constexpr data_type data_types[] = {
    // clang-format off
    {RAVO_UPD_BLOCK, "RAVO_UPD_BLOCK", type_generation::older, payload_shape::update_older, 1, {"VALUE"}, ""},
    {RAVO_ENV_DICT_BLOCK, "RAVO_ENV_DICT_BLOCK", type_generation::older, payload_shape::env_dictionary, 0, {}, ""},
    {RAVO_ENV_BLOCK, "RAVO_ENV_BLOCK", type_generation::both, payload_shape::environment, 1, {"VALUE"}, ""},
    {RAVO_BOR_BLOCK, "RAVO_BOR_BLOCK", type_generation::older, payload_shape::update_older, 1, {"VALUE"}, ""},
    {RAVO_EOR_BLOCK, "RAVO_EOR_BLOCK", type_generation::older, payload_shape::update_older, 1, {"VALUE"}, ""},
    {RAVO_BLOCK_BPM, "RAVO_BLOCK_BPM", type_generation::older, payload_shape::spectrum_older, 3, {"X", "Y", "CHARGE"}, "time, us"},
    {RAVO_BLOCK_BPM_Z, "RAVO_BLOCK_BPM_Z", type_generation::older, payload_shape::spectrum_older, 4, {"X", "Y", "CHARGE", "Z"}, "time, us"},
    {RAVO_BLOCK_BPM_S, "RAVO_BLOCK_BPM_S", type_generation::older, payload_shape::spectrum_older, 4, {"X", "Y", "CHARGE", "SUM"}, "time, us"},
    {RAVO_BLOCK_SINGLE, "RAVO_BLOCK_SINGLE", type_generation::older, payload_shape::spectrum_older, 1, {"CH0"}, "time, us"},
    {RAVO_BLOCK_TOROID, "RAVO_BLOCK_TOROID", type_generation::older, payload_shape::spectrum_older, 1, {"CHARGE"}, "time, us"},
    {RAVO_BLOCK_RF_250K, "RAVO_BLOCK_RF_250K", type_generation::older, payload_shape::spectrum_older, 2, {"AMPLITUDE", "PHASE"}, "time, us"},
    {RAVO_BLOCK_ENERGY, "RAVO_BLOCK_ENERGY", type_generation::older, payload_shape::spectrum_older, 1, {"ENERGY"}, "time, us"},
    {RAVO_BLOCK_IMAGE, "RAVO_BLOCK_IMAGE", type_generation::both, payload_shape::image, 1, {"IMAGE"}, ""},
    {RAVO_BLOCK_WS_FAST, "RAVO_BLOCK_WS_FAST", type_generation::older, payload_shape::spectrum_older, 1, {"SIGNAL"}, "time, us"},
    {RAVO_BLOCK_WS_SLOW, "RAVO_BLOCK_WS_SLOW", type_generation::older, payload_shape::spectrum_older, 2, {"POSITION", "SIGNAL"}, "sample"},
    {RAVO_BLOCK_CPLINTL, "RAVO_BLOCK_CPLINTL", type_generation::older, payload_shape::spectrum_older, 4, {"LIGHT", "ELECTRONS", "TEMPERATURE", "VACUUM"}, "time, us"},
    {RAVO_BLOCK_GUNINTL, "RAVO_BLOCK_GUNINTL", type_generation::older, payload_shape::spectrum_older, 4, {"LIGHT", "ELECTRONS", "TEMPERATURE", "VACUUM"}, "time, us"},
    {RAVO_BLOCK_MCP, "RAVO_BLOCK_MCP", type_generation::older, payload_shape::spectrum_older, 1, {"SIGNAL"}, "time, us"},
    {RAVO_BLOCK_PHM, "RAVO_BLOCK_PHM", type_generation::older, payload_shape::spectrum_older, 1, {"SIGNAL"}, "time, us"},
    {RAVO_BLOCK_WSS_RAW, "RAVO_BLOCK_WSS_RAW", type_generation::older, payload_shape::spectrum_older, 2, {"POSITION", "SIGNAL"}, "sample"},
    {RAVO_BLOCK_WSS_COR, "RAVO_BLOCK_WSS_COR", type_generation::older, payload_shape::spectrum_older, 2, {"POSITION", "SIGNAL"}, "sample"},
    {RAVO_BLOCK_NAME_VALUE, "RAVO_BLOCK_NAME_VALUE", type_generation::both, payload_shape::name_value, 1, {"VALUE"}, ""},
    {RAVO_BLOCK_NAME_VALUE_STRING, "RAVO_BLOCK_NAME_VALUE_STRING", type_generation::both, payload_shape::text, 1, {"TEXT"}, ""},
    {RAVO_BLOCK_IMG_ROI1, "RAVO_BLOCK_IMG_ROI1", type_generation::both, payload_shape::roi, 2, {"X", "Y"}, "pixel"},
    {RAVO_BLOCK_IMG_ROI2, "RAVO_BLOCK_IMG_ROI2", type_generation::both, payload_shape::roi, 2, {"X", "Y"}, "pixel"},
    {RAVO_BLOCK_IMG_ROI3, "RAVO_BLOCK_IMG_ROI3", type_generation::both, payload_shape::roi, 2, {"X", "Y"}, "pixel"},
    {RAVO_BLOCK_IMAGE_EXT, "RAVO_BLOCK_IMAGE_EXT", type_generation::both, payload_shape::image_ext, 1, {"IMAGE"}, ""},
    // A generic spectrum states in its head how many members it has; the type guarantees only one.
    {RAVO_BLOCK_GENERIC_SPECT, "RAVO_BLOCK_GENERIC_SPECT", type_generation::both, payload_shape::spectrum, 1, {"CH0"}, "as described"},
    {RAVO_UPD_BLOCK_DONT_USE_31, "RAVO_UPD_BLOCK_DONT_USE_31", type_generation::older, payload_shape::update_older, 1, {"VALUE"}, ""},
    {RAVO_UPD_BLOCK_2010, "RAVO_UPD_BLOCK_2010", type_generation::current, payload_shape::update, 1, {"VALUE"}, ""},
    {RAVO_ENV_DICT_BLOCK_2010, "RAVO_ENV_DICT_BLOCK_2010", type_generation::current, payload_shape::env_dictionary, 0, {}, ""},
    {RAVO_ENV_BLOCK_2010, "RAVO_ENV_BLOCK_2010", type_generation::current, payload_shape::environment, 1, {"VALUE"}, ""},
    {RAVO_BOR_BLOCK_2010, "RAVO_BOR_BLOCK_2010", type_generation::current, payload_shape::update, 1, {"VALUE"}, ""},
    {RAVO_EOR_BLOCK_2010, "RAVO_EOR_BLOCK_2010", type_generation::current, payload_shape::update, 1, {"VALUE"}, ""},
    {RAVO_BLOCK_BPM_2010, "RAVO_BLOCK_BPM_2010", type_generation::current, payload_shape::spectrum, 3, {"X", "Y", "CHARGE"}, "time, us"},
    {RAVO_BLOCK_BPM_Z_2010, "RAVO_BLOCK_BPM_Z_2010", type_generation::current, payload_shape::spectrum, 4, {"X", "Y", "CHARGE", "Z"}, "time, us"},
    {RAVO_BLOCK_BPM_S_2010, "RAVO_BLOCK_BPM_S_2010", type_generation::current, payload_shape::spectrum, 4, {"X", "Y", "CHARGE", "SUM"}, "time, us"},
    {RAVO_BLOCK_1CHAN_2010, "RAVO_BLOCK_1CHAN_2010", type_generation::current, payload_shape::spectrum, 1, {"CH0"}, "time, us"},
    {RAVO_BLOCK_TOROID_2010, "RAVO_BLOCK_TOROID_2010", type_generation::current, payload_shape::spectrum, 1, {"CHARGE"}, "time, us"},
    {RAVO_BLOCK_RF_250K_2010, "RAVO_BLOCK_RF_250K_2010", type_generation::current, payload_shape::spectrum, 2, {"AMPLITUDE", "PHASE"}, "time, us"},
    {RAVO_BLOCK_ENERGY_2010, "RAVO_BLOCK_ENERGY_2010", type_generation::current, payload_shape::spectrum, 1, {"ENERGY"}, "time, us"},
    {RAVO_BLOCK_2CHAN_2010, "RAVO_BLOCK_2CHAN_2010", type_generation::current, payload_shape::spectrum, 2, {"CH0", "CH1"}, "time, us"},
    {RAVO_BLOCK_WS_2010, "RAVO_BLOCK_WS_2010", type_generation::current, payload_shape::spectrum, 2, {"POSITION", "SIGNAL"}, "sample"},
    {RAVO_BLOCK_4CHAN_2010, "RAVO_BLOCK_4CHAN_2010", type_generation::current, payload_shape::spectrum, 4, {"CH0", "CH1", "CH2", "CH3"}, "time, us"},
    {RAVO_BLOCK_CPLINTL_2010, "RAVO_BLOCK_CPLINTL_2010", type_generation::current, payload_shape::spectrum, 4, {"LIGHT", "ELECTRONS", "TEMPERATURE", "VACUUM"}, "time, us"},
    {RAVO_BLOCK_GUNINTL_2010, "RAVO_BLOCK_GUNINTL_2010", type_generation::current, payload_shape::spectrum, 4, {"LIGHT", "ELECTRONS", "TEMPERATURE", "VACUUM"}, "time, us"},
    {RAVO_BLOCK_MCP_2010, "RAVO_BLOCK_MCP_2010", type_generation::current, payload_shape::spectrum, 1, {"SIGNAL"}, "time, us"},
    {RAVO_BLOCK_PHM_2010, "RAVO_BLOCK_PHM_2010", type_generation::current, payload_shape::spectrum, 1, {"SIGNAL"}, "time, us"},
    {RAVO_BLOCK_6CHAN_2010, "RAVO_BLOCK_6CHAN_2010", type_generation::current, payload_shape::spectrum, 6, {"CH0", "CH1", "CH2", "CH3", "CH4", "CH5"}, "time, us"},
    {RAVO_BLOCK_8CHAN_2010, "RAVO_BLOCK_8CHAN_2010", type_generation::current, payload_shape::spectrum, 8, {"CH0", "CH1", "CH2", "CH3", "CH4", "CH5", "CH6", "CH7"}, "time, us"},
    {RAVO_BLOCK_3CHAN_2010, "RAVO_BLOCK_3CHAN_2010", type_generation::current, payload_shape::spectrum, 3, {"CH0", "CH1", "CH2"}, "time, us"},
    {RAVO_BLOCK_5CHAN_2010, "RAVO_BLOCK_5CHAN_2010", type_generation::current, payload_shape::spectrum, 5, {"CH0", "CH1", "CH2", "CH3", "CH4"}, "time, us"},
    {RAVO_BLOCK_7CHAN_2010, "RAVO_BLOCK_7CHAN_2010", type_generation::current, payload_shape::spectrum, 7, {"CH0", "CH1", "CH2", "CH3", "CH4", "CH5", "CH6"}, "time, us"},
    {RAVO_BLOCK_MAX_2010, "RAVO_BLOCK_MAX_2010", type_generation::current, payload_shape::none, 0, {}, ""},
    // clang-format on
};

/// The row of each code: it is looked up for every block.
inline constexpr auto data_type_rows = [] {
  std::array<std::int8_t, RAVO_BLOCK_MAX_2010 + 1> rows{};
  rows.fill(-1);
  for (std::size_t row = 0; row < std::size(data_types); ++row)
    rows[data_types[row].code] = static_cast<std::int8_t>(row);
  return rows;
}();

/// The row of a data type, or null. Only the low 16 bits of `dtype` count.
constexpr const data_type* find_data_type(int dtype) {
  const auto code = static_cast<std::size_t>(dtype & 0xffff);
  if (code >= data_type_rows.size() || data_type_rows[code] < 0) return nullptr;
  return &data_types[data_type_rows[code]];
}

}  // namespace ravo

#endif
