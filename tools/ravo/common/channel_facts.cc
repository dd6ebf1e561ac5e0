#include "common/channel_facts.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "common/failure.h"
#include "common/read_plan.h"
#include "ravo_data_types.h"

namespace ravo::tool {
namespace {

// Files mostly say the same.
constexpr std::size_t most_files = 8;

}  // namespace

std::vector<channel_facts> facts_of(const dataset& data) {
  describe_options few;
  few.most_files = most_files;
  std::vector<channel_facts> all;
  for (channel_description& one : data.describe(few))
    all.push_back({std::move(one.label), std::move(one.name), one.member, std::move(one.unit),
                   std::move(one.axis_label), std::move(one.axis_unit),
                   static_cast<std::uint32_t>(std::max(one.data_type, 0))});
  return all;
}

void check_members(const dataset& data) {
  const auto& channels = data.channels();
  const bool any = std::any_of(channels.begin(), channels.end(),
                               [](const dataset_channel& one) { return one.member >= 0; });
  if (!any) return;
  for (const channel_facts& one : facts_of(data)) {
    const data_type* type = find_data_type(static_cast<int>(one.stored));
    // The blocks of these types state their number of members.
    if (one.member < 0 || !type || type->code == RAVO_BLOCK_GENERIC_SPECT ||
        type->shape == payload_shape::name_value)
      continue;
    if (type->members > 1) check_member_of_type(one.name, one.member, *type);
    if (type->members < 2 && one.member > 0)
      throw data_failure(
          fmt::format("{} has a single member: ask for it without ':{}'", one.name, one.member));
  }
}

decoded_block block_of(const value& one, const channel_facts& channel) {
  const std::span<const std::byte> bytes = one.bytes();
  // A member's block has the type it was cut from in the high 16 bits; a value no longer has it.
  const std::uint32_t cut_from = channel.member >= 0 ? channel.stored << 16 : 0;
  return {cut_from | static_cast<std::uint32_t>(one.type()),
          one.error_bits(),
          {reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()}};
}

}  // namespace ravo::tool
