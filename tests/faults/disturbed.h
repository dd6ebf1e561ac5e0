// Runs a way of reading with a fault at the first call of some kinds, then at the second, and so on until
// the run has no such call left; and checks after each: a documented status, no wrong value, no value
// missing without a report, nothing thrown, nothing leaked, and everything read when it is tried again.
#ifndef RAVO_TEST_FAULTS_DISTURBED_H
#define RAVO_TEST_FAULTS_DISTURBED_H

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <optional>
#include <sstream>
#include <string>

#include "shim.h"
#include "ways_to_read.h"

namespace ravo::test {

struct disturbance {
  unsigned kinds;
  mishap what = mishap::failure;
  int error = 0;
  extent reach = extent::one_call;
  /// Whether the library recovers from it: then no value is missing.
  bool is_harmless = false;
  /// For mishap::intrusion: what is done before the call, and what undoes it.
  std::function<void()> intrude = [] {};
  std::function<void()> undo = [] {};
  /// Whether what was read belongs together.
  std::function<bool(const reading_outcome&)> is_consistent = [](const reading_outcome& of) {
    return of.other.none();
  };
};

inline fault arm(const disturbance& how, long which) {
  if (how.what == mishap::intrusion) return fault(how.kinds, which, how.intrude);
  return fault(how.kinds, which, how.what, how.error, how.reach);
}

/// The process's resources that a run must give back.
struct resources {
  long descriptors = open_descriptors();
  long threads = settled_threads(idle_threads());
  long mappings = living_mappings();

  void expect_same(const std::string& when) const {
    // A sanitizer's own may have come meanwhile.
    const long most = std::max(threads, idle_threads());
    EXPECT_LE(settled_threads(most), most) << when;
    EXPECT_EQ(open_descriptors(), descriptors) << when;
    EXPECT_EQ(living_mappings(), mappings) << when;
  }
};

template <class way>
void run_once(way& one, reading_outcome& outcome) {
  try {
    one.run(outcome);
  } catch (...) {
    outcome.has_thrown = true;
  }
}

template <class way>
void expect_complete(const reading_outcome& outcome, const std::string& when) {
  EXPECT_EQ(outcome.status, way::at_end()) << when;
  EXPECT_EQ(outcome.read, way::expected()) << when;
  EXPECT_EQ(outcome.wrong, 0u) << when;
  EXPECT_FALSE(outcome.has_thrown) << when;
}

template <class way, class run_type>
std::string words_of_a_good_run(const run_type& run) {
  const attentive_silence hushed;
  way one(run);
  reading_outcome outcome;
  run_once(one, outcome);
  return hushed.words();
}

/// Whether a line of `words` is not among those of `usual`.
inline bool has_another_line(const std::string& words, const std::string& usual) {
  std::istringstream lines(words);
  for (std::string line; std::getline(lines, line);)
    if (("\n" + usual).find("\n" + line + "\n") == std::string::npos) return true;
  return false;
}

/// The result of a way of reading with a fault at each of its calls.
struct faring {
  long calls = 0;             ///< at which there was a fault
  std::vector<int> statuses;  ///< for each
};

/// Calls disturbed in this program so far, as a property of the test (--gtest_output=xml:FILE).
inline long disturbed_calls = 0;

template <class way, class run_type>
faring disturb_every_call(const run_type& run, const disturbance& how) {
  faring result;
  const std::string usual_words =
      words_of_a_good_run<way>(run);  // what is made once for the process is made now
  const bool speaks_alike = words_of_a_good_run<way>(run) == usual_words;
  EXPECT_TRUE(speaks_alike) << way::name << ": what it says of a good run is no measure";
  const resources before;
  for (long which = 0; which < 20000 && !testing::Test::HasFailure(); ++which) {
    const std::string when = std::string(way::name) + ", call " + std::to_string(which);
    reading_outcome disturbed, again;
    bool happened = false, has_spoken = false;
    {
      const allocation_count memory;
      {
        const attentive_silence hushed;
        std::optional<way> one;
        one.emplace(run);
        {
          const fault armed = arm(how, which);
          run_once(*one, disturbed);
          happened = armed.happened();
        }
        has_spoken = has_another_line(hushed.words(), usual_words);
        one->clean_up();
        how.undo();
        run_once(*one, again);
      }
      EXPECT_LE(settled_threads(before.threads), before.threads) << when;
      disturbed.has_thrown = disturbed.has_thrown || again.has_thrown;
      EXPECT_EQ(memory.living(), 0) << when << " " << memory.places();
    }
    before.expect_same(when);
    EXPECT_EQ(disturbed.wrong, 0u) << when;
    EXPECT_TRUE(how.is_consistent(disturbed)) << when;
    EXPECT_FALSE(disturbed.has_thrown) << when;
    expect_complete<way>(again, when + ", tried again");
    if (!happened || how.is_harmless)
      expect_complete<way>(disturbed, when);
    else
      EXPECT_TRUE(disturbed.status == way::at_end() || way::is_stated(disturbed.status))
          << when << " " << disturbed.status;
    const bool is_complete = (disturbed.read | disturbed.other) == way::expected();
    EXPECT_TRUE(disturbed.status != way::at_end() || is_complete || has_spoken)
        << when << ": values are missing, and nothing is said";
    if (!happened) break;
    ++result.calls;
    result.statuses.push_back(disturbed.status);
  }
  disturbed_calls += result.calls;
  testing::Test::RecordProperty("disturbed_calls", std::to_string(disturbed_calls));
  return result;
}

}  // namespace ravo::test

#endif
