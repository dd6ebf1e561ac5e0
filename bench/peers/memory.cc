// Reads all of the large files in a process that may not have more memory of its own than the cap, whatever
// the dataset counts: beyond the cap the system refuses memory, and the reading fails.
#include <stdexcept>

#include "bench_files.h"
#include "figures.h"
#include "large_files.h"
#include "parts.h"
#include "process.h"
#include "ravo_dataset.h"

namespace ravo::bench {
namespace {

constexpr std::uint64_t mebibyte = std::uint64_t{1} << 20;
constexpr std::uint64_t cap = 512 * mebibyte;
// The rest is for the program itself, its threads' stacks and what lies unused
// between blocks.
constexpr std::uint64_t limit = 448 * mebibyte;

std::uint64_t read_events(const dataset& data) {
  std::uint64_t bytes = 0;
  for (event_range all = data.events(); const event& one : all)
    for (std::size_t channel = 0; channel < one.channels(); ++channel)
      bytes += one[channel].spectrum().values.size_bytes();
  return bytes;
}

std::uint64_t read_columns(const dataset& data) {
  std::uint64_t bytes = 0;
  for (const dataset_channel& one : data.channels()) bytes += data.column(one.label).bytes().size();
  return bytes;
}

void report(const std::string& way, const dataset& data, std::uint64_t (*read)(const dataset&)) {
  const double begin = now();
  const std::uint64_t bytes = read(data);
  const double seconds = now() - begin;
  if (data.ledger().missing() != 0) throw std::runtime_error("not all values were read");
  const double gigabytes = static_cast<double>(bytes) * 1e-9;
  print_row({way, in_short(gigabytes), in_short(gigabytes / seconds),
             std::to_string(data.peak_memory() / mebibyte), std::to_string(peak_resident() / mebibyte)});
}

}  // namespace

void read_in_capped_memory(const std::string& from) {
  cap_own_memory(cap);
  selection wanted;
  wanted.files = large_files(from);
  dataset_options options;
  options.memory_limit = limit;
  print_head({"Under " + std::to_string(cap / mebibyte) + " MiB, `memory_limit` " +
                  std::to_string(limit / mebibyte) + " MiB",
              "GB of values", "GB/s", "Most owned, MiB", "Most resident, MiB"});
  report("`events()`, 2,000 channels", dataset::open(wanted, options), read_events);
  report("`column()`, each channel", dataset::open(wanted, options), read_columns);
}

}  // namespace ravo::bench
