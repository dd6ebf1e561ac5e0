// ravo read: channels of raw files, event by event, or one channel as a column. Events come from the
// dataset layer, or with --classic from the reader.
#include <fmt/format.h>

#include <algorithm>

#include "common/channel_facts.h"
#include "common/column_printing.h"
#include "common/dataset_session.h"
#include "common/event_printing.h"
#include "common/failure.h"
#include "common/file_answer.h"
#include "common/help_format.h"
#include "common/reading.h"
#include "common/request_options.h"
#include "shared/escaping.h"
#include "verbs/verb.h"

namespace ravo::tool {
namespace {

struct options : dataset_arguments {
  std::optional<std::string> column;
  bool every_event = false;
  bool all_numbers = false;
  bool checksum = false;
  bool classic = false;
  bool explain = false;
  int debug = 0;
};

// Adds the column's channel to those of --channel unless it is among them.
void ask_for(const std::string& column, std::vector<std::string>& channels) {
  if (std::find(channels.begin(), channels.end(), column) == channels.end())
    channels.insert(channels.begin(), column);
}

// `read` shows the last value of a slow channel, unless the selection's text sets a policy for them.
asked_selection what_to_read(const options& asked) {
  asked_selection made = selection_of(asked.what);
  if (asked.column && !made.has_exact_channels) ask_for(*asked.column, made.wanted.channels);
  if (!made.has_text && !asked.what.slow && !asked.column) made.wanted.slow = slow_policy::hold;
  if (!asked.explain && made.wanted.channels.empty() && !made.has_exact_channels)
    throw usage_failure("--channel is required; `ravo channels FILE` lists the channels of a file");
  return made;
}

void check_ways(const options& asked) {
  const auto refuse = [](const char* what) { throw usage_failure(what); };
  if (asked.debug != 0 && !asked.classic) refuse("--debug is for --classic");
  if (asked.classic && asked.column) refuse("--column is not for --classic");
  if (asked.every_event && !asked.column) refuse("--every-event is for --column");
  if (asked.checksum && asked.column) refuse("--checksum is for events, not for --column");
  if (asked.all_numbers && !asked.column) refuse("--values is for --column");
}

// The generation of the files of a dataset; `nullopt` if there are both.
std::optional<ravo_file_generation> generation_of(const dataset& data) {
  std::optional<ravo_file_generation> found;
  for (const dataset_file& file : data.files()) {
    if (file.refusal != file_refusal::none) continue;
    if (found && *found != file.generation) return std::nullopt;
    found = file.generation;
  }
  return found;
}

// Converts events of the dataset layer to the form in which events of either way of reading are printed.
class printable_events {
 public:
  explicit printable_events(const dataset& data) : facts_(facts_of(data)) {
    for (const channel_facts& one : facts_) channels_.push_back({one.name, one.member, one.units, 0});
    event_.generation = generation_of(data);
  }

  // The event with the channels that have a value and those whose value
  // is missing. Valid until the next call, and as long as `one` lives.
  const read_event& of(const event& one) {
    event_.id = one.id();
    event_.entries.clear();
    for (std::size_t i = 0; i < channels_.size(); ++i) {
      const value its = one[i];
      if (its.status() == value_status::not_recorded) continue;
      read_entry entry{&channels_[i], its.recorded_with(), std::nullopt,
                       its.is_held(), its.status(),        its.age()};
      if (its.has_value()) entry.block = block_of(its, facts_[i]);
      event_.entries.push_back(entry);
    }
    return event_;
  }

