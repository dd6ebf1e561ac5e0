// The library's operations on event types.
#include "format/event_types.h"

#include "ravo_evutl.h"

bool is_slow_event(int event_type) {
  const ravo::event_type* type = ravo::find_event_type(event_type);
  return type && type->is_slow;
}

int get_event_struct_type(int event_type) {
  const ravo::event_type* type = ravo::find_event_type(event_type);
  return type ? type->structure : RAVO_EV_STRUCT_UNKNOWN;
}

const char* event_name_itoa(int event_type) {
  const ravo::event_type* type = ravo::find_event_type(event_type);
  return type ? type->name : "UNKNOWN";
}
