// ravo catalog: makes a run catalogue from raw files, lists it and asks it. Here is its command line; what
// its parts do is in verb_catalog_build.cc and verb_catalog_query.cc.
#include "verbs/catalog.h"

#include "common/failure.h"
#include "common/help_format.h"
#include "verbs/verb.h"

namespace ravo::tool {
namespace {

CLI::App* add_build(CLI::App& command, catalog_build_options& asked) {
  CLI::App* part = command.add_subcommand("build", "Make or extend a catalogue from raw files");
  part->add_option("DIR", asked.raw_folder, "Raw files of this folder and those below it")
      ->required()
      ->type_name("");
  part->add_option("--into", asked.directory, "Catalogue directory; made when it is not there")
      ->required()
      ->type_name("CDIR");
  part->add_option("--experiment", asked.experiment,
                   "Only files of this one; needed when a stream's name has an underscore")
      ->type_name("NAME");
  part->add_option("--threads", asked.threads, "Files opened at a time  [one a processor]")
      ->type_name("N")
      ->check(in_range(1, 64));
  part->add_flag("--json", asked.json, "The outcome as one JSON object");
  part->footer(R"(Examples:
  ravo catalog build /data/linac --into /daq/ravo/admtemp
  ravo catalog build demo --into demo/catalogue --json

Files that the catalogue knows, with the same size and time of change, are not opened again. A file that
cannot be used is named and skipped; the exit code is then 1, and all other files are in the catalogue. One
that changed within the last 29 seconds is entered as still growing, and looked at again next time; not so
when RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME is set.)");
  return part;
}

CLI::App* add_list(CLI::App& command, catalog_list_options& asked) {
  CLI::App* part = command.add_subcommand("list", "Say which runs a catalogue knows");
  part->add_option("CDIR", asked.directory, "Catalogue directory")->type_name("")->capture_default_str();
  part->add_option("--experiment", asked.experiment, "Only this experiment")->type_name("NAME");
  part->add_option("--stream", asked.stream, "Only this stream")->type_name("NAME");
  part->add_flag("--json", asked.json, "One JSON object a run");
  part->footer(R"(Examples:
  ravo catalog list demo/catalogue
  ravo catalog list --experiment linac --json | jq 'select(.growing > 0) | .run')");
  return part;
}

CLI::App* add_find(CLI::App& command, catalog_query_options& asked) {
  CLI::App* part = command.add_subcommand("find", "Name the raw files of runs or of a period");
  part->add_option("CDIR", asked.directory, "Catalogue directory")->type_name("")->capture_default_str();
  part->add_option("--experiment", asked.experiment, "Experiment")
      ->type_name("NAME")
      ->capture_default_str();
  part->add_option("--stream", asked.stream, "Stream")->type_name("NAME")->capture_default_str();
  CLI::Option* runs = part->add_option("--run", asked.runs, "A run, or the first and the last one: 7-9")
                          ->type_name("N[-M]");
  part->add_option("--period", asked.period, "From this time to that one")
      ->expected(2)
      ->excludes(runs)
      ->type_name("TIME TIME");
  part->add_option("--tz", asked.zone, "Time zone of the times: a name or an offset")
      ->type_name("ZONE")
      ->capture_default_str();
  part->add_flag("--growing", asked.growing, "Files that may still grow, too");
  part->add_flag("--json", asked.json, "One JSON object a file");
  part->footer(R"(Examples:
  ravo catalog find demo/catalogue --run 1
  ravo catalog find --run 1207-1209 --stream fast
  ravo catalog find --period 2025-03-01T14:00 2025-03-01T14:05 | xargs ravo read -c LINAC/BPM/001

Prints the paths of the files, as a reader gets them; with --json also the catalogue file that lists each.)");
  return part;
}

}  // namespace

verb catalog_verb(CLI::App& tool) {
  CLI::App* command = tool.add_subcommand("catalog", "Make, list and ask a catalogue of runs");
  const auto build = std::make_shared<catalog_build_options>();
  const auto list = std::make_shared<catalog_list_options>();
  const auto find = std::make_shared<catalog_query_options>();
  const CLI::App* build_part = add_build(*command, *build);
  const CLI::App* list_part = add_list(*command, *list);
  const CLI::App* find_part = add_find(*command, *find);
  command->footer(R"(Examples:
  ravo catalog build demo --into demo/catalogue
  ravo catalog list demo/catalogue
  ravo catalog find demo/catalogue --run 1

`ravo catalog build --help` and so on explain the parts. Each takes --json.)");
  return {command, [=](output& out) {
            if (build_part->parsed())
              build_catalog(*build, out);
            else if (list_part->parsed())
              list_catalog(*list, out);
            else if (find_part->parsed())
              query_catalog(*find, out);
            else
              throw usage_failure("say what to do with a catalogue: build, list or find");
          }};
}

}  // namespace ravo::tool
