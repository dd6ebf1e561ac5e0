#include "describe/description.h"

#include <algorithm>
#include <optional>
#include <string>
#include <utility>

#include "align/file_descriptions.h"
#include "ravo_data_types.h"
#include "ravo_dataset/errors.h"
#include "ravo_dataset/member_names.h"
#include "read/block_scan.h"
#include "read/item.h"
#include "read/record_names.h"
#include "read/segment_walk.h"

namespace ravo::detail {
namespace {

constexpr std::size_t most_changes = 1000;
constexpr std::size_t most_problems = 10;

std::string name_of_type(std::int32_t type) {
  const data_type* known = find_data_type(type);
  return known == nullptr ? std::to_string(type) : std::string(known->name);
}

/// A channel while its files are visited.
struct building {
  std::size_t channel = 0;
  channel_description made;
  std::optional<described_channel> said;  ///< by the last file that says anything
  std::optional<std::int32_t> type;       ///< of the first block of the last file that has any
  std::int32_t type_of_value = 0;         ///< of the first value
  std::vector<std::string> record_names;  ///< of a first value that is a list
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
  if (made.member >= 0) {
    const auto member = static_cast<std::size_t>(made.member);
    made.unit = unit_of_member(units, member, 0);
    const bool is_record = made.kind == value_kind::name_value && !one.record_names.empty();
    made.members = {
        {is_record ? one.record_names.front() : member_name(one.type_of_value, made.member), made.unit}};
    return;
  }
  for (std::size_t i = 0; i < one.record_names.size(); ++i)
    made.members.push_back({one.record_names[i], unit_of_member(units, i, one.record_names.size())});
  if (made.kind == value_kind::name_value) return;
  std::size_t members = made.kind == value_kind::roi ? 2 : 1;
  for (const described_dimension& dimension : made.dimensions)
    if (dimension.dimension == column_dimension::member) members = dimension.size;
  for (std::size_t i = 0; i < members; ++i)
    made.members.push_back(
        {member_name(one.type_of_value, static_cast<int>(i)), unit_of_member(units, i, members)});
}

void complete(building& one) {
  channel_description& made = one.made;
  std::sort(made.data_types.begin(), made.data_types.end());
  if (one.microseconds > 0)
    made.rate = static_cast<double>(one.intervals) * 1e6 / static_cast<double>(one.microseconds);
  if (made.kind == value_kind::none) {
    if (made.member >= 0) made.unit = unit_of_member(made.unit, static_cast<std::size_t>(made.member), 0);
    return;
  }
  for (described_dimension& dimension : made.dimensions) {
    if (dimension.dimension != column_dimension::sample && dimension.dimension != column_dimension::profile)
      continue;
    if (const data_type* type = find_data_type(one.type_of_value)) add_axis_of_type(made, *type);
    dimension.label = made.axis_label;
    dimension.unit = made.axis_unit;
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
      if (one.made.kind == value_kind::none) find_value(one, part, events);
    }
    for (std::size_t i = 0; i < part.files.size() && files_ < options_.most_files; ++i, ++files_)
      visit_file(part, part.files[i]);
  }

  void visit_file(const segment& part, std::uint32_t position) {
    check_stop();
    const dataset_file& file = state_.files.readable[position];
    const auto opened = state_.opened.get(position);
    if (!opened) return note_problem(file.path + ": it cannot be read any more");
    const auto& said = descriptions_.read(*opened, file.generation);
    if (!descriptions_.problem().empty()) note_problem(file.path + ": " + descriptions_.problem());
    for (std::size_t i = 0; i < channels_.size(); ++i) {
      if (said[i]) note_said(channels_[i], file.path, *said[i]);
      const auto& entries = part.channels[channels_[i].channel].entries;
      const auto first = std::find_if(entries.begin(), entries.end(), [position](const entry& one) {
        return one.file == position && one.status == value_status::ok;
      });
      if (first == entries.end()) continue;
      if (const auto type = read_stored_type(*opened, file.generation, *first))
        note_type(channels_[i], file.path, *type & 0xffff);
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
      read_value(one, part, aligned.entries[index]);
      return one.made.kind == value_kind::none;
    });
  }

  void read_value(building& one, const segment& part, const entry& where) {
    block_scan scan(state_, one.channel, memory_);
    scan.read_all(part, {where}, [&](std::size_t, const block_source_file&, const found_block& found) {
      value_status status = value_status::ok;
      const auto payload = inflate(found, memory_, status);
      if (!payload) return;
      const auto value = find_item(found.stored_type, *payload, one.made.member);
      if (!value) return;
      one.type_of_value = found.stored_type & 0xffff;
      one.made.kind = value->kind;
      one.made.element = value->element;
      one.made.axis = {value->start, value->increment, value->groups_increment, value->y_start};
      if (value->kind != value_kind::text)
        for (const dimension_size& dimension : dimensions_of(value->kind, value->shape))
          one.made.dimensions.push_back({dimension.dimension, dimension.size, "", ""});
      if (value->kind == value_kind::name_value)
        for (std::size_t i = 0; i < value->elements; ++i)
          one.record_names.emplace_back(record_name(*value, *payload, i));
    });
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
