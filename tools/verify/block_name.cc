#include "block_name.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "format/byte_view.h"
#include "ravo_data_types.h"
#include "ravo_raw_generations.h"

namespace ravo::checks {

template <class G>
std::string_view name_at(const unsigned char* subhead) {
  constexpr std::size_t room = sizeof(G::subhead::chname) - 1;
  const auto* name = reinterpret_cast<const char*>(subhead) + offsetof(typename G::subhead, chname);
  return {name, strnlen(name, room)};
}

// The dictionary has room for longer names than blocks: only as many bytes as blocks have are compared.
template <class G>
name_owner owner_of_name(const file_map& map, const channel_entry& channel, const unsigned char* subhead) {
  constexpr std::size_t room = sizeof(G::subhead::chname) - 1;
  const auto cut = [](const std::string& name) { return std::string_view(name).substr(0, room); };
  const std::string_view name = name_at<G>(subhead);
  if (name == cut(channel.name)) return name_owner::the_channel;
  if (name.empty()) return name_owner::nobody;
  const auto found = std::lower_bound(
      map.rows_by_name.begin(), map.rows_by_name.end(), name,
      [&](std::uint32_t row, std::string_view wanted) { return cut(map.channels[row].name) < wanted; });
  const bool is_known = found != map.rows_by_name.end() && cut(map.channels[*found].name) == name;
  return is_known ? name_owner::another_channel : name_owner::nobody;
}

template <class G>
bool is_type_of_blocks(std::int32_t dtype) {
  const data_type* type = (static_cast<std::uint32_t>(dtype) >> 16) == 0 ? find_data_type(dtype) : nullptr;
  return type && type->shape != payload_shape::none &&
         (type->generation == type_generation::both || type->generation == G::generation);
}

template <class G>
bool begins_block(const file_map& map, const channel_entry& channel, const unsigned char* subhead,
                  std::uint64_t room) {
  using head = typename G::subhead;
  const name_owner owner = owner_of_name<G>(map, channel, subhead);
  if (owner != name_owner::nobody) return owner == name_owner::the_channel;
  const byte_view bytes(subhead, sizeof(head), word_order::file);
  const std::uint32_t length = *bytes.at<std::uint32_t>(offsetof(head, ldata));
  return is_type_of_blocks<G>(*bytes.at<std::int32_t>(offsetof(head, dtype))) && length >= sizeof(head) &&
         length <= room;
}

template std::string_view name_at<raw_format_2009>(const unsigned char*);
template std::string_view name_at<raw_format_2010>(const unsigned char*);
template name_owner owner_of_name<raw_format_2009>(const file_map&, const channel_entry&,
                                                   const unsigned char*);
template name_owner owner_of_name<raw_format_2010>(const file_map&, const channel_entry&,
                                                   const unsigned char*);
template bool is_type_of_blocks<raw_format_2009>(std::int32_t);
template bool is_type_of_blocks<raw_format_2010>(std::int32_t);
template bool begins_block<raw_format_2009>(const file_map&, const channel_entry&, const unsigned char*,
                                            std::uint64_t);
template bool begins_block<raw_format_2010>(const file_map&, const channel_entry&, const unsigned char*,
                                            std::uint64_t);

}  // namespace ravo::checks
