// ravo stat: what channels hold, over a selection: events, rate, gaps, bytes, least, mean and greatest.
#include <fmt/format.h>

#include <cmath>

#include "common/channel_statistics.h"
#include "common/dataset_session.h"
#include "common/request_options.h"
#include "common/sizes.h"
#include "format/time.h"
#include "ravo_dataset/describe.h"
#include "verbs/verb.h"

namespace ravo::tool {
namespace {

double ratio_of(const channel_statistics& one, std::uint64_t stored) {
  return stored == 0 ? 0 : static_cast<double>(one.decoded_bytes()) / static_cast<double>(stored);
}

// ---- for people

constexpr const char* row_form = "{:<{}}  {:>8}  {:>7}  {:>8}  {:>10}  {:>10}  {:>10}  {:>5}  {}";

std::string row_text(const std::string& channel, std::size_t width, const auto&... cells) {
  return fmt::format(fmt::runtime(row_form), channel, width, cells...);
}

void print_heading(std::size_t width, output& out) {
  out.format("{}{}{}\n", out.dim(),
             row_text("channel", width, "events", "missing", "rate", "gaps", "stored", "decoded", "ratio",
                      fmt::format("{:<10} {:>11} {:>11} {:>11}", "", "min", "mean", "max")),
             out.plain());
}

std::string gaps_text(const channel_statistics& one) {
  const auto gaps = one.gaps();
  if (!gaps) return "-";
  return gaps->count == 0 ? "0" : fmt::format("{} ({})", gaps->count, gaps->events);
}

std::string numbers_text(const number_summary& numbers, const std::string& unit) {
  if (!numbers.has_any()) return fmt::format("{:<10} {:>11}", numbers.name, "none finite");
  return fmt::format("{:<10} {:>11.6g} {:>11.6g} {:>11.6g} {}", numbers.name, numbers.min, numbers.mean,
                     numbers.max, unit);
}

void print_row(const channel_statistics& one, std::uint64_t missing, std::uint64_t stored,
               std::size_t width, output& out) {
  const auto rate = one.rate();
  std::string head = row_text(one.channel().label, width, one.values(), missing,
                              rate ? fmt::format("{:.3g} Hz", *rate) : "-", gaps_text(one),
                              format_size(stored), format_size(one.decoded_bytes()),
                              stored ? fmt::format("{:.2f}", ratio_of(one, stored)) : "-", "");
  if (one.without_numbers() > 0) {
    out.print_line(head + fmt::format("{} value{} without numbers: no pictures, or unknown data",
                                      one.without_numbers(), one.without_numbers() == 1 ? "" : "s"));
    head.assign(head.size(), ' ');
  } else if (one.numbers().empty()) {
    return out.print_line(head);
  }
  const int only = one.channel().member;
  for (std::size_t i = 0; i < one.numbers().size(); ++i) {
    const std::size_t member = only >= 0 ? static_cast<std::size_t>(only) : i;
    out.print_line(head +
                   numbers_text(one.numbers()[i], unit_of_member(one.channel().units, member,
                                                                 only >= 0 ? 0 : one.numbers().size())));
    head.assign(head.size(), ' ');
  }
}

// ---- for machines

json numbers_object(const number_summary& numbers) {
  json object = {{"name", numbers.name}, {"count", numbers.count}, {"not_finite", numbers.not_finite}};
  object["min"] = numbers.has_any() ? json(numbers.min) : json();
  object["mean"] = numbers.has_any() ? json(numbers.mean) : json();
  object["max"] = numbers.has_any() ? json(numbers.max) : json();
  return object;
}

json row_object(const channel_statistics& one, std::uint64_t missing, std::uint64_t stored) {
  json object = {{"channel", one.channel().label}, {"events", one.values()}, {"missing", missing}};
  if (one.values() > 0) {
    object["first_event"] = one.first().event_number;
    object["last_event"] = one.last().event_number;
    object["from"] = time_text(one.first().time);
    object["to"] = time_text(one.last().time);
  }
  const auto rate = one.rate();
  object["rate"] = rate ? json(*rate) : json();
  const auto gaps = one.gaps();
  object["gaps"] = gaps ? json({{"count", gaps->count}, {"events", gaps->events}}) : json();
  if (gaps && gaps->count > 0) {
    object["gaps"]["longest"] = gaps->longest;
    object["gaps"]["behind_event"] = gaps->behind_event;
  }
  object["stored_bytes"] = stored;
  object["decoded_bytes"] = one.decoded_bytes();
  object["ratio"] = stored ? json(ratio_of(one, stored)) : json();
  object["units"] = one.channel().units;
  object["without_numbers"] = one.without_numbers();
  object["values"] = json::array();
  for (const number_summary& numbers : one.numbers()) object["values"].push_back(numbers_object(numbers));
  return object;
}

void print(const std::vector<channel_statistics>& all, const ravo::read_plan& plan,
           dataset_session& session) {
  std::size_t width = 7;
  for (const channel_statistics& one : all) width = std::max(width, one.channel().label.size());
  const bool is_table = session.form() == print_form::table;
  if (is_table) print_heading(width, session.out());
  // The ledger counts the missing values: it also has those that belong to no event.
  const std::vector<channel_ledger>& accounts = session.ledger().channels;
  for (std::size_t i = 0; i < all.size(); ++i) {
    const std::uint64_t missing = accounts[i].missing_total(), stored = plan.channels[i].stored_bytes;
    if (is_table)
      print_row(all[i], missing, stored, width, session.out());
    else
      session.out().print(json_line(row_object(all[i], missing, stored)));
  }
}

void run(const dataset_arguments& asked, output& out) {
  dataset_session session(selection_of(asked.what), asked, "reading", out);
  session.run([&](dataset& data) {
    const ravo::read_plan plan = data.plan(session.stop());
    std::vector<channel_statistics> all;
    for (channel_facts& one : facts_of(data)) all.emplace_back(std::move(one));
    std::uint64_t events = 0;
    try {
      session.read_events(data, {}, [&](const event& one) {
        ++events;
        for (std::size_t i = 0; i < all.size(); ++i) all[i].add(one[i]);
      });
    } catch (...) {
      session.set_ledger_of_nothing_printed(session.ledger());
      throw;
    }
    session.hide_progress();
    session.add_to_closing("events", events);
    print(all, plan, session);
  });
}

}  // namespace

verb stat_verb(CLI::App& tool) {
  CLI::App* command = tool.add_subcommand(
      "stat", "What channels hold: events, rate, gaps, bytes, least, mean and greatest");
  const auto asked = std::make_shared<dataset_arguments>();
  add_dataset_options(*command, *asked, "One JSON object a channel, and a last one with the ledger");
  command->footer(std::string(R"(Examples:
  ravo stat demo
  ravo stat demo -c 'LINAC/BPM/*' --from 2025-03-01T08:00:05
  ravo stat 'file=demo chan=LINAC/TOROID/*,LINAC/RF/001:1'
  ravo stat --run 1207 --catalog cat --json | jq 'select(.gaps.count > 0)'

Without --channel it is all channels. "events" are those that have a value of the channel, also one that cannot
be read; "missing" is what the ledger counts as missing of the channel; "rate" is that of the events. A gap
is where the next value is farther away than one and a half times the usual (median) distance of event
numbers; in brackets, how many events that leaves out. Bytes are those of the blocks as they are stored, and
of their data when decoded; "ratio" is the second by the first. Least, mean and greatest are of all finite
numbers in all values, member by member; values without numbers, such as compressed frames, are counted.

)") + selection_help +
                  "\n" + time_help);
  return {command, [asked](output& out) { run(*asked, out); }};
}

}  // namespace ravo::tool
