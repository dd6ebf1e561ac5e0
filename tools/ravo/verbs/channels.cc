// ravo channels: the channels of a raw file, their types and how they are stored.
#include <fmt/format.h>

#include <algorithm>

#include "common/each_file.h"
#include "common/failure.h"
#include "common/names.h"
#include "common/raw_file.h"
#include "common/type_names.h"
#include "ravo_data_types.h"
#include "ravo_evutl.h"
#include "shared/json_lines.h"
#include "verbs/verb.h"

namespace ravo::tool {
namespace {

struct options {
  std::vector<std::string> files;
  std::vector<std::string> patterns;
  bool json = false;
};

struct channel_row {
  std::string name;
  int count;
  std::string type;
  int members;
  std::vector<std::string> events;
  stored_as form;
  std::string units;
  std::string description;
};

bool is_wanted(const std::string& name, const std::vector<std::string>& patterns) {
  return patterns.empty() ||
         std::any_of(patterns.begin(), patterns.end(), [&name](const std::string& pattern) {
           return name == pattern || matches(pattern, name);
         });
}

std::vector<std::string> names_of(const raw_file& file) {
  std::vector<std::string> names;
  for (const listed_channel& one : file.channels()) names.emplace_back(one.chan_name);
  return names;
}

std::vector<channel_row> rows_of(raw_file& file, const std::vector<std::string>& patterns) {
  std::vector<channel_row> rows;
  const auto channels = file.channels();
  for (std::size_t i = 0; i < channels.size(); ++i) {
    const listed_channel& entry = channels[i];
    if (!is_wanted(entry.chan_name, patterns)) continue;
    channel_row row{entry.chan_name, entry.count, "-", 0, event_type_names(entry.ev_mask),
                    file.form_of(i), "",          ""};
    const auto dtype = file.dtype_of(i);
    if (dtype && find_data_type(*dtype)) {
      row.type = data_type_name(*dtype);
      row.members = file.members_of(i);
    }
    if (const chan_descr_2010* description = file.description(entry.chan_name)) {
      row.units = description->units;
      row.description = description->prop_desc;
    }
    rows.push_back(std::move(row));
  }
  return rows;
}

void print_table(const std::vector<channel_row>& rows, output& out) {
  std::size_t name_width = 7, type_width = 4, event_width = 6, unit_width = 5;
  for (const channel_row& row : rows) {
    name_width = std::max(name_width, row.name.size());
    type_width = std::max(type_width, row.type.size());
    event_width = std::max(event_width, fmt::format("{}", fmt::join(row.events, ",")).size());
    unit_width = std::max(unit_width, row.units.size());
  }
  out.format("{}{:<{}}  {:>7}  {:<{}}  {:<{}}  {:<7}  {:<{}}  {}{}\n", out.dim(), "channel", name_width,
             "count", "type", type_width, "events", event_width, "stored", "units", unit_width,
             "description", out.plain());
  for (const channel_row& row : rows)
    out.print_line(fmt::format("{:<{}}  {:>7}  {:<{}}  {:<{}}  {:<7}  {:<{}}  {}", row.name, name_width,
                               row.count, row.type, type_width,
                               fmt::format("{}", fmt::join(row.events, ",")), event_width,
                               name_of(row.form), row.units, unit_width, row.description));
}

void print_json(const raw_file& file, const std::vector<channel_row>& rows, output& out) {
  for (const channel_row& row : rows)
    out.print(json_line({{"file", file.path()},
                         {"generation", name_of(file.generation())},
                         {"channel", row.name},
                         {"count", row.count},
                         {"type", row.type},
                         {"members", row.members},
                         {"events", row.events},
                         {"stored", name_of(row.form)},
                         {"units", row.units},
                         {"description", row.description}}));
}

void run(const options& asked, output& out) {
  bool first = true;
  for_each_file(asked.files, out, [&](const std::string& path) {
    raw_file file(path);
    report_description_problem(file);
    const std::vector<channel_row> rows = rows_of(file, asked.patterns);
    if (rows.empty() && !asked.patterns.empty()) {
      std::vector<std::string> patterns;
      for (const std::string& pattern : asked.patterns) patterns.push_back(shown_name(pattern));
      throw data_failure(fmt::format(
          "{}: no channel matches {}; {}", path, join_or(patterns),
          suggestion(asked.patterns.front(), names_of(file), "without --match all are listed")));
    }
    if (asked.json) return print_json(file, rows, out);
    if (asked.files.size() > 1 || file.generation() == ravo_file_generation::older)
      out.format("{}{}{}{}{}\n", first ? "" : "\n", out.bold(), path, out.plain(),
                 file.generation() == ravo_file_generation::older ? "  (older generation)" : "");
    first = false;
    print_table(rows, out);
  });
}

}  // namespace

verb channels_verb(CLI::App& tool) {
  CLI::App* command = tool.add_subcommand("channels", "List the channels of a raw file");
  const auto asked = std::make_shared<options>();
  command->add_option("FILE", asked->files, "Raw files, of either generation")->required()->type_name("");
  command
      ->add_option("--match,-m", asked->patterns,
                   "Only these channels; * ? [] as in a shell. May be repeated")
      ->allow_extra_args(false)
      ->type_name("NAME");
  command->add_flag("--json", asked->json, "One JSON object a channel");
  command->footer(R"(Examples:
  ravo channels demo/linac_main_run1_file1_*.raw
  ravo channels FILE --match '*/BPM/*'
  ravo channels FILE --json | jq -r 'select(.stored == "zlib") | .channel'

count: events of the file that hold the channel. events: the event types it comes in.
stored: how its first block is compressed.)");
  return {command, [asked](output& out) { run(*asked, out); }};
}

}  // namespace ravo::tool
