#include "common/channel_facts.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>

#include "common/failure.h"
#include "common/raw_file.h"
#include "common/read_plan.h"
#include "ravo_data_types.h"

namespace ravo::tool {
namespace {

constexpr std::size_t most_files = 8;
// In addition to the memory for reading: if a file needs more
// for its tables and descriptions, its units are not available.
constexpr std::uint64_t most_memory = 32u << 20;

using facts_by_name = std::multimap<std::string, channel_facts*, std::less<>>;

bool is_known(const channel_facts& one) { return one.stored != 0 && !one.units.empty(); }

void take(raw_file& file, const facts_by_name& wanted) {
  const auto channels = file.channels();
  for (std::size_t i = 0; i < channels.size(); ++i) {
    const auto [begin, end] = wanted.equal_range(channels[i].chan_name);
    for (auto place = begin; place != end; ++place) {
      channel_facts& facts = *place->second;
      if (facts.stored == 0)
        if (const auto type = file.dtype_of(i)) facts.stored = static_cast<std::uint32_t>(*type);
      if (facts.units.empty())
        if (const chan_descr_2010* description = file.description(channels[i].chan_name))
          facts.units = description->units;
    }
  }
}

}  // namespace

std::vector<channel_facts> facts_of(const dataset& data) {
  std::vector<channel_facts> all;
  for (const dataset_channel& one : data.channels())
    all.push_back({one.label, one.name, one.member, "", 0});
  facts_by_name wanted;
  for (channel_facts& one : all) wanted.emplace(one.name, &one);
  std::size_t looked_into = 0;
  for (const dataset_file& one : data.files()) {
    if (looked_into == most_files || std::all_of(all.begin(), all.end(), is_known)) break;
    if (one.refusal != file_refusal::none) continue;
    ++looked_into;
    try {
      raw_file file(one.path, most_memory);
      take(file, wanted);
    } catch (const data_failure&) {
      // The classic loader refuses a file that the dataset can read: its units are then not available.
    }
  }
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
