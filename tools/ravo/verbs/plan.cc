// ravo plan: what reading a selection would take, estimated before anything is decoded.
#include <fmt/format.h>

#include <algorithm>

#include "common/dataset_session.h"
#include "common/request_options.h"
#include "common/sizes.h"
#include "common/times.h"
#include "verbs/verb.h"

namespace ravo::tool {
namespace {

std::uint64_t values_of(const ravo::read_plan& plan) {
  std::uint64_t values = 0;
  for (const channel_plan& one : plan.channels) values += one.values;
  return values;
}

void print_table(const ravo::read_plan& plan, output& out) {
  std::size_t width = 7;
  for (const channel_plan& one : plan.channels) width = std::max(width, one.channel.size());
  out.format("{}{:<{}}  {:>10}  {:>15}  {:>15}{}\n", out.dim(), "channel", width, "values", "stored bytes",
             "decoded bytes", out.plain());
  for (const channel_plan& one : plan.channels)
    out.format("{:<{}}  {:>10}  {:>15}  {:>15}\n", one.channel, width, one.values, one.stored_bytes,
               one.decoded_bytes);
  out.format("\n{} file{}, {} event{}, {} values of {} channel{}\n", plan.files, plan.files == 1 ? "" : "s",
             plan.events, plan.events == 1 ? "" : "s", values_of(plan), plan.channels.size(),
             plan.channels.size() == 1 ? "" : "s");
  out.format("to be read     {}, which are {} when decoded\n", format_size(plan.stored_bytes),
             format_size(plan.decoded_bytes));
  out.format("memory, up to  {} by events, {} by columns\n", format_size(plan.peak_bytes_of_events),
             format_size(plan.peak_bytes_of_columns));
  out.format("time, about    {}\n",
             plan.seconds < 0.001 ? "1 ms or less" : format_span(plan.seconds * 1e6));
}

void print_lines(const ravo::read_plan& plan, dataset_session& session) {
  for (const channel_plan& one : plan.channels)
    session.out().print(json_line({{"channel", one.channel},
                                   {"values", one.values},
                                   {"stored_bytes", one.stored_bytes},
                                   {"decoded_bytes", one.decoded_bytes}}));
  session.add_to_closing("plan", {{"files", plan.files},
                                  {"events", plan.events},
                                  {"values", values_of(plan)},
                                  {"stored_bytes", plan.stored_bytes},
                                  {"decoded_bytes", plan.decoded_bytes},
                                  {"peak_bytes_of_events", plan.peak_bytes_of_events},
                                  {"peak_bytes_of_columns", plan.peak_bytes_of_columns},
                                  {"seconds", plan.seconds}});
}

void run(const dataset_arguments& asked, output& out) {
  dataset_session session(selection_of(asked.what), asked, "planning", out);
  session.run([&](dataset& data) {
    const ravo::read_plan plan = data.plan(session.stop());
    if (asked.json)
      print_lines(plan, session);
    else
      print_table(plan, out);
  });
}

}  // namespace

verb plan_verb(CLI::App& tool) {
  CLI::App* command = tool.add_subcommand("plan", "What reading a selection would take, before it is read");
  const auto asked = std::make_shared<dataset_arguments>();
  add_dataset_options(*command, *asked, "One JSON object a channel, and a last one with the sums");
  command->footer(std::string(R"(Examples:
  ravo plan demo
  ravo plan demo -c 'LINAC/BPM/*' --from 2025-03-01T08:00:05 --step 10
  ravo plan linac/main run=1207 catalog=cat chan=LINAC/CAMERA/* --memory 512M
  ravo plan --run 1207-1210 --catalog cat --json | jq -s '.[-1].plan.seconds'

Tables of the files are read, and the heads of some blocks; nothing is decoded. Without --channel it is all
channels. Memory never goes beyond --memory, and the time is an estimate for this machine's processors with
the files at hand. With --strict or --max-missing, a file that cannot be read makes exit code 1; else it is
left out and reported.

)") + selection_help +
                  "\n" + time_help);
  return {command, [asked](output& out) { run(*asked, out); }};
}

}  // namespace ravo::tool
