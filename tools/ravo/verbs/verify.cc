// ravo verify: whether raw files are sound. verify/ does the checks; this is the command line.
#include <fmt/format.h>
#include <sys/stat.h>

#include <algorithm>
#include <memory>
#include <thread>

#include "common/escaping.h"
#include "common/failure.h"
#include "common/help_format.h"
#include "common/interrupt.h"
#include "common/progress.h"
#include "common/request_options.h"
#include "format/uninterrupted.h"
#include "verbs/verb.h"
#include "verify/catalogue_search.h"
#include "verify/channel_list.h"
#include "verify/report.h"
#include "verify/runs.h"

namespace ravo::tool {
namespace {

constexpr unsigned usual_threads = 4;

struct options {
  std::vector<std::string> paths;
  std::string runs;
  std::string experiment = "linac";
  std::string stream = "main";
  std::string catalogue = "/daq/ravo/admtemp/";
  std::string expect;
  std::string learn;
  unsigned threads = 0;
  bool quick = false;
  bool json = false;
};

// The totals so far.
struct tally {
  std::uint64_t files = 0, bytes = 0, events = 0, blocks = 0;
  std::uint64_t good_files = 0, odd_files = 0, damaged_files = 0,
                unread_files = 0;      // each file is one of them
  std::uint64_t damaged = 0, odd = 0;  // findings
  std::uint64_t files_to_check = 0;
  bool is_interrupted = false;

