// The simulator: settings as Python gives them, and a simulation that Ctrl-C ends.
#include "interruptible.h"
#include "ravo_simulator.h"
#include "times.h"
#include "translated.h"

namespace ravo::python {
namespace {

simulated_run_files simulate_watched(const simulation& what, const progress_callback& progress) {
  return run_interruptible(
      [&](const reading_controls& controls) {
        return simulate(what, controls.stop, [&](std::uint64_t done, std::uint64_t total) {
          if (controls.progress) controls.progress({done, total});
        });
      },
      progress);
}

std::optional<ravo_compression> compression_of(const std::string& word) {
  if (word == "mixed") return std::nullopt;
  if (word == "none") return ravo_compression::none;
  if (word == "zlib") return ravo_compression::zlib;
  if (word == "lzo") return ravo_compression::lzo1x;
  throw std::invalid_argument("compression is \"" + word + "\"; it is mixed, none, zlib or lzo");
}

void bind_settings(nb::module_& module) {
  nb::class_<simulated_channels>(module, "SimulatedChannels", "How many channels of each kind there are.")
      .def(nb::init<>())
      .def_rw("bpms", &simulated_channels::bpms)
      .def_rw("toroids", &simulated_channels::toroids)
      .def_rw("rfs", &simulated_channels::rfs)
      .def_rw("spectra", &simulated_channels::spectra)
      .def_rw("energies", &simulated_channels::energies)
      .def_rw("cameras", &simulated_channels::cameras)
      .def_rw("cameras_ext", &simulated_channels::cameras_ext)
      .def_rw("profiles", &simulated_channels::profiles)
      .def_rw("slows", &simulated_channels::slows)
      .def_rw("environments", &simulated_channels::environments)
      .def_rw("statuses", &simulated_channels::statuses)
      .def_rw("messages", &simulated_channels::messages);
  nb::class_<simulation>(module, "Simulation", "What is simulated.")
      .def(nb::init<>())
      .def_rw("seed", &simulation::seed)
      .def_rw("run", &simulation::first_run)
      .def_rw("runs", &simulation::runs)
      .def_rw("files", &simulation::files)
      .def_rw("events", &simulation::events)
      .def_rw("counts", &simulation::counts)
      .def_rw("zlib_level", &simulation::zlib_level)
      .def_rw("folder", &simulation::folder)
      .def_rw("experiment", &simulation::experiment)
      .def_rw("stream", &simulation::stream)
      .def_rw("generation", &simulation::generation)
      .def_rw("answer_key", &simulation::answer_key)
      .def_prop_rw(
          "rate", [](const simulation& what) { return what.clock.rate; },
          [](simulation& what, double rate) { what.clock.rate = rate; })
      .def_prop_rw(
          "start_us", [](const simulation& what) { return ravo::microseconds_of(what.clock.start); },
          [](simulation& what, std::int64_t start) { what.clock.start = time_of(start); })
      .def_prop_rw(
          "first_event", [](const simulation& what) { return what.clock.first_event; },
          [](simulation& what, std::uint32_t number) { what.clock.first_event = number; })
      .def(
          "set_compression",
          [](simulation& what, const std::string& word) { what.compression = compression_of(word); },
          "word"_a)
      .def(
          "add_fault",
          [](simulation& what, const std::string& kind, int file) {
            what.faults.push_back({kind, file});
          },
          "kind"_a, "file"_a);
}

}  // namespace

void bind_simulate(nb::module_& module) {
  translate_as<simulation_error>("SimulationError");
  bind_settings(module);
  nb::class_<simulated_file>(module, "SimulatedFile", "A file that a simulation wrote.")
      .def_ro("path", &simulated_file::path)
      .def_ro("bytes", &simulated_file::bytes);
  nb::class_<simulated_run_files>(module, "SimulatedRunFiles", "What a simulation wrote.")
      .def_ro("files", &simulated_run_files::files)
      .def_ro("events", &simulated_run_files::events)
      .def_ro("blocks", &simulated_run_files::blocks)
      .def_ro("channels", &simulated_run_files::channels);
  module.def("distribute_channels", &distribute_channels, "total"_a);
  module.attr("FEWEST_SIMULATED_CHANNELS") = fewest_simulated_channels;
  module.def(
      "simulated_fault_kinds",
      [] {
        std::vector<std::pair<std::string, std::string>> kinds;
        for (const simulated_fault_kind& one : simulated_fault_kinds())
          kinds.emplace_back(one.name, one.what);
        return kinds;
      },
      "Name and meaning of each kind of damage.");
  module.def("simulate", &simulate_watched, "what"_a, "progress"_a.none() = nb::none());
}

}  // namespace ravo::python
