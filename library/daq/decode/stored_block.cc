// How a stored block is found and decoded, for both generations; see stored_block.h.
#include "decode/stored_block.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "copy_header.h"
#include "decode/table_operations.h"

namespace ravo {

template <class G>
std::optional<typename G::subhead> read_subheader(const file_part& channel, unsigned long offset) {
  using subhead = typename G::subhead;
  const auto from = channel.at(offset, sizeof(subhead));
  if (!from) return std::nullopt;
  subhead head;
  copy_header(*from, &head, offsetof(subhead, chname), sizeof(subhead::chname));
  end_text(head.chname);
  return head;
}

// The length in the block is not trusted alone: if the compressed bytes cannot hold as much, decoding ends
// with a length mismatch.
template <class G>
decode_outcome locate_compressed(const file_part& channel, unsigned long subheader,
                                 stored_payload& payload) {
  constexpr std::size_t head_size = sizeof(typename G::subhead);
  // A block's length word is a signed 32-bit integer.
  constexpr std::size_t most_data = std::numeric_limits<std::int32_t>::max() - head_size;
  payload.form = stored_form::compressed;
  const auto zip = channel.at(subheader + head_size, sizeof(ravo_zip_header));
  if (!zip) return decode_outcome::outside;
  ravo_swap4(zip->data(), &payload.zip, sizeof(ravo_zip_header) / 4);
  if ((payload.zip.zip_flags & (RAVO_ZIP_ZLIB | RAVO_ZIP_LZO1X)) == 0)
    return decode_outcome::unknown_unzipper;
  payload.by = (payload.zip.zip_flags & RAVO_ZIP_ZLIB) != 0 ? unzipper::zlib : unzipper::lzo;
  const auto from = channel.at(subheader + head_size + sizeof payload.zip, payload.zip.zipp_length);
  if (!from) return decode_outcome::decoded;
  payload.bytes = from->data();
  payload.size = from->size();
  payload.room =
      std::min({std::size_t{payload.zip.orig_length}, most_unzipped(payload.by, payload.size), most_data});
  return decode_outcome::decoded;
}

template <class G>
decode_outcome locate_payload(const file_part& channel, unsigned long subheader, unsigned long data,
                              const typename G::subhead& head, stored_payload& payload) {
  constexpr std::size_t head_size = sizeof(typename G::subhead);
  payload = {};
  if ((head.error & RAVO_CHAN_ZIP_FLAG) != 0) return locate_compressed<G>(channel, subheader, payload);
  const int type = head.dtype & 0xffff;
  std::optional<byte_view> from;
  if (type == G::update_dtype || type == G::begin_of_run_dtype || type == G::end_of_run_dtype) {
    payload.form = stored_form::update;
    payload.room = sizeof(typename G::update_block);
    from = channel.at(data, sizeof(typename G::update_block));
  } else if (type == RAVO_ENV_BLOCK) {
    payload.form = stored_form::environment;
    payload.room = sizeof(typename G::update_block);
    from = channel.at(data, sizeof(ravo_env_data_block_2010));
  } else {
    const auto whole = static_cast<std::size_t>(head.ldata);  // negative: larger than any basket
    if (whole >= head_size) from = channel.at(subheader + head_size, whole - head_size);
    if (from) payload.room = from->size();
  }
  if (from) {
    payload.bytes = from->data();
    payload.size = from->size();
  }
  return decode_outcome::decoded;
}

/// Readings are passed on in the shape of an update.
template <class G>
void make_update(const ravo_env_data_block_2010& reading, const char* channel, unsigned char* into) {
  using update_block = typename G::update_block;
  update_block update;
  std::memset(&update, 0, sizeof update);
  std::memcpy(update.upd_prop, channel, strnlen(channel, sizeof(update.upd_prop) - 1));
  update.upd_ch_status = reading.env_ch_status;
  update.upd_ch_time = reading.env_ch_time;
  update.upd_ch_data = reading.env_ch_data;
  std::memcpy(into, &update, sizeof update);
}

template <class G>
decoded_payload decode_payload(const stored_payload& payload, const typename G::subhead& head,
                               const char* channel, unsigned char* into, unsigned char* work) {
  decoded_payload result;
  const bool compressed = payload.form == stored_form::compressed;
  if (compressed) {
    result = inflate_payload(payload, into, work);
    if (result.outcome != decode_outcome::decoded) return result;
  }
  const decode_outcome not_convertible = compressed ? decode_outcome::unzipped_not_convertible
                                         : payload.form == stored_form::plain
                                             ? decode_outcome::plain_not_convertible
                                             : decode_outcome::update_not_convertible;
  result.outcome = not_convertible;
  if (payload.bytes == nullptr) return result;
  if (!compressed) result.length = payload.room;
  if (payload.form == stored_form::environment) {
    ravo_env_data_block_2010 reading;
    result.error = ravo_convert_data(payload.bytes, &reading, head.dtype, static_cast<int>(sizeof reading));
    if (result.error == 0) make_update<G>(reading, channel, into);
  } else {
    const unsigned char* from = compressed ? into : payload.bytes;
    result.error = ravo_convert_data(from, into, head.dtype, static_cast<int>(result.length));
  }
  if (result.error == 0) result.outcome = decode_outcome::decoded;
  return result;
}

template <class G>
bool is_member_cut(const stored_payload& payload, std::int32_t stored_dtype, int member) {
  const int type = stored_dtype & 0xffff;
  const int members = get_channel_number(type, 0);
  if (member < 0) return false;
  if ((G::cuts_generic_spectra && type == RAVO_BLOCK_GENERIC_SPECT) || members >= 2) return true;
  return payload.form == stored_form::compressed && members == 1 && member == 0;
}

template <class G>
bool cut_member(const stored_payload& payload, const typename G::subhead* block, int member,
                typename G::subhead** part) {
  const bool compressed = payload.form == stored_form::compressed;
  const auto cut =
      compressed ? table_operations<G>::cut_unzipped_block : table_operations<G>::cut_plain_block;
  return cut(block, member, 0, 0, part);
}

template std::optional<raw_format_2010::subhead> read_subheader<raw_format_2010>(const file_part&,
                                                                                 unsigned long);
template decode_outcome locate_payload<raw_format_2010>(const file_part&, unsigned long, unsigned long,
                                                        const raw_format_2010::subhead&, stored_payload&);
template decoded_payload decode_payload<raw_format_2010>(const stored_payload&,
                                                         const raw_format_2010::subhead&, const char*,
                                                         unsigned char*, unsigned char*);
template bool is_member_cut<raw_format_2010>(const stored_payload&, std::int32_t, int);
template bool cut_member<raw_format_2010>(const stored_payload&, const raw_format_2010::subhead*, int,
                                          raw_format_2010::subhead**);

template std::optional<raw_format_2009::subhead> read_subheader<raw_format_2009>(const file_part&,
                                                                                 unsigned long);
template decode_outcome locate_payload<raw_format_2009>(const file_part&, unsigned long, unsigned long,
                                                        const raw_format_2009::subhead&, stored_payload&);
template decoded_payload decode_payload<raw_format_2009>(const stored_payload&,
                                                         const raw_format_2009::subhead&, const char*,
                                                         unsigned char*, unsigned char*);
template bool is_member_cut<raw_format_2009>(const stored_payload&, std::int32_t, int);
template bool cut_member<raw_format_2009>(const stored_payload&, const raw_format_2009::subhead*, int,
                                          raw_format_2009::subhead**);

}  // namespace ravo
