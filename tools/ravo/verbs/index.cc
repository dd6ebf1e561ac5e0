// ravo index: the events of a raw file, type by type, as its event index table lists them.
#include <fmt/format.h>

#include <algorithm>

#include "common/each_file.h"
#include "common/failure.h"
#include "common/help_format.h"
#include "common/raw_file.h"
#include "common/times.h"
#include "common/type_names.h"
#include "format/time.h"
#include "shared/json_lines.h"
#include "verbs/verb.h"

namespace ravo::tool {
namespace {

struct options {
  std::vector<std::string> files;
  std::vector<std::string> types;
  std::uint64_t limit = 0;
  bool json = false;
};

std::vector<const ravo_event_index_entry_2010*> entries_of(const raw_file& file) {
  std::vector<const ravo_event_index_entry_2010*> entries;
  const ravo_event_index_table_2010& table = file.event_index();
  const ravo_event_index_entry_2010* entry = table.event_index_entry();
  for (int i = 0; i < table.nevent_types; ++i, entry = entry->next())
    if (entry->length > 0) entries.push_back(entry);
  return entries;
}

// Keeps the entries of the types; throws data_failure if one of them has no events.
void keep_types(std::vector<const ravo_event_index_entry_2010*>& entries, const std::vector<int>& types,
                const raw_file& file) {
  for (const int type : types)
    if (std::none_of(entries.begin(), entries.end(),
                     [type](const auto* one) { return one->event_type == type; })) {
      std::string there;
      for (const auto* one : entries)
        there += (there.empty() ? "" : ", ") + event_type_name(one->event_type);
      throw data_failure(fmt::format("{}: no events of type {}; there are {}", file.path(),
                                     event_type_name(type), there.empty() ? "none at all" : there));
    }
  if (types.empty()) return;
  std::erase_if(entries, [&types](const auto* one) {
    return std::find(types.begin(), types.end(), one->event_type) == types.end();
  });
}

int shown_events(const ravo_event_index_entry_2010& entry, std::uint64_t limit) {
  return limit == 0 || limit > static_cast<std::uint64_t>(entry.length) ? entry.length
                                                                        : static_cast<int>(limit);
}

void print_table(const ravo_event_index_entry_2010& entry, std::uint64_t limit, output& out) {
  out.format("  {}{}: {} event{}{}\n", out.bold(), event_type_name(entry.event_type), entry.length,
             entry.length == 1 ? "" : "s", out.plain());
  out.format("  {}{:>10}  {:<27}  {:>10}  {:>12}{}\n", out.dim(), "event", "time", "since last",
             "header at", out.plain());
  const ravo_event_info_entry_2010* events = entry.event_info();
  const int shown = shown_events(entry, limit);
  for (int i = 0; i < shown; ++i) {
    const std::string step =
        i == 0 ? ""
               : fmt::format("{:.3f} s",
                             (microseconds(events[i].time) - microseconds(events[i - 1].time)) / 1e6);
    out.format("  {:>10}  {:<27}  {:>10}  {:>12}\n", events[i].event_number, time_text(events[i].time),
               step, events[i].offset);
  }
  if (shown < entry.length) out.format("  {:>10}  {} more\n", "...", entry.length - shown);
}

void print_json(const raw_file& file, const ravo_event_index_entry_2010& entry, std::uint64_t limit,
                output& out) {
  const int shown = shown_events(entry, limit);
  for (int i = 0; i < shown; ++i) {
    const ravo_event_info_entry_2010& event = entry.event_info()[i];
    out.print(json_line({{"file", file.path()},
                         {"generation", name_of(file.generation())},
                         {"type", event_type_name(entry.event_type)},
                         {"event", event.event_number},
                         {"time", time_text(event.time)},
                         {"offset", event.offset}}));
  }
}

void print(const raw_file& file, const std::vector<int>& types, const options& asked, bool& is_first_file,
           output& out) {
  auto entries = entries_of(file);
  keep_types(entries, types, file);
  if (asked.json) {
    for (const auto* entry : entries) print_json(file, *entry, asked.limit, out);
    return;
  }
  if (!is_first_file) out.print("\n");
  is_first_file = false;
  out.format("{}{}{}{}\n", out.bold(), file.path(), out.plain(),
             file.generation() == ravo_file_generation::older ? "  (older generation)" : "");
  if (entries.empty()) out.print("  no events\n");
  bool is_first = true;
  for (const auto* entry : entries) {
    if (!is_first) out.print("\n");
    is_first = false;
    print_table(*entry, asked.limit, out);
  }
}

void run(const options& asked, output& out) {
  std::vector<int> types;
  for (const std::string& text : asked.types) types.push_back(event_type_of(text));
  bool is_first = true;
  for_each_file(asked.files, out,
                [&](const std::string& path) { print(raw_file(path), types, asked, is_first, out); });
}

}  // namespace

verb index_verb(CLI::App& tool) {
  CLI::App* command = tool.add_subcommand("index", "List the events of a raw file");
  const auto asked = std::make_shared<options>();
  command->add_option("FILE", asked->files, "Raw files, of either generation")->required()->type_name("");
  command
      ->add_option("--type,-t", asked->types,
                   "Only events of this type, such as NORMAL or 1. May be repeated")
      ->allow_extra_args(false)
      ->type_name("TYPE");
  command->add_option("--limit", asked->limit, "Not more events of a type than this")
      ->type_name("N")
      ->check(not_negative());
  command->add_flag("--json", asked->json, "One JSON object an event");
  command->footer(R"(Examples:
  ravo index demo/linac_main_run1_file1_*.raw --limit 5
  ravo index FILE --type NORMAL --type BOR
  ravo index FILE --type IMAGE --json | jq .time

Of every event type the file says which events it has: number, time (UTC) and where in the file the header
of the event is. "since last" is the time to the event before it.)");
  return {command, [asked](output& out) { run(*asked, out); }};
}

}  // namespace ravo::tool
