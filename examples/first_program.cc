// Reads one channel of some raw files and prints its first value, event by event.
#include <ravo_dataset.h>

#include <cstdio>

int main(int argc, char** argv) try {
  if (argc != 2) return std::fprintf(stderr, "usage: first_program SELECTION\n"), 2;
  const auto data = ravo::dataset::open(argv[1]);  // such as "file=FOLDER chan=LINAC/BPM/1"
  for (ravo::event_range events = data.events(); const ravo::event& event : events)
    std::printf("%u %g\n", event.number(), event[0].scalar());
  std::fputs(data.ledger().to_text().c_str(), stderr);  // expected = delivered + missing
} catch (const ravo::dataset_error& error) {
  return std::fprintf(stderr, "%s\n", error.what()), 1;
}
