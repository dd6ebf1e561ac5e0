// Whose name a block has. Readers accept a block with any name: the front end may know the channel
// by another one. The name of another channel of the dictionary shows that the pointers are wrong.
#ifndef RAVO_VERIFY_BLOCK_NAME_H
#define RAVO_VERIFY_BLOCK_NAME_H

#include <cstdint>
#include <string_view>

#include "file_map.h"

namespace ravo::checks {

enum class name_owner { the_channel, another_channel, nobody };

/// `subhead`: the head of the block as it is in the file.
template <class G>
name_owner owner_of_name(const file_map& map, const channel_entry& channel, const unsigned char* subhead);

/// The text of the name, up to its zero byte if there is one.
template <class G>
std::string_view name_at(const unsigned char* subhead);

/// Whether blocks in a file of this generation can be of the type.
template <class G>
bool is_type_of_blocks(std::int32_t dtype);

/// Whether a block of the channel begins with this head: it has the channel's name, or
/// that of no channel, and then a valid type and a length that fits into `room` bytes.
template <class G>
bool begins_block(const file_map& map, const channel_entry& channel, const unsigned char* subhead,
                  std::uint64_t room);

}  // namespace ravo::checks

#endif
