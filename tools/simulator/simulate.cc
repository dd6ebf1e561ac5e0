#include <algorithm>
#include <limits>

#include "answer_key.h"
#include "faults/faults.h"
#include "ravo_simulator.h"
#include "shared/whole_file.h"
#include "writing.h"

namespace ravo {
namespace {

[[noreturn]] void refuse(const std::string& why) { throw std::invalid_argument(why); }

void check_range(const char* setting, double value, double least, double most) {
  if (value >= least && value <= most) return;
  const auto text = [](double limit) {
    std::string digits = std::to_string(limit);
    digits.erase(digits.find_last_not_of('0') + 1);
    if (digits.ends_with('.')) digits.pop_back();
    return digits;
  };
  refuse(std::string(setting) + " is " + text(value) + "; it must be from " + text(least) + " to " +
         text(most));
}

void check_counts(const simulated_channels& counts) {
  const auto check = [](const char* kind, int count) { check_range(kind, count, 0, 10'000); };
  check("bpms", counts.bpms);
  check("toroids", counts.toroids);
  check("rfs", counts.rfs);
  check("spectra", counts.spectra);
  check("energies", counts.energies);
  check("cameras", counts.cameras);
  check("cameras_ext", counts.cameras_ext);
  check("profiles", counts.profiles);
  check("slows", counts.slows);
  check("environments", counts.environments);
  check("statuses", counts.statuses);
  check("messages", counts.messages);
}

// The last event needs a number and a time.
void check_end(const simulation& what) {
  const double pulses = static_cast<double>(what.runs) * (static_cast<double>(what.files) * what.events +
                                                          2 + simulator::pulses_between_runs);
  if (pulses > std::numeric_limits<int>::max() || what.clock.first_event + pulses > 0xFFFFFFFEu)
    refuse("so many runs, files and events leave the range of event numbers");
  if (what.clock.start.timeup + pulses / what.clock.rate > 0xFFFFFFFEu)
    refuse("the last event would be later than a time stamp can say");
}

// What goes wrong in the machine's files names the file or the folder.
template <class Step>
auto in_folder(const std::string& folder, const Step& step) try {
  return step();
} catch (const simulator::simulation_failed& failure) {
  throw simulation_error(folder + ": " + failure.what());
} catch (const whole_file_failure& failure) {
  throw simulation_error(failure.what());
}

simulated_run_files describe(const simulation& what, const simulator::simulation_result& made) {
  simulated_run_files result{{}, made.events, made.blocks, what.counts.total()};
  for (const std::string& path : made.files) result.files.push_back({path, length_of_file(path)});
  return result;
}

}  // namespace

int simulated_channels::total() const {
  return bpms + toroids + rfs + spectra + energies + cameras + cameras_ext + profiles + slows +
         environments + statuses + messages + simulator::special_channels;
}

simulated_channels distribute_channels(int total) {
  // One each of the large and the uniform kinds; the rest is distributed as in a real machine.
  simulated_channels counts;
  counts.energies = counts.cameras = counts.cameras_ext = counts.profiles = counts.statuses =
      counts.messages = 1;
  const int rest = total - simulator::special_channels - 6;
  counts.toroids = rest * 15 / 100 > 0 ? rest * 15 / 100 : 1;
  counts.rfs = rest * 15 / 100 > 0 ? rest * 15 / 100 : 1;
  counts.spectra = rest * 5 / 100 > 0 ? rest * 5 / 100 : 1;
  counts.slows = rest * 15 / 100 > 0 ? rest * 15 / 100 : 1;
  counts.environments = rest * 10 / 100 > 0 ? rest * 10 / 100 : 1;
  counts.bpms = rest - counts.toroids - counts.rfs - counts.spectra - counts.slows - counts.environments;
  return counts;
}

std::vector<simulated_fault_kind> simulated_fault_kinds() {
  std::vector<simulated_fault_kind> kinds;
  for (const simulator::fault_kind& one : simulator::fault_kinds()) kinds.push_back({one.name, one.what});
  return kinds;
}

void check_simulation(const simulation& what) {
  if (what.folder.empty()) refuse("folder is empty; name the folder for the files");
  check_range("runs", what.runs, 1, 100'000);
  check_range("first_run", what.first_run, 1, 1'000'000'000);
  check_range("files", what.files, 1, 100'000);
  check_range("events", what.events, 1, 10'000'000);
  check_range("rate", what.clock.rate, 0.01, 1000);
  check_range("first_event", what.clock.first_event, 1, 4'294'967'294);
  check_range("zlib_level", what.zlib_level, 1, 9);
  check_counts(what.counts);
  check_end(what);
  simulator::check_faults(what.faults, what.runs * what.files);
}

simulated_run_files simulate(const simulation& what, std::stop_token stop,
                             const simulation_progress& progress) {
  check_simulation(what);
  simulator::settings settings{what};
  simulator::prepare_faults(settings, what.faults);
  return in_folder(what.folder, [&] {
    make_folder(what.folder);
    std::optional<simulator::answer_key> key;
    if (!what.answer_key.empty()) key.emplace(what.answer_key);
    simulator::observer observe;
    if (key) observe = [&key](const simulator::answer& put_in) { key->add(put_in); };
    const simulator::simulation_result made =
        simulator::simulate(settings, observe, [&](std::uint64_t done, std::uint64_t total) {
          if (progress) progress(done, total);
          if (stop.stop_requested()) throw simulation_stopped();
          return true;
        });
    simulator::write_expectations(simulator::make_faults(settings, made, what.faults), made.files,
                                  what.folder);
    if (key) key->close();
    return describe(what, made);
  });
}

}  // namespace ravo
