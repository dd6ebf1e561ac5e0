// A soak: opens, reads, steps back and forth, switches and closes at random for as long as asked, with
// readers of both generations, and measures now and then, with everything closed, what the process holds.
// At the end it prints the curve; it ends with 1 when something grew or a value was wrong. usage: soak
// SECONDS [SEED]
#include <malloc.h>
#include <sched.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <optional>
#include <random>
#include <thread>

#include "api/written_run.h"
#include "ravo_mapping_guard.h"
#include "soak_curve.h"
#include "ways_to_read.h"

namespace ravo::test {
namespace {

using seconds = std::chrono::duration<double>;

long entries_of(const char* folder) {
  return std::distance(std::filesystem::directory_iterator(folder), std::filesystem::directory_iterator());
}

// All of the process's mappings, and those of files: their lines end with a path.
std::pair<long, long> count_mappings() {
  std::ifstream in("/proc/self/maps");
  std::pair<long, long> counts;
  for (std::string line; std::getline(in, line);) {
    ++counts.first;
    counts.second += line.find('/') != std::string::npos;
  }
  return counts;
}

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
extern "C" std::size_t __sanitizer_get_current_allocated_bytes();
constexpr allocator whose_memory = allocator::of_a_sanitizer;
long heap_kib() { return static_cast<long>(__sanitizer_get_current_allocated_bytes() / 1024); }
#else
constexpr allocator whose_memory = allocator::of_the_system;
long heap_kib() { return static_cast<long>(mallinfo2().uordblks / 1024); }
#endif

long resident_kib() {
  std::ifstream in("/proc/self/statm");
  long all = 0, resident = 0;
  in >> all >> resident;
  return resident * sysconf(_SC_PAGESIZE) / 1024;
}

// Threads of a process in which nothing runs: its own and, once there was another, a sanitizer's.
long idle_threads() {
  std::thread([] {}).join();
  return entries_of("/proc/self/task");
}

/// Readers of one generation that live for a while, and what is done with them.
template <class generation>
class readers {
 public:
  readers(const small_run<generation>& run, std::mt19937& random) : run_(run), random_(random) {}

  void do_something() {
    const std::size_t which = below(most);
    if (!open_[which]) return begin(open_[which]);
    switch (below(12)) {
      case 0:
        return open_[which].reset();
      case 1:
        open_[which]->clean_up();
        return begin_again(*open_[which]);
      case 2:
        return read_channel();
      default:
        return step(*open_[which]);
    }
  }
  void close_all() {
    for (auto& one : open_) one.reset();
  }
  unsigned wrong() const { return outcome_.wrong; }

 private:
  static constexpr std::size_t most = 5;
  using reader = typename generation::reader;

  std::size_t below(std::size_t bound) { return random_() % bound; }

  void begin(std::unique_ptr<reader>& place) {
    place = std::make_unique<reader>();
    begin_again(*place);
  }
  void begin_again(reader& one) {
    std::vector<std::string> names = small_run<generation>::channel_names();
    names.resize(1 + below(names.size()));
    const wanted_channels<generation> wanted(names);
    std::vector<char*> files = run_.file_list();
    if (below(3) == 0) files.resize(1);
    if (one.init(&files, wanted.entries()) != 0) ++outcome_.wrong;
    one.set_synch_mode(static_cast<int>(below(2)));
    if (one.start() != 0) ++outcome_.wrong;
  }
  void step(reader& one) {
    static constexpr int directions[] = {1, 1, 1, 1, 0, -1, -2, 2};
    std::vector<ravo_channel_entry_long*> entries;
    for (std::size_t i = below(6); i > 0; --i) {
      if (one.get_data(nullptr, &entries, directions[below(8)]) != 0) break;
      ravo_daq_getdata cursor;
      cursor.SetRes(&entries);
      for (const ravo_channel_entry_long* entry : entries) small_run<generation>::take(*entry, outcome_);
    }
  }
  void read_channel() {
    channel_way<generation> way(run_);
    way.run(outcome_);
    if (outcome_.status != 0) ++outcome_.wrong;
  }

  const small_run<generation>& run_;
  std::mt19937& random_;
  std::unique_ptr<reader> open_[most];
  reading_outcome outcome_;
};

/// Long blocks, several workers a channel, more files: a run of the writer, read from end to end or part of
/// it.
template <class generation>
class long_readings {
 public:
  explicit long_readings(std::mt19937& random) : run_(4, 20), random_(random) {}

  void read_some() {
    typename generation::reader reader;
    std::vector<std::string> paths = run_.files();
    std::vector<char*> files;
    for (std::string& path : paths) files.push_back(path.data());
    char names[][5] = {"BPM", "RF", "GROW", "SLOW"};
    std::vector<daq_channel_entry> entries;
    for (auto& name : names) entries.push_back({name, {}});
    std::vector<daq_channel_entry*> channels;
    for (auto& entry : entries) channels.push_back(&entry);
    if (reader.init(&files, &channels) != 0 || reader.start() != 0) ++wrong_;
    std::vector<ravo_channel_entry_long*> found;
    for (auto left = random_() % 100; left > 0 && reader.get_data(nullptr, &found, 1) == 0; --left)
      for (const ravo_channel_entry_long* entry : found) check(*entry);
  }
  unsigned wrong() const { return wrong_; }

