// Prints an event for machines.
#include "common/type_names.h"
#include "format/time.h"
#include "ravo_data_types.h"
#include "shared/json_lines.h"
#include "show/showing.h"

namespace ravo::tool {
namespace {

json member_json(const shown_member& member) {
  json object;
  object["member"] = member.index;
  object["name"] = member.name;
  if (!member.unit.empty()) object["unit"] = member.unit;
  object["start"] = member.start;
  object["increment"] = member.step;
  object["samples"] = member.samples;
  object["groups"] = member.groups();
  if (member.groups() > 1) object["group_increment"] = member.group_step;
  if (member.mean) object["mean"] = *member.mean;
  for (const auto& [number, value] : member.statistics)
    object["statistics"][std::to_string(number)] = value;
  object["values"] = member.values;
  return object;
}

json image_json(const shown_image& image, pixels how) {
  json object{{"width", image.picture.width},
              {"height", image.picture.height},
              {"bytes_per_pixel", image.bytes_per_pixel},
              {"frame", image.frame},
              {"x_start", image.x_start},
              {"y_start", image.y_start}};
  if (how == pixels::left_out) return object;
  object["pixels"] = json::array();
  const auto width = static_cast<std::ptrdiff_t>(image.picture.width);
  for (auto row = image.picture.pixels.begin(); row != image.picture.pixels.end(); row += width)
    object["pixels"].push_back(std::vector<float>(row, row + width));
  return object;
}

json pairs_json(const shown_pairs& pairs) {
  json values = json::array();
  for (const auto& [name, value] : pairs.records) values.push_back({{"name", name}, {"value", value}});
  return values;
}

json channel_json(const shown_channel& channel, pixels how) {
  json object;
  object["channel"] = channel.name;
  object["event"] = channel.recorded_with.event_number;
  object["time"] = time_text(channel.recorded_with.time);
  object["held"] = channel.is_held;
  const data_type* type = find_data_type(channel.dtype);
  object["dtype"] = type ? std::string(type->name) : data_type_name(channel.dtype);
  object["bytes"] = channel.bytes;
  if (channel.error != 0) object["error"] = static_cast<unsigned>(channel.error);
  if (!channel.units.empty()) object["units"] = channel.units;
  if (const auto* spectrum = std::get_if<shown_spectrum>(&channel.data)) {
    if (!spectrum->axis.empty()) object["axis"] = spectrum->axis;
    object["members"] = json::array();
    for (const shown_member& member : spectrum->members) object["members"].push_back(member_json(member));
  } else if (const auto* image = std::get_if<shown_image>(&channel.data)) {
    object["image"] = image_json(*image, how);
  } else if (const auto* slow = std::get_if<shown_slow_value>(&channel.data)) {
    object["value"] = slow->value;
    object["property"] = slow->property;
    object["status"] = slow->status;
    object["value_time"] = time_text(slow->time);
  } else if (const auto* pairs = std::get_if<shown_pairs>(&channel.data)) {
    object["id"] = pairs->id;
    object["comment"] = pairs->comment;
    object["values"] = pairs_json(*pairs);
  } else if (const auto* text = std::get_if<shown_text>(&channel.data)) {
    object["text"] = text->text;
  } else if (!channel.problem.empty()) {
    object["problem"] = channel.problem;
  } else {
    object["consistent"] = false;
  }
  return object;
}

}  // namespace

void print_json(const shown_event& event, pixels how, output& out) {
  json line;
  line["file"] = event.file;
  line["generation"] = name_of(event.generation);
  line["event"] = event.id.event_number;
  line["time"] = time_text(event.id.time);
  line["types"] = json::array();
  for (const int type : event.types) line["types"].push_back(event_type_name(type));
  line["channels"] = json::array();
  for (const shown_channel& channel : event.channels)
    line["channels"].push_back(channel_json(channel, how));
  out.print(json_line(line));
}

}  // namespace ravo::tool
