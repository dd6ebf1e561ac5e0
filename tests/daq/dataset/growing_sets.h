// File sets that grow while they are read, made from a seed alone: some streams whose files overlap in
// time, gaps, slow channels, damage; and a world in which files appear and are closed as its clock goes on.
#ifndef RAVO_TEST_DATASET_GROWING_SETS_H
#define RAVO_TEST_DATASET_GROWING_SETS_H

#include <ctime>
#include <functional>
#include <map>
#include <set>
#include <span>

#include "generated_sets.h"

namespace ravo::test {

/// "linac_main_run1_file2_20231114T221320Z.raw".
inline std::string stream_file_name(const std::string& stream, unsigned run, unsigned file,
                                    std::uint32_t milliseconds) {
  const std::time_t seconds = noon + milliseconds / 1000;
  std::tm parts{};
  gmtime_r(&seconds, &parts);
  char time[32];
  std::strftime(time, sizeof time, "%Y%m%dT%H%M%SZ", &parts);
  return stream + "_run" + std::to_string(run) + "_file" + std::to_string(file) + "_" + time + ".raw";
}

/// A folder into which files come as time passes, and the clock by which it does. Nobody waits in it.
class growing_world {
 public:
  /// Something happens so many seconds after the beginning.
  void at(double seconds, std::function<void()> happens) { plans_.emplace(seconds, std::move(happens)); }
  /// A file is begun, and closed later. Until it is closed it has only a part of its bytes.
  void write_between(double begun, double closed, const std::string& name,
                     const std::vector<unsigned char>& bytes) {
    if (begun < closed)
      at(begun, [this, name, bytes] { folder_.write(name, std::span(bytes).first(bytes.size() / 3)); });
    at(closed, [this, name, bytes] { closed_.insert(folder_.write(name, bytes)); });
  }
  std::string path_of(const std::string& name) const { return folder_.file(name); }
  std::string folder() const { return folder_.path().string(); }
  double now() const { return now_; }

  follow_clock clock() {
    follow_clock clock;
    clock.now = [this] { return now_; };
    clock.wait = [this](double seconds, const std::stop_token&) { pass(seconds); };
    clock.is_closed = [this](const std::string& path) { return closed_.contains(path); };
    return clock;
  }
  void pass(double seconds) {
    now_ += seconds;
    while (!plans_.empty() && plans_.begin()->first <= now_) {
      const auto happens = plans_.begin()->second;
      plans_.erase(plans_.begin());
      happens();
    }
  }

 private:
  temporary_folder folder_;
  double now_ = 0;
  std::multimap<double, std::function<void()>> plans_;
  std::set<std::string> closed_;
};

/// Streams of 10 Hz events with common numbers, whose clocks differ by some milliseconds.
template <class layout>
class growing_set {
 public:
  explicit growing_set(unsigned seed) : random(seed) {
    has_damage_ = random.chance(2);
    is_numbered_ = !random.chance(4);
    const unsigned all = 1 + random.below(3);
    for (unsigned i = 0; i < all; ++i)
      streams.push_back("linac_" + std::string(1, static_cast<char>('a' + i)));
    for (unsigned i = 0; i < all; ++i) write_stream(i);
  }

  /// Each stream's files in their order: when their data begin and end, in milliseconds after noon.
  struct made_file {
    std::string name;
    std::vector<unsigned char> bytes;
    std::uint32_t begin = 0, end = 0;
  };

  generator random;
  std::vector<std::string> streams;
  std::vector<std::vector<made_file>> files;  ///< by stream
  std::uint32_t last_time = 0;

 private:
  static constexpr std::uint32_t events_in_all = 60;

  void write_stream(unsigned position) {
    std::vector<made_file>& of_stream = files.emplace_back();
    const std::uint32_t skew = random.below(3) * 10;
    const bool has_slow = position == 0 || random.chance(3);
    std::uint32_t event = random.below(3);
    while (event < events_in_all) {
      const std::uint32_t count = 2 + random.below(random.chance(3) ? 25 : 8);
      const std::uint32_t end = std::min(event + count, events_in_all);
      of_stream.push_back(
          make_file(position, static_cast<unsigned>(of_stream.size() + 1), event, end, skew, has_slow));
      event = end + (random.chance(4) ? random.below(6) : 0);
    }
  }

  /// A hole in all streams divides the set into segments.
  static std::uint32_t time_of(std::uint32_t event) { return event * 100 + (event >= 30 ? 7000 : 0); }

  made_file make_file(unsigned position, unsigned number, std::uint32_t first, std::uint32_t end,
                      std::uint32_t skew, bool has_slow) {
    const std::string letter(1, static_cast<char>('A' + position));
    handmade_file_of<layout> made;
    std::vector<handmade_channel> fast{handmade_channel(letter + "0"), handmade_channel(letter + "1")};
    handmade_channel slow("SLOW" + letter);
    slow.ev_mask = 1u << RAVO_EV_UPD;
    for (std::uint32_t event = first; event < end; ++event) {
      if (event != first && event != end - 1 && random.chance(6)) continue;
      const std::uint32_t time = time_of(event) + skew, name = is_numbered_ ? 1000 + event : 0;
      const std::size_t place = made.events.size();
      made.events.push_back(event_at(name, time));
      for (handmade_channel& channel : fast)
        if (event == first || !random.chance(4)) channel.blocks.push_back(block_of(place));
      if (has_slow && random.chance(5)) {
        made.events.push_back(event_at(name, time, RAVO_EV_UPD));
        slow.blocks.push_back(update_of(layout{}, place + 1, static_cast<float>(random.below(1000)), noon));
      }
      last_time = std::max(last_time, time);
    }
    made.channels = fast;
    if (has_slow && !slow.blocks.empty()) made.channels.push_back(slow);
    bytes built = made.build();
    if (has_damage_) lose_events(built, made);
    made_file file;
    file.begin = time_of(first) + skew;
    file.end = time_of(end - 1) + skew;
    file.name = stream_file_name(streams[position], 1, number, file.begin);
    file.bytes = built.vector();
    return file;
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
        if (random.chance(12)) {
          const std::size_t pointers = made.at.at("pointers") + 12 + (channel * most + i) * 16;
          built.set_u32(pointers, built.word(pointers) + 4);
        }
  }

  bool has_damage_ = false;
  bool is_numbered_ = true;
};

}  // namespace ravo::test

#endif
