// Parts of columns: some rows and samples of one channel, a channel in pieces that fit into the memory, and
// several channels as a table with a row for each event.
#include <ravo_dataset.h>

#include <cstdio>

int main(int argc, char** argv) try {
  if (argc != 2) return std::fprintf(stderr, "usage: columns_in_parts SELECTION\n"), 2;
  const auto data = ravo::dataset::open(argv[1]);

  ravo::column_options part;
  part.first = 10;
  part.count = 3;
  part.samples = ravo::item_range{0, 2};
  const ravo::column_data waves = data.column("LINAC/BPM/001", part);
  for (std::size_t row = 0; row < waves.size(); ++row)
    std::printf("%u: %g %g\n", waves.numbers[row], waves.row<float>(row)[0], waves.row<float>(row)[1]);

  std::size_t chunks = 0, rows = 0;
  ravo::column_chunk_range pieces = data.column_chunks("LINAC/BPM/001", 100'000);
  for (const ravo::column_data& chunk : pieces) {
    ++chunks;
    rows += chunk.size();
  }
  std::printf("%zu rows in %zu chunks\n", rows, chunks);

  ravo::column_options table;
  table.rows = ravo::column_rows::events;
  const auto columns = data.columns({"LINAC/BPM/001", "LINAC/MAGNET/001"}, table);
  std::printf("%zu columns of %zu rows\n", columns.size(), columns[0].size());
} catch (const ravo::dataset_error& error) {
  return std::fprintf(stderr, "%s\n", error.what()), 1;
}
