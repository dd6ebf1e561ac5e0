// ravo read: channels of raw files, event by event.
#include <fmt/format.h>

#include <cmath>

#include "event_printing.h"
#include "failure.h"
#include "help_format.h"
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
};

std::optional<time_stamp> time_option(const char* option, const std::string& text,
                                      const time_context& context) {
  if (text.empty()) return std::nullopt;
  const time_reading read = read_time(text, context);
  if (!read.time) throw usage_failure(fmt::format("{}: '{}' {}", option, text, read.problem));
  return read.time;
}

time_zone zone_option(const std::string& name) {
  if (const auto zone = time_zone::named(name)) return *zone;
  throw usage_failure(fmt::format(
      "--tz: '{}' is no time zone that this machine knows; write +01:00 or a name such as Europe/Berlin",
      name));
}

read_request complete(const options& asked) {
  read_request request = asked.request;
  time_context context{current_time(), zone_option(asked.zone), {}};
  request.from = context.from = time_option("--from", asked.from, context);
  request.to = time_option("--to", asked.to, context);
  if (request.first_event && request.last_event && *request.first_event > *request.last_event)
    throw usage_failure(fmt::format("--first-event {} is after --last-event {}", *request.first_event,
                                    *request.last_event));
  if (request.from && request.to && microseconds(*request.from) > microseconds(*request.to))
    throw usage_failure(fmt::format("--from {} is after --to {}", asked.from, asked.to));
  request.mode = asked.mode == "time" ? RAVO_DAQ_SLICER_SYNCH_MODE_TIME : RAVO_DAQ_SLICER_SYNCH_MODE_EVID;
  if (asked.tolerance_ms) request.tolerance = std::round(*asked.tolerance_ms * 1000.0);
  return request;
}

void run(const options& asked, output& out) {
  const read_request request = complete(asked);
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
  command->add_option("FILES", request.files, "Raw files of the current generation, in any order")
      ->required();
  command
      ->add_option(
          "--channel,-c", request.channels,
          "A channel: NAME, NAME:MEMBER (a number from 0), or a pattern with * ? []. May be repeated")
      ->required()
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

An event shows the channels that have data for it. A slow channel, once seen, is shown with every later
event: "held" marks a value from an earlier event. Of spectra and profiles you see count, mean, least and
greatest value of each member; of images size and brightness.
Files are read as they are named, also when they were written a moment ago.

)") + time_help);
  return {command, [asked](output& out) { run(*asked, out); }};
}

}  // namespace ravo::tool
