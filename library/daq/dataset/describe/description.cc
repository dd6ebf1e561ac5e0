#include "describe/description.h"

#include <algorithm>
#include <optional>
#include <string>
#include <utility>

#include "align/file_descriptions.h"
#include "describe/location.h"
#include "describe/shown_value.h"
#include "ravo_data_types.h"
#include "ravo_dataset/errors.h"
#include "ravo_dataset/member_names.h"
#include "read/segment_walk.h"

namespace ravo::detail {
namespace {

constexpr std::size_t most_changes = 1000;
constexpr std::size_t most_problems = 10;

std::string name_of_type(std::int32_t type) {
  const data_type* known = find_data_type(type);
  return known == nullptr ? std::to_string(type) : std::string(known->name);
}

/// A value, and where it lies.
struct found_value {
  std::uint32_t file = 0;
  std::uint32_t chhd = 0;
  std::uint64_t decoded = 0;  ///< bytes of its block
  shown_value value;
};

/// A channel while its files are visited.
struct building {
  std::size_t channel = 0;
  channel_description made;
  std::optional<described_channel> said;  ///< by the last file that says anything
  std::optional<std::int32_t> type;       ///< of the first block of the last file that has any
  std::optional<found_value> of_channel;  ///< the first one of the selection's events
  std::optional<found_value> of_file;     ///< the first one of the last file that has any
  std::uint64_t intervals = 0;            ///< between values, in files whose events belong together
  std::int64_t microseconds = 0;          ///< of all of them
};

void note_change(building& one, const std::string& path, described_part part, const std::string& before,
                 const std::string& after) {
  if (before == after || one.made.changes.size() == most_changes) return;
  one.made.changes.push_back({path, part, before, after});
}

void note_said(building& one, const std::string& path, const described_channel& now) {
  if (!one.said) {
    one.made.description = now.about;
    one.made.unit = now.unit;
    one.made.axis_label = now.axis_label;
    one.made.axis_unit = now.axis_unit;
  } else {
    note_change(one, path, described_part::description, one.said->about, now.about);
    note_change(one, path, described_part::unit, one.said->unit, now.unit);
    note_change(one, path, described_part::axis_label, one.said->axis_label, now.axis_label);
    note_change(one, path, described_part::axis_unit, one.said->axis_unit, now.axis_unit);
  }
  one.said = now;
}

void note_type(building& one, const std::string& path, std::int32_t type) {
  if (one.type)
    note_change(one, path, described_part::data_type, name_of_type(*one.type), name_of_type(type));
  if (!one.type) one.made.data_type = type;
  one.type = type;
  std::vector<std::int32_t>& met = one.made.data_types;
  if (std::find(met.begin(), met.end(), type) == met.end()) met.push_back(type);
}

void note_value(building& one, const std::string& path, found_value now) {
  if (one.of_file) {
    const shown_value& before = one.of_file->value;
    note_change(one, path, described_part::shape, before.shape_text(), now.value.shape_text());
    const auto [gone, added] = different_names(before.members, now.value.members);
    note_change(one, path, described_part::members, gone, added);
  }
  one.of_file = std::move(now);
}

/// Whether the shape of a block is known to be that of the file before.
bool has_shape_of_last(const building& one, const located_block& head, shape_search how) {
  if (!one.of_file || one.of_file->value.type != (head.type & 0xffff)) return false;
  switch (one.of_file->value.kind) {
    case value_kind::text:
    case value_kind::update:
    case value_kind::other:
      return true;
    case value_kind::none:
    case value_kind::spectrum:
    case value_kind::roi:
    case value_kind::image:
    case value_kind::name_value:
      break;
  }
  return how == shape_search::by_size && one.of_file->decoded == head.decoded;
}

void note_rate(building& one, const aligned_channel& aligned) {
  if (aligned.entries.size() < 2) return;
  const std::int64_t span =
      in_microseconds(aligned.entries.back().time) - in_microseconds(aligned.entries.front().time);
  if (span <= 0) return;
  one.intervals += aligned.entries.size() - 1;
  one.microseconds += span;
}

/// "time, us" of a data type, where the file does not describe the axis.
void add_axis_of_type(channel_description& made, const data_type& type) {
  if (!made.axis_label.empty() || !made.axis_unit.empty() || type.code == RAVO_BLOCK_GENERIC_SPECT) return;
  const std::string axis(type.axis);
  const std::size_t comma = axis.find(", ");
  made.axis_label = axis.substr(0, comma);
  if (comma != std::string::npos) made.axis_unit = axis.substr(comma + 2);
}

void add_members(building& one) {
  channel_description& made = one.made;
  const std::string units = made.unit;
  const std::vector<std::string>& names = one.of_channel->value.members;
  if (made.member >= 0) made.unit = unit_of_member(units, static_cast<std::size_t>(made.member), 0);
  for (std::size_t i = 0; i < names.size(); ++i)
    made.members.push_back(
        {names[i], made.member >= 0 ? made.unit : unit_of_member(units, i, names.size())});
}

void complete(building& one) {
  channel_description& made = one.made;
  std::sort(made.data_types.begin(), made.data_types.end());
  if (one.microseconds > 0)
    made.rate = static_cast<double>(one.intervals) * 1e6 / static_cast<double>(one.microseconds);
  if (!one.of_channel) {
    if (made.member >= 0) made.unit = unit_of_member(made.unit, static_cast<std::size_t>(made.member), 0);
    return;
  }
  const shown_value& value = one.of_channel->value;
  made.kind = value.kind;
  made.element = value.element;
  made.axis = value.axis;
  for (const dimension_size& dimension : value.dimensions) {
    made.dimensions.push_back({dimension.dimension, dimension.size, "", ""});
    if (dimension.dimension != column_dimension::sample && dimension.dimension != column_dimension::profile)
      continue;
    if (const data_type* type = find_data_type(value.type)) add_axis_of_type(made, *type);
    made.dimensions.back().label = made.axis_label;
    made.dimensions.back().unit = made.axis_unit;
  }
  add_members(one);
}

class describer {
 public:
  describer(dataset_state& state, const std::vector<std::size_t>& channels, const describe_options& options)
      : state_(state),
        options_(options),
        memory_(state.memory, "Decoding the first block of a channel", on_full::wait),
        descriptions_(names_of(state, channels), [&state](reservation& room, std::size_t bytes) {
          return take_room(state, room, bytes);
        }) {
    for (const std::size_t channel : channels) channels_.push_back(begin(channel));
  }

