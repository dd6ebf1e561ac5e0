#include <cmath>

#include "common/block_summary.h"
#include "common/decoded_block.h"
#include "common/event_printing.h"
#include "common/ledger_printing.h"
#include "common/raw_file.h"
#include "format/time.h"
#include "shared/json_lines.h"

namespace ravo::tool {
namespace {

// JSON has no numbers that are not finite.
json number(double value) { return std::isfinite(value) ? json(value) : json(); }

void add_members(const block_summary& block, json& to) {
  if (block.scalar && block.members.size() == 1) {
    const number_summary& only = block.members.front();
    to["value"] = only.not_finite == 0 ? number(only.mean) : json();
  }
  to["members"] = json::array();
  for (const number_summary& numbers : block.members) {
    const bool any = numbers.count > numbers.not_finite;
    json member = {{"name", numbers.name},
                   {"count", numbers.count},
                   {"mean", any ? number(numbers.mean) : json()},
                   {"min", any ? number(numbers.min) : json()},
                   {"max", any ? number(numbers.max) : json()}};
    if (numbers.not_finite > 0) member["not_finite"] = numbers.not_finite;
    to["members"].push_back(std::move(member));
  }
}

void add_values(const block_summary& block, json& to) {
  if (!block.consistent) {
    to["problem"] = "the data cannot be interpreted";
    return;
  }
  if (!block.members.empty()) add_members(block, to);
  if (block.image)
    to["image"] = {{"width", block.image->width},
                   {"height", block.image->height},
                   {"bytes_per_pixel", block.image->bytes_per_pixel},
                   {"frame", block.image->frame},
                   {"mean", block.image->mean},
                   {"max", block.image->max}};
  if (block.camera_bytes) to["camera_bytes"] = *block.camera_bytes;
  if (block.update) {
    to["value"] = number(block.update->value);
    to["property"] = block.update->property;
    to["status"] = block.update->status;
    to["value_time"] = time_text(block.update->time);
  }
  if (block.comment) {
    to["comment"] = *block.comment;
    to["pairs"] = json::array();
    for (const named_value& pair : block.pairs)
      to["pairs"].push_back({{"name", pair.name}, {"value", number(pair.value)}});
  }
  if (block.text) to["text"] = *block.text;
}

json entry_object(const read_entry& entry, checksums sums) {
  json object;
  object["channel"] = entry.channel->key();
  object["event"] = entry.id.event_number;
  object["time"] = time_text(entry.id.time);
  object["held"] = entry.held;
  if (entry.status) object["value_status"] = key_of(value_status_text(*entry.status));
  if (entry.status && entry.held) object["age_us"] = entry.age;
  if (!entry.block) {
    object["problem"] =
        entry.status ? value_status_text(*entry.status) : "the block could not be converted";
    return object;
  }
  const decoded_block& decoded = *entry.block;
  const block_summary block = summarise(decoded.dtype, entry.channel->subchannel, decoded.data);
  object["dtype"] = block.dtype;
  if (decoded.error != 0) object["error"] = decoded.error;
  if (sums == checksums::shown) {
    object["bytes"] = decoded.data.size();
    object["crc32"] = checksum(decoded.data);
  }
  add_values(block, object);
  return object;
}

}  // namespace

void print_event_json(const read_event& event, checksums sums, output& out) {
  json line;
  line["event"] = event.id.event_number;
  line["time"] = time_text(event.id.time);
  line["generation"] = event.generation ? json(name_of(*event.generation)) : json();
  line["channels"] = json::array();
  for (const read_entry& entry : event.entries) line["channels"].push_back(entry_object(entry, sums));
  out.print(json_line(line));
}

}  // namespace ravo::tool
