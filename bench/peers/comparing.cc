// All ways of reading all shapes, in turn and many times over, so that other load affects each of them.
// Before any time is measured, all of them must have given the same values.
#include <sys/resource.h>

#include <cstring>
#include <functional>
#include <memory>
#include <stdexcept>

#include "bench_files.h"
#include "figures.h"
#include "parts.h"
#include "peer_files.h"
#include "ways.h"

namespace ravo::bench {
namespace {

using memory = std::vector<std::byte>;

/// Of all threads of this program.
double processor_seconds() {
  rusage used{};
  getrusage(RUSAGE_SELF, &used);
  const auto seconds = [](const timeval& one) {
    return static_cast<double>(one.tv_sec) + static_cast<double>(one.tv_usec) * 1e-6;
  };
  return seconds(used.ru_utime) + seconds(used.ru_stime);
}

void expect_same(const memory& expected, memory& got, const std::string& way,
                 const std::function<void()>& read) {
  std::memset(got.data(), 0x55, got.size());
  read();
  if (got != expected) throw std::runtime_error(way + " gives other values than the bare loop");
}

/// One shape stored in one way.
class comparison_of_ways {
 public:
  /// `into`: memory for all values, which every way writes to.
  comparison_of_ways(const shape& what, const peer_files& files, memory& into, measured time)
      : what_(what), files_(files), raw_(what, files.raw), into_(into), time_(time) {
    for (const alternative& one : files.hdf5) hdf5_.emplace_back(what, one.path);
    bulk_.resize(hdf5_.size());
    by_event_.resize(hdf5_.size());
  }

  void verify() {
    memory expected(into_.size());
    raw_.bare(expected.data());
    expect_same(expected, into_, "column()", [this] { raw_.columns(into_.data()); });
    expect_same(expected, into_, "events()", [this] { raw_.events(into_.data()); });
    expect_same(expected, into_, "get_data()", [this] { raw_.get_data(into_.data()); });
    for (const hdf5_ways& ways : hdf5_) {
      expect_same(expected, into_, "HDF5 in bulk", [&] { ways.bulk(into_.data()); });
      expect_same(expected, into_, "HDF5 by event", [&] { ways.by_event(into_.data()); });
    }
  }

  /// The bare loop runs next to each of our ways; HDF5 is compared with the way that does the same.
  void once() {
    const double column = beside_bare(columns_, [this] { raw_.columns(into_.data()); });
    for (std::size_t i = 0; i < hdf5_.size(); ++i)
      bulk_[i].add(seconds_of([&] { hdf5_[i].bulk(into_.data()); }) / column);
    const double events = beside_bare(events_, [this] { raw_.events(nullptr); });
    for (std::size_t i = 0; i < hdf5_.size(); ++i)
      by_event_[i].add(seconds_of([&] { hdf5_[i].by_event(nullptr); }) / events);
    beside_bare(get_data_, [this] { raw_.get_data(nullptr); });
  }

  void print_of_bare() const {
    print_row({what_.name + ", " + files_.compression, std::to_string(what_.channels), bare_rate_.text(),
               columns_.text(), events_.text(), get_data_.text(), load_average()});
  }
  void print_of_hdf5() const {
    for (std::size_t i = 0; i < hdf5_.size(); ++i)
      print_row({what_.name + ", " + files_.compression, files_.hdf5[i].name, bulk_[i].text(),
                 by_event_[i].text()});
  }

 private:
  double seconds_of(const std::function<void()>& work) const {
    const auto clock = time_ == measured::by_the_clock ? now : processor_seconds;
    const double begin = clock();
    work();
    return clock() - begin;
  }

  double beside_bare(figures& share, const std::function<void()>& way) {
    const double bare = seconds_of([this] { raw_.bare(into_.data()); });
    const double time = seconds_of(way);
    share.add(bare / time);
    bare_rate_.add(static_cast<double>(what_.bytes()) / bare * 1e-6);
    return time;
  }

  const shape& what_;
  const peer_files& files_;
  raw_ways raw_;
  std::vector<hdf5_ways> hdf5_;
  memory& into_;
  measured time_;
  figures bare_rate_, columns_, events_, get_data_;
  std::vector<figures> bulk_, by_event_;
};

}  // namespace

void compare_ways(const ways_options& options) {
  const int rounds = options.how_much == extent::full ? 7 : 3;
  const std::vector<shape> shapes = all_shapes(options.how_much);
  std::vector<std::vector<peer_files>> files;
  std::vector<std::unique_ptr<comparison_of_ways>> all;
  print_head({"Of the bare loop", "Channels", "Bare loop, MB/s", "`column()`", "`events()`", "`get_data()`",
              "Load"});
  memory into;
  for (const shape& what : shapes) {
    if (what.name.find(options.only) == std::string::npos) continue;
    into.resize(what.bytes());
    for (const peer_files& stored : files.emplace_back(write_peers(what))) {
      comparison_of_ways& ways =
          *all.emplace_back(std::make_unique<comparison_of_ways>(what, stored, into, options.time));
      ways.verify();
      for (int i = 0; i < rounds; ++i) ways.once();
      ways.print_of_bare();
    }
  }
  print_head({"Times as fast as HDF5", "Stored there with", "`column()` to reading in bulk",
              "`events()` to reading by event"});
  for (const auto& one : all) one->print_of_hdf5();
}

}  // namespace ravo::bench
