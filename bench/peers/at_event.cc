// One event of twelve channels from a file that is no longer in the page cache. Where the storage is
// another machine's memory, as for virtual machines, "cold" means what this machine's kernel takes it to
// be.
#include <functional>
#include <stdexcept>

#include "bench_files.h"
#include "figures.h"
#include "hdf5_file.h"
#include "noise.h"
#include "parts.h"
#include "process.h"
#include "ravo_dataset.h"
#include "raw_output.h"

namespace ravo::bench {
namespace {

constexpr int channels = 12;

/// One line of the table: times, and bytes of the last repetition.
struct line {
  std::string what;
  figures milliseconds;
  bytes_read bytes;

  void time(const std::function<void()>& work) {
    const bytes_read before = read_so_far();
    const double begin = now();
    work();
    milliseconds.add((now() - begin) * 1e3);
    bytes = read_so_far() - before;
  }
  void print() const {
    print_row({what, milliseconds.text(), in_short(static_cast<double>(bytes.by_calls) / 1024),
               in_short(static_cast<double>(bytes.from_storage) / 1024)});
  }
};

dataset open_file(const std::string& path) {
  selection wanted;
  wanted.files = {path};
  return dataset::open(wanted);
}

void touch_event(const dataset& data, std::uint32_t number) {
  const auto found = data.at(number);
  if (!found) throw std::runtime_error("an event is missing");
  for (std::size_t channel = 0; channel < channels; ++channel)
    if ((*found)[channel].spectrum().values.empty()) throw std::runtime_error("a value is missing");
}

std::string write_hdf5(const shape& what) {
  const std::string path = folder() + "/at.h5";
  hdf5_writer file(path, what, hdf5_filter::gzip);
  std::vector<std::byte> values(what.value_bytes());
  for (int event = 0; event < what.events; ++event)
    for (int channel = 0; channel < channels; ++channel) {
      values_of_block(what, make_block(what, channel, event).data(), values.data());
      file.write(channel, event, values.data());
    }
  return path;
}

std::string write_raw(const shape& what) {
  raw_output file(folder() + "/at", what, ravo_compression::zlib);
  for (int event = 0; event < what.events; ++event) {
    file.begin_event(event);
    for (int channel = 0; channel < channels; ++channel)
      file.add(channel, make_block(what, channel, event));
    file.end_event();
  }
  return file.close().at(0);
}

}  // namespace

void compare_at(extent how_much) {
  const bool is_full = how_much == extent::full;
  const shape what = waveforms(2048, channels, is_full ? 2000 : 400);
  const std::string raw = write_raw(what), alternative = write_hdf5(what);
  line open{"open the dataset, cold", {}, {}}, first{"first `at(number)` of it, cold", {}, {}};
  line later{"later `at(number)`, cold", {}, {}}, warm{"open and first `at(number)`, warm", {}, {}};
  line warm_later{"later `at(number)`, warm", {}, {}};
  line other{"HDF5: open and one event, cold", {}, {}}, other_later{"HDF5: later event, cold", {}, {}};
  std::vector<std::byte> values(what.value_bytes());
  for (int i = 0; i < (is_full ? 25 : 5); ++i) {
    simulator::noise numbers(5, 6, static_cast<std::uint64_t>(i));
    const auto any_event = [&] { return static_cast<int>(numbers.uniform() * what.events); };
    {
      drop_from_cache(raw);
      std::optional<dataset> data;
      open.time([&] { data = open_file(raw); });
      first.time([&] { touch_event(*data, number_of(any_event())); });
      drop_from_cache(raw);
      later.time([&] { touch_event(*data, number_of(any_event())); });
    }
    const int event = any_event();
    touch_event(open_file(raw), number_of(event));
    warm.time([&] { touch_event(open_file(raw), number_of(event)); });
    const dataset data = open_file(raw);
    touch_event(data, number_of(event));
    warm_later.time([&] { touch_event(data, number_of(event)); });
    {
      drop_from_cache(alternative);
      std::optional<hdf5_reader> file;
      const auto read_event = [&](int number) {
        for (int channel = 0; channel < channels; ++channel) file->read(channel, number, values.data());
      };
      other.time([&] {
        file.emplace(alternative, what, channels);
        read_event(any_event());
      });
      drop_from_cache(alternative);
      other_later.time([&] { read_event(any_event()); });
    }
  }
  print_head(
      {"One event of 12 channels, 2,048 floats, zlib", "Milliseconds", "KiB read", "KiB from storage"});
  for (const line* one : {&open, &first, &later, &warm, &warm_later, &other, &other_later}) one->print();
}

}  // namespace ravo::bench