  std::vector<channel_description> run() {
    visit_segments(state_, [this](std::size_t, const std::shared_ptr<const segment>& part) {
      visit(*part);
      return files_ < options_.most_files;
    });
    std::vector<channel_description> all;
    for (building& one : channels_) {
      complete(one);
      all.push_back(std::move(one.made));
    }
    return all;
  }

 private:
  static std::vector<std::string_view> names_of(const dataset_state& state,
                                                const std::vector<std::size_t>& channels) {
    std::vector<std::string_view> names;
    for (const std::size_t channel : channels) names.emplace_back(state.channels[channel].name);
    return names;
  }

  /// Without waiting: a channel can be described without its unit.
  static bool take_room(dataset_state& state, reservation& room, std::size_t bytes) {
    while (!state.memory.try_grow(room, bytes))
      if (!state.timeline.drop_oldest()) return false;
    return true;
  }

  building begin(std::size_t channel) const {
    const dataset_channel& known = state_.channels[channel];
    building one;
    one.channel = channel;
    one.made.label = known.label;
    one.made.name = known.name;
    one.made.member = known.member;
    one.made.is_slow = known.is_slow;
    for (int type = 0; type < 32; ++type)
      if ((known.data_types >> type & 1u) != 0) one.made.data_types.push_back(type);
    return one;
  }

  void check_stop() const {
    state_.check_stop();
    if (options_.stop.stop_requested()) throw read_cancelled();
  }

  void visit(const segment& part) {
    const std::vector<std::uint32_t> events = take_events(state_, part, ordinal_);
    for (building& one : channels_) {
      const aligned_channel& aligned = part.channels[one.channel];
      note_rate(one, aligned);
      if (!one.of_channel) find_value(one, part, events);
    }
    const std::size_t count = std::min(part.files.size(), options_.most_files - files_);
    const reservation room = state_.reserve(channels_.size() * count * sizeof(std::uint32_t),
                                            "The first blocks of " + std::to_string(count) + " files");
    std::vector<std::vector<std::uint32_t>> first_blocks;  // by channel and file
    for (const building& one : channels_)
      first_blocks.push_back(first_of_files(part.channels[one.channel].entries, part.files, count));
    for (std::size_t i = 0; i < count; ++i, ++files_) visit_file(part, i, first_blocks);
  }

