// What a soak measures, and whether it grew: the judgement over the samples, apart from the program so that
// curves made up by hand can be put before it.
#ifndef RAVO_TEST_FAULTS_SOAK_CURVE_H
#define RAVO_TEST_FAULTS_SOAK_CURVE_H

#include <algorithm>
#include <string>
#include <vector>

namespace ravo::test {

/// The process at one moment, with nothing open.
struct soak_sample {
  double seconds = 0;
  long operations = 0;
  long resident_kib = 0;
  long heap_kib = 0;  ///< given out by the allocator
  long descriptors = 0;
  long threads = 0;
  long mappings = 0;
  long mapped_files = 0;  ///< those of them that are parts of files
};

/// Whose memory it is. A sanitizer keeps what was given back for a while, and a little of every thread for
/// ever: what it was asked for and has not got back shows growth there, and what the process has of the
/// system does not.
enum class allocator { of_the_system, of_a_sanitizer };

namespace soak {

using field = long soak_sample::*;

struct measure {
  const char* name;
  field value;
  long percent;  ///< that the last third may lie above the middle one
  long more;     ///< and this beyond it
  bool is_only_of_the_system = false;
};

/// Descriptors, threads and files may not grow by one. Memory and mappings settle late, because the
/// allocator keeps pools for threads that meet by chance.
inline constexpr measure measures[] = {{"resident memory (KiB)", &soak_sample::resident_kib, 5, 2048, true},
                                       {"heap in use (KiB)", &soak_sample::heap_kib, 2, 64},
                                       {"descriptors", &soak_sample::descriptors, 0, 0},
                                       {"threads", &soak_sample::threads, 0, 0},
                                       {"mappings", &soak_sample::mappings, 5, 16, true},
                                       {"mapped files", &soak_sample::mapped_files, 0, 0}};

inline long median(const std::vector<soak_sample>& curve, std::size_t begin, std::size_t end, field value) {
  std::vector<long> values;
  for (std::size_t i = begin; i < end; ++i) values.push_back(curve[i].*value);
  std::nth_element(values.begin(), values.begin() + static_cast<long>(values.size() / 2), values.end());
  return values[values.size() / 2];
}

/// What grew, one text each; the first third is for warming up. A curve that is too short to judge is a
/// complaint too.
inline std::vector<std::string> growth(const std::vector<soak_sample>& curve,
                                       allocator whose = allocator::of_the_system) {
  if (curve.size() < 9) return {"only " + std::to_string(curve.size()) + " samples"};
  std::vector<std::string> complaints;
  const std::size_t third = curve.size() / 3;
  for (const measure& one : measures) {
    if (one.is_only_of_the_system && whose != allocator::of_the_system) continue;
    const long middle = median(curve, third, 2 * third, one.value);
    const long last = median(curve, 2 * third, curve.size(), one.value);
    if (last > middle + middle * one.percent / 100 + one.more)
      complaints.push_back(std::string(one.name) + " grew from " + std::to_string(middle) + " to " +
                           std::to_string(last));
  }
  return complaints;
}

}  // namespace soak
}  // namespace ravo::test

#endif
