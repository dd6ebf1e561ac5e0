// How a block is decoded, for both generations; see decode_block.h.
#include <algorithm>
#include <cstddef>
#include <cstring>
#include <limits>

#include "allocate.h"
#include "decode/decode_block.h"
#include "library_calls.h"

namespace ravo {

template <class T>
malloc_owner<T> allocate_block(std::size_t size) {
  return malloc_owner<T>(static_cast<T*>(allocate(size)));
}

/// One decoding: the steps share what they have found so far.
template <class G>
class block_decoder {
 public:
  block_decoder(const block_source& source, const typename G::chan_pointers_table_entry& where,
                const char* channel, int subchannel)
      : source_(source), where_(where), channel_(channel), subchannel_(subchannel) {}

  decode_result<G> decode() {
    result_.outcome = decode_all();
    if (result_.outcome != decode_outcome::decoded) result_.block.reset();
    return std::move(result_);
  }

 private:
  using subhead = typename G::subhead;
  using update_block = typename G::update_block;
  static constexpr std::size_t head_size = sizeof(subhead);
  // LZO asks for work memory, but its LZO1X needs none to decompress.
  static constexpr std::size_t lzo_work_size = head_size;
  // A block's length word is a signed 32-bit integer.
  static constexpr std::size_t most_data = std::numeric_limits<std::int32_t>::max() - head_size;

  decode_outcome decode_all() {
    if (const auto failure = copy_event_header(); failure != decode_outcome::decoded) return failure;
    if (const auto failure = copy_server_block(); failure != decode_outcome::decoded) return failure;
    if (const auto failure = copy_subheader(); failure != decode_outcome::decoded) return failure;
    if ((head_->error & RAVO_CHAN_ZIP_FLAG) != 0) return decode_compressed();
    const int type = head_->dtype & 0xffff;
    if (type == G::update_dtype || type == G::begin_of_run_dtype || type == G::end_of_run_dtype)
      return decode_update();
    if (type == RAVO_ENV_BLOCK) return decode_environment();
    return decode_plain();
  }

  // A header's words are all swapped, and then those of its text back: text has no byte order.
  template <class Header>
  static void copy_header(const byte_view& from, Header* to, std::size_t text_offset, std::size_t text_size) {
    ravo_swap4(from.data(), to, static_cast<int>(sizeof(Header) / 4));
    unsigned char* text = reinterpret_cast<unsigned char*>(to) + text_offset;
    ravo_swap4(text, text, static_cast<int>(text_size / 4));
  }

  // A text without its end would be read past it by everyone who gets the header.
  template <std::size_t size>
  static void end_text(char (&text)[size]) {
    text[size - 1] = '\0';
  }

  decode_outcome copy_event_header() {
    const auto from = source_.event_headers.at(where_.evhd, sizeof(ravo_eventheader));
    if (!from) return decode_outcome::outside;
    result_.event_header = allocate_block<ravo_eventheader>(sizeof(ravo_eventheader));
    if (!result_.event_header) return decode_outcome::no_event_header_memory;
    copy_header(*from, result_.event_header.get(), 0, 0);
    return decode_outcome::decoded;
  }

  decode_outcome copy_server_block() {
    using head = typename G::server_block_head;
    const auto from = source_.server_blocks.at(where_.sbhd, sizeof(head));
    if (!from) return decode_outcome::outside;
    result_.server_block = allocate_block<head>(sizeof(head));
    if (!result_.server_block) return decode_outcome::no_server_block_memory;
    copy_header(*from, result_.server_block.get(), offsetof(head, server), sizeof(head::server));
    end_text(result_.server_block->server);
    return decode_outcome::decoded;
  }

  decode_outcome copy_subheader() {
    const auto from = source_.channel.at(where_.chhd, head_size);
    if (!from) return decode_outcome::outside;
    head_ = allocate_block<subhead>(head_size);
    if (!head_) return decode_outcome::no_subheader_memory;
    copy_header(*from, head_.get(), offsetof(subhead, chname), sizeof(subhead::chname));
    end_text(head_->chname);
    return decode_outcome::decoded;
  }

  /// A block for `length` bytes of data, with the subheader in front.
  bool begin_block(std::size_t length) {
    result_.block = allocate_block<subhead>(head_size + length);
    if (!result_.block) return false;
    std::memcpy(result_.block.get(), head_.get(), head_size);
    return true;
  }
  unsigned char* data() { return reinterpret_cast<unsigned char*>(result_.block.get() + 1); }

  decode_outcome decode_compressed() {
    const auto zip = source_.channel.at(where_.chhd + head_size, sizeof(ravo_zip_header));
    if (!zip) return decode_outcome::outside;
    ravo_swap4(zip->data(), &result_.zip, sizeof(ravo_zip_header) / 4);
    if ((result_.zip.zip_flags & (RAVO_ZIP_ZLIB | RAVO_ZIP_LZO1X)) == 0) return decode_outcome::unknown_unzipper;
    if (const auto failure = unzip_data(); failure != decode_outcome::decoded) return failure;

    const std::size_t length = result_.unzipped.produced;
    result_.block->ldata = static_cast<std::int32_t>(head_size + length);
    result_.error = ravo_convert_data(data(), data(), result_.block->dtype, static_cast<int>(length));
    if (result_.error != 0) return decode_outcome::unzipped_not_convertible;
    cut(true);
    return decode_outcome::decoded;
  }

