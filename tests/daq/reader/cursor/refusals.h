// The refusals of the operations of the user access layer, by name; ravo_daq_data.h states the numbers,
// and which operation returns which of them.
#ifndef RAVO_TEST_CURSOR_REFUSALS_H
#define RAVO_TEST_CURSOR_REFUSALS_H

namespace ravo::test {

/// ravo_daq_getdata, selecting.
enum selection_refusal : int {
  no_entry = -1,
  no_event_header = -2,
  no_server_block = -3,
  no_channel_header = -4,
  no_selection_to_search = -10,  ///< of SetProp()
  empty_result = -11,            ///< of SetRes()
  no_such_name = -11,            ///< of SetProp()
  null_result = -12,
};

/// ravo_daq_getdata, of what is selected.
enum value_refusal : int {
  nothing_selected = -1,
  other_kind = -1,  ///< a channel of another kind
  no_member = -1,
  no_event = -1,
  no_data = -2,
};

/// ravo_daq_data and ravo_daq_browser.
enum access_refusal : int {
  not_initialised = -1,
  no_files_or_properties = -1,
  no_name = -1,
  end_of_data = -2,
  short_name = -2,
  unreadable_file = -2,
  reader_not_started = -5,
  file_refused = -9,
  synch_mode_refused = -11,
};

}  // namespace ravo::test

#endif
