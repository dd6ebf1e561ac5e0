// ravo stat: what channels hold, over a selection: events, rate, gaps, bytes, least, mean and greatest.
#include <fmt/format.h>

#include <algorithm>

#include "common/channel_facts.h"
#include "common/dataset_session.h"
#include "common/request_options.h"
#include "common/sizes.h"
#include "format/time.h"
#include "ravo_dataset/describe.h"
#include "verbs/verb.h"

namespace ravo::tool {
namespace {

double ratio_of(const channel_statistics& one) {
  return one.stored_bytes == 0
             ? 0
             : static_cast<double>(one.decoded_bytes) / static_cast<double>(one.stored_bytes);
}

/// The ledger counts the missing values: it also has those that belong to no event.
std::uint64_t missing_of(const channel_statistics& one) { return one.ledger.missing(); }

/// Values that can be read, are no texts, and have no numbers all the same.
std::uint64_t without_numbers(const channel_statistics& one) { return one.without_numbers - one.texts; }

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
  if (!one.gaps) return "-";
  return one.gaps->count == 0 ? "0" : fmt::format("{} ({})", one.gaps->count, one.gaps->events);
}

std::string numbers_text(const series_statistics& series, const std::string& unit) {
  const number_statistics& numbers = series.numbers;
  if (numbers.finite() == 0) return fmt::format("{:<10} {:>11}", series.name, "none finite");
  return fmt::format("{:<10} {:>11.6g} {:>11.6g} {:>11.6g} {}", series.name, numbers.least, numbers.mean,
                     numbers.greatest, unit);
}

void print_row(const channel_statistics& one, const channel_facts& facts, std::size_t width, output& out) {
  const auto rate = one.rate();
  std::string head = row_text(one.channel, width, one.values, missing_of(one),
                              rate ? fmt::format("{:.3g} Hz", *rate) : "-", gaps_text(one),
                              format_size(one.stored_bytes), format_size(one.decoded_bytes),
                              one.stored_bytes ? fmt::format("{:.2f}", ratio_of(one)) : "-", "");
  if (const std::uint64_t count = without_numbers(one); count > 0) {
    out.print_line(head + fmt::format("{} value{} without numbers: no pictures, or unknown data", count,
                                      count == 1 ? "" : "s"));
    head.assign(head.size(), ' ');
  } else if (one.series.empty()) {
    return out.print_line(head);
  }
  const int only = facts.member;
  for (std::size_t i = 0; i < one.series.size(); ++i) {
    const std::size_t member = only >= 0 ? static_cast<std::size_t>(only) : i;
    out.print_line(head + numbers_text(one.series[i], unit_of_member(facts.units, member,
                                                                     only >= 0 ? 0 : one.series.size())));
    head.assign(head.size(), ' ');
  }
}

// ---- for machines

json numbers_object(const series_statistics& series) {
  const number_statistics& numbers = series.numbers;
  json object = {{"name", series.name}, {"count", numbers.count}, {"not_finite", numbers.not_finite()}};
  const auto add = [&](const char* name, double number) {
    object[name] = numbers.finite() != 0 ? json(number) : json();
  };
  add("min", numbers.least);
  add("mean", numbers.mean);
  add("max", numbers.greatest);
  add("deviation", numbers.deviation);
  return object;
}

json row_object(const channel_statistics& one, const channel_facts& facts) {
  json object = {{"channel", one.channel}, {"events", one.values}, {"missing", missing_of(one)}};
  if (one.values > 0) {
    object["first_event"] = one.first.event_number;
    object["last_event"] = one.last.event_number;
    object["from"] = time_text(one.first.time);
    object["to"] = time_text(one.last.time);
  }
  const auto rate = one.rate();
  object["rate"] = rate ? json(*rate) : json();
  object["gaps"] = one.gaps ? json({{"count", one.gaps->count}, {"events", one.gaps->events}}) : json();
  if (one.gaps && one.gaps->count > 0) {
    object["gaps"]["longest"] = one.gaps->longest;
    object["gaps"]["behind_event"] = one.gaps->after_event;
  }
  object["stored_bytes"] = one.stored_bytes;
  object["decoded_bytes"] = one.decoded_bytes;
  object["ratio"] = one.stored_bytes ? json(ratio_of(one)) : json();
  object["units"] = facts.units;
  object["without_numbers"] = without_numbers(one);
  object["values"] = json::array();
  for (const series_statistics& series : one.series) object["values"].push_back(numbers_object(series));
  return object;
}

void print(const std::vector<channel_statistics>& all, const std::vector<channel_facts>& facts,
           dataset_session& session) {
  std::size_t width = 7;
  for (const channel_statistics& one : all) width = std::max(width, one.channel.size());
  const bool is_table = session.form() == print_form::table;
  if (is_table) print_heading(width, session.out());
  for (std::size_t i = 0; i < all.size(); ++i) {
    if (is_table)
      print_row(all[i], facts[i], width, session.out());
    else
      session.out().print(json_line(row_object(all[i], facts[i])));
  }
}

read_ledger sum_of(const std::vector<channel_statistics>& all) {
  read_ledger sum;
  for (const channel_statistics& one : all) sum.add(one.ledger);
  return sum;
}

void run(const dataset_arguments& asked, output& out) {
  dataset_session session(selection_of(asked.what), asked, "reading", out);
  session.run([&](dataset& data) {
    statistics_options options;
    session.set_controls(options);
    const std::vector<channel_statistics> all = [&] {
      try {
        return data.statistics(options);
      } catch (...) {
        session.set_ledger_of_nothing_printed(data.ledger());
        throw;
      }
    }();
    session.hide_progress();
    session.set_ledger(sum_of(all));
    session.add_to_closing("events", data.size(session.stop()));
    print(all, facts_of(data), session);
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