  // Straight into the final block, behind the subheader. The stated length does not decide alone how much
  // memory is asked for: what the compressed bytes cannot hold ends as a length that does not agree.
  decode_outcome unzip_data() {
    const ravo_zip_header& zip = result_.zip;
    const unzipper by = (zip.zip_flags & RAVO_ZIP_ZLIB) != 0 ? unzipper::zlib : unzipper::lzo;
    const auto from = source_.channel.at(where_.chhd + head_size + sizeof zip, zip.zipp_length);
    if (!from) {
      result_.unzipped = {by, unzip_step::parameters, 0, 0};
      return decode_outcome::unzip_failed;
    }
    const std::size_t room = std::min({std::size_t{zip.orig_length}, most_unzipped(by, from->size()), most_data});
    malloc_owner<unsigned char> work;
    if (by == unzipper::lzo) {
      work = allocate_block<unsigned char>(lzo_work_size);
      if (!work) return decode_outcome::no_work_memory;
    }
    if (!begin_block(room)) return decode_outcome::no_block_memory;
    result_.block->error &= ~RAVO_CHAN_ZIP_FLAG;

    result_.unzipped = unzip(by, from->data(), from->size(), data(), room, work.get());
    if (!result_.unzipped.ok()) return decode_outcome::unzip_failed;
    if (result_.unzipped.produced != zip.orig_length) return decode_outcome::length_mismatch;
    return decode_outcome::decoded;
  }

  /// Gives the block the shape of an update, in which all slow readings go upward.
  bool begin_update() {
    if (!begin_block(sizeof(update_block))) return false;
    result_.block->ldata = static_cast<std::int32_t>(head_size + sizeof(update_block));
    result_.block->dtype = G::update_dtype;
    return true;
  }

  decode_outcome decode_update() {
    if (!begin_update()) return decode_outcome::no_update_memory;
    const auto from = source_.channel.at(where_.data, sizeof(update_block));
    if (!from) return decode_outcome::update_not_convertible;
    result_.error = ravo_convert_data(from->data(), data(), head_->dtype, static_cast<int>(sizeof(update_block)));
    if (result_.error != 0) return decode_outcome::update_not_convertible;
    cut(false);
    return decode_outcome::decoded;
  }

  decode_outcome decode_environment() {
    ravo_env_data_block_2010 reading;
    const auto from = source_.channel.at(where_.data, sizeof reading);
    if (!from) return decode_outcome::update_not_convertible;
    result_.error = ravo_convert_data(from->data(), &reading, head_->dtype, static_cast<int>(sizeof reading));
    if (result_.error != 0) return decode_outcome::update_not_convertible;
    if (!begin_update()) return decode_outcome::no_update_memory;
    auto* update = reinterpret_cast<update_block*>(data());
    std::memset(update, 0, sizeof *update);
    std::memcpy(update->upd_prop, channel_, strnlen(channel_, sizeof(update->upd_prop) - 1));
    update->upd_ch_status = reading.env_ch_status;
    update->upd_ch_time = reading.env_ch_time;
    update->upd_ch_data = reading.env_ch_data;
    cut(false);
    return decode_outcome::decoded;
  }

  decode_outcome decode_plain() {
    const auto whole = static_cast<std::size_t>(head_->ldata);  // negative: larger than any basket
    const auto length = whole - head_size;
    const auto from = whole < head_size ? std::nullopt : source_.channel.at(where_.chhd + head_size, length);
    if (!from) return decode_outcome::plain_not_convertible;
    if (!begin_block(length)) return decode_outcome::no_plain_memory;
    result_.error = ravo_convert_data(from->data(), data(), head_->dtype, static_cast<int>(length));
    if (result_.error != 0) return decode_outcome::plain_not_convertible;
    cut(false);
    return decode_outcome::decoded;
  }

  // The type is that of the block as it lies in the file, also when it has become an update.
  bool is_cut(bool compressed) const {
    const int type = head_->dtype & 0xffff;
    const int members = get_channel_number(type, 0);
    if (subchannel_ < 0) return false;
    if ((G::cuts_generic_spectra && type == RAVO_BLOCK_GENERIC_SPECT) || members >= 2) return true;
    // Plain blocks of one member are left whole: an asymmetry that is intended.
    return compressed && members == 1 && subchannel_ == 0;
  }

  void cut(bool compressed) {
    if (!is_cut(compressed)) return;
    subhead* part = nullptr;
    const auto cut_block =
        compressed ? library_calls<G>::cut_unzipped_block : library_calls<G>::cut_plain_block;
    result_.cut_failed = cut_block(result_.block.get(), subchannel_, 0, 0, &part);
    if (result_.cut_failed || part == nullptr) return;
    const auto from = static_cast<std::uint32_t>(result_.block->dtype) << 16;
    part->dtype = static_cast<std::int32_t>(static_cast<std::uint32_t>(part->dtype) | from);
    result_.block.reset(part);
  }

  const block_source& source_;
  const typename G::chan_pointers_table_entry& where_;
  const char* channel_;
  int subchannel_;
  malloc_owner<subhead> head_;
  decode_result<G> result_;
};

template <class G>
decode_result<G> decode_block(const block_source& source, const typename G::chan_pointers_table_entry& where,
                              const char* channel, int subchannel) {
  return block_decoder<G>(source, where, channel, subchannel).decode();
}

}  // namespace ravo
