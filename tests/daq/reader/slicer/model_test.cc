// The slicer against the model, over generated streams: gaps, times that are equal or within the tolerance,
// channels that end early or begin late, files without a channel, broken files; both synch modes, all
// directions. Every stream comes from a seed, which a failure names.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "alignment_model.h"
#include "captured_output.h"
#include "streams.h"

namespace ravo::test {
namespace {

/// Random numbers that are the same everywhere: no distribution of the standard library.
class dice {
 public:
  explicit dice(unsigned seed) : engine_(seed) {}
  int below(int limit) { return static_cast<int>(engine_() % static_cast<unsigned>(limit)); }
  int between(int low, int high) { return low + below(high - low + 1); }
  bool chance(int percent) { return below(100) < percent; }

 private:
  std::mt19937 engine_;
};

struct generated {
  model_stream plan;
  std::vector<std::string> channels;
  std::vector<stream_file> files;
};

/// How often each channel takes part in an event, and where it begins and ends.
struct habit {
  int percent;
  int first_event;
  int last_event;
};

generated generate(dice& random) {
  generated made;
  const int files = random.between(1, 5);
  const int channels = random.chance(6) ? random.between(20, 50) : random.between(1, 6);
  const int total = random.between(files, files * 12);
  std::vector<habit> habits;
  for (int c = 0; c < channels; ++c) {
    const bool update = random.chance(20);
    made.channels.push_back((update ? "UPD" : "CH") + std::to_string(c));
    made.plan.updates.push_back(update);
    habits.push_back({random.chance(40) ? 100 : random.between(5, 90),
                      random.chance(25) ? random.below(total) : 0,
                      random.chance(25) ? random.below(total) : total});
  }
  int number = random.between(1, 1000);
  std::int64_t time = noon;
  int event = 0;
  for (int f = 0; f < files; ++f) {
    made.plan.events.emplace_back(channels);
    made.plan.declared.emplace_back(channels, true);
    made.plan.broken.push_back(random.chance(3));
    stream_file file;
    for (int c = 0; c < channels; ++c) {
      const auto channel = static_cast<std::size_t>(c);
      if (random.chance(3)) made.plan.declared.back()[channel] = false;
      if (made.plan.declared.back()[channel]) file.declared.push_back(made.channels[channel]);
    }
    file.declared.push_back("FILLER");
    const int upto = f + 1 == files ? total : std::min(total, event + std::max(1, total / files));
    for (; event < upto; ++event) {
      stream_event written{static_cast<std::uint32_t>(number), time - noon, {"FILLER"}};
      for (int c = 0; c < channels; ++c) {
        const auto channel = static_cast<std::size_t>(c);
        const habit& h = habits[channel];
        if (event < h.first_event || event > h.last_event || !random.chance(h.percent)) continue;
        if (!made.plan.declared.back()[channel]) continue;
        written.channels.push_back(made.channels[channel]);
        made.plan.events.back()[channel].push_back({written.number, time});
      }
      file.events.push_back(written);
      number += random.chance(80) ? 1 : random.between(2, 7);
      // Equal times, times within the tolerance, the regular step, long gaps.
      const int kind = random.below(100);
      time += kind < 8    ? 0
              : kind < 25 ? random.between(1, 60000)
              : kind < 90 ? random.between(95000, 105000)
                          : random.between(100000, 3000000);
    }
    made.files.push_back(file);
  }
  return made;
}

template <class generation>
void write(const generated& made, stream<generation>& files) {
  for (std::size_t f = 0; f < made.files.size(); ++f) {
    if (made.plan.broken[f])
      files.broken();
    else
      files.file(made.files[f]);
  }
}

ravo_time_id as_time_id(const model_event& event) { return {event.number, stamp(event.time)}; }

std::string predicted(const generated& made, const alignment_model::result& result,
                      const model_event& current) {
  std::string text = std::to_string(result.status) + " " + text_of(as_time_id(current)) + ":";
  for (const auto& entry : result.entries)
    text += " " + made.channels[entry.channel] + "@" + text_of(as_time_id(entry.event));
  return text;
}

std::string joined(const generated& made, const std::vector<std::size_t>& channels) {
  std::string text;
  for (const std::size_t channel : channels) text += (text.empty() ? "" : ";") + made.channels[channel];
  return text;
}

int any_direction(dice& random, int style) {
  switch (style) {
    case 0:
      return 1;
    case 1:
      return random.chance(75) ? 1 : -1;
    case 2:
      return random.chance(60) ? -1 : 1;
    default:
      return random.between(-2, 2);
  }
}

/// An event somewhere in or around the stream, with or without a number.
model_event any_target(dice& random, const generated& made) {
  const stream_file& file =
      made.files[static_cast<std::size_t>(random.below(static_cast<int>(made.files.size())))];
  if (file.events.empty()) return {1, noon};
  const stream_event& event =
      file.events[static_cast<std::size_t>(random.below(static_cast<int>(file.events.size())))];
  model_event target{event.number, noon + event.after_noon};
  if (random.chance(30)) target.number = 0;
  if (random.chance(30)) target.time += random.between(-200000, 200000);
  return target;
}

std::string difference(const std::string& where, const std::string& slicer, const std::string& model) {
  return slicer == model ? "" : where + ": slicer \"" + slicer + "\", model \"" + model + "\"";
}

template <class generation>
model_settings any_settings(dice& random) {
  model_settings settings;
  settings.by_time = random.chance(50);
  settings.tolerance = random.chance(70) ? 50000 : random.between(0, 150000);
  settings.number_step = random.chance(85) ? 1 : static_cast<std::uint32_t>(random.between(2, 5));
  settings.time_step = random.chance(85) ? 100000 : random.between(1, 1500000);
  settings.by_time_fix = random.chance(70);
  // The older generation has neither rule.
  if (either<generation>(false, true)) settings.by_time_fix = settings.update_blocks_lose_ties = false;
  return settings;
}

template <class Slicer>
int set_up(Slicer& slicer, const model_settings& settings, const std::vector<std::string>& files,
           const std::vector<std::string>& channels) {
  const time_stamp tolerance = stamp(settings.tolerance);
  const ravo_time_id step{settings.number_step, stamp(settings.time_step)};
  if constexpr (requires { slicer.set_by_time_fix(true); }) slicer.set_by_time_fix(settings.by_time_fix);
  if (const int status = init(slicer, files, channels)) return status;
  slicer.set_synch_mode(settings.by_time ? 1 : 0);
  slicer.set_time_diff(&tolerance);
  slicer.set_event_step(&step);
  return 0;
}

/// Reads the stream of a seed both ways; the first difference in words, or nothing.
template <class generation>
std::string compare_with_model(unsigned seed) {
  const std::string name = "seed " + std::to_string(seed);
  dice random(seed);
  const generated made = generate(random);
  stream<generation> files;
  write(made, files);
  const model_settings settings = any_settings<generation>(random);

  typename generation::slicer slicer;
  if (set_up(slicer, settings, files.paths(), made.channels) != 0) return name + " not set up";
  alignment_model model(made.plan, settings);
  std::string found =
      difference(name + " start", std::to_string(slicer.start()), std::to_string(model.start()));
  if (found.empty())
    found = difference(name + " left out", slicer.get_not_found_channels(), joined(made, model.not_found));
  if (found.empty())
    found = difference(name + " first event", text_of(slicer.current_event_id),
                       text_of(as_time_id(model.current)));

  const int style = random.below(4);
  const int calls = style == 0 ? 80 : 60;
  for (int call = 0, ends = 0; found.empty() && call < calls && ends < 2; ++call) {
    const int direction = any_direction(random, style);
    std::optional<model_event> id;
    if (style != 0 && random.chance(15)) id = any_target(random, made);
    const ravo_time_id asked = as_time_id(id.value_or(model_event{}));
    const auto expected = model.get(id, direction);
    found =
        difference(name + " call " + std::to_string(call) + " direction " + std::to_string(direction) +
                       (id ? " from " + text_of(asked) : ""),
                   get(slicer, direction, id ? &asked : nullptr), predicted(made, expected, model.current));
    if (expected.status == RAVO_DAQ_SLICER_OUT_OF_WINDOW) ++ends;
  }
  return found;
}

/// The first difference within fifty streams.
template <class generation>
std::string compare_fifty_with_model(unsigned which) {
  const captured_output quiet;
  std::string found;
  for (unsigned seed = which * 50; found.empty() && seed < which * 50 + 50; ++seed)
    found = compare_with_model<generation>(seed);
  return found;
}

// Spread over several tests, so that they run side by side.
class SlicerModel : public ::testing::TestWithParam<unsigned> {};

TEST_P(SlicerModel, PredictsEveryEvent) {
  EXPECT_EQ(compare_fifty_with_model<current_generation>(GetParam()), "");
}

TEST_P(SlicerModel, PredictsEveryEventOfOlderFiles) {
  EXPECT_EQ(compare_fifty_with_model<older_generation>(GetParam()), "");
}

INSTANTIATE_TEST_SUITE_P(Seeds, SlicerModel, ::testing::Range(0u, 10u));

}  // namespace
}  // namespace ravo::test
