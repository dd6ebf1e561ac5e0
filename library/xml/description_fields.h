// The only list of the contents of a channel description's elements: for each record its fields, each with
// the attribute of the same name. Loading and storing both walk it, so neither can forget a field.
#ifndef RAVO_DESCRIPTION_FIELDS_H
#define RAVO_DESCRIPTION_FIELDS_H

#include <concepts>
#include <type_traits>

#include "ravo_raw_format.h"

namespace ravo::xml {

inline constexpr char root_name[] = "channel_descriptions";
inline constexpr char version_name[] = "version";
inline constexpr char version_text[] = "1";
inline constexpr char channel_name[] = "channel";
inline constexpr char bit_name[] = "bit";
inline constexpr char dimension_name[] = "dim";
inline constexpr char statistic_name[] = "stat";

template <class T, class Record>
concept is_a = std::same_as<std::remove_const_t<T>, Record>;

// The first field names the record; it must be present and must not be empty.
template <is_a<chan_descr_2010> Channel, class Visitor>
void for_each_field(Channel& channel, Visitor&& visit) {
  visit("prop_name", channel.prop_name);
  visit("daq_name", channel.daq_name);
  visit("prop_desc", channel.prop_desc);
  visit("units", channel.units);
  visit("sb_name", channel.sb_name);
  visit("subsystem", channel.subsystem);
  visit("stream", channel.stream);
  visit("ev_type", channel.ev_type);
  visit("count", channel.count);
  visit("dtype", channel.dtype);
  visit("db_key", channel.db_key);
  visit("max_size", channel.max_size);
  visit("set_point", channel.set_point);
}

template <is_a<bit_descr> Bit, class Visitor>
void for_each_field(Bit& bit, Visitor&& visit) {
  visit("bit", bit.bit);
  visit("bit_name", bit.bit_name);
  visit("bit_desc", bit.bit_desc);
}

template <is_a<dim_descr> Dimension, class Visitor>
void for_each_field(Dimension& dimension, Visitor&& visit) {
  visit("dim", dimension.dim);
  visit("dim_name", dimension.dim_name);
  visit("dim_desc", dimension.dim_desc);
  visit("units", dimension.units);
}

template <is_a<stat_descr> Statistic, class Visitor>
void for_each_field(Statistic& statistic, Visitor&& visit) {
  visit("stat", statistic.stat);
  visit("stat_name", statistic.stat_name);
  visit("stat_desc", statistic.stat_desc);
  visit("units", statistic.units);
}

}  // namespace ravo::xml

#endif
