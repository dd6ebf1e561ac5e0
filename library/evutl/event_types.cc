// What is known of each event type: its name, whether its events are slow, and their structure.
#include <iterator>

#include "ravo_evutl.h"

namespace {

enum class pace { fast, slow };

struct event_type_row {
  RAVO_EVTYPE code;
  const char* name;
  pace speed;
  RAVO_EV_STRUCT_TYPE structure;
};

// Indexed by the event type.
constexpr event_type_row event_types[] = {
    {RAVO_EV_HB, "RAVO_EV_HB", pace::fast, RAVO_EV_STRUCT_UNDEF},
    {RAVO_EV_NORMAL, "RAVO_EV_NORMAL", pace::fast, RAVO_EV_STRUCT_LOCAL},
    {RAVO_EV_BOR, "RAVO_EV_BOR", pace::slow, RAVO_EV_STRUCT_GLOBAL},
    {RAVO_EV_EOR, "RAVO_EV_EOR", pace::slow, RAVO_EV_STRUCT_GLOBAL},
    {RAVO_EV_ENV, "RAVO_EV_ENV", pace::slow, RAVO_EV_STRUCT_GLOBAL},
    {RAVO_EV_UPD, "RAVO_EV_UPD", pace::slow, RAVO_EV_STRUCT_GLOBAL},
    {RAVO_EV_IMAGE, "RAVO_EV_IMAGE", pace::fast, RAVO_EV_STRUCT_LOCAL},
    {RAVO_EV_WS, "RAVO_EV_WS", pace::fast, RAVO_EV_STRUCT_LOCAL},
    {RAVO_EV_MCP, "RAVO_EV_MCP", pace::fast, RAVO_EV_STRUCT_LOCAL},
    {RAVO_EV_WSS, "RAVO_EV_WSS", pace::fast, RAVO_EV_STRUCT_LOCAL},
    {RAVO_EV_BL1, "RAVO_EV_BL1", pace::fast, RAVO_EV_STRUCT_LOCAL},
    {RAVO_EV_BL2, "RAVO_EV_BL2", pace::fast, RAVO_EV_STRUCT_LOCAL},
    {RAVO_EV_BL3, "RAVO_EV_BL3", pace::fast, RAVO_EV_STRUCT_LOCAL},
    {RAVO_EV_PG0, "RAVO_EV_PG0", pace::fast, RAVO_EV_STRUCT_LOCAL},
    {RAVO_EV_PG1, "RAVO_EV_PG1", pace::fast, RAVO_EV_STRUCT_LOCAL},
    {RAVO_EV_PG2, "RAVO_EV_PG2", pace::fast, RAVO_EV_STRUCT_LOCAL},
    {RAVO_EV_GMD, "RAVO_EV_GMD", pace::fast, RAVO_EV_STRUCT_LOCAL},
    {RAVO_EV_PHOTEN, "RAVO_EV_PHOTEN", pace::fast, RAVO_EV_STRUCT_LOCAL},
    {RAVO_EV_PHOTWL, "RAVO_EV_PHOTWL", pace::fast, RAVO_EV_STRUCT_LOCAL},
    {RAVO_EV_BEAM_ENERGY, "RAVO_EV_BEAM_ENERGY", pace::fast, RAVO_EV_STRUCT_LOCAL},
    {RAVO_EV_LLRF_ML, "RAVO_EV_LLRF_ML", pace::fast, RAVO_EV_STRUCT_ML},
    {RAVO_EV_BEAM_ENERGY_BYPASS, "RAVO_EV_BEAM_ENERGY_BYPASS", pace::fast, RAVO_EV_STRUCT_LOCAL},
    {RAVO_EV_SPECTR_1, "RAVO_EV_SPECTR_1", pace::fast, RAVO_EV_STRUCT_LOCAL},
    {RAVO_EV_SPECTR_2, "RAVO_EV_SPECTR_2", pace::fast, RAVO_EV_STRUCT_LOCAL},
    {RAVO_EV_SPECTR_3, "RAVO_EV_SPECTR_3", pace::fast, RAVO_EV_STRUCT_LOCAL},
    {RAVO_EV_SPECTR_4, "RAVO_EV_SPECTR_4", pace::fast, RAVO_EV_STRUCT_LOCAL},
    {RAVO_EV_SPECTR_5, "RAVO_EV_SPECTR_5", pace::fast, RAVO_EV_STRUCT_LOCAL},
    {RAVO_EV_TOROID_ML, "RAVO_EV_TOROID_ML", pace::fast, RAVO_EV_STRUCT_ML},
    {RAVO_EV_28, "RAVO_EV_28", pace::fast, RAVO_EV_STRUCT_LOCAL},
    {RAVO_EV_29, "RAVO_EV_29", pace::fast, RAVO_EV_STRUCT_LOCAL},
    {RAVO_EV_30, "RAVO_EV_30", pace::fast, RAVO_EV_STRUCT_LOCAL},
    {RAVO_EV_31, "RAVO_EV_31", pace::fast, RAVO_EV_STRUCT_LOCAL},
};
static_assert(std::size(event_types) == RAVO_EV_EVMAX);

constexpr bool in_order() {
  for (int i = 0; i < RAVO_EV_EVMAX; ++i)
    if (event_types[i].code != i) return false;
  return true;
}
static_assert(in_order());

const event_type_row* find(int event_type) {
  return event_type >= 0 && event_type < RAVO_EV_EVMAX ? &event_types[event_type] : nullptr;
}

}  // namespace

bool is_slow_event(int event_type) {
  const event_type_row* row = find(event_type);
  return row && row->speed == pace::slow;
}

int get_event_struct_type(int event_type) {
  const event_type_row* row = find(event_type);
  return row ? row->structure : RAVO_EV_STRUCT_UNKNOWN;
}

const char* event_name_itoa(int event_type) {
  const event_type_row* row = find(event_type);
  return row ? row->name : "UNKNOWN";
}