  void add(const verify::file_result& file) {
    ++files;
    bytes += file.bytes;
    events += file.events;
    blocks += file.blocks;
    ++count_of(file.findings);
  }
  std::uint64_t& count_of(const verify::finding_list& findings) {
    if (findings.has(verify::finding_kind::file_unreadable) ||
        findings.has(verify::finding_kind::file_changed))
      return unread_files;
    const auto is_damage = [](const verify::finding& one) {
      return verify::row_of(one.kind).how_bad == verify::severity::damaged;
    };
    if (std::any_of(findings.list().begin(), findings.list().end(), is_damage)) return damaged_files;
    return findings.empty() ? good_files : odd_files;
  }
  int exit_code() const { return damaged > 0 ? exit_data : odd > 0 ? exit_odd : exit_fine; }
};

void print(const verify::finding& what, bool as_json, tally& sum, output& out) {
  (verify::row_of(what.kind).how_bad == verify::severity::damaged ? sum.damaged : sum.odd) += 1;
  if (as_json)
    out.print(json_line(verify::json_of(what)));
  else
    out.print_line(verify::text_of(what));
}

void print(const verify::finding_list& findings, const std::string& file, bool as_json, tally& sum,
           output& out) {
  for (verify::finding one : findings.list()) {
    one.file = file;
    print(one, as_json, sum, out);
  }
  if (findings.left_out() == 0) return;
  print_message("ravo: {}: {} further findings are not shown\n", file,
                verify::with_commas(findings.left_out()));
}

verify::found_files find_files(const options& asked) {
  if (asked.paths.empty() == asked.runs.empty())
    throw usage_failure(asked.paths.empty()
                            ? "say what to check: files or folders, or --run N[-M] of a catalogue"
                            : "--run is for checks without PATH");
  if (asked.runs.empty()) return verify::find_files(asked.paths);
  const run_range runs = runs_option(asked.runs);
  return verify::find_files_of_runs(
      {asked.catalogue, asked.experiment, asked.stream, runs.first, runs.last});
}

// The files in the order in which they are checked. Findings that need no open file are printed at once.
std::vector<verify::run_files> choose_files(const options& asked, tally& sum, output& out) {
  const verify::found_files found = find_files(asked);
  std::vector<verify::run_files> runs = verify::group_by_run(found.files);
  for (const verify::finding& one : found.findings) print(one, asked.json, sum, out);
  for (const verify::finding& one : verify::find_copies(runs)) print(one, asked.json, sum, out);
  return runs;
}

json summary_json(const options& asked, const tally& sum) {
  return {{"files", sum.files},
          {"files_to_check", sum.files_to_check},
          {"good_files", sum.good_files},
          {"odd_files", sum.odd_files},
          {"damaged_files", sum.damaged_files},
          {"unread_files", sum.unread_files},
          {"bytes", sum.bytes},
          {"events", sum.events},
          {"blocks", sum.blocks},
          {"quick", asked.quick},
          {"damaged", sum.damaged},
          {"odd", sum.odd},
          {"interrupted", sum.is_interrupted}};
}

std::string some(std::uint64_t count, const char* what) {
  return fmt::format("{} {}{}", verify::with_commas(count), what, count == 1 ? "" : "s");
}

// The number of findings, and of the files they are in.
std::string verdict_text(const tally& sum) {
  if (sum.damaged + sum.odd == 0) return "nothing found";
  std::string files =
      fmt::format("{} good, {} odd, {} damaged", verify::with_commas(sum.good_files),
                  verify::with_commas(sum.odd_files), verify::with_commas(sum.damaged_files));
  if (sum.unread_files > 0) files += fmt::format(", {} not read", verify::with_commas(sum.unread_files));
  return fmt::format("{} damaged, {} odd (of the files: {})", verify::with_commas(sum.damaged),
                     verify::with_commas(sum.odd), files);
}

void print_summary(const options& asked, const tally& sum, output& out) {
  if (asked.json) return out.print(json_line(summary_json(asked, sum)));
  const std::string files = sum.is_interrupted
                                ? fmt::format("interrupted after {} of {}", verify::with_commas(sum.files),
                                              some(sum.files_to_check, "file"))
                                : some(sum.files, "file");
  out.format("{}, {}, {}{}: {}\n", files, some(sum.events, "event"), some(sum.blocks, "good block"),
             asked.quick ? " by their heads" : "", verdict_text(sum));
}

std::uint64_t size_of(const std::string& path) {
  struct stat about {};
  return uninterrupted::stat(path.c_str(), &about) == 0 && S_ISREG(about.st_mode)
             ? static_cast<std::uint64_t>(about.st_size)
             : 0;
}

void learn(const options& asked, verify::run_checker& runs, const tally& sum) {
  if (sum.damaged > 0)
    throw data_failure("--learn: the files are damaged, so nothing was learned; learn from good ones");
  const std::set<std::string>& channels = runs.channels_of_all_runs();
  if (channels.empty())
    throw data_failure("--learn: no channel has data in every run, so nothing was learned");
  verify::write_channel_list(
      asked.learn, channels,
      fmt::format("Learned from {} run{}.", runs.runs(), runs.runs() == 1 ? "" : "s"));
}

void check(const options& asked, const std::vector<verify::run_files>& all, verify::run_checker& runs,
           tally& sum, output& out) {
  std::uint64_t bytes = 0, done = 0;
  for (const verify::run_files& run : all)
    for (const verify::run_file& file : run.files) {
      bytes += size_of(file.path);
      ++sum.files_to_check;
    }
  progress_bar bar("checking");
  const auto report = [&](std::uint64_t more) {
    check_for_interrupt();
    done += more;
    bar.show(bytes == 0 ? 1.0 : static_cast<double>(done) / static_cast<double>(bytes));
  };
  const unsigned threads = asked.threads > 0
                               ? asked.threads
                               : std::clamp(std::thread::hardware_concurrency(), 1u, usual_threads);
  const verify::depth deep = asked.quick ? verify::depth::heads : verify::depth::blocks;
  for (const verify::run_files& run : all) {
    runs.begin(run.name);
    for (const verify::run_file& file : run.files) {
      check_for_interrupt();  // also where there is nothing to report, since no file can be read
      verify::file_result result = verify::check_file(file.path, deep, threads, report);
      runs.take(result, file.number);
      sum.add(result);
      if (!result.findings.empty() && out.is_terminal()) bar.hide();
      print(result.findings, file.path, asked.json, sum, out);
      if (!out.flush()) throw verdict(sum.exit_code());
    }
  }
}

void run(const options& asked, output& out) try {
  std::set<std::string> expected;
  if (!asked.expect.empty()) expected = verify::read_channel_list(asked.expect);
  tally sum;
  const std::vector<verify::run_files> files = choose_files(asked, sum, out);
  verify::run_checker runs(std::move(expected));
  try {
    check(asked, files, runs, sum, out);
  } catch (const interrupted&) {
    // The findings so far are printed; what whole runs lack is not known.
    sum.is_interrupted = true;
    print_summary(asked, sum, out);
    throw;
  }
  print(runs.absent(), "", asked.json, sum, out);
  print_summary(asked, sum, out);
  if (!asked.learn.empty()) learn(asked, runs, sum);
  if (sum.exit_code() != exit_fine) throw verdict(sum.exit_code());
} catch (const verify::channel_list_failure& failure) {
  throw data_failure(failure.what());
} catch (const verify::unknown_runs& failure) {
  throw data_failure(failure.what());
}

constexpr const char* closing_words = R"(Examples:
  ravo verify demo/*.raw                         some files
  ravo verify demo                               a folder, with those below it
  ravo verify --run 1207 --catalog cat           the files of a run
  ravo verify demo --quick                       tables and headers alone: much faster
  ravo verify good --learn channels.txt          note which channels have data in every run
  ravo verify new --expect channels.txt          and list those that are absent from a run
  ravo verify demo --json | jq 'select(.kind == "block.inflate")'

A finding is a line: the file, the channel, what is wrong, how often, where first, and what to do. Damage
means that data are lost or that the file says something wrong of itself; what is odd can be right all the
same. Missing event numbers, time going back and shifted channels are looked for in a file and from one file
of a run to the next, so give all files of a run at once.

Ctrl-C ends the check with the totals of the files that were checked until then.

Exit codes: 0 nothing found, 3 only what is odd, 1 damage, or a file that cannot be read, 2 the command line
makes no sense, 130 Ctrl-C.)";

}  // namespace

verb verify_verb(CLI::App& tool) {
  CLI::App* command = tool.add_subcommand("verify", "Check whether raw files are sound");
  const auto asked = std::make_shared<options>();
  command->add_option("PATH", asked->paths, "Raw files, or folders of them")->type_name("");
  command->add_option("--run", asked->runs, "The files of a run, or of runs N to M")->type_name("N[-M]");
  command->add_option("--experiment,-e", asked->experiment, "Of this experiment")
      ->type_name("NAME")
      ->capture_default_str();
  command->add_option("--stream,-s", asked->stream, "Of this stream")
      ->type_name("NAME")
      ->capture_default_str();
  command->add_option("--catalog", asked->catalogue, "Run catalogue, which knows the files of runs")
      ->type_name("DIR")
      ->capture_default_str();
  command->add_flag("--quick", asked->quick, "Tables and headers alone; no block is inflated or converted");
  command
      ->add_option("--expect", asked->expect,
                   "Also name those of these channels that have no data in a run")
      ->type_name("FILE");
  command
      ->add_option("--learn", asked->learn, "Write the channels that have data in every run to this file")
      ->type_name("FILE");
  command->add_option("--threads", asked->threads, "So many threads  [one a core, at most 4]")
      ->type_name("N")
      ->check(in_range(1, 64));
  command->add_flag("--json", asked->json, "One JSON object a finding, and one with the totals at the end");
  command->footer(closing_words);
  return {command, [asked](output& out) { run(*asked, out); }};
}

}  // namespace ravo::tool
