// Turns times, bit words and text fields into what the printers show.
#include "format/print_text.h"

#include <cstdio>

#include "format/event_types.h"
#include "format/time.h"
#include "ravo_data_types.h"

namespace ravo {

namespace {

struct bit_name {
  RAVO_SBLOCK_ERROR bit;
  const char* name;
};

constexpr bit_name error_bits[] = {
    {RAVO_SB_ERR_NOT_COLLECTED, "RAVO_SB_ERR_NOT_COLLECTED"},
    {RAVO_SB_ERR_OUT_MEMORY_SRV, "RAVO_SB_ERR_OUT_MEMORY_SRV"},
    {RAVO_SB_ERR_OUT_MEMORY_COL, "RAVO_SB_ERR_OUT_MEMORY_COL"},
    {RAVO_SB_ERR_NO_DMA, "RAVO_SB_ERR_NO_DMA"},
    {RAVO_SB_ERR_NO_SERVER, "RAVO_SB_ERR_NO_SERVER"},
    {RAVO_SB_ERR_OLD_DATA, "RAVO_SB_ERR_OLD_DATA"},
    {RAVO_SB_ERR_NO_FIRST, "RAVO_SB_ERR_NO_FIRST"},
    {RAVO_SB_ERR_NOT_ASSM, "RAVO_SB_ERR_NOT_ASSM"},
    {RAVO_CH_ERR_EVB_DATA, "RAVO_CH_ERR_EVB_DATA"},
    {RAVO_EP_ERR_EVB_SBLK, "RAVO_EP_ERR_EVB_SBLK"},
    {RAVO_SB_ERR_ML_SKIPPED, "RAVO_SB_ERR_ML_SKIPPED"},
    {RAVO_SB_ERR_ML_NOOUT, "RAVO_SB_ERR_ML_NOOUT"},
    {RAVO_FE_ADC_OVERLOAD, "RAVO_FE_ADC_OVERLOAD"},
    {RAVO_FE_OUTSIDE_SL, "RAVO_FE_OUTSIDE_SL"},
    {RAVO_FE_OUTSIDE_LR, "RAVO_FE_OUTSIDE_LR"},
    {RAVO_FE_CONF, "RAVO_FE_CONF"},
    {RAVO_FE_INT_ERR, "RAVO_FE_INT_ERR"},
    {RAVO_FE_TIME_INV, "RAVO_FE_TIME_INV"},
    {RAVO_FE_EVID_INV, "RAVO_FE_EVID_INV"},
    {RAVO_FE_DTYPE_INV, "RAVO_FE_DTYPE_INV"},
    {RAVO_FE_MODE_NOTSUP, "RAVO_FE_MODE_NOTSUP"},
    {RAVO_FE_SPECT_PARAM_INCONSIST, "RAVO_FE_SPECT_PARAM_INCONSIST"},
    {RAVO_FE_NO_DATA, "RAVO_FE_NO_DATA"},
    {RAVO_FE_DAQ_PARAM_INV, "RAVO_FE_DAQ_PARAM_INV"},
    {RAVO_FE_DAQ_DISABLED, "RAVO_FE_DAQ_DISABLED"},
    {RAVO_FE_DAQ_BUF_SKIPPED, "RAVO_FE_DAQ_BUF_SKIPPED"},
    {RAVO_SD_ERR_NOT_ASSM, "RAVO_SD_ERR_NOT_ASSM"},
    {RAVO_CHAN_ZIP_FLAG, "RAVO_CHAN_ZIP_FLAG"},
};

std::string hexadecimal(std::uint32_t word) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%x", word);
  return text;
}

void append_word(std::string& list, const std::string& word) {
  if (!list.empty()) list += ' ';
  list += word;
}

std::string one_type_text(int code) {
  const data_type* type = find_data_type(code);
  return std::to_string(code) + " (" + (type ? std::string(type->name) : "UNKNOWN") + ")";
}

}  // namespace

std::string printable(const char* field, std::size_t size) {
  std::string text;
  for (std::size_t i = 0; i < size && field[i] != '\0'; ++i) {
    const unsigned char c = static_cast<unsigned char>(field[i]);
    if (c >= 0x20 && c != 0x7f) {
      text += field[i];
    } else {
      char escaped[8];
      std::snprintf(escaped, sizeof escaped, "\\x%02x", c);
      text += escaped;
    }
  }
  return text;
}

std::string time_and_words_text(const time_stamp& time) {
  char words[48];
  std::snprintf(words, sizeof words, " (%u s %u us)", time.timeup, time.timelow);
  return time_text(time) + words;
}

std::string error_text(std::int32_t bits) {
  const std::uint32_t word = static_cast<std::uint32_t>(bits);
  if (word == 0) return "0 (RAVO_SB_ERR_OK)";
  std::uint32_t unnamed = word;
  std::string names;
  for (const bit_name& row : error_bits) {
    const std::uint32_t bit = static_cast<std::uint32_t>(row.bit);
    if (!(word & bit)) continue;
    append_word(names, row.name);
    unnamed &= ~bit;
  }
  if (unnamed) append_word(names, hexadecimal(unnamed));
  return hexadecimal(word) + " (" + names + ")";
}

std::string data_type_text(std::int32_t dtype) {
  const std::uint32_t word = static_cast<std::uint32_t>(dtype);
  std::string text = one_type_text(static_cast<int>(word & 0xffff));
  if (word >> 16) text += ", cut from " + one_type_text(static_cast<int>(word >> 16));
  return text;
}

std::string event_mask_text(std::uint32_t mask) {
  std::string names;
  for (int type = 0; type < RAVO_EV_EVMAX; ++type)
    if (mask & (1u << type)) append_word(names, event_types[type].name);
  return names.empty() ? "0" : hexadecimal(mask) + " (" + names + ")";
}

}  // namespace ravo
