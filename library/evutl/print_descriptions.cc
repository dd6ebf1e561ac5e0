// Prints channel descriptions.
#include <cstdio>

#include "format/print_text.h"
#include "ravo_evutl.h"

namespace {

template <std::size_t size>
std::string text(const char (&field)[size]) {
  return ravo::printable(field, size);
}

// "name [units] - description", without the parts that are empty.
std::string labelled(const std::string& name, const std::string& units, const std::string& about) {
  std::string line = name;
  if (!units.empty()) line += " [" + units + "]";
  if (!about.empty()) line += " - " + about;
  return line;
}

void print_bit(const bit_descr& bit) {
  std::printf("  bit %d: %s\n", bit.bit, labelled(text(bit.bit_name), "", text(bit.bit_desc)).c_str());
}

void print_dimension(const dim_descr& dim) {
  std::printf("  dimension %d: %s\n", dim.dim,
              labelled(text(dim.dim_name), text(dim.units), text(dim.dim_desc)).c_str());
  for (const stat_descr& stat : dim.stats)
    std::printf("    statistic %d: %s\n", stat.stat,
                labelled(text(stat.stat_name), text(stat.units), text(stat.stat_desc)).c_str());
}

void print_description(const chan_descr_2010& channel) {
  std::printf("channel description: %s\n",
              labelled(text(channel.prop_name), text(channel.units), text(channel.prop_desc)).c_str());
  std::printf("  DAQ name \"%s\"  server block \"%s\"  subsystem \"%s\"\n", text(channel.daq_name).c_str(),
              text(channel.sb_name).c_str(), text(channel.subsystem).c_str());
  std::printf("  type %s  events %s\n",
              ravo::data_type_text(static_cast<std::int32_t>(channel.dtype)).c_str(),
              ravo::event_mask_text(channel.ev_type).c_str());
  std::printf("  stream %d  count %d  key %d  largest size %d  set point %d  bits %d  dimensions %d\n",
              channel.stream, channel.count, channel.db_key, channel.max_size, channel.set_point,
              channel.nbits, channel.ndims);
  for (const bit_descr* bit : channel.bits)
    if (bit) print_bit(*bit);
  for (const dim_descr* dim : channel.dims)
    if (dim) print_dimension(*dim);
}

}  // namespace

void print_ravo_chan_descr(const std::vector<chan_descr_2010*>* descriptions) try {
  if (!descriptions || descriptions->empty()) {
    std::printf("channel description: none\n");
    return;
  }
  for (const chan_descr_2010* channel : *descriptions)
    if (channel) print_description(*channel);
} catch (...) {
}
