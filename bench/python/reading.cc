// What Python is compared with: the same readings from C++, with the CPU seconds that each takes. Knows
// nothing of Python. compare.py starts it.
#include <ravo_dataset.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

namespace {

double cpu_seconds() { return static_cast<double>(std::clock()) / CLOCKS_PER_SEC; }

/// The numbers of the events are added, so that no reading is left out.
unsigned long long read_events(const ravo::dataset& data) {
  unsigned long long sum = 0;
  for (ravo::event_range events = data.events(); const ravo::event& event : events) sum += event.number();
  return sum;
}

unsigned long long read_columns(const ravo::dataset& data) {
  unsigned long long rows = 0;
  for (const ravo::dataset_channel& channel : data.channels()) rows += data.column(channel.label).size();
  return rows;
}

}  // namespace

int main(int argc, char** argv) try {
  if (argc != 4 || (std::strcmp(argv[1], "columns") != 0 && std::strcmp(argv[1], "events") != 0))
    return std::fprintf(stderr, "usage: ravo_bench_reading columns|events THREADS SELECTION\n"), 2;
  ravo::dataset_options options;
  options.threads = std::strtoul(argv[2], nullptr, 10);
  const auto data = ravo::dataset::open(argv[3], options);
  (void)data.event_ids();
  const double before = cpu_seconds();
  const auto checked = std::strcmp(argv[1], "columns") == 0 ? read_columns(data) : read_events(data);
  std::printf("%.6f %llu\n", cpu_seconds() - before, checked);
} catch (const ravo::dataset_error& error) {
  return std::fprintf(stderr, "%s\n", error.what()), 1;
}
