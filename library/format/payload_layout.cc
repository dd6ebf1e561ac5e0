// The rules of each payload shape: which counts and lengths must agree, and where the words are.
#include "format/payload_layout.h"

#include <cstdint>

#include "ravo_payload.h"

namespace ravo {

namespace {

// Big enough for every product below: three factors that are each held against the length first.
using size = std::uint64_t;

ravo_data_status check_spectrum(const data_type& type, const byte_view& data, word_map& words) {
  if (data.size() < sizeof(ravo_spect_head_2010)) return RAVO_DATA_WRONG_LENGTH;
  const std::int32_t members = *data.at<std::int32_t>(offsetof(ravo_spect_head_2010, members));
  const std::int32_t samples = *data.at<std::int32_t>(offsetof(ravo_spect_head_2010, samples));
  const std::int32_t groups = *data.at<std::int32_t>(offsetof(ravo_spect_head_2010, groups));
  const std::uint32_t flags = *data.at<std::uint32_t>(offsetof(ravo_spect_head_2010, flags));
  const bool any_members = type.code == RAVO_BLOCK_GENERIC_SPECT;
  // Members need not have samples, so the length alone does not bound them.
  if (any_members ? members < 1 || members > RAVO_SPECT_MOST_MEMBERS : members != type.members)
    return RAVO_DATA_WRONG_VALUE;
  if (samples < 0 || groups < 1) return RAVO_DATA_WRONG_VALUE;
  if (flags & ~(RAVO_SPECT_HAS_MEANS | RAVO_SPECT_HAS_STATISTICS)) return RAVO_DATA_WRONG_VALUE;

  const size behind_head = data.size() - sizeof(ravo_spect_head_2010);
  const size values = static_cast<size>(samples) * static_cast<size>(groups);
  if (values > behind_head / 4) return RAVO_DATA_WRONG_LENGTH;
  size each = values * 4;
  if (flags & RAVO_SPECT_HAS_MEANS) each += 4;
  if (flags & RAVO_SPECT_HAS_STATISTICS) each += sizeof(ravo_spect_statistics_2010);
  if (each * static_cast<size>(members) != behind_head) return RAVO_DATA_WRONG_LENGTH;
  words.leading_words = data.size() / 4;
  return RAVO_DATA_OK;
}

ravo_data_status check_spectrum_older(const data_type& type, const byte_view& data, word_map& words) {
  if (data.size() < sizeof(ravo_spect_head)) return RAVO_DATA_WRONG_LENGTH;
  const std::int32_t members = *data.at<std::int32_t>(offsetof(ravo_spect_head, members));
  const std::int32_t samples = *data.at<std::int32_t>(offsetof(ravo_spect_head, samples));
  if (members != type.members || samples < 0) return RAVO_DATA_WRONG_VALUE;
  const size each = 4 + 4 * static_cast<size>(samples);
  if (sizeof(ravo_spect_head) + each * static_cast<size>(members) != data.size())
    return RAVO_DATA_WRONG_LENGTH;
  words.leading_words = data.size() / 4;
  return RAVO_DATA_OK;
}

// Pixels need not fill what is left, but there must be as many as the head says.
ravo_data_status check_frame(const byte_view& data, std::size_t head, std::size_t length_offset,
                             word_map& words) {
  if (data.size() < head) return RAVO_DATA_WRONG_LENGTH;
  const std::int32_t length = *data.at<std::int32_t>(length_offset);
  if (length < 0) return RAVO_DATA_WRONG_VALUE;
  if (static_cast<size>(length) > data.size() - head) return RAVO_DATA_WRONG_LENGTH;
  words.leading_words = head / 4;
  return RAVO_DATA_OK;
}

ravo_data_status check_roi(const byte_view& data, word_map& words) {
  if (data.size() < sizeof(ravo_roi_head)) return RAVO_DATA_WRONG_LENGTH;
  const std::int32_t width = *data.at<std::int32_t>(offsetof(ravo_roi_head, width));
  const std::int32_t height = *data.at<std::int32_t>(offsetof(ravo_roi_head, height));
  if (width < 0 || height < 0) return RAVO_DATA_WRONG_VALUE;
  const size values = static_cast<size>(width) + static_cast<size>(height);
  if (sizeof(ravo_roi_head) + 4 * values != data.size()) return RAVO_DATA_WRONG_LENGTH;
  words.leading_words = data.size() / 4;
  return RAVO_DATA_OK;
}

ravo_data_status check_name_value(const byte_view& data, word_map& words) {
  if (data.size() < sizeof(ravo_name_value_block)) return RAVO_DATA_WRONG_LENGTH;
  const std::int32_t ndata = *data.at<std::int32_t>(offsetof(ravo_name_value_block, ndata));
  if (ndata < 0) return RAVO_DATA_WRONG_VALUE;
  const size records = static_cast<size>(ndata);
  if (sizeof(ravo_name_value_block) + records * sizeof(ravo_name_value_channel) != data.size())
    return RAVO_DATA_WRONG_LENGTH;
  constexpr std::size_t comment = sizeof(ravo_name_value_block::comment);
  constexpr std::size_t name = sizeof(ravo_name_value_channel::name);
  if (!data.has_text(offsetof(ravo_name_value_block, comment), comment)) return RAVO_DATA_WRONG_VALUE;
  for (size i = 0; i < records; ++i)
    if (!data.has_text(sizeof(ravo_name_value_block) + i * sizeof(ravo_name_value_channel), name))
      return RAVO_DATA_WRONG_VALUE;
  words = {1, comment, 1, records, name, 1};
  return RAVO_DATA_OK;
}

// Both generations: a property name, then status, two time words and the value.
ravo_data_status check_update(const byte_view& data, std::size_t name, word_map& words) {
  constexpr std::size_t value_words = 4;
  if (data.size() != name + 4 * value_words) return RAVO_DATA_WRONG_LENGTH;
  if (!data.has_text(0, name)) return RAVO_DATA_WRONG_VALUE;
  words.text_bytes = name;
  words.middle_words = value_words;
  return RAVO_DATA_OK;
}

// Every byte belongs to a word, and the words to records of a fixed size.
ravo_data_status check_records(const byte_view& data, std::size_t record, word_map& words) {
  if (data.size() % record != 0) return RAVO_DATA_WRONG_LENGTH;
  words.leading_words = data.size() / 4;
  return RAVO_DATA_OK;
}

}  // namespace

ravo_data_status check_payload(const data_type& type, const byte_view& data, word_map& words) {
  constexpr std::size_t update_name = sizeof(ravo_upd_data_block_2010::upd_prop);
  constexpr std::size_t update_name_older = sizeof(ravo_upd_data_block::upd_prop);
  words = {};
  switch (type.shape) {
    case payload_shape::none:
      return RAVO_DATA_UNKNOWN_TYPE;
    case payload_shape::update:
      return check_update(data, update_name, words);
    case payload_shape::update_older:
      return check_update(data, update_name_older, words);
    case payload_shape::environment:
      if (data.size() != sizeof(ravo_env_data_block_2010)) return RAVO_DATA_WRONG_LENGTH;
      return check_records(data, sizeof(ravo_env_data_block_2010), words);
    case payload_shape::env_dictionary:
      return check_records(data, sizeof(ravo_env_dictionary_entry_2010), words);
    case payload_shape::spectrum:
      return check_spectrum(type, data, words);
    case payload_shape::spectrum_older:
      return check_spectrum_older(type, data, words);
    case payload_shape::image:
      return check_frame(data, sizeof(ravo_image_frame_head), offsetof(ravo_image_frame_head, length),
                         words);
    case payload_shape::image_ext:
      return check_frame(data, sizeof(ravo_image_ext_frame_head),
                         offsetof(ravo_image_ext_frame_head, length), words);
    case payload_shape::roi:
      return check_roi(data, words);
    case payload_shape::name_value:
      return check_name_value(data, words);
    case payload_shape::text:
      return data.has_text(0, data.size()) ? RAVO_DATA_OK : RAVO_DATA_WRONG_VALUE;
  }
  return RAVO_DATA_UNKNOWN_TYPE;
}

}  // namespace ravo
