// What reading a selection takes, its events one by one, and one of its channels as an array.
#include <ravo_dataset.h>

#include <cstdio>

int main(int argc, char** argv) try {
  if (argc != 2) return std::fprintf(stderr, "usage: events_and_columns SELECTION\n"), 2;
  const auto data = ravo::dataset::open(argv[1]);
  std::printf("%s", data.plan().to_text().c_str());
  for (ravo::event_range events = data.events(); const ravo::event& event : events)
    std::printf("%u: %g\n", event.number(), event["LINAC/BPM/001"].scalar());
  const ravo::column_data column = data.column("LINAC/BPM/001");
  std::printf("%zu rows\n%s", column.size(), column.ledger.to_text().c_str());
} catch (const ravo::dataset_error& error) {
  return std::fprintf(stderr, "%s\n", error.what()), 1;
}
