// Loading the tables of a file with two thousand channels, compared with reading the same bytes into memory
// and swapping those that are words.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <stdexcept>

#include "bench_files.h"
#include "ravo_evutl.h"

namespace {

using namespace ravo::bench;

// A table, and how many bytes of each of its records are words; the rest is text.
struct range {
  std::uint32_t offset;
  std::size_t bytes;
  std::size_t record_bytes;
  std::size_t record_words;  // bytes of words at the end of a record
};

// The tables' bytes in the file, without the header baskets, which are only mapped.
std::vector<range> tables_of(const loaded_file& file) {
  const ravo_file_reference_table_2010& reference = *file.tables.get_ref_tbl();
  const ravo_event_index_table_2010* index = file.tables.get_eit_table();
  const ravo_event_index_entry_2010* entry = index->event_index_entry();
  for (int i = 0; i < index->nevent_types; ++i) entry = entry->next();
  const auto index_bytes =
      static_cast<std::size_t>(reinterpret_cast<const char*>(entry) - reinterpret_cast<const char*>(index));
  auto length = [](const auto* table) { return static_cast<std::size_t>(table->length); };
  return {
      {reference.eit_pos_ref, index_bytes, 16, 16},
      {reference.cdt_ref, length(file.tables.get_cdt_table()), sizeof(ravo_chan_dictionary_entry_2010), 16},
      {reference.ecp_ref, length(file.tables.get_ecp_table()), 16, 16},
      {reference.eidt_ref, length(file.tables.get_eidt_table()), 8, 8},
      {reference.xcd_ref, length(file.tables.get_xcd_table()), 16, 0}};
}

void read_bare(const std::string& path, const std::vector<range>& tables) {
  const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  for (const range& table : tables) {
    auto* memory = static_cast<unsigned char*>(std::malloc(table.bytes));
    if (!memory || pread(fd, memory, table.bytes, table.offset) != static_cast<ssize_t>(table.bytes))
      throw std::runtime_error("a table cannot be read");
    if (table.record_words == table.record_bytes)
      swap_words(memory, memory, table.bytes);
    else
      for (std::size_t at = table.record_bytes; at <= table.bytes; at += table.record_bytes)
        swap_words(memory + at - table.record_words, memory + at - table.record_words, table.record_words);
    benchmark::DoNotOptimize(memory);
    std::free(memory);
  }
  close(fd);
}

void load_tables(benchmark::State& state) {
  ravo::simulator::settings what;
  what.files = 1;
  what.events = 50;
  what.counts = ravo::distribute_channels(2000);
  what.zlib_level = 1;
  const std::string path = simulated(what).at(0);
  const std::vector<range> tables = tables_of(loaded_file(path));
  comparison times;
  for (auto unused : state) {
    (void)unused;
    double begin = now();
    ravo_file_get_tables_2010 loader;
    if (loader.get_all_tables(path.c_str(), 0, nullptr) != 0) throw std::runtime_error("refused");
    loader.clean_up();
    const double library = now() - begin;
    state.SetIterationTime(library);
    begin = now();
    read_bare(path, tables);
    times.add(library, now() - begin);
  }
  std::size_t bytes = 0;
  for (const range& table : tables) bytes += table.bytes;
  state.SetBytesProcessed(static_cast<std::int64_t>(bytes) * state.iterations());
  state.counters["of_bare"] = times.of_bare();
}
BENCHMARK(load_tables)
    ->Name("load_tables/channels:2000")
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->MinTime(2.0);

}  // namespace
