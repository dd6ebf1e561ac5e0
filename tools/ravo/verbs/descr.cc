// ravo descr: what a raw file says of its channels.
#include <fmt/format.h>

#include <algorithm>

#include "common/failure.h"
#include "common/names.h"
#include "common/raw_file.h"
#include "common/type_names.h"
#include "shared/json_lines.h"
#include "verbs/verb.h"

namespace ravo::tool {
namespace {

struct options {
  std::string file;
  std::vector<std::string> channels;  // names or patterns; empty: all
  bool json = false;
};

std::string named(const std::string& name, const std::string& units, const std::string& about) {
  return printable(name) + (units.empty() ? "" : " [" + printable(units) + "]") +
         (about.empty() ? "" : "  " + printable(about));
}

// A line of facts, without those that are empty.
class fact_line {
 public:
  explicit fact_line(std::string label) : label_(std::move(label)) {}
  void add(const char* what, const std::string& value) {
    if (!value.empty()) text_ += fmt::format("{}{} {}", text_.empty() ? "" : ", ", what, printable(value));
  }
  void print(output& out) const {
    if (!text_.empty()) out.format("  {:<12} {}\n", label_, text_);
  }

 private:
  std::string label_;
  std::string text_;
};

void print_text(const chan_descr_2010& channel, output& out) {
  out.format("{}{}{}{}{}\n", out.bold(), printable(channel.prop_name), out.plain(),
             *channel.units ? " [" + printable(channel.units) + "]" : "",
             *channel.prop_desc ? "  " + printable(channel.prop_desc) : "");
  fact_line data("data");
  data.add("type", data_type_name(static_cast<int>(channel.dtype)));
  data.add("in events", fmt::format("{}", fmt::join(event_type_names(channel.ev_type), " ")));
  data.add("at most", channel.max_size == 0 ? "" : fmt::format("{} bytes", channel.max_size));
  data.print(out);
  fact_line source("source");
  source.add("DAQ name", channel.daq_name);
  source.add("server block", channel.sb_name);
  source.add("subsystem", channel.subsystem);
  source.print(out);
  fact_line keys("numbers");
  keys.add("key", std::to_string(channel.db_key));
  keys.add("stream", std::to_string(channel.stream));
  keys.add("count", std::to_string(channel.count));
  keys.add("set point", std::to_string(channel.set_point));
  keys.print(out);
  for (const bit_descr* bit : channel.bits)
    if (bit)
      out.format("  {:<12} {}\n", fmt::format("bit {}", bit->bit), named(bit->bit_name, "", bit->bit_desc));
  for (const dim_descr* dim : channel.dims) {
    if (!dim) continue;
    out.format("  {:<12} {}\n", fmt::format("dimension {}", dim->dim),
               named(dim->dim_name, dim->units, dim->dim_desc));
    for (const stat_descr& stat : dim->stats)
      out.format("    {:<12} {}\n", fmt::format("statistic {}", stat.stat),
                 named(stat.stat_name, stat.units, stat.stat_desc));
  }
}

json dimension_object(const dim_descr& dim) {
  json object = {
      {"dimension", dim.dim}, {"name", dim.dim_name}, {"units", dim.units}, {"description", dim.dim_desc}};
  object["statistics"] = json::array();
  for (const stat_descr& stat : dim.stats)
    object["statistics"].push_back({{"statistic", stat.stat},
                                    {"name", stat.stat_name},
                                    {"units", stat.units},
                                    {"description", stat.stat_desc}});
  return object;
}

void print_json(const raw_file& file, const chan_descr_2010& channel, output& out) {
  json line = {{"file", file.path()},
               {"generation", name_of(file.generation())},
               {"channel", channel.prop_name},
               {"description", channel.prop_desc},
               {"units", channel.units},
               {"dtype", data_type_name(static_cast<int>(channel.dtype))},
               {"events", event_type_names(channel.ev_type)},
               {"max_size", channel.max_size},
               {"daq_name", channel.daq_name},
               {"server_block", channel.sb_name},
               {"subsystem", channel.subsystem},
               {"key", channel.db_key},
               {"stream", channel.stream},
               {"count", channel.count},
               {"set_point", channel.set_point}};
  line["bits"] = json::array();
  for (const bit_descr* bit : channel.bits)
    if (bit)
      line["bits"].push_back({{"bit", bit->bit}, {"name", bit->bit_name}, {"description", bit->bit_desc}});
  line["dimensions"] = json::array();
  for (const dim_descr* dim : channel.dims)
    if (dim) line["dimensions"].push_back(dimension_object(*dim));
  out.print(json_line(line));
}

std::string nothing_said(raw_file& file, const std::string& wanted) {
  if (file.descriptions().empty()) return file.path() + ": the file describes no channels";
  const auto channels = file.channels();
  if (std::any_of(channels.begin(), channels.end(),
                  [&wanted](const auto& one) { return wanted == one.chan_name; }))
    return fmt::format("{}: the file has channel {}, but says nothing about it", file.path(), wanted);
  std::vector<std::string> names;
  for (const chan_descr_2010* one : file.descriptions())
    if (one) names.emplace_back(one->prop_name);
  return fmt::format("{}: {} {}; {}", file.path(),
                     is_pattern(wanted) ? "no described channel matches" : "no channel", shown_name(wanted),
                     suggestion(wanted, names, "`ravo descr FILE` lists those that are described"));
}

void run(const options& asked, output& out) {
  raw_file file(asked.file);
  if (!file.description_problem().empty())
    throw data_failure(file.path() + ": " + file.description_problem());
  const auto fits = [](const std::string& wanted, const chan_descr_2010& one) {
    return wanted == one.prop_name || matches(wanted, one.prop_name);
  };
  const std::vector<chan_descr_2010*>& all = file.descriptions();
  for (const std::string& wanted : asked.channels)
    if (std::none_of(all.begin(), all.end(),
                     [&](const chan_descr_2010* one) { return one && fits(wanted, *one); }))
      throw data_failure(nothing_said(file, wanted));
  if (all.empty()) throw data_failure(nothing_said(file, ""));
  if (!asked.json && file.generation() == ravo_file_generation::older)
    out.format("{}  (older generation)\n", file.path());
  bool is_first = true;
  for (const chan_descr_2010* one : all) {
    const bool is_wanted =
        one && (asked.channels.empty() ||
                std::any_of(asked.channels.begin(), asked.channels.end(),
                            [&](const std::string& wanted) { return fits(wanted, *one); }));
    if (!is_wanted) continue;
    if (asked.json) {
      print_json(file, *one, out);
      continue;
    }
    if (!is_first) out.print("\n");
    is_first = false;
    print_text(*one, out);
  }
}

}  // namespace

verb descr_verb(CLI::App& tool) {
  CLI::App* command = tool.add_subcommand("descr", "Show what a raw file says of its channels");
  const auto asked = std::make_shared<options>();
  command->add_option("FILE", asked->file, "Raw file, of either generation")->required()->type_name("");
  command->add_option("CHANNEL", asked->channels, "Only these; * ? [] as in a shell")->type_name("");
  command->add_flag("--json", asked->json, "One JSON object a channel");
  command->footer(R"(Examples:
  ravo descr demo/linac_main_run1_file1_20250301T080000Z.raw LINAC/BPM/001
  ravo descr FILE 'LINAC/RF/*' 'LINAC/SPECTRUM/*'
  ravo descr FILE --json | jq -r 'select(.bits != []) | .channel'

Of each channel: units and description, data type and event types, where it comes from, and what its bits,
dimensions and statistics mean.)");
  return {command, [asked](output& out) { run(*asked, out); }};
}

}  // namespace ravo::tool
