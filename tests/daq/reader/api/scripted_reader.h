// The fixture of the tests over scripted layers, of either generation.
#ifndef RAVO_TEST_SCRIPTED_READER_H
#define RAVO_TEST_SCRIPTED_READER_H

#include <gtest/gtest.h>

#include <deque>
#include <filesystem>
#include <string>

#include "captured_output.h"
#include "catalogue_mark.h"
#include "environment_variable.h"
#include "generations.h"
#include "scripted_layers.h"
#include "temporary_folder.h"

namespace ravo::test {

template <class generation>
class scripted_reader : public testing::Test {
 protected:
  using reader_type = daq_reader<scripted<typename generation::records>>;
  using subhead = typename generation::records::subhead;

  /// The name of the reader in messages.
  const std::string class_name = either<generation>("ravo_daq_reader_2010", "ravo_daq_reader");

  scripted_reader() {
    the_slicer = {};
    the_loader = {};
    the_catalogue = {};
    the_read_chan = {};
  }

  /// Adds a channel by its request text.
  int add(const char* text) {
    std::string name = text;
    daq_channel_entry entry{name.data(), {}};
    return reader.add_channel(&entry);
  }
  /// A block that lives as long as the test.
  ravo_channel_entry_long* block(const char* name, int dtype, ravo_time_id id,
                                 const std::string& payload = "abcd") {
    return blocks.emplace_back(name, dtype, id, payload).entry();
  }
  /// The slicer's next answer: an event with these entries.
  void answer(ravo_time_id current, std::vector<ravo_channel_entry_long*> elements) {
    the_slicer.answers.push_back({0, current, std::move(elements), 0});
  }
  void answer_status(int status) { the_slicer.answers.push_back({status, {}, {}, 0}); }
  /// An event at a second.
  static ravo_time_id at(unsigned number, unsigned seconds, unsigned microseconds = 0) {
    return {number, {seconds, microseconds}};
  }
  int get() { return reader.get_data(nullptr, &entries, 1); }
  static const subhead* head(const ravo_channel_entry_long* entry) {
    return reinterpret_cast<const subhead*>(entry->sbchdata[0].chhd);
  }
  /// The payload that an entry hands out.
  static std::string payload(const ravo_channel_entry_long* entry) {
    return {reinterpret_cast<const char*>(entry->sbchdata[0].data),
            static_cast<std::size_t>(head(entry)->ldata) - sizeof(subhead)};
  }

  /// The path of an empty file of this name, for readers that take only files that exist.
  std::string existing(const std::string& name) {
    std::filesystem::create_directories(std::filesystem::path(folder.file(name)).parent_path());
    return folder.write(name, {});
  }

  temporary_folder folder;
  environment_variable no_seconds{"DAQ_MAX_TIME_STEP_SEC", nullptr};
  environment_variable no_microseconds{"DAQ_MAX_TIME_STEP_USEC", nullptr};
  environment_variable no_paths{"RAVO_DAQ_DATA_PATH_LIST", nullptr};
  environment_variable no_ignoring{"RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME", nullptr};
  std::deque<decoded_block<typename generation::records>> blocks;
  std::vector<ravo_channel_entry_long*> entries;
  reader_type reader;
};

}  // namespace ravo::test

#endif
