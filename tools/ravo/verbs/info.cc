// ravo info: what a raw file holds, at a glance, and where its tables are.
#include <fmt/format.h>

#include <filesystem>

#include "common/each_file.h"
#include "common/raw_file.h"
#include "common/sizes.h"
#include "common/times.h"
#include "format/time.h"
#include "ravo_evutl.h"
#include "shared/json_lines.h"
#include "verbs/verb.h"

namespace ravo::tool {
namespace {

struct options {
  std::vector<std::string> files;
  bool json = false;
};

struct table_place {
  const char* name;
  const char* key;  // in JSON
  std::uint32_t offset;
  std::uint32_t length;
};

// The tables and baskets of the file with their lengths, as each states its own.
std::vector<table_place> places(const raw_file& file) {
  const ravo_file_reference_table_2010& reference = file.reference();
  auto place = [&file](const char* name, const char* key, std::uint32_t offset) {
    return table_place{name, key, offset, file.length_at(offset)};
  };
  std::vector<table_place> all = {
      place("event header basket", "event_header_basket", reference.evhdb_ref),
      place("server block basket", "server_block_basket", reference.srvbb_ref),
      place("first channel basket", "first_channel_basket", reference.chanb_ref),
      place("event index table", "event_index_table", reference.eit_pos_ref),
      place("channel dictionary", "channel_dictionary", reference.cdt_ref),
      place("event channel pointers", "event_channel_pointers", reference.ecp_ref),
      place("environment dictionary", "environment_dictionary", reference.eidt_ref),
      place("channel descriptions", "channel_descriptions", reference.xcd_ref),
  };
  // The event index table begins with a count of entries, not with its length.
  std::size_t index_bytes = sizeof(ravo_event_index_table_2010);
  for (const event_summary& events : file.events())
    index_bytes += sizeof(ravo_event_index_entry_head_2010) +
                   static_cast<std::size_t>(events.count) * sizeof(ravo_event_info_entry_2010);
  all[3].length = static_cast<std::uint32_t>(index_bytes);
  return all;
}

// Adds the exact number of bytes where the short form rounds.
std::string exact_size(std::uint64_t bytes) {
  return bytes < 1024 ? format_size(bytes) : fmt::format("{} ({} bytes)", format_size(bytes), bytes);
}

std::size_t channels_with_data(const raw_file& file) {
  std::size_t with_data = 0;
  for (const listed_channel& channel : file.channels()) with_data += channel.count > 0 ? 1 : 0;
  return with_data;
}

void print_table(const raw_file& file, output& out) {
  const auto channels = file.channels();
  out.format("{}{}{}\n", out.bold(), file.path(), out.plain());
  out.format("  size      {}\n", exact_size(file.size()));
  out.format("  format    {} generation\n", name_of(file.generation()));
  time_stamp named{};
  if (get_time_from_file_name(file.path().c_str(), &named) == 0)
    out.format("  name says {}\n", time_text(named));
  else
    out.format("  name      says no time: `ravo read` needs a name as the writer gave it\n");
  out.format("  channels  {}, {} of them with data\n", channels.size(), channels_with_data(file));
  if (!file.description_problem().empty()) out.format("  problem   {}\n", file.description_problem());

  out.format("\n  {}{:<16} {:>8}  {:>10}  {:>10}  {:<27}  {:<27}  {}{}\n", out.dim(), "events", "count",
             "first", "last", "from", "to", "rate", out.plain());
  for (const event_summary& events : file.events()) {
    const double span = microseconds(events.last.time) - microseconds(events.first.time);
    const std::string rate =
        events.count > 1 && span > 0 ? fmt::format("{:.2f} Hz", (events.count - 1) / span * 1e6) : "";
    out.print_line(fmt::format("  {:<16} {:>8}  {:>10}  {:>10}  {:<27}  {:<27}  {}",
                               event_name_itoa(events.type), events.count, events.first.event_number,
                               events.last.event_number, time_text(events.first.time),
                               time_text(events.last.time), rate));
  }

  out.format("\n  {}{:<24} {:>12}  {:>12}{}\n", out.dim(), "table", "offset", "bytes", out.plain());
  for (const table_place& place : places(file)) {
    if (place.offset == 0)
      out.format("  {:<24} {:>12}  {:>12}\n", place.name, "-", "-");
    else
      out.format("  {:<24} {:>12}  {:>12}\n", place.name, place.offset, place.length);
  }
}

void print_json(const raw_file& file, output& out) {
  json line;
  line["file"] = file.path();
  line["bytes"] = file.size();
  line["generation"] = name_of(file.generation());
  time_stamp named{};
  line["name_time"] =
      get_time_from_file_name(file.path().c_str(), &named) == 0 ? json(time_text(named)) : json();
  line["channels"] = file.channels().size();
  line["channels_with_data"] = channels_with_data(file);
  if (!file.description_problem().empty()) line["problem"] = file.description_problem();
  line["events"] = json::array();
  for (const event_summary& events : file.events())
    line["events"].push_back({{"type", event_name_itoa(events.type)},
                              {"count", events.count},
                              {"first_event", events.first.event_number},
                              {"last_event", events.last.event_number},
                              {"first_time", time_text(events.first.time)},
                              {"last_time", time_text(events.last.time)}});
  for (const table_place& place : places(file))
    line["tables"][place.key] =
        place.offset == 0 ? json() : json({{"offset", place.offset}, {"bytes", place.length}});
  out.print(json_line(line));
}

void run(const options& asked, output& out) {
  bool first = true;
  for_each_file(asked.files, out, [&](const std::string& path) {
    const raw_file file(path);
    report_description_problem(file);
    if (asked.json) return print_json(file, out);
    if (!first) out.print("\n");
    first = false;
    print_table(file, out);
  });
}

}  // namespace

verb info_verb(CLI::App& tool) {
  CLI::App* command = tool.add_subcommand("info", "Say what a raw file holds");
  const auto asked = std::make_shared<options>();
  command->add_option("FILE", asked->files, "Raw files, of either generation")->required()->type_name("");
  command->add_flag("--json", asked->json, "One JSON object a file");
  command->footer(R"(Examples:
  ravo info demo/linac_main_run1_file1_*.raw
  ravo info --json demo/*.raw | jq '.events[] | {type, count}'

A file that is refused is named with the table that is wrong and the reason; the others are shown, and the
exit code is 1.)");
  return {command, [asked](output& out) { run(*asked, out); }};
}

}  // namespace ravo::tool