  /// The position of the first entry of each file; the number of entries if it has none.
  static std::vector<std::uint32_t> first_of_files(const std::vector<entry>& entries,
                                                   const std::vector<std::uint32_t>& files,
                                                   std::size_t count) {
    const auto none = static_cast<std::uint32_t>(entries.size());
    std::vector<std::uint32_t> first(count, none);
    std::size_t left = count;
    for (std::uint32_t i = 0; i < none && left > 0; ++i) {
      const auto file = static_cast<std::size_t>(
          std::lower_bound(files.begin(), files.end(), entries[i].file) - files.begin());
      if (file >= count || first[file] != none) continue;
      first[file] = i;
      --left;
    }
    return first;
  }

  void visit_file(const segment& part, std::size_t number,
                  const std::vector<std::vector<std::uint32_t>>& first_blocks) {
    check_stop();
    const std::uint32_t position = part.files[number];
    const dataset_file& file = state_.files.readable[position];
    const auto opened = state_.opened.get(position);
    if (!opened) return note_problem(file.path + ": it cannot be read any more");
    const auto& said = descriptions_.read(*opened, file.generation);
    if (!descriptions_.problem().empty()) note_problem(file.path + ": " + descriptions_.problem());
    for (std::size_t i = 0; i < channels_.size(); ++i) {
      if (said[i]) note_said(channels_[i], file.path, *said[i]);
      read_first_block(channels_[i], part, position, first_blocks[i][number]);
    }
  }

  /// Reads the blocks of a file from the first one on, until one shows what its values are.
  void read_first_block(building& one, const segment& part, std::uint32_t file, std::size_t first) {
    const std::string& path = state_.files.readable[file].path;
    const std::vector<entry>& entries = part.channels[one.channel].entries;
    bool has_type = false;
    for (std::size_t i = first; i < entries.size(); ++i) {
      if (entries[i].file != file || entries[i].status != value_status::ok) continue;
      check_stop();
      const located_block head = read_head_of(state_, part, one.channel, entries[i]);
      if (!is_located(head)) continue;
      if (!has_type) note_type(one, path, head.type & 0xffff);
      has_type = true;
      if (has_shape_of_last(one, head, options_.shapes)) return;
      auto value = read_value(one, part, entries[i]);
      if (!value) continue;
      value->decoded = head.decoded;
      return note_value(one, path, std::move(*value));
    }
  }

  void note_problem(const std::string& problem) {
    for (building& one : channels_)
      if (one.made.problems.size() < most_problems) one.made.problems.push_back(problem);
  }

  /// The first value of the selection's events that can be read.
  void find_value(building& one, const segment& part, const std::vector<std::uint32_t>& events) {
    const aligned_channel& aligned = part.channels[one.channel];
    visit_own(aligned, events, [&](std::uint32_t, std::size_t index) {
      if (aligned.entries[index].status != value_status::ok) return true;
      check_stop();
      one.of_channel = read_value(one, part, aligned.entries[index]);
      return !one.of_channel;
    });
  }

  /// The first value of the channel is mostly that of a file, too, and decoded once.
  std::optional<found_value> read_value(const building& one, const segment& part, const entry& where) {
    if (one.of_channel && one.of_channel->file == where.file && one.of_channel->chhd == where.chhd)
      return one.of_channel;
    auto value = read_shown_value(state_, part, one.channel, where, memory_);
    if (!value) return std::nullopt;
    return found_value{where.file, where.chhd, 0, std::move(*value)};
  }

  dataset_state& state_;
  const describe_options options_;
  block_memory memory_;
  description_reader descriptions_;
  std::vector<building> channels_;
  std::size_t files_ = 0;
  std::size_t ordinal_ = 0;
};

}  // namespace

std::vector<channel_description> describe(dataset_state& state, const std::vector<std::size_t>& channels,
                                          const describe_options& options) {
  return describer(state, channels, options).run();
}

}  // namespace ravo::detail

namespace ravo {

const char* described_part_text(described_part part) {
  switch (part) {
    case described_part::description:
      return "description";
    case described_part::unit:
      return "unit";
    case described_part::axis_label:
      return "axis label";
    case described_part::axis_unit:
      return "axis unit";
    case described_part::data_type:
      return "data type";
    case described_part::shape:
      return "shape";
    case described_part::members:
      return "members";
  }
  return "unknown";
}

std::string unit_of_member(const std::string& units, std::size_t member, std::size_t members) {
  const auto commas = static_cast<std::size_t>(std::count(units.begin(), units.end(), ','));
  if (commas == 0 || (members > 1 && commas + 1 != members)) return units;
  std::size_t begin = 0;
  for (std::size_t i = 0; i < member && i < commas; ++i) begin = units.find(',', begin) + 1;
  const std::string unit = units.substr(begin, units.find(',', begin) - begin);
  return unit.substr(std::min(unit.find_first_not_of(' '), unit.size()));
}

}  // namespace ravo
