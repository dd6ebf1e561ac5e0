// Generated file sets for the tests of the dataset layer: gaps, rates, damage by name, events without
// numbers, slow channels; and what was put in, as plain lists to compare the answers with. Each set is made
// from a seed alone.
#ifndef RAVO_TEST_DATASET_GENERATED_SETS_H
#define RAVO_TEST_DATASET_GENERATED_SETS_H

#include <algorithm>
#include <cstdlib>
#include <random>

#include "written_files.h"

namespace ravo::test {

/// How many sets a test tries: RAVO_DATASET_SETS times as many when that is set.
inline unsigned sets_to_try(unsigned usual) {
  const char* const more = std::getenv("RAVO_DATASET_SETS");
  return more == nullptr ? usual : usual * static_cast<unsigned>(std::max(1, std::atoi(more)));
}

enum class harm {
  none,
  unknown_compressor,
  checksum,        ///< of the compressed stream
  server_pointer,  ///< leads into the middle of a head
  name,            ///< the block has one that the dictionary lacks: no harm
  event_pointer,   ///< leads into the middle of an event header
};
/// The damage that a set may have. The classic readers' workers end at some kinds, and lose other values
/// too; at others, which they do not notice, they hand over invalid events, or blocks of another name.
enum class harms { no, all, that_readers_notice, that_readers_pass_over };

inline value_status status_of(harm done) {
  switch (done) {
    case harm::none:
    case harm::name:
      return value_status::ok;
    case harm::unknown_compressor:
      return value_status::cannot_inflate;
    case harm::checksum:
      return value_status::bad_checksum;
    default:
      return value_status::misdirected;
  }
}

/// One value as it was put into a file.
struct put_in {
  std::uint32_t number;
  std::int64_t time;  // milliseconds after noon
  float content;
  harm done = harm::none;
};

/// All files of a set, channel by channel.
struct generated {
  std::vector<std::string> files;
  std::vector<std::string> channels;
  std::vector<std::vector<put_in>> values;  ///< but for those that belong to no event any more
  std::vector<std::size_t> of_no_event;     ///< of these, how many
  /// A file has no block at all: made by hand, its first basket then begins where a table does, which the
  /// table-access library refuses and the slicer does not start with.
  bool has_empty_file = false;

  /// What a channel has at a time; null: nothing.
  const put_in* at(std::size_t channel, std::int64_t time) const {
    const auto found = std::find_if(values[channel].begin(), values[channel].end(),
                                    [&](const put_in& one) { return one.time == time; });
    return found == values[channel].end() ? nullptr : &*found;
  }
};

class generator {
 public:
  explicit generator(unsigned seed) : random_(seed) {}
  bool chance(unsigned one_in) { return random_() % one_in == 0; }
  unsigned below(unsigned n) { return static_cast<unsigned>(random_() % n); }

