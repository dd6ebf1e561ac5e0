#include "common/answer_key.h"

#include <zlib.h>

#include <cstring>

#include "common/json_lines.h"
#include "format/time.h"
#include "ravo_data_types.h"
#include "ravo_evutl.h"
#include "ravo_payload.h"

namespace ravo::tool {
namespace {

// Count, mean, least and greatest value of each member of a spectrum, straight from its samples.
json spectrum_members(std::span<const unsigned char> payload, payload_shape shape) {
  // Both heads begin with the members and the samples; an older spectrum has a single group.
  ravo_spect_head_2010 head;
  std::memcpy(&head, payload.data(), sizeof(ravo_spect_head));
  if (shape == payload_shape::spectrum)
    std::memcpy(&head, payload.data(), sizeof head);
  else
    head.groups = 1;
  const int count = head.samples * head.groups;
  const unsigned char* sample =
      payload.data() + payload.size() -
      static_cast<std::size_t>(head.members) * static_cast<std::size_t>(count) * 4;
  json members = json::array();
  for (int member = 0; member < head.members; ++member) {
    double sum = 0, min = 0, max = 0;
    for (int i = 0; i < count; ++i, sample += 4) {
      float value;
      std::memcpy(&value, sample, 4);
      sum += value;
      min = i == 0 || value < min ? value : min;
      max = i == 0 || value > max ? value : max;
    }
    members.push_back({{"count", count}, {"mean", sum / count}, {"min", min}, {"max", max}});
  }
  return members;
}

const char* type_name(RAVO_SUBBLOCK_TYPE dtype) { return find_data_type(dtype)->name.data(); }

}  // namespace

void answer_key::add(const simulator::answer& put_in) {
  const simulator::delivered_block block = simulator::deliver(put_in);
  json line;
  line["run"] = put_in.run;
  line["file"] = put_in.file;
  line["event"] = put_in.event_number;
  line["time"] = time_text(put_in.event_time);
  line["event_type"] = event_name_itoa(put_in.event_type);
  line["server"] = put_in.server;
  line["channel"] = put_in.what->name;
  line["dtype"] = type_name(block.dtype);
  line["stored_dtype"] = type_name(put_in.what->dtype());
  line["bytes"] = block.payload.size();
  line["crc32"] = crc32(0, block.payload.data(), static_cast<unsigned>(block.payload.size()));
  const payload_shape shape = find_data_type(block.dtype)->shape;
  if (shape == payload_shape::spectrum || shape == payload_shape::spectrum_older)
    line["members"] = spectrum_members(block.payload, shape);
  file_.append(json_line(line));
}

}  // namespace ravo::tool
