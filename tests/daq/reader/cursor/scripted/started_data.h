// A data access object over the scripted reader, with a list file and properties that a test may change.
#ifndef RAVO_TEST_STARTED_DATA_H
#define RAVO_TEST_STARTED_DATA_H

#include <string>
#include <vector>

#include "handmade_event.h"
#include "ravo_daq_data.h"
#include "ravo_daq_reader.h"
#include "temporary_folder.h"

namespace ravo::test {

struct scripted_data : testing::Test {
  temporary_folder folder;
  char label[8] = "label", channel[8] = "TOR";
  ravo_sprop property{label, 5, channel, 5, 1, 10};
  std::vector<ravo_sprop*> properties{&property};
  ravo_time_id period{1, {0, 200000}}, start{2, {3, 4}}, stop{5, {6, 7}};
  ravo_daq_data data;

  scripted_data() { script = {}; }

  std::string list(const std::string& text) {
    return folder.write("list.txt", {reinterpret_cast<const unsigned char*>(text.data()), text.size()});
  }
  int init(const std::string& list_file) {
    return data.Init(list_file.c_str(), &properties, 7, &period, &start, &stop);
  }
  /// Starts, and reads one event with these channels.
  void read(const std::vector<ravo_channel_entry_long*>& event) {
    script.event = event;
    ASSERT_EQ(init(list("file.raw\n")), 0);
    ASSERT_EQ(data.GetData(), 0);
  }
};

}  // namespace ravo::test

#endif