  /// Consecutive files of 10 Hz events; each channel has its own rate and gaps.
  template <class layout>
  generated make(const temporary_folder& folder, bool numbered, harms which, bool with_holes = true) {
    generated all;
    const std::size_t channels = 1 + below(4);
    for (std::size_t i = 0; i < channels; ++i) all.channels.push_back("CH" + std::to_string(i));
    all.values.resize(channels);
    all.of_no_event.resize(channels);
    std::vector<unsigned> rate(channels);
    for (unsigned& one : rate) one = 1 + below(3);
    std::uint32_t number = 1 + below(1000), time = 0;
    for (unsigned file = 0, files = 1 + below(3); file < files; ++file) {
      handmade_file_of<layout> made;
      std::vector<std::vector<put_in>> put(channels);
      for (const std::string& name : all.channels) made.channels.emplace_back(name);
      const unsigned events = 1 + below(12);
      for (unsigned i = 0; i < events; ++i, ++number, time += 100) {
        if (with_holes && chance(6)) {  // a hole in all channels
          const unsigned more = 1 + below(3);
          number += more;
          time += 100 * more;
        }
        made.events.push_back(event_at(numbered ? number : 0, time));
        for (std::size_t channel = 0; channel < channels; ++channel) {
          if (number % rate[channel] != 0 || chance(5)) continue;
          const float content = static_cast<float>(below(100000));
          harm done = choose(which);
          // A single head has no middle: what leads into it leads out again.
          if (events == 1 && (done == harm::server_pointer || done == harm::event_pointer))
            done = harm::none;
          handmade_block block =
              zipped(scalar<layout>(i, content), done == harm::checksum ? 1 : 1 + below(2));
          if (done == harm::unknown_compressor) block.zip_flags = 4;
          made.channels[channel].blocks.push_back(block);
          put[channel].push_back({numbered ? number : 0, time, content, done});
        }
      }
      bytes built = made.build();
      do_harm(built, made, put);
      bool is_empty = true;
      for (std::size_t channel = 0; channel < channels; ++channel)
        for (const put_in& one : put[channel]) {
          is_empty = false;
          if (one.done == harm::event_pointer)
            ++all.of_no_event[channel];
          else
            all.values[channel].push_back(one);
        }
      all.has_empty_file = all.has_empty_file || is_empty;
      all.files.push_back(folder.write("set" + std::to_string(file) + ".raw", built.vector()));
    }
    return all;
  }

 private:
  harm choose(harms which) {
    if (which == harms::no || !chance(8)) return harm::none;
    if (which == harms::all) return static_cast<harm>(1 + below(5));
    return static_cast<harm>(which == harms::that_readers_notice ? 1 + below(3) : 2 + below(2));
  }

  template <class layout>
  static void do_harm(bytes& built, const handmade_file_of<layout>& made,
                      const std::vector<std::vector<put_in>>& put) {
    std::size_t most = 1;
    for (const auto& values : put) most = std::max(most, values.size());
    for (std::size_t channel = 0; channel < put.size(); ++channel)
      for (std::size_t i = 0; i < put[channel].size(); ++i) {
        // Event header, server block, subheader and data: a word each.
        const std::size_t pointers = made.at.at("pointers") + 12 + (channel * most + i) * 16;
        const std::size_t block = built.word(pointers + 8);
        switch (put[channel][i].done) {
          case harm::none:
          case harm::unknown_compressor:
            break;
          case harm::checksum: {
            const std::size_t stream = block + layout::subhead + 12;
            built.data()[stream + built.word(stream - 4) - 1] ^= 0x55;
            break;
          }
          case harm::name:
            built.data()[block] = 'X';
            break;
          case harm::server_pointer:
            shift(built, pointers + 4, made.at.at("servers") + 8);
            break;
          case harm::event_pointer:
            shift(built, pointers, made.at.at("events") + 8);
            break;
        }
      }
  }

  /// Into the middle of the record before, of the first one into itself.
  static void shift(bytes& built, std::size_t pointer, std::size_t first_record) {
    const std::uint32_t leads_to = built.word(pointer);
    built.set_u32(pointer, leads_to == first_record ? leads_to + 4 : leads_to - 4);
  }

  std::mt19937 random_;
};

/// The events of all channels by time: since all channels of an event have its time, that is all there is
/// to it.
inline std::vector<std::int64_t> times_of(const generated& all) {
  std::vector<std::int64_t> times;
  for (const auto& values : all.values)
    for (const put_in& one : values) times.push_back(one.time);
  std::sort(times.begin(), times.end());
  times.erase(std::unique(times.begin(), times.end()), times.end());
  return times;
}

inline std::int64_t milliseconds(const time_stamp& time) {
  return (std::int64_t{time.timeup} - noon) * 1000 + time.timelow / 1000;
}

template <class layout>
inline constexpr ravo_file_generation generation_of =
    std::is_same_v<layout, layout_2010> ? ravo_file_generation::current : ravo_file_generation::older;

}  // namespace ravo::test

#endif
