#include "convert/report.h"

#include <fmt/format.h>

#include "shared/json_lines.h"

namespace ravo::tool {
namespace {

void print_conversion(const conversion_outcome& one, output& out) {
  const conversion& made = *one.converted;
  out.print_line(
      fmt::format("{} -> {}{}", one.source.path, one.source.target, one.verified ? "  verified" : ""));
  out.print_line(fmt::format("  {}, {} of {}, {} bytes -> {} bytes", plural(made.events, "event"),
                             plural(made.blocks, "block"), plural(made.channels, "channel"), one.bytes,
                             one.output_bytes));
  for (const loss& lost : made.losses)
    out.print_line(fmt::format("  {}{}{}", lost.channel, lost.channel.empty() ? "" : ": ", lost.text));
}

const char* word_for(const conversion_outcome& one) {
  if (one.source.is_current) return "current_already";
  if (!one.problem.empty()) return "failed";
  return one.converted ? "converted" : "equal";
}

void add_conversion(const conversion& made, json& line) {
  line["events"] = made.events;
  line["server_blocks"] = made.server_blocks;
  line["channels"] = made.channels;
  line["blocks"] = made.blocks;
  line["losses"] = json::array();
  for (const loss& lost : made.losses)
    line["losses"].push_back(
        {{"channel", lost.channel.empty() ? json() : json(lost.channel)}, {"text", lost.text}});
}

}  // namespace

std::string plural(std::uint64_t count, const char* noun) {
  return fmt::format("{} {}{}", count, noun, count == 1 ? "" : "s");
}

void conversion_totals::add(const conversion_outcome& one) {
  if (one.source.is_current) {
    ++current;
    return;
  }
  if (!one.problem.empty()) {
    ++failed;
    return;
  }
  ++done;
  bytes += one.bytes;
  output_bytes += one.output_bytes;
  if (!one.converted) return;
  events += one.converted->events;
  channels += one.converted->channels;
  blocks += one.converted->blocks;
}

void print_outcome(const conversion_outcome& one, output& out) {
  if (one.source.is_current)
    out.print_line(one.source.path + ": is of the current generation already");
  else if (one.converted)
    print_conversion(one, out);
  else if (one.problem.empty())
    out.print_line(fmt::format("{} holds what {} holds", one.source.target, one.source.path));
}

void print_totals(const conversion_totals& sum, output& out) {
  std::string line =
      plural(sum.done, "file") + (sum.events > 0 || sum.done == 0 ? " converted" : " verified");
  if (sum.events > 0)
    line += fmt::format(": {}, {}, {} bytes -> {} bytes", plural(sum.events, "event"),
                        plural(sum.blocks, "block"), sum.bytes, sum.output_bytes);
  if (sum.failed > 0) line += fmt::format("; {} failed", sum.failed);
  if (sum.current > 0) line += fmt::format("; {} of the current generation already", sum.current);
  out.print_line(line);
}

void print_outcome_json(const conversion_outcome& one, output& out) {
  json line{{"file", one.source.path}, {"outcome", word_for(one)}};
  if (!one.source.is_current) line["output"] = one.source.target;
  if (!one.problem.empty()) line["problem"] = one.problem;
  if (!one.source.is_current && one.problem.empty()) {
    line["verified"] = one.verified;
    line["bytes"] = one.bytes;
    line["output_bytes"] = one.output_bytes;
  }
  if (one.converted) add_conversion(*one.converted, line);
  out.print(json_line(line));
}

void print_totals_json(const conversion_totals& sum, output& out) {
  out.print(json_line({{"total",
                        {{"done", sum.done},
                         {"failed", sum.failed},
                         {"current_already", sum.current},
                         {"events", sum.events},
                         {"channels", sum.channels},
                         {"blocks", sum.blocks},
                         {"bytes", sum.bytes},
                         {"output_bytes", sum.output_bytes}}}}));
}

}  // namespace ravo::tool
