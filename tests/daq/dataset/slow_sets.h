// Generated sets of a fast and a slow channel, and when the slow one has which value. Each set is made from
// a seed alone.
#ifndef RAVO_TEST_DATASET_SLOW_SETS_H
#define RAVO_TEST_DATASET_SLOW_SETS_H

#include "generated_sets.h"

namespace ravo::test {

/// A fast channel with an event every 100 ms, some of them left out, and a slow one with updates between
/// and at them; in files one behind the other.
struct slow_set {
  struct update {
    std::int64_t time;  // milliseconds behind noon
    float content;
  };
  std::vector<std::string> files;
  std::vector<std::int64_t> events;  // times of the fast channel
  std::vector<update> updates;
};

template <class layout>
slow_set make_slow_set(const temporary_folder& folder, generator& random, harms which = harms::no) {
  slow_set all;
  std::uint32_t number = 100, time = 0;
  for (unsigned file = 0, files = 1 + random.below(4); file < files; ++file) {
    handmade_file_of<layout> made;
    std::vector<std::pair<std::size_t, float>> fast;
    handmade_channel slow("SLOW");
    slow.ev_mask = 1u << RAVO_EV_UPD;
    for (unsigned i = 0, events = 2 + random.below(8); i < events; ++i, ++number, time += 100) {
      if (i == 0 || !random.chance(4)) {
        made.events.push_back(event_at(number, time));
        fast.emplace_back(made.events.size() - 1, static_cast<float>(number));
        all.events.push_back(time);
      }
      if (!random.chance(3)) continue;
      const std::uint32_t at = time + random.below(2) * 30;
      const float content = static_cast<float>(1 + random.below(1000));
      made.events.push_back(event_at(number, at, RAVO_EV_UPD));
      slow.blocks.push_back(update_of(layout{}, made.events.size() - 1, content, noon));
      all.updates.push_back({at, content});
    }
    // Files with a run's gap between them are read as segments of their own.
    if (random.chance(2)) time += 5000;
    made.channels = {numbers_at<layout>("FAST", fast), slow};
    bytes built = made.build();
    // Some pointers to server blocks of the slow channel, the second row, lead into the middle of one.
    const std::size_t entries = std::max(made.channels[0].blocks.size(), made.channels[1].blocks.size());
    for (std::size_t i = 0; which != harms::no && i < made.channels[1].blocks.size(); ++i) {
      const std::size_t pointer = made.at.at("pointers") + 12 + (entries + i) * 16 + 4;
      if (random.chance(3)) built.set_u32(pointer, built.word(pointer) + 4);
    }
    all.files.push_back(folder.write("slow" + std::to_string(file) + ".raw", built.vector()));
  }
  return all;
}

}  // namespace ravo::test

#endif
