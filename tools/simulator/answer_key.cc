#include "answer_key.h"

#include <zlib.h>

#include "format/payload_view.h"
#include "format/time.h"
#include "ravo_data_types.h"
#include "ravo_evutl.h"
#include "shared/json_lines.h"

namespace ravo::simulator {
namespace {

// Count, mean, least and greatest value of each member of a spectrum, straight from its samples.
json spectrum_members(const spectrum_parts& spectrum, const byte_view& payload) {
  const std::size_t count = spectrum.values_of_member();
  json members = json::array();
  for (std::size_t member = 0; member < spectrum.members; ++member) {
    double sum = 0, min = 0, max = 0;
    for (std::size_t i = 0; i < count; ++i) {
      const float value = *payload.at<float>(spectrum.member(member).values + i * sizeof(float));
      sum += value;
      min = i == 0 || value < min ? value : min;
      max = i == 0 || value > max ? value : max;
    }
    members.push_back(
        {{"count", count}, {"mean", sum / static_cast<double>(count)}, {"min", min}, {"max", max}});
  }
  return members;
}

const char* type_name(RAVO_SUBBLOCK_TYPE dtype) { return find_data_type(dtype)->name.data(); }

}  // namespace

void answer_key::add(const answer& put_in) {
  const delivered_block block = deliver(put_in);
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
  const byte_view payload(block.payload.data(), block.payload.size(), word_order::host);
  const parsed_payload parsed = parse_payload(*find_data_type(block.dtype), payload);
  if (const auto* spectrum = parsed.get<spectrum_parts>())
    line["members"] = spectrum_members(*spectrum, payload);
  file_.append(json_line(line));
}

}  // namespace ravo::simulator
