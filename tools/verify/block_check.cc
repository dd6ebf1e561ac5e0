#include "block_check.h"

#include <fmt/format.h>
#include <zlib.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <mutex>
#include <new>
#include <string_view>

#include "block_name.h"
#include "check_limits.h"
#include "format/payload_view.h"
#include "instants.h"
#include "ravo_evutl.h"
#include "ravo_evutl_status.h"
#include "ravo_raw_generations.h"
#include "texts.h"

namespace ravo::checks {
namespace {

constexpr std::size_t read_ahead = 256 << 10;
constexpr std::size_t header_ahead = 16 << 10;
constexpr std::size_t zip_size = sizeof(ravo_zip_header);
constexpr std::uint64_t tail_size = 4;
constexpr std::uint64_t most_padding = 3;
constexpr int lzo_output_overrun = -5;

// Slow readings are small, and readers return them in a form of their own: they are never compressed.
bool may_be_compressed(const data_type& type) { return !is_reading(type.shape); }

// Size of the data that readers return in the form of an update; 0 for other types.
template <class G>
std::size_t size_of_reading(std::int32_t dtype) {
  if (dtype == RAVO_ENV_BLOCK) return sizeof(ravo_env_data_block_2010);
  const bool is_update =
      dtype == G::update_dtype || dtype == G::begin_of_run_dtype || dtype == G::end_of_run_dtype;
  return is_update ? sizeof(typename G::update_block) : 0;
}

// The record at the beginning of data in host order; the data must not be shorter.
template <class Record>
Record head_of(const byte_view& data) {
  Record head;
  std::memcpy(&head, data.data(), sizeof head);
  return head;
}

bool has_spare_words(const payload_parts& parts, const byte_view& data) {
  if (const auto* spectrum = std::get_if<spectrum_parts>(&parts))
    return spectrum->generation == type_generation::current &&
           head_of<ravo_spect_head_2010>(data).spare != 0;
  const auto* image = std::get_if<image_parts>(&parts);
  if (image == nullptr || !image->is_extended) return false;
  const auto head = head_of<ravo_image_ext_frame_head>(data);
  const auto bits = [](float value) { return std::bit_cast<std::uint32_t>(value); };
  return (bits(head.fspare2) | bits(head.fspare3) | bits(head.fspare4) |
          static_cast<std::uint32_t>(head.ispare2 | head.ispare3 | head.ispare4)) != 0;
}

// What the first text of a block that is not UTF-8 is; null if there is none.
const char* find_misspelt(const payload_parts& parts, const byte_view& data) {
  const auto is_bad = [&](std::size_t offset, std::size_t size) {
    const auto* const text = reinterpret_cast<const char*>(data.data()) + offset;
    return !is_utf8({text, strnlen(text, size)});
  };
  if (const auto* update = std::get_if<update_parts>(&parts))
    return is_bad(0, update->name_size) ? "name of a property" : nullptr;
  if (const auto* text = std::get_if<text_part>(&parts)) return is_bad(0, text->length) ? "text" : nullptr;
  const auto* list = std::get_if<name_value_parts>(&parts);
  if (list == nullptr) return nullptr;
  if (is_bad(list->comment, list->comment_size)) return "comment";
  for (std::size_t record = 0; record < list->count; ++record)
    if (is_bad(list->name(record), list->name_size)) return "name of a value";
  return nullptr;
}

}  // namespace

template <class G>
block_room room_of(const checked_file& file, const channel_entry& channel) {
  const std::uint64_t tail = file.size() - tail_size;
  if (channel.basket == 0) return {sizeof G::signature - 1, tail};
  return {channel.basket + sizeof(ravo_channel_basket), std::min(channel.basket_end, tail)};
}

template <class G>
block_checker<G>::block_checker(channel_surroundings& around, const channel_entry& channel,
                                const block_room& room, finding_list& findings)
    : around_(around),
      map_(around.map),
      channel_(channel),
      room_(room),
      findings_(findings),
      event_headers_(around.file, header_ahead),
      server_blocks_(around.file, read_ahead / 4),
      data_(around.file, around.deep == verification_depth::blocks ? read_ahead : head_size + zip_size),
      next_heads_(around.file, head_size) {}

template <class G>
std::optional<block_head> block_checker<G>::check_head(
    const led_to& block, const std::function<std::optional<std::uint64_t>()>& next) {
  number_ = block.number;
  const std::uint64_t offset = block.at.chhd;
  const name_owner owner = owner_of_name<G>(map_, channel_, data_.at(offset, head_size));
  if (owner == name_owner::another_channel) {
    wrong(finding_kind::block_name, offset, [&] { return name_of(offset); });
    return std::nullopt;
  }
  block_head head = read_head(offset);
  if (!check_type(head) || !check_length(head, next()) || !check_reading_length(head)) return std::nullopt;
  if (head.is_compressed() && !check_zip_header(head)) return std::nullopt;
  // Only for a good block does the name mean anything.
  if (owner == name_owner::nobody)
    wrong(finding_kind::block_foreign_name, offset, [&] { return name_of(offset); });
  return head;
}

template <class G>
std::optional<block_data> block_checker<G>::check_data(const led_to& block, const block_head& head) {
  number_ = block.number;
  if (head.type->shape == payload_shape::environment) find_index();
  block_data data;
  if (around_.deep == verification_depth::heads || !is_own_place(head)) return data;
  if (!decode(block, head, data) || (index_ && !bears_index(head))) return std::nullopt;
  data.reading = time_of(head);
  return data;
}

template <class G>
bool block_checker<G>::is_at(std::uint64_t offset) {
  return begins_block<G>(map_, channel_, next_heads_.at(offset, head_size), room_.end - offset);
}

template <class G>
std::string block_checker<G>::name_of(std::uint64_t offset) {
  const std::string_view name = name_at<G>(data_.at(offset, head_size));
  return name.empty() ? "it is empty" : fmt::format("\"{}\"", name);
}

template <class G>
block_head block_checker<G>::read_head(std::uint64_t offset) {
  const byte_view bytes(data_.at(offset, head_size), head_size, word_order::file);
  return {offset, *bytes.at<std::int32_t>(offsetof(subhead, dtype)),
          *bytes.at<std::int32_t>(offsetof(subhead, error)),
          *bytes.at<std::uint32_t>(offsetof(subhead, ldata))};
}

template <class G>
bool block_checker<G>::check_type(block_head& head) {
  if (is_type_of_blocks<G>(head.dtype)) head.type = find_data_type(head.dtype);
  return head.type != nullptr ||
         wrong(finding_kind::block_type, head.offset, [&] { return fmt::format("type {}", head.dtype); });
}

// Blocks are back to back, so each has to end at the next one or at the basket's end.
template <class G>
bool block_checker<G>::check_length(const block_head& head, const std::optional<std::uint64_t>& next) {
  const std::size_t least = head_size + (head.is_compressed() ? zip_size : 0);
  const std::uint64_t end = head.offset + head.length;
  if (head.length < least || end > room_.end)
    return wrong(finding_kind::block_length, head.offset,
                 [&] { return fmt::format("it is {}", head.length); });
  if (!next || (end <= *next && *next - end <= most_padding)) return true;
  return wrong(finding_kind::block_length, head.offset, [&] {
    return fmt::format("it is {}, and what follows begins {} bytes after its begin", head.length,
                       *next - head.offset);
  });
}

// Readers take the bytes of a reading, whatever the block's length says.
template <class G>
bool block_checker<G>::check_reading_length(const block_head& head) {
  const std::size_t data = size_of_reading<G>(head.dtype);
  if (data == 0 || head.is_compressed() || head.length == head_size + data) return true;
  if (head.length < head_size + data)
    return wrong(finding_kind::block_length, head.offset, [&] {
      return fmt::format("it is {}, where a reading takes {}", head.length, head_size + data);
    });
  wrong(finding_kind::block_reading_length, head.offset,
        [&] { return fmt::format("it is {}, where a reading takes {}", head.length, head_size + data); });
  return true;
}

template <class G>
bool block_checker<G>::check_zip_header(block_head& head) {
  if (!may_be_compressed(*head.type))
    return wrong(finding_kind::block_zip_header, head.offset, "blocks of this type are never compressed");
  ravo_zip_header zip;
  ravo_swap4(data_.at(head.offset, head_size + zip_size) + head_size, &zip, zip_size / 4);
  if ((zip.zip_flags & (RAVO_ZIP_ZLIB | RAVO_ZIP_LZO1X)) == 0)
    return wrong(finding_kind::block_zip_header, head.offset,
                 [&] { return fmt::format("no known compression, flags 0x{:x}", zip.zip_flags); });
  if ((zip.zip_flags & ~(RAVO_ZIP_ZLIB | RAVO_ZIP_LZO1X)) != 0)
    wrong(finding_kind::block_zip_flags, head.offset,
          [&] { return fmt::format("flags 0x{:x}", zip.zip_flags); });
  if (zip.zipp_length != head.length - head_size - zip_size)
    return wrong(finding_kind::block_zip_header, head.offset, [&] {
      return fmt::format("{} compressed bytes, where the block has {}", zip.zipp_length,
                         head.length - head_size - zip_size);
    });
  const unzipper by = (zip.zip_flags & RAVO_ZIP_ZLIB) != 0 ? unzipper::zlib : unzipper::lzo;
  if (zip.orig_length == 0 || zip.orig_length > most_unzipped(by, zip.zipp_length))
    return wrong(finding_kind::block_original_length, head.offset,
                 [&] { return fmt::format("{} bytes cannot hold {}", zip.zipp_length, zip.orig_length); });
  head.original_length = zip.orig_length;
  return true;
}

// Readers know readings by the name in the block; programs
// that search them by the index find those of another channel.
template <class G>
void block_checker<G>::find_index() {
  if (index_ || misses_index_ || !map_.has_environment) return;
  const auto entry = map_.environment.find(channel_.key);
  misses_index_ = entry == map_.environment.end();
  if (!misses_index_)
    index_ = entry->second;
  else
    findings_.add(finding_kind::environment_entry, {channel_.name, {}, map_.environment_offset},
                  [&] { return fmt::format("key {}", channel_.key); });
}

template <class G>
bool block_checker<G>::bears_index(const block_head& head) {
  std::int32_t index = 0;
  ravo_swap4(data_.at(head.offset, head.length) + head_size, &index, 1);
  if (index == *index_) return true;
  return wrong(finding_kind::environment_index, head.offset,
               [&] { return fmt::format("{} instead of {}", index, *index_); });
}

// Decodes no more than the basket holds, however many pointers
// lead into it: otherwise a loop of pointers would never end.
template <class G>
bool block_checker<G>::is_own_place(const block_head& head) {
  if (!channel_.is_usable || channel_.basket == 0) return false;
  decoded_ += head.length;
  return decoded_ <= room_.end - room_.begin;
}

template <class G>
bool block_checker<G>::decode(const led_to& block, const block_head& head, block_data& data) {
  if (head.largest() > most_block_bytes)
    return wrong(finding_kind::block_too_large, head.offset, [&] {
      return fmt::format("{} bytes, where {} are checked", head.inflated(), most_block_bytes);
    });
  std::unique_lock<std::mutex> alone(around_.large_block, std::defer_lock);
  if (head.largest() >= large_block_bytes) alone.lock();
  const block_source source{
      {event_headers_.at(block.at.evhd, sizeof(ravo_eventheader)), sizeof(ravo_eventheader), block.at.evhd},
      {server_blocks_.at(block.at.sbhd, sizeof(typename G::server_block_head)),
       sizeof(typename G::server_block_head), block.at.sbhd},
      {data_.at(head.offset, head.length), head.length, static_cast<unsigned long>(head.offset)}};
  const decode_result<G> result = decode_block<G>(source, block.at, channel_.name.c_str(), -1);
  const bool is_good = judge(result, head);
  if (is_good) {
    take_frame(*result.block, head.offset, data);
    check_parts(head, {result.block.get() + 1, static_cast<std::size_t>(result.block->ldata) - head_size,
                       word_order::host});
  }
  if (alone.owns_lock()) data_.release();  // before the next thread's turn
  return is_good;
}

template <class G>
bool block_checker<G>::judge(const decode_result<G>& result, const block_head& head) {
  switch (result.outcome) {
    case decode_outcome::decoded:
      return true;
    case decode_outcome::outside:
      return wrong(finding_kind::block_length, head.offset, "it is too short");
    case decode_outcome::misdirected:
      return false;  // its event header is wrong, which was reported with the headers
    case decode_outcome::unknown_unzipper:
      return wrong(finding_kind::block_zip_header, head.offset, "no known compression");
    case decode_outcome::length_mismatch:
      return wrong(finding_kind::block_original_length, head.offset, [&] {
        return fmt::format("{} bytes instead of {}", result.unzipped.produced, result.zip.orig_length);
      });
    case decode_outcome::unzip_failed:
      return report_unzip_failure(result, head);
    case decode_outcome::unzipped_not_convertible:
    case decode_outcome::update_not_convertible:
    case decode_outcome::plain_not_convertible:
      return wrong(finding_kind::block_convert, head.offset, [&] {
        return result.error == 0 ? std::string("it is too short")
                                 : fmt::format("type {}: {}, status {}", head.dtype & 0xffff,
                                               ravo_evutl_status_text(result.error), result.error);
      });
    default:
      return report_missing_memory(head);
  }
}

// If the block is not large, it is not to blame: the machine has no memory left.
template <class G>
bool block_checker<G>::report_missing_memory(const block_head& head) {
  if (head.largest() < large_block_bytes) throw std::bad_alloc();
  return wrong(finding_kind::block_too_large, head.offset, "there is no memory for it");
}

template <class G>
bool block_checker<G>::report_unzip_failure(const decode_result<G>& result, const block_head& head) {
  const unzip_result& unzipped = result.unzipped;
  if (unzipped.by == unzipper::zlib && unzipped.code == Z_MEM_ERROR) return report_missing_memory(head);
  const bool is_longer = unzipped.by == unzipper::lzo
                             ? unzipped.code == lzo_output_overrun
                             : unzipped.code != Z_DATA_ERROR && unzipped.produced == result.zip.orig_length;
  if (unzipped.step == unzip_step::decompression && is_longer)
    return wrong(finding_kind::block_original_length, head.offset,
                 [&] { return fmt::format("more than {} bytes", result.zip.orig_length); });
  return wrong(finding_kind::block_inflate, head.offset, [&] {
    return fmt::format("{} answers {}", unzipped.by == unzipper::zlib ? "zlib" : "LZO", unzipped.code);
  });
}

template <class G>
void block_checker<G>::take_frame(const subhead& block, std::uint64_t offset, block_data& data) {
  const auto* begin = reinterpret_cast<const unsigned char*>(&block + 1);
  const auto found = find_frame(block.dtype, {begin, static_cast<std::size_t>(block.ldata) - head_size});
  if (!found) return;
  if (found->event != 0) data.frame = found->event;
  if (repeats_.is_repeat(found->pixels)) wrong(finding_kind::channel_frozen, offset, "");
}

// The stored form of environment readings has nothing of the kind; readers return them as updates.
template <class G>
void block_checker<G>::check_parts(const block_head& head, const byte_view& data) {
  const parsed_payload payload = parse_payload(*head.type, data);
  if (!payload.is_good()) return;
  if (has_spare_words(payload.parts, data)) wrong(finding_kind::block_spare_words, head.offset, "");
  if (const char* what = find_misspelt(payload.parts, data))
    wrong(finding_kind::text_encoding, head.offset, what);
}

// The time of the reading, if the server states it. A block may be longer than its reading.
template <class G>
std::optional<time_stamp> block_checker<G>::time_of(const block_head& head) {
  const std::optional<update_parts> reading = find_reading(head.type->shape);
  if (!reading) return std::nullopt;
  const std::size_t at = head_size + reading->time;
  time_stamp time;
  if (head.length < at + sizeof time) return std::nullopt;
  ravo_swap4(data_.at(head.offset, head.length) + at, &time, sizeof time / 4);
  if (!is_proper(time))
    wrong(finding_kind::block_reading_time, head.offset,
          [&] { return fmt::format("{} microseconds", time.timelow); });
  return time.timeup != 0 || time.timelow != 0 ? std::optional(time) : std::nullopt;
}

template class block_checker<raw_format_2009>;
template class block_checker<raw_format_2010>;
template block_room room_of<raw_format_2009>(const checked_file&, const channel_entry&);
template block_room room_of<raw_format_2010>(const checked_file&, const channel_entry&);

}  // namespace ravo::checks