 private:
  void check(const ravo_channel_entry_long& entry) {
    using subhead = typename generation::records::subhead;
    const auto* head = reinterpret_cast<const subhead*>(entry.sbchdata[0].chhd);
    const std::string& expected = run_.payload(head->chname, entry.event_id.event_number);
    const auto length = static_cast<std::size_t>(head->ldata) - sizeof *head;
    if (length != expected.size() || std::memcmp(head + 1, expected.data(), length) != 0) ++wrong_;
  }
  written_run<generation> run_;
  std::mt19937& random_;
  unsigned wrong_ = 0;
};

class soak_run {
 public:
  soak_run(double duration, unsigned seed)
      : duration_(duration),
        random_(seed),
        current_(current_run_, random_),
        older_(older_run_, random_),
        current_long_(random_),
        older_long_(random_),
        threads_before_(idle_threads()) {}

  void run() {
    constexpr std::size_t fewest_samples = 12;  // on a machine that has other things to do, it takes longer
    const double interval = duration_ / 60;
    for (double next = interval; elapsed() < duration_ || curve_.size() < fewest_samples; ++operations_) {
      do_something();
      if (elapsed() < next) continue;
      next = elapsed() + interval;
      take_sample();
    }
    take_sample();
  }
  const std::vector<soak_sample>& curve() const { return curve_; }
  unsigned wrong() const {
    return current_.wrong() + older_.wrong() + current_long_.wrong() + older_long_.wrong();
  }

 private:
  double elapsed() const { return seconds(std::chrono::steady_clock::now() - start_).count(); }

  void do_something() {
    const auto choice = random_() % 20;
    if (choice < 9) return current_.do_something();
    if (choice < 18) return older_.do_something();
    if (choice == 18) return operations_ % 2 == 0 ? current_long_.read_some() : older_long_.read_some();
    reading_outcome ignored;  // the tests check the values; here only leaks count
    request_way<current_generation>(current_run_).run(ignored);
    listed_way(older_run_).run(ignored);
    browser_way(older_run_).run(ignored);
  }
  void take_sample() {
    current_.close_all();
    older_.close_all();
    // Workers on their way out.
    for (int i = 0; i < 100000 && entries_of("/proc/self/task") > threads_before_; ++i) sched_yield();
    malloc_trim(0);
    const auto [mappings, of_files] = count_mappings();
    curve_.push_back({elapsed(), operations_, resident_kib(), heap_kib(), entries_of("/proc/self/fd"),
                      entries_of("/proc/self/task"), mappings, of_files});
  }

  const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
  const double duration_;
  std::mt19937 random_;
  const small_run<current_generation> current_run_;
  const small_run<older_generation> older_run_;
  readers<current_generation> current_;
  readers<older_generation> older_;
  long_readings<current_generation> current_long_;
  long_readings<older_generation> older_long_;
  const long threads_before_;
  long operations_ = 0;
  std::vector<soak_sample> curve_;
};

void print(const std::vector<soak_sample>& curve) {
  std::printf("%9s %11s %9s %9s %6s %8s %9s %6s\n", "seconds", "operations", "RSS KiB", "heap KiB", "files",
              "threads", "mappings", "mapped");
  const std::size_t every = curve.size() / 20 + 1;
  for (std::size_t i = 0; i < curve.size(); ++i) {
    if (i % every != 0 && i + 1 != curve.size()) continue;
    const soak_sample& one = curve[i];
    const auto bar = static_cast<int>(std::min(one.resident_kib / 1024, 60L));
    std::printf("%9.1f %11ld %9ld %9ld %6ld %8ld %9ld %6ld  %s\n", one.seconds, one.operations,
                one.resident_kib, one.heap_kib, one.descriptors, one.threads, one.mappings,
                one.mapped_files, std::string(static_cast<std::size_t>(bar), '#').c_str());
  }
}

int soak_for(double duration, unsigned seed) {
  setenv("RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME", "1", 1);
  ravo_install_mapping_guard();
  std::optional<soak_run> soak(std::in_place, duration, seed);
  {
    const silence hushed;
    soak->run();
  }
  print(soak->curve());
  std::vector<std::string> complaints = soak::growth(soak->curve(), whose_memory);
  if (soak->wrong() != 0) complaints.push_back(std::to_string(soak->wrong()) + " wrong values or refusals");
  for (const std::string& complaint : complaints) std::printf("soak: %s\n", complaint.c_str());
  if (complaints.empty()) std::printf("soak: nothing grew, seed %u\n", seed);
  return complaints.empty() ? 0 : 1;
}

}  // namespace
}  // namespace ravo::test

int main(int count, char** arguments) {
  const double duration = count > 1 ? std::atof(arguments[1]) : 0;
  if (duration <= 0) {
    std::fprintf(stderr, "usage: soak SECONDS [SEED]\n");
    return 2;
  }
  return ravo::test::soak_for(duration, count > 2 ? static_cast<unsigned>(std::atol(arguments[2])) : 1);
}
