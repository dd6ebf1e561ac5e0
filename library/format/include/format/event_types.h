// What is known about each event type: its name, whether its events are slow, and their structure.
#ifndef RAVO_FORMAT_EVENT_TYPES_H
#define RAVO_FORMAT_EVENT_TYPES_H

#include <cstdint>
#include <iterator>

#include "ravo_raw_codes.h"

namespace ravo {

struct event_type {
  RAVO_EVTYPE code;
  const char* name;
  bool is_slow;
  RAVO_EV_STRUCT_TYPE structure;
};

/// Indexed by the event type.
inline constexpr event_type event_types[] = {
    {RAVO_EV_HB, "RAVO_EV_HB", false, RAVO_EV_STRUCT_UNDEF},
    {RAVO_EV_NORMAL, "RAVO_EV_NORMAL", false, RAVO_EV_STRUCT_LOCAL},
    {RAVO_EV_BOR, "RAVO_EV_BOR", true, RAVO_EV_STRUCT_GLOBAL},
    {RAVO_EV_EOR, "RAVO_EV_EOR", true, RAVO_EV_STRUCT_GLOBAL},
    {RAVO_EV_ENV, "RAVO_EV_ENV", true, RAVO_EV_STRUCT_GLOBAL},
    {RAVO_EV_UPD, "RAVO_EV_UPD", true, RAVO_EV_STRUCT_GLOBAL},
    {RAVO_EV_IMAGE, "RAVO_EV_IMAGE", false, RAVO_EV_STRUCT_LOCAL},
    {RAVO_EV_WS, "RAVO_EV_WS", false, RAVO_EV_STRUCT_LOCAL},
    {RAVO_EV_MCP, "RAVO_EV_MCP", false, RAVO_EV_STRUCT_LOCAL},
    {RAVO_EV_WSS, "RAVO_EV_WSS", false, RAVO_EV_STRUCT_LOCAL},
    {RAVO_EV_BL1, "RAVO_EV_BL1", false, RAVO_EV_STRUCT_LOCAL},
    {RAVO_EV_BL2, "RAVO_EV_BL2", false, RAVO_EV_STRUCT_LOCAL},
    {RAVO_EV_BL3, "RAVO_EV_BL3", false, RAVO_EV_STRUCT_LOCAL},
    {RAVO_EV_PG0, "RAVO_EV_PG0", false, RAVO_EV_STRUCT_LOCAL},
    {RAVO_EV_PG1, "RAVO_EV_PG1", false, RAVO_EV_STRUCT_LOCAL},
    {RAVO_EV_PG2, "RAVO_EV_PG2", false, RAVO_EV_STRUCT_LOCAL},
    {RAVO_EV_GMD, "RAVO_EV_GMD", false, RAVO_EV_STRUCT_LOCAL},
    {RAVO_EV_PHOTEN, "RAVO_EV_PHOTEN", false, RAVO_EV_STRUCT_LOCAL},
    {RAVO_EV_PHOTWL, "RAVO_EV_PHOTWL", false, RAVO_EV_STRUCT_LOCAL},
    {RAVO_EV_BEAM_ENERGY, "RAVO_EV_BEAM_ENERGY", false, RAVO_EV_STRUCT_LOCAL},
    {RAVO_EV_LLRF_ML, "RAVO_EV_LLRF_ML", false, RAVO_EV_STRUCT_ML},
    {RAVO_EV_BEAM_ENERGY_BYPASS, "RAVO_EV_BEAM_ENERGY_BYPASS", false, RAVO_EV_STRUCT_LOCAL},
    {RAVO_EV_SPECTR_1, "RAVO_EV_SPECTR_1", false, RAVO_EV_STRUCT_LOCAL},
    {RAVO_EV_SPECTR_2, "RAVO_EV_SPECTR_2", false, RAVO_EV_STRUCT_LOCAL},
    {RAVO_EV_SPECTR_3, "RAVO_EV_SPECTR_3", false, RAVO_EV_STRUCT_LOCAL},
    {RAVO_EV_SPECTR_4, "RAVO_EV_SPECTR_4", false, RAVO_EV_STRUCT_LOCAL},
    {RAVO_EV_SPECTR_5, "RAVO_EV_SPECTR_5", false, RAVO_EV_STRUCT_LOCAL},
    {RAVO_EV_TOROID_ML, "RAVO_EV_TOROID_ML", false, RAVO_EV_STRUCT_ML},
    {RAVO_EV_28, "RAVO_EV_28", false, RAVO_EV_STRUCT_LOCAL},
    {RAVO_EV_29, "RAVO_EV_29", false, RAVO_EV_STRUCT_LOCAL},
    {RAVO_EV_30, "RAVO_EV_30", false, RAVO_EV_STRUCT_LOCAL},
    {RAVO_EV_31, "RAVO_EV_31", false, RAVO_EV_STRUCT_LOCAL},
};
static_assert(std::size(event_types) == RAVO_EV_EVMAX);

/// The row of an event type, or null.
constexpr const event_type* find_event_type(int code) {
  return code >= 0 && code < RAVO_EV_EVMAX ? &event_types[code] : nullptr;
}

static_assert([] {
  for (int code = 0; code < RAVO_EV_EVMAX; ++code)
    if (event_types[code].code != code) return false;
  return true;
}());

/// The bits of the slow event types in a mask of event types.
inline constexpr std::uint32_t slow_event_mask = [] {
  std::uint32_t mask = 0;
  for (const event_type& type : event_types)
    if (type.is_slow) mask |= std::uint32_t{1} << type.code;
  return mask;
}();

}  // namespace ravo

#endif
