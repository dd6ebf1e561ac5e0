// What a channel is, which events it has, and where its first block lies: one block is decoded for it.
#include <ravo_dataset.h>

#include <cstdio>

int main(int argc, char** argv) try {
  if (argc != 3) return std::fprintf(stderr, "usage: what_is_there SELECTION CHANNEL\n"), 2;
  const auto data = ravo::dataset::open(argv[1]);
  const ravo::channel_description what = data.describe(argv[2]);
  std::printf("%s: %s [%s], %.1f values a second\n", what.label.c_str(), what.description.c_str(),
              what.unit.c_str(), what.rate);
  for (const ravo::described_dimension& dimension : what.dimensions)
    std::printf("%s: %zu, %s [%s]\n", ravo::dimension_name(dimension.dimension), dimension.size,
                dimension.label.c_str(), dimension.unit.c_str());
  const ravo::dataset_index index = data.index({argv[2]});
  const ravo::channel_index& rows = index.channels.front();
  if (rows.size() == 0) return std::printf("no events\n"), 0;
  std::printf("%zu events, the first one %u at %lld us: %s\n", rows.size(), rows.numbers()[0],
              static_cast<long long>(rows.times_us()[0]), ravo::index_status_text(rows.status[0]));
  if (const auto place = data.locate(argv[2], 0))
    std::printf("%s: %llu bytes at %llu, %s, %llu when decoded\n", place->path.c_str(),
                static_cast<unsigned long long>(place->stored_bytes),
                static_cast<unsigned long long>(place->data_offset),
                ravo::block_compression_name(place->compression),
                static_cast<unsigned long long>(place->decoded_bytes));
} catch (const ravo::dataset_error& error) {
  return std::fprintf(stderr, "%s\n", error.what()), 1;
}
