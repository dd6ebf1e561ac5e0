// Generated file sets for the tests of parts: two streams that may overlap, slow channels with values far
// apart, files that lack a channel, files without selected events, damage, and files that cannot be read.
// Each set is made from a seed alone.
#ifndef RAVO_TEST_DATASET_CUT_SETS_H
#define RAVO_TEST_DATASET_CUT_SETS_H

#include <ctime>
#include <filesystem>

#include "generated_sets.h"

namespace ravo::test {

/// "linac_main_run1_file2_20231114T221320Z.raw".
inline std::string name_at(const std::string& stream, unsigned file, std::uint32_t milliseconds) {
  const std::time_t seconds = noon + milliseconds / 1000;
  std::tm parts{};
  gmtime_r(&seconds, &parts);
  char time[32];
  std::strftime(time, sizeof time, "%Y%m%dT%H%M%SZ", &parts);
  return "linac_" + stream + "_run1_file" + std::to_string(file) + "_" + time + ".raw";
}

template <class layout>
class cut_set {
 public:
  explicit cut_set(unsigned seed) : random(seed) {
    has_damage_ = random.chance(2);
    std::uint32_t number = 1, time = 0;
    for (unsigned file = 0, count = 2 + random.below(8); file < count; ++file) {
      // In whole seconds, as the times in names are; a gap of some seconds between some files.
      time = (time / 1000 + 1 + random.below(2) * random.below(5)) * 1000;
      const std::uint32_t first_number = number, first_time = time;
      const bool has_second_stream = random.chance(4);
      write("main", file, number, time, "A");
      if (has_second_stream) {
        std::uint32_t other_number = first_number, other_time = first_time;
        write("aux", file, other_number, other_time, "B");
        number = std::max(number, other_number);
        time = std::max(time, other_time);
      }
    }
    spoil_some();
  }

  /// Limits, a step, a join and a slow policy, at random.
  selection wanted() {
    selection what = of_files(files);
    if (random.chance(2)) what.channels = {"A*", "SLOW*", "B*"};
    std::erase_if(what.channels, [&](const std::string& pattern) { return !has_channel(pattern[0]); });
    what.slow = static_cast<slow_policy>(random.below(3));
    if (what.slow != slow_policy::none && random.chance(2)) what.max_age = 1000000 * (1 + random.below(5));
    const unsigned join = random.below(4);
    if (join == 1) what.join = join_policy::all;
    if (join == 2 && has_channel('A')) {
      what.join = join_policy::with;
      what.join_channel = "A0";
    }
    if (random.chance(3)) what.synch = synch_mode::by_time;
    what.step = 1 + random.below(2) * random.below(5);
    if (what.step > 1) what.phase = random.below(what.step);
    if (random.chance(3)) what.limit = 1 + random.below(12);
    if (random.chance(4)) what.from = time_stamp{noon + random.below(12), random.below(10) * 100000};
    if (random.chance(4)) what.to = time_stamp{noon + 5 + random.below(20), 0};
    if (random.chance(5)) what.first_event = 1 + random.below(20);
    if (random.chance(5)) what.last_event = 20 + random.below(40);
    return what;
  }

  generator random;
  std::vector<std::string> files;

 private:
  bool has_channel(char first_letter) const {
    return std::any_of(names_.begin(), names_.end(),
                       [&](const std::string& name) { return name[0] == first_letter; });
  }

  void write(const std::string& stream, unsigned position, std::uint32_t& number, std::uint32_t& time,
             const std::string& letter) {
    const std::uint32_t begin = time;
    handmade_file_of<layout> made;
    std::vector<handmade_channel> fast{handmade_channel(letter + "0"), handmade_channel(letter + "1")};
    std::vector<handmade_channel> slow{handmade_channel("SLOW0"), handmade_channel("SLOW1")};
    // Once in a while a channel is slow in all files but one.
    const auto slow_type = random.chance(30) ? RAVO_EV_NORMAL : RAVO_EV_UPD;
    for (handmade_channel& channel : slow) channel.ev_mask = 1u << slow_type;
    const bool has_slow = letter == "A" && random.chance(2), has_fast = !random.chance(6);
    for (unsigned i = 0, events = 1 + random.below(6); i < events; ++i) {
      const std::size_t event = made.events.size();
      made.events.push_back(event_at(number, time));
      if (has_fast)
        for (handmade_channel& channel : fast)
          if (!random.chance(3)) channel.blocks.push_back(block_of(event));
      if (has_slow && random.chance(2)) {
        made.events.push_back(event_at(number, time, slow_type));
        for (handmade_channel& channel : slow)
          if (random.chance(2))
            channel.blocks.push_back(
                update_of(layout{}, event + 1, static_cast<float>(random.below(1000)), noon));
      }
      number += 1 + random.below(2);
      time += 100 * (1 + random.below(4));
    }
    for (auto* const group : {&fast, &slow})
      for (handmade_channel& channel : *group)
        if (!channel.blocks.empty()) made.channels.push_back(channel);
    if (made.channels.empty()) made.channels = {numbers_at<layout>(letter + "0", {{0, 1.0f}})};
    for (const handmade_channel& channel : made.channels) names_.push_back(channel.name);
    bytes built = made.build();
    if (has_damage_) lose_events(built, made);
    files.push_back(folder_.write(name_at(stream, position + 1, begin), built.vector()));
  }

  handmade_block block_of(std::size_t event) {
    handmade_block block = scalar<layout>(event, static_cast<float>(random.below(1000)));
    if (!has_damage_ || !random.chance(8)) return block;
    block = zipped(block, 1);
    block.zip_flags = 4;  // an unknown compressor
    return block;
  }

  /// Leads some entries to no event header.
  void lose_events(bytes& built, const handmade_file_of<layout>& made) {
    std::size_t most = 0;
    for (const handmade_channel& channel : made.channels) most = std::max(most, channel.blocks.size());
    for (std::size_t channel = 0; channel < made.channels.size(); ++channel)
      for (std::size_t i = 0; i < made.channels[channel].blocks.size(); ++i)
        if (random.chance(8)) {
          const std::size_t pointers = made.at.at("pointers") + 12 + (channel * most + i) * 16;
          built.set_u32(pointers, built.word(pointers) + 4);
        }
  }

  /// Cuts a file short now and then, and adds one whose name has no time.
  void spoil_some() {
    if (!has_damage_) return;
    for (std::size_t i = 1; i < files.size(); ++i)
      if (random.chance(6))
        std::filesystem::resize_file(files[i], std::filesystem::file_size(files[i]) / 2);
    if (random.chance(20)) files.push_back(folder_.write("x.raw", std::vector<unsigned char>(5000, 7)));
  }

  temporary_folder folder_;
  bool has_damage_ = false;
  std::vector<std::string> names_;
};

}  // namespace ravo::test

#endif
