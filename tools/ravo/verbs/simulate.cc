// ravo simulate: raw files of an accelerator that does not exist, with known content.
#include <fmt/format.h>

#include "common/failure.h"
#include "common/fault_options.h"
#include "common/help_format.h"
#include "common/interrupt.h"
#include "common/progress.h"
#include "format/time.h"
#include "ravo_dataset/time_grammar.h"
#include "ravo_simulator.h"
#include "shared/json_lines.h"
#include "verbs/verb.h"

namespace ravo::tool {
namespace {

struct options {
  simulation what;
  int channels = 0;  // 0: by kind
  std::string compression = "mixed";
  std::string start;
  std::string answer_key;
  std::string generation = "current";
  std::vector<std::string> faults;
  bool json = false;
};

std::optional<ravo_compression> compression_of(const std::string& word) {
  if (word == "none") return ravo_compression::none;
  if (word == "zlib") return ravo_compression::zlib;
  if (word == "lzo") return ravo_compression::lzo1x;
  return std::nullopt;
}

simulation complete(const options& asked) {
  simulation what = asked.what;
  what.compression = compression_of(asked.compression);
  if (asked.generation == "older") what.generation = ravo_file_generation::older;
  if (asked.channels > 0) what.counts = distribute_channels(asked.channels);
  if (!asked.start.empty()) {
    const time_reading start = read_time(asked.start, {current_time(), {}, {}});
    if (!start.time) throw usage_failure(fmt::format("--start: '{}' {}", asked.start, start.problem));
    what.clock.start = *start.time;
  }
  what.answer_key = asked.answer_key;
  check_simulation(what);
  what.faults = read_faults(asked.faults, what.runs * what.files);
  return what;
}

void report(const simulation& what, const simulated_run_files& made, bool as_json, output& out) {
  for (const auto& [path, bytes] : made.files) {
    if (!bytes) continue;  // the fault is that it is missing
    if (as_json)
      out.print(json_line({{"file", path}, {"bytes", *bytes}}));
    else
      out.format("{}  {} bytes\n", path, *bytes);
  }
  if (as_json) return;
  out.format("{} file{}, {} events, {} blocks of {} channels, seed {}\n", made.files.size(),
             made.files.size() == 1 ? "" : "s", made.events, made.blocks, made.channels, what.seed);
}

simulated_run_files make(const simulation& what) {
  progress_bar bar("simulating");
  return simulate(what, {}, [&bar](std::uint64_t done, std::uint64_t total) {
    check_for_interrupt();
    bar.show(static_cast<double>(done) / static_cast<double>(total));
  });
}

void run(const options& asked, output& out) try {
  if (asks_for_list(asked.faults)) return list_faults(asked.json, out);
  if (asked.what.folder.empty())
    throw usage_failure(several_lines{"DIR is required\nTry `ravo simulate --help`."});
  const simulation what = complete(asked);
  report(what, make(what), asked.json, out);
} catch (const std::invalid_argument& failure) {
  throw usage_failure(failure.what());
} catch (const simulation_error& failure) {
  throw data_failure(failure.what());
}

void add_counts(CLI::App& command, options& asked) {
  simulated_channels& counts = asked.what.counts;
  CLI::Option* all =
      command
          .add_option("--channels", asked.channels,
                      "Channels in all, distributed among the kinds; instead of the next options")
          ->check(in_range(fewest_simulated_channels, 20000))
          ->type_name("N")
          ->type_name("N")
          ->group("Channels");
  auto add = [&](const char* name, int& count, const char* what) {
    command.add_option(name, count, what)
        ->capture_default_str()
        ->check(in_range(0, 10000))
        ->excludes(all)
        ->type_name("N")
        ->group("Channels");
  };
  add("--bpms", counts.bpms, "Beam position monitors: x, y and charge of 64 bunches");
  add("--toroids", counts.toroids, "Charge monitors");
  add("--rfs", counts.rfs, "Cavities: amplitude and phase, 512 samples each");
  add("--spectra", counts.spectra, "Photon spectra in three groups, with means and statistics");
  add("--energies", counts.energies, "Beam energy: one number");
  add("--cameras", counts.cameras, "Plain camera frames");
  add("--cameras-ext", counts.cameras_ext, "Extended camera frames");
  add("--profiles", counts.profiles, "Profiles of a region of interest");
  add("--slows", counts.slows, "Slow channels: updated now and then");
  add("--environments", counts.environments, "Environment readings, every ten events");
  add("--statuses", counts.statuses, "Name-value pairs");
  add("--messages", counts.messages, "Texts");
}

}  // namespace

verb simulate_verb(CLI::App& tool) {
  CLI::App* command = tool.add_subcommand("simulate", "Write raw files of a simulated accelerator");
  const auto asked = std::make_shared<options>();
  simulation& what = asked->what;
  command->add_option("DIR", what.folder, "Folder for the files; made when it is not there")->type_name("");
  const auto number = [&](const char* name, int& value, const char* text, int most) {
    command->add_option(name, value, text)->type_name("N")->capture_default_str()->check(in_range(1, most));
  };
  number("--files", what.files, "Files of a run", 100000);
  number("--events", what.events, "Events with beam in a file", 10000000);
  number("--runs", what.runs, "Runs", 100000);
  number("--first-run", what.first_run, "Number of the first run", 1000000000);
  command->add_option("--rate", what.clock.rate, "Events a second")
      ->type_name("HZ")
      ->capture_default_str()
      ->check(in_range(0.01, 1000.0));
  command->add_option("--seed", what.seed, "The same seed gives the same bytes")
      ->capture_default_str()
      ->check(not_negative())
      ->type_name("N");
  command->add_option("--start", asked->start, "Time of the first event  [2025-03-01T08:00:00Z]")
      ->type_name("TIME");
  command->add_option("--first-event", what.clock.first_event, "Number of the first event")
      ->capture_default_str()
      ->check(in_range(1.0, 4294967294.0))
      ->type_name("N");
  command->add_option("--compression", asked->compression, "mixed, none, zlib or lzo")
      ->type_name("HOW")
      ->capture_default_str()
      ->check(one_of({"mixed", "none", "zlib", "lzo"}));
  command->add_option("--generation", asked->generation, "Of the raw format: current or older")
      ->type_name("WHICH")
      ->capture_default_str()
      ->check(one_of({"current", "older"}));
  command->add_option("--zlib-level", what.zlib_level, "1 fast to 9 small")
      ->type_name("N")
      ->capture_default_str()
      ->check(in_range(1, 9));
  command->add_option("--experiment", what.experiment, "First part of the file names")
      ->type_name("NAME")
      ->capture_default_str();
  command->add_option("--stream", what.stream, "Second part of the file names")
      ->type_name("NAME")
      ->capture_default_str();
  command->add_option("--answer-key", asked->answer_key, "Also write what every block holds, as JSON lines")
      ->type_name("FILE");
  command
      ->add_option(
          "--fault", asked->faults,
          "Damage a file: KIND or KIND@FILE, files count from 1; \"list\" lists the kinds. May be repeated")
      ->allow_extra_args(false)
      ->type_name("KIND[@FILE]");
  command->add_flag("--json", asked->json, "One JSON object a file");
  add_counts(*command, *asked);
  command->footer(R"(Examples:
  ravo simulate demo                                 two files of a hundred events
  ravo simulate demo --files 3 --channels 200        three files with two hundred channels
  ravo simulate demo --runs 2 --compression zlib --seed 42
  ravo simulate demo --answer-key demo/key.jsonl     and what is in them, to check a reader
  ravo simulate demo --fault flipped-bit@2           and the second file damaged, to see what finds it

Beside the channels asked for there are always LINAC/BPM/HALF_RATE, LINAC/TOROID/GAPS, LINAC/RF/LATE
(from the second file on), LINAC/TOROID/SPARE (without data), LINAC/RUN/BEGIN and LINAC/RUN/END.
Beside a damaged FILE stands FILE.expected.json: what `ravo verify --json` has to say of it.)");
  return {command, [asked](output& out) { run(*asked, out); }};
}

}  // namespace ravo::tool