 private:
  std::vector<channel_facts> facts_;
  std::vector<read_channel> channels_;  // the same channels, for the printers
  read_event event_{};
};

void report_no_event(output& out) {
  out.flush();
  print_message("ravo: no event of these channels lies in the window\n");
}

void print(const read_event& one, const options& asked, output& out) {
  const checksums sums = asked.checksum ? checksums::shown : checksums::hidden;
  (asked.json ? print_event_json : print_event_table)(one, sums, out);
}

void read_by_reader(const options& asked, const asked_selection& what, output& out) {
  check_that_the_reader_can(what.wanted, asked.what, asked.limits);
  if (read_events(what, asked.debug, out, [&](const read_event& one) { print(one, asked, out); }) == 0)
    report_no_event(out);
}

void read_by_dataset(const options& asked, const asked_selection& what, output& out) {
  dataset_session session(what, asked, "reading", out);
  session.run([&](dataset& data) {
    if (asked.column)
      return print_column(session, data,
                          {*asked.column, asked.every_event ? column_rows::events : column_rows::recorded,
                           asked.all_numbers ? row_contents::numbers : row_contents::summary});
    printable_events printable(data);
    std::uint64_t events = 0;
    session.read_events(data, {}, [&](const event& one) {
      session.add_to_closing("events", ++events);
      print(printable.of(one), asked, out);
    });
  });
}

void run(const options& asked, output& out) {
  check_ways(asked);
  const asked_selection what = what_to_read(asked);
  if (asked.explain) return explain_files(what.wanted, asked.form(), out);
  if (asked.classic) return read_by_reader(asked, what, out);
  read_by_dataset(asked, what, out);
}

}  // namespace

verb read_verb(CLI::App& tool) {
  CLI::App* command =
      tool.add_subcommand("read", "Read channels of raw files, event by event or as a column");
  const auto asked = std::make_shared<options>();
  add_dataset_options(*command, *asked, "One JSON object an event, or row, and a last one with the ledger");
  command->add_flag("--explain", asked->explain, "Do not read: say which files would be, and why")
      ->group("Files by run or period")
      ->each([asked](const std::string&) { asked->what.request_option = "--explain"; });
  command->add_option("--column", asked->column, "One channel as a column: a row for each of its values")
      ->type_name("CHANNEL");
  command->add_flag("--every-event", asked->every_event,
                    "Of a column: a row also for events that the channel has no value of");
  command->add_flag("--values", asked->all_numbers,
                    "Of a column: all numbers of each row, not their summary");
  command->add_flag("--checksum", asked->checksum,
                    "Also length and CRC-32 of each block's data in host order");
  command->add_flag("--classic", asked->classic, "Read with the reader instead of the dataset layer")
      ->group("Reader");
  command
      ->add_option("--debug", asked->debug,
                   "Debug level of the reader, with --classic; its words go to standard error")
      ->type_name("LEVEL")
      ->group("Reader");
  command->footer(std::string(R"(Examples:
  ravo read demo --channel LINAC/BPM/001 --channel LINAC/ENERGY/001 --limit 5
  ravo read demo/*.raw -c 'LINAC/BPM/*' --first-event 1000050 --last-event 1000060
  ravo read demo/*.raw -c LINAC/RF/001:1 --from 2025-03-01T08:00:05 --to 2025-03-01T08:00:06.5
  ravo read 'file=demo chan=LINAC/BPM/*,LINAC/MAGNET/001 slow=hold max_age=2s step=10'
  ravo read demo --column LINAC/ENERGY/001
  ravo read demo --column LINAC/BPM/001:0 --values --limit 10 --json
  ravo read demo -c 'LINAC/*' --json --checksum | jq .event
  ravo read linac/main run=1207 catalog=cat chan=LINAC/BPM/001 --strict
  ravo read --experiment linac --stream main --run 1207 --catalog cat -c LINAC/BPM/001
  ravo read --from 'yesterday 14:00' --to 14:05 --tz Europe/Berlin --data /data/linac -c 'LINAC/RF/*'
  ravo read --run 1207-1210 --catalog cat --explain

)") + selection_help +
                  R"(
Without files, the files are found: of runs, or of the period from --from to --to (now, when that is left
out). The run catalogue is asked first; what it cannot answer is found by the names in the --data folder,
with a neighbour on either side, since a name says only when a file begins. Without --data, files are
read where the catalogue says that they are. Files that changed less than half a minute ago are left out;
files that are named are read all the same.

An event shows the channels that have data for it. A slow channel, once seen, is shown with every later
event: "held" marks a value from an earlier event (a selection's text says it itself: slow=hold). Of spectra
and profiles you see count, mean, least and greatest value of each member; of images size and brightness.
A value that should be there and is not says why. After the events the ledger says how many were expected,
delivered and missing; --strict and --max-missing make exit code 1 of it.

)" + time_help);
  return {command, [asked](output& out) { run(*asked, out); }};
}

}  // namespace ravo::tool
