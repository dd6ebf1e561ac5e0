// ravo verify: whether raw files are sound. verify/ does the checks; this is the command line.
#include <fmt/format.h>

#include <memory>
#include <stop_token>

#include "common/failure.h"
#include "common/help_format.h"
#include "common/interrupt.h"
#include "common/progress.h"
#include "common/request_options.h"
#include "ravo_verify.h"
#include "shared/json_lines.h"
#include "shared/with_commas.h"
#include "verbs/verb.h"

namespace ravo::tool {
namespace {

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

int exit_code(const verification_totals& sum) {
  return sum.damaged > 0 ? exit_data : sum.odd > 0 ? exit_odd : exit_fine;
}

void print_further(const std::string& file, std::uint64_t further) {
  if (further == 0) return;
  print_message("ravo: {}: {} further findings are not shown\n", file, with_commas(further));
}

json summary_json(const options& asked, const verification_report& report) {
  const verification_totals& sum = report.totals;
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
          {"interrupted", report.is_stopped}};
}

std::string some(std::uint64_t count, const char* what) {
  return fmt::format("{} {}{}", with_commas(count), what, count == 1 ? "" : "s");
}

// The number of findings, and of the files they are in.
std::string verdict_text(const verification_totals& sum) {
  if (sum.damaged + sum.odd == 0) return "nothing found";
  std::string files = fmt::format("{} good, {} odd, {} damaged", with_commas(sum.good_files),
                                  with_commas(sum.odd_files), with_commas(sum.damaged_files));
  if (sum.unread_files > 0) files += fmt::format(", {} not read", with_commas(sum.unread_files));
  return fmt::format("{} damaged, {} odd (of the files: {})", with_commas(sum.damaged),
                     with_commas(sum.odd), files);
}

void print_summary(const options& asked, const verification_report& report, output& out) {
  const verification_totals& sum = report.totals;
  if (asked.json) return out.print(json_line(summary_json(asked, report)));
  const std::string files = report.is_stopped
                                ? fmt::format("interrupted after {} of {}", with_commas(sum.files),
                                              some(sum.files_to_check, "file"))
                                : some(sum.files, "file");
  out.format("{}, {}, {}{}: {}\n", files, some(sum.events, "event"), some(sum.blocks, "good block"),
             asked.quick ? " by their heads" : "", verdict_text(sum));
}

void learn(const options& asked, const verification_report& report) {
  if (report.totals.damaged > 0)
    throw data_failure("--learn: the files are damaged, so nothing was learned; learn from good ones");
  if (report.channels_of_all_runs.empty())
    throw data_failure("--learn: no channel has data in every run, so nothing was learned");
  write_channel_list(asked.learn, report.channels_of_all_runs,
                     fmt::format("Learned from {} run{}.", report.runs, report.runs == 1 ? "" : "s"));
}

verification complete(const options& asked) {
  if (asked.paths.empty() == asked.runs.empty())
    throw usage_failure(asked.paths.empty()
                            ? "say what to check: files or folders, or --run N[-M] of a catalogue"
                            : "--run is for checks without PATH");
  verification what;
  what.paths = asked.paths;
  if (!asked.runs.empty()) {
    const run_range runs = runs_option(asked.runs);
    what.runs = {asked.catalogue, asked.experiment, asked.stream, runs.first, runs.last};
  }
  if (asked.quick) what.depth = verification_depth::heads;
  if (!asked.expect.empty()) what.expected_channels = read_channel_list(asked.expect);
  what.threads = asked.threads;
  return what;
}

// Checks the files and prints what is found as soon as it is known.
verification_report check(const verification& what, bool as_json, output& out) {
  progress_bar bar("checking");
  std::stop_source stop;
  verification_observer observer;
  observer.progress = [&](std::uint64_t done, std::uint64_t total) {
    if (is_interrupted())
      stop.request_stop();
    else
      bar.show(total == 0 ? 1.0 : static_cast<double>(done) / static_cast<double>(total));
  };
  observer.found = [&](const finding& one) {
    if (out.is_terminal()) bar.hide();
    if (as_json)
      out.print(to_json(one) + "\n");
    else
      out.print_line(to_text(one));
  };
  observer.checked = [&](const verified_file& file, const verification_totals& sum) {
    print_further(file.path, file.further_findings);
    if (!out.flush()) throw verdict(exit_code(sum));
  };
  return verify(what, stop.get_token(), observer);
}

void run(const options& asked, output& out) try {
  const verification_report report = check(complete(asked), asked.json, out);
  print_further("", report.absent_left_out);
  print_summary(asked, report, out);
  if (report.is_stopped) throw interrupted{};
  if (!asked.learn.empty()) learn(asked, report);
  if (const int code = exit_code(report.totals); code != exit_fine) throw verdict(code);
} catch (const verification_error& failure) {
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
