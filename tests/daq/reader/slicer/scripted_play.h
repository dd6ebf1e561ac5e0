// A slicer of a scripted generation, set up over invented files and channels. Whatever a test does,
// nothing may be left over at its end, and no tables may be freed while a reader could still read them.
#ifndef RAVO_TEST_SLICER_SCRIPTED_PLAY_H
#define RAVO_TEST_SLICER_SCRIPTED_PLAY_H

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "captured_output.h"
#include "generations.h"
#include "scripted_generation.h"

namespace ravo::test {

template <class generation>
class play_of {
 public:
  explicit play_of(const std::vector<std::string>& channels, const std::vector<std::string>& files = {"a"})
      : files_(files), names_(channels) {
    playing = &script_;
    for (const std::string& name : channels) script_.channels[name];
  }
  ~play_of() {
    slicer.clean_up();
    EXPECT_FALSE(script_.freed_in_use);
    EXPECT_EQ(script_.tables_alive, 0);
    EXPECT_EQ(script_.readers_alive, 0);
    playing = nullptr;
  }
  play_of(const play_of&) = delete;
  play_of& operator=(const play_of&) = delete;

  channel_script& channel(const std::string& name) { return script_.channels.at(name); }
  script& all() { return script_; }

  int init() {
    std::vector<char*> files;
    for (std::string& file : files_) files.push_back(file.data());
    std::vector<scripted_param> params(names_.size());
    std::vector<scripted_param*> channels;
    for (std::size_t i = 0; i < names_.size(); ++i) {
      std::snprintf(params[i].name, sizeof params[i].name, "%s", names_[i].c_str());
      params[i].subchan = static_cast<int>(i) + 5;
      channels.push_back(&params[i]);
    }
    return slicer.init(&files, &channels, 0);
  }
  int start() {
    const int status = init();
    return status != 0 ? status : slicer.start();
  }
  /// What the operation prints at a debug level; the level is 0 again afterwards.
  template <class Operation>
  std::string output(int debug, Operation operation) {
    slicer.set_debug(debug);
    captured_output captured;
    operation();
    const std::string text = captured.stop();
    slicer.set_debug(0);
    return text;
  }
  int get(int direction, const ravo_time_id* id = nullptr) {
    return slicer.get_data(id, &entries, direction);
  }
  /// The call that comes first and always asks for the current event.
  void pass_first_call() { slicer.first_event = 0; }

 private:
  script script_;
  std::vector<std::string> files_;
  std::vector<std::string> names_;

 public:
  scripted_slicer_of<typename generation::records> slicer;
  std::vector<ravo_channel_entry_long*> entries;
};
inline ravo_channel_entry_long entry_of(const ravo_time_id& id) {
  ravo_channel_entry_long entry{};
  entry.event_id = id;
  return entry;
}

}  // namespace ravo::test

#endif
