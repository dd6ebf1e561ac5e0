// ravo read: channels of raw files, event by event.
#include <fmt/format.h>

#include <cmath>

#include "event_printing.h"
#include "failure.h"
#include "help_format.h"
#include "request_options.h"
#include "time_grammar.h"
#include "times.h"
#include "verb.h"

namespace ravo::tool {
namespace {

struct options {
  read_request request;
  std::string from;
  std::string to;
  std::string zone = "UTC";
  std::string mode = "evid";
  std::optional<double> tolerance_ms;
  bool json = false;
  bool checksum = false;
  // Without FILES.
  file_request wanted{"linac", "main", "/daq/ravo/admtemp/", {}, {}, {}, {}};
  std::string runs;
  std::string data;
  bool explain = false;
  std::optional<std::string> given_request_option;  // one of these that is on the command line
};

// What is wrong with how files are asked for: by name, or by run or period, and one of them must be.
void check_way_of_asking(const options& asked) {
  const bool by_name = !asked.request.files.empty();
  if (by_name && asked.given_request_option)
    throw usage_failure(fmt::format("{} is for requests without FILES", *asked.given_request_option));
  if (!by_name && asked.runs.empty() && asked.from.empty())
    throw usage_failure("say what to read: FILES, or --run N[-M], or --from TIME and --to TIME");
  if (!asked.explain && asked.request.channels.empty())
    throw usage_failure("--channel is required; `ravo channels FILE` lists the channels of a file");
}

file_request wanted_files(const options& asked, const read_request& request, time_stamp now) {
  file_request wanted = asked.wanted;
  if (!asked.data.empty()) wanted.data = asked.data;
  wanted.from = request.from;
  wanted.to = request.to;
  if (!asked.runs.empty()) {
    wanted.runs = runs_option(asked.runs);
    // In the reader's request run 0 stands for no run.
    if (wanted.runs->first == 0)
      throw usage_failure(fmt::format("--run: '{}': runs that can be asked for count from 1", asked.runs));
  } else if (!wanted.to) {
    wanted.to = now;
  }
  return wanted;
}

read_request complete(const options& asked) {
  check_way_of_asking(asked);
  read_request request = asked.request;
  time_context context{current_time(), zone_option(asked.zone), {}};
  if (!asked.from.empty()) request.from = context.from = time_option("--from", asked.from, context);
  if (!asked.to.empty()) request.to = time_option("--to", asked.to, context);
  if (request.first_event && request.last_event && *request.first_event > *request.last_event)
    throw usage_failure(fmt::format("--first-event {} is after --last-event {}", *request.first_event,
                                    *request.last_event));
  if (request.files.empty()) request.wanted = wanted_files(asked, request, context.now);
  const std::optional<time_stamp> to = request.wanted ? request.wanted->to : request.to;
  if (request.from && to && microseconds(*request.from) > microseconds(*to))
    throw usage_failure(
        fmt::format("--from {} is after --to {}", asked.from, asked.to.empty() ? "now" : asked.to));
  if (request.wanted) request.to = to;
  request.mode = asked.mode == "time" ? RAVO_DAQ_SLICER_SYNCH_MODE_TIME : RAVO_DAQ_SLICER_SYNCH_MODE_EVID;
  if (asked.tolerance_ms) request.tolerance = std::round(*asked.tolerance_ms * 1000.0);
  return request;
}

void explain(const read_request& request, bool as_json, output& out) {
  if (request.debug != 0) out.show_library_output();
  const file_decisions decisions = decide_files(*request.wanted, request.debug, out);
  if (as_json)
    print_decisions_json(decisions, out);
  else
    print_decisions(*request.wanted, decisions, out);
  check_generation(decisions);
}

void run(const options& asked, output& out) {
  const read_request request = complete(asked);
  if (asked.explain) return explain(request, asked.json, out);
  const checksums sums = asked.checksum ? checksums::shown : checksums::hidden;
  const auto print = asked.json ? print_event_json : print_event_table;
  const std::uint64_t events =
      read_events(request, out, [&](const read_event& event) { print(event, sums, out); });
  if (events == 0) {
    out.flush();
    fmt::print(stderr, "ravo: no event of these channels lies in the window\n");
  }
}

}  // namespace

verb read_verb(CLI::App& tool) {
  CLI::App* command = tool.add_subcommand("read", "Read channels of raw files, event by event");
  const auto asked = std::make_shared<options>();
  read_request& request = asked->request;
  command->add_option("FILES", request.files, "Raw files of one generation, in any order")->type_name("");
  const auto for_requests = [&](CLI::Option* option) {
    return option->group("Files by run or period")->each([asked, option](const std::string&) {
      if (!asked->given_request_option) asked->given_request_option = option->get_name();
    });
  };
  for_requests(command->add_option("--run", asked->runs, "The files of a run, or of runs N to M"))
      ->type_name("N[-M]");
  for_requests(command->add_option("--experiment,-e", asked->wanted.experiment, "Of this experiment"))
      ->type_name("NAME")
      ->capture_default_str();
  for_requests(command->add_option("--stream,-s", asked->wanted.stream, "Of this stream"))
      ->type_name("NAME")
      ->capture_default_str();
  for_requests(
      command->add_option("--catalog", asked->wanted.catalogue, "Run catalogue, which is asked first"))
      ->type_name("DIR")
      ->capture_default_str();
  for_requests(
      command->add_option("--data", asked->data,
                          "Where the files are; by their names there when the catalogue has no answer"))
      ->type_name("DIR");
  for_requests(
      command->add_flag("--explain", asked->explain, "Do not read: say which files would be, and why"));
  command
      ->add_option(
          "--channel,-c", request.channels,
          "A channel: NAME, NAME:MEMBER (a number from 0), or a pattern with * ? []. May be repeated")
      ->allow_extra_args(false)  // one name behind each --channel: what follows is a file
      ->type_name("NAME");
  const auto window = [&](const char* name, auto& value, const char* text, const char* type) {
    return command->add_option(name, value, text)->type_name(type)->group("Window");
  };
  window("--first-event", request.first_event, "Not before this event number", "N")
      ->check(in_range(1.0, 4294967294.0));
  window("--last-event", request.last_event, "Not behind this event number", "N")
      ->check(in_range(1.0, 4294967294.0));
  window("--from", asked->from, "Not before this time", "TIME");
  window("--to", asked->to, "Not behind this time", "TIME");
  window("--tz", asked->zone, "Time zone of times of day", "ZONE")->capture_default_str();
  window("--limit", request.limit, "Stop after so many events", "N")->check(not_negative());
  command->add_option("--mode", asked->mode, "Align by event number (evid) or by time")
      ->capture_default_str()
      ->check(one_of({"evid", "time"}))
      ->group("Alignment");
  command
      ->add_option("--tolerance", asked->tolerance_ms,
                   "How far apart times of one event may lie, in ms  [50, or half the distance of events]")
      ->check(in_range(0.0, 3600000.0))
      ->type_name("MS")
      ->group("Alignment");
  command->add_flag("--json", asked->json, "One JSON object an event");
  command->add_flag("--checksum", asked->checksum,
                    "Also length and CRC-32 of each block's data in host order");
  command->add_option("--debug", request.debug, "Debug level of the reader; its words go to standard error")
      ->type_name("LEVEL");
  command->footer(std::string(R"(Examples:
  ravo read demo/*.raw --channel LINAC/BPM/001 --channel LINAC/ENERGY/001 --limit 5
  ravo read demo/*.raw -c 'LINAC/BPM/*' --first-event 1000050 --last-event 1000060
  ravo read demo/*.raw -c LINAC/RF/001:1 --from 2025-03-01T08:00:05 --to 2025-03-01T08:00:06.5
  ravo read demo/*.raw -c LINAC/MAGNET/001 -c LINAC/BPM/001 --mode time --tolerance 20
  ravo read demo/*.raw -c 'LINAC/*' --json --checksum | jq .event
  ravo read --experiment linac --stream main --run 1207 --catalog cat -c LINAC/BPM/001
  ravo read --from 'yesterday 14:00' --to 14:05 --tz Europe/Berlin --data /data/linac -c 'LINAC/RF/*'
  ravo read --run 1207-1210 --catalog cat --explain

Without FILES, the files are found: of runs, or of the period from --from to --to (now, when that is left
out). The run catalogue is asked first; what it cannot answer is found by the names in the --data folder,
with a neighbour on either side, since a name tells only when a file begins. Without --data, files are
read where the catalogue says that they are. Files that changed less than half a minute ago are left out.

An event shows the channels that have data for it. A slow channel, once seen, is shown with every later
event: "held" marks a value from an earlier event. Of spectra and profiles you see count, mean, least and
greatest value of each member; of images size and brightness.
FILES are read as they are named, also when they were written a moment ago. Of which generation of the raw
format they are is seen by itself; when they are of both, `ravo convert` rewrites the older ones.

)") + time_help);
  return {command, [asked](output& out) { run(*asked, out); }};
}

}  // namespace ravo::tool
