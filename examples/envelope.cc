// What a picture of a channel needs: its statistics, and its envelope in a few bins.
#include <ravo_dataset.h>

#include <cstdio>

int main(int argc, char** argv) try {
  if (argc != 3) return std::fprintf(stderr, "usage: envelope SELECTION CHANNEL\n"), 2;
  const auto data = ravo::dataset::open(argv[1]);
  for (const ravo::series_statistics& series : data.statistics(argv[2]).series)
    std::printf("%s: %g +- %g\n", series.name.c_str(), series.numbers.mean, series.numbers.deviation);
  ravo::envelope_options options;
  options.bins = 4;
  const ravo::channel_envelope envelope = data.envelope(argv[2], options);
  for (std::size_t bin = 0; bin < envelope.bins.size(); ++bin) {
    std::printf("events %lld to %lld, %s:", static_cast<long long>(envelope.edges[bin]),
                static_cast<long long>(envelope.edges[bin + 1] - 1),
                ravo::value_status_text(envelope.bins[bin].worst));
    for (const ravo::envelope_series& series : envelope.series)
      std::printf("  %g to %g", series.bins[bin].least, series.bins[bin].greatest);
    std::printf("\n");
  }
} catch (const ravo::dataset_error& error) {
  return std::fprintf(stderr, "%s\n", error.what()), 1;
}
