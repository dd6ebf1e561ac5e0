#include "read/block_reading.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

#include "decode/table_operations.h"
#include "format/malloc_owner.h"
#include "ravo_payload.h"
#include "read/item.h"

namespace ravo::detail {
namespace {

value_status status_of(const decoded_payload& result, const stored_payload& payload, unsigned char* into) {
  switch (result.outcome) {
    case decode_outcome::decoded:
      return value_status::ok;
    case decode_outcome::unzip_failed:
      if (payload.by == unzipper::zlib &&
          has_wrong_checksum(payload.bytes, payload.size, into, payload.room))
        return value_status::bad_checksum;
      return value_status::cannot_inflate;
    case decode_outcome::unknown_unzipper:
    case decode_outcome::length_mismatch:
      return value_status::cannot_inflate;
    case decode_outcome::outside:
      return value_status::truncated;
    default:
      return value_status::cannot_convert;
  }
}

/// Where a block says that it ends; 0 if what it says makes no sense.
template <class G>
std::uint64_t stated_end(const typename G::subhead& head, const stored_payload& payload,
                         const entry& where) {
  constexpr std::uint64_t head_size = sizeof(typename G::subhead);
  switch (payload.form) {
    case stored_form::compressed:
      return where.chhd + head_size + sizeof(ravo_zip_header) + payload.zip.zipp_length;
    case stored_form::update:
      return std::uint64_t{where.data} + sizeof(typename G::update_block);
    case stored_form::environment:
      return std::uint64_t{where.data} + sizeof(ravo_env_data_block_2010);
    case stored_form::plain:
      return head.ldata < static_cast<std::int32_t>(head_size)
                 ? 0
                 : where.chhd + static_cast<std::uint64_t>(head.ldata);
  }
  return 0;
}

/// The status that follows from the name in a block: misdirected if it is another channel's. The front end
/// may use a name of its own for the channel.
template <class G>
value_status status_of_name(const block_source_file& source, const typename G::subhead& head) {
  const bool bears_its_name = std::strncmp(head.chname, source.channel, sizeof head.chname - 1) == 0;
  if (bears_its_name) return value_status::ok;
  const std::optional<bool> is_of_another = source.names->has(*source.file, *source.known, head.chname);
  if (!is_of_another) return value_status::file_missing;
  return *is_of_another ? value_status::misdirected : value_status::ok;
}

/// Whether the dictionary says that the channel has no blocks of this type. Types from 32 on have no bit.
bool is_excluded(std::uint32_t mask, std::int32_t dtype) {
  const std::uint32_t type = static_cast<std::uint32_t>(dtype) & 0xffff;
  return mask != 0 && type < 32 && (mask >> type & 1u) == 0;
}

/// The value of an update or an environment reading lies directly after its subheader, and inside its
/// block: elsewhere lie other values, which look just as valid.
template <class G>
bool is_elsewhere(const stored_payload& payload, const typename G::subhead& head, const entry& where) {
  const bool is_update = payload.form == stored_form::update;
  if (!is_update && payload.form != stored_form::environment) return false;
  const std::size_t size = is_update ? sizeof(typename G::update_block) : sizeof(ravo_env_data_block_2010);
  return where.data != std::uint64_t{where.chhd} + sizeof head ||
         head.ldata < static_cast<std::int32_t>(sizeof head + size);
}

/// `needed_end`: where the block ends if it does not end within the part.
template <class G>
found_block find_block(const block_source_file& source, const file_part& part, const entry& where,
                       std::uint64_t& needed_end) {
  found_block found;
  needed_end = 0;
  const auto head = read_subheader<G>(part, where.chhd);
  if (!head) return found;
  found.stored_type = head->dtype;
  found.error = head->error & ~RAVO_CHAN_ZIP_FLAG;
  const decode_outcome outcome = locate_payload<G>(part, where.chhd, where.data, *head, found.payload);
  found.type = decoded_type<G>(found.payload, *head);
  const value_status of_name = status_of_name<G>(source, *head);
  if (of_name != value_status::ok) {
    found.status = of_name;
  } else if (is_elsewhere<G>(found.payload, *head, where)) {
    found.status = value_status::misdirected;
  } else if (is_excluded(source.dtype_mask, head->dtype)) {
    found.status = value_status::event_disputed;
  } else if (outcome == decode_outcome::unknown_unzipper) {
    found.status = value_status::cannot_inflate;
  } else if (outcome == decode_outcome::decoded && found.payload.bytes != nullptr) {
    found.status = value_status::ok;
  } else if (outcome == decode_outcome::decoded) {
    needed_end = stated_end<G>(*head, found.payload, where);
  }
  return found;
}

found_block find_block(const block_source_file& source, const file_part& part, const entry& where,
                       std::uint64_t& needed_end) {
  found_block found = source.is_current() ? find_block<raw_format_2010>(source, part, where, needed_end)
                                          : find_block<raw_format_2009>(source, part, where, needed_end);
  if (found.status == value_status::ok && found.payload.room > source.largest_block)
    found.status = value_status::block_too_large;
  return found;
}

found_block find_again(const block_source_file& source, const entry& where, std::uint64_t needed_end,
                       const pooled_buffer& buffer, const std::function<void(std::size_t)>& fit_block) {
  found_block found;
  if (needed_end > source.basket_end || needed_end <= where.chhd) return found;
  const std::size_t size = needed_end - where.chhd;
  fit_block(size);
  unsigned char* bytes = buffer.data();
  const auto got = source.file->read(where.chhd, bytes, size);
  if (!got) {
    found.status = value_status::file_missing;
    return found;
  }
  std::uint64_t ignored = 0;
  return find_block(source, file_part(bytes, *got, where.chhd), where, ignored);
}

template <class G>
decoded_payload decode_as(const found_block& block, const char* channel, unsigned char* into) {
  typename G::subhead head;
  head.dtype = block.stored_type;
  return decode_payload<G>(block.payload, head, channel, into, nullptr);
}

/// The block gets no name: a member's name is longer than its channel's and may not fit into a block of the
/// older generation, and it is not used here.
template <class G>
bool cut(int member, unsigned char* data, std::size_t room, std::size_t& length, std::int32_t& type) {
  using subhead = typename G::subhead;
  const auto whole = allocate<subhead>(sizeof(subhead) + length);
  if (!whole) throw std::bad_alloc();
  std::memset(whole.get(), 0, sizeof(subhead));
  whole->dtype = type;
  whole->ldata = static_cast<std::int32_t>(sizeof(subhead) + length);
  std::memcpy(whole.get() + 1, data, length);
  subhead* part = nullptr;
  if (table_operations<G>::cut_unzipped_block(whole.get(), member, 0, 0, &part) || part == nullptr)
    return false;
  const malloc_owner<subhead> owner(part);
  const std::size_t size = static_cast<std::size_t>(part->ldata) - sizeof(subhead);
  if (size > room) return false;
  std::memcpy(data, part + 1, size);
  length = size;
  type = part->dtype;
  return true;
}

}  // namespace

/// More than the heads of a block take, in either generation.
constexpr std::uint64_t room_for_heads = 4096;

block_window next_window(const std::vector<entry>& blocks, std::size_t first, std::size_t most,
                         std::uint64_t largest_block) {
  constexpr std::uint64_t widest_gap = 16 * 1024;
  const auto is_too_large = [&](const entry& one) {
    return one.stored > room_for_heads && one.stored - room_for_heads > largest_block;
  };
  const std::uint64_t begin = blocks[first].chhd;
  if (is_too_large(blocks[first])) return {begin, room_for_heads, 1};
  std::uint64_t end = begin + blocks[first].stored;
  std::size_t last = first + 1;
  for (; last < blocks.size(); ++last) {
    const entry& one = blocks[last];
    if (one.file != blocks[first].file || one.chhd < begin || one.chhd > end + widest_gap ||
        is_too_large(one))
      break;
    const std::uint64_t new_end = std::max<std::uint64_t>(end, std::uint64_t{one.chhd} + one.stored);
    if (new_end - begin > most) break;
    end = new_end;
  }
  return {begin, end - begin, last - first};
}

void read_window(const block_source_file& source, const std::vector<entry>& blocks, std::size_t first,
                 const block_window& window, const read_buffers& buffers,
                 const std::function<void(std::size_t)>& fit_block,
                 const std::function<void(std::size_t, const found_block&)>& take) {
  found_block missing;
  missing.status = value_status::file_missing;
  unsigned char* bytes = nullptr;
  std::optional<std::size_t> got;
  if (source.file != nullptr) {
    bytes = buffers.window.data();
    got = source.file->read(window.offset, bytes, window.bytes);
    // A block that is read with others has no more bytes than one that is read alone.
    const std::uint64_t in_basket = source.basket_end - std::min(source.basket_end, window.offset);
    if (got) got = std::min<std::uint64_t>(*got, in_basket);
  }
  for (std::size_t i = first; i < first + window.blocks; ++i) {
    if (!got) {
      take(i, missing);
      continue;
    }
    if (blocks[i].status != value_status::ok) {
      found_block none;
      none.status = blocks[i].status;
      take(i, none);
      continue;
    }
    std::uint64_t needed_end = 0;
    found_block found = find_block(source, file_part(bytes, *got, window.offset), blocks[i], needed_end);
    const std::uint64_t stated = needed_end > blocks[i].chhd ? needed_end - blocks[i].chhd : 0;
    const bool is_in_basket = needed_end <= source.basket_end;
    if (is_in_basket && stated > room_for_heads && stated - room_for_heads > source.largest_block)
      found.status = value_status::block_too_large;
    else if (needed_end != 0)
      found = find_again(source, blocks[i], needed_end, buffers.block, fit_block);
    take(i, found);
  }
}

namespace {

// Sizes as the decoder would find them in the whole block: no more than its place can hold.
template <class G>
block_head head_of(const file_part& part, const entry& where) {
  block_head result;
  const auto head = read_subheader<G>(part, where.chhd);
  if (!head) return result;
  stored_payload payload;
  const decode_outcome outcome = locate_payload<G>(part, where.chhd, where.data, *head, payload);
  result.is_compressed = payload.form == stored_form::compressed;
  result.is_known = outcome == decode_outcome::decoded;
  if (result.is_compressed)
    result.decoded =
        std::min<std::uint64_t>(payload.zip.orig_length, most_unzipped(payload.by, where.stored));
  else if (payload.form == stored_form::plain)
    result.decoded =
        head->ldata < static_cast<std::int32_t>(sizeof *head)
            ? 0
            : std::min<std::uint64_t>(static_cast<std::uint64_t>(head->ldata) - sizeof *head, where.stored);
  else
    result.decoded = payload.room;
  return result;
}

}  // namespace

block_head read_head(const block_source_file& source, const file_part& part, const entry& where) {
  return source.is_current() ? head_of<raw_format_2010>(part, where)
                             : head_of<raw_format_2009>(part, where);
}

namespace {

/// By what a block says of itself; found_block::payload has it only if all of the block is in the part.
template <class G>
located_block locate_block_as(const block_source_file& source, const file_part& part, const entry& where) {
  constexpr std::uint64_t head_size = sizeof(typename G::subhead);
  std::uint64_t end = 0;
  const found_block found = find_block<G>(source, part, where, end);
  located_block located;
  located.status = found.status;
  if (found.status == value_status::truncated && end != 0 && end <= source.basket_end)
    located.status = value_status::ok;
  located.form = found.payload.form;
  located.by = found.payload.by;
  located.type = found.stored_type;
  const auto head = read_subheader<G>(part, where.chhd);
  if (!head) return located;
  end = stated_end<G>(*head, found.payload, where);
  const bool lies_elsewhere =
      located.form == stored_form::update || located.form == stored_form::environment;
  located.data_at = lies_elsewhere ? where.data : where.chhd + head_size;
  if (located.form == stored_form::compressed) located.data_at += sizeof(ravo_zip_header);
  located.stored = end > located.data_at ? end - located.data_at : 0;
  if (located.form == stored_form::compressed)
    located.decoded = located.status == value_status::cannot_inflate
                          ? 0
                          : std::min<std::uint64_t>(found.payload.zip.orig_length,
                                                    most_unzipped(located.by, located.stored));
  else
    located.decoded = lies_elsewhere ? found.payload.room : located.stored;
  return located;
}

}  // namespace

located_block locate_block(const block_source_file& source, const file_part& part, const entry& where) {
  return source.is_current() ? locate_block_as<raw_format_2010>(source, part, where)
                             : locate_block_as<raw_format_2009>(source, part, where);
}

value_status inflate(const found_block& block, unsigned char* into) {
  return status_of(inflate_payload(block.payload, into, nullptr), block.payload, into);
}

namespace {

/// Replaces decoded data by one member of it; length and type become those of the member.
bool cut_member(const block_source_file& source, int member, unsigned char* data, std::size_t room,
                std::size_t& length, std::int32_t& type) {
  if (member < 0) return true;
  const byte_view whole(data, length, word_order::host);
  if (!find_item(type, whole, member)) return false;
  // A block of a single member is that member already.
  const std::optional<item> all = find_item(type, whole, -1);
  if (all && all->is_one_member()) return true;
  return source.is_current() ? cut<raw_format_2010>(member, data, room, length, type)
                             : cut<raw_format_2009>(member, data, room, length, type);
}

/// The most bytes by which a member that was cut out may be longer than its block: a profile of a region of
/// interest gets the head of a spectrum, and in the older generation a mean.
constexpr std::size_t cut_excess =
    std::max(sizeof(ravo_spect_head_2010), sizeof(ravo_spect_head) + sizeof(float));

}  // namespace

std::size_t decoded_room(const found_block& block, int member) {
  return block.payload.room + (member >= 0 ? cut_excess : 0);
}

decoded_value decode_member(const block_source_file& source, const found_block& block, int member,
                            unsigned char* into) {
  const decoded_payload result = source.is_current()
                                     ? decode_as<raw_format_2010>(block, source.channel, into)
                                     : decode_as<raw_format_2009>(block, source.channel, into);
  decoded_value value{status_of(result, block.payload, into), result.length, block.type};
  if (value.status == value_status::ok &&
      !cut_member(source, member, into, decoded_room(block, member), value.length, value.type))
    value.status = value_status::cannot_convert;
  return value;
}

}  // namespace ravo::detail
