// ravo headers: the headers above the data of a channel, event by event.
#include <fmt/format.h>

#include <cstring>

#include "common/channel_headers.h"
#include "common/help_format.h"
#include "common/names.h"
#include "common/type_names.h"
#include "format/print_text.h"
#include "format/time.h"
#include "shared/json_lines.h"
#include "verbs/verb.h"

namespace ravo::tool {
namespace {

struct options {
  std::string file;
  std::string channel;
  std::uint64_t limit = 0;
  bool json = false;
};

std::uint32_t bits(std::int32_t word) { return static_cast<std::uint32_t>(word); }

const char* compressor_of(const ravo_zip_header& zip) {
  return zip.zip_flags & RAVO_ZIP_ZLIB    ? name_of(stored_as::zlib)
         : zip.zip_flags & RAVO_ZIP_LZO1X ? name_of(stored_as::lzo1x)
                                          : name_of(stored_as::unknown);
}

// The errors of a block, by name; compression is not among them, storage_text() reports it.
std::string errors_of(const ravo_serv_block_subhead_2010& channel) {
  const std::int32_t errors = channel.error & ~RAVO_CHAN_ZIP_FLAG;
  return errors == 0 ? "no error" : "error " + error_text(errors);
}

std::string storage_text(const channel_headers& headers) {
  if (!headers.zip) return "plain";
  return fmt::format("{} {} of {}", compressor_of(*headers.zip), headers.zip->zipp_length,
                     headers.zip->orig_length);
}

void print_text(const channel_headers& headers, output& out) {
  const ravo_eventheader& event = headers.event;
  const ravo_serv_block_head_2010& server = headers.server;
  const ravo_serv_block_subhead_2010& channel = headers.channel;
  out.format("{}event {}  {}  {}{}\n", out.bold(), event.event_number, time_text(event.event_time),
             event_type_name(event.event_type), out.plain());
  out.format("  event header   at {:>10}  {} bytes, {} server block{}, tmask {:#x}, status {:#x}\n",
             headers.at.evhd, event.event_length, event.num_svr_block, event.num_svr_block == 1 ? "" : "s",
             bits(event.tmask), bits(event.status));
  out.format(
      "  server block   at {:>10}  {}, {} bytes, {} channel{}, macro-pulse {}, {}, tmask {:#x}, "
      "status {:#x}\n",
      headers.at.sbhd, printable(server.server), server.ltotal, server.nchan, server.nchan == 1 ? "" : "s",
      server.mpulse, time_text(server.time), bits(server.tmask), bits(server.status));
  out.format("  channel block  at {:>10}  {}, {} bytes, {}, {}\n", headers.at.chhd,
             data_type_name(channel.dtype), channel.ldata, storage_text(headers), errors_of(channel));
}

void print_json(const raw_file& file, const std::string& name, const channel_headers& headers,
                output& out) {
  const ravo_eventheader& event = headers.event;
  const ravo_serv_block_head_2010& server = headers.server;
  const ravo_serv_block_subhead_2010& channel = headers.channel;
  json line;
  line["file"] = file.path();
  line["generation"] = name_of(file.generation());
  line["channel"] = name;
  line["event"] = event.event_number;
  line["time"] = time_text(event.event_time);
  line["event_header"] = {{"offset", headers.at.evhd},   {"type", event_type_name(event.event_type)},
                          {"bytes", event.event_length}, {"server_blocks", event.num_svr_block},
                          {"tmask", bits(event.tmask)},  {"status", bits(event.status)}};
  line["server_block"] = {{"offset", headers.at.sbhd},    {"server", server.server},
                          {"bytes", server.ltotal},       {"channels", server.nchan},
                          {"macro_pulse", server.mpulse}, {"time", time_text(server.time)},
                          {"tmask", bits(server.tmask)},  {"status", bits(server.status)}};
  line["channel_block"] = {{"offset", headers.at.chhd},
                           {"name", channel.chname},
                           {"dtype", data_type_name(channel.dtype)},
                           {"bytes", channel.ldata},
                           {"error", bits(channel.error)},
                           {"error_text", error_text(channel.error)}};
  if (headers.zip)
    line["zip_header"] = {{"method", compressor_of(*headers.zip)},
                          {"bytes", headers.zip->zipp_length},
                          {"original_bytes", headers.zip->orig_length}};
  out.print(json_line(line));
}

void run(const options& asked, output& out) {
  const raw_file file(asked.file);
  const std::size_t channel = find_channel(file, asked.channel);
  const std::size_t places = file.places(channel);
  const std::size_t shown =
      asked.limit == 0 || asked.limit > places ? places : static_cast<std::size_t>(asked.limit);
  if (!asked.json)
    out.format("{}{}{} has data in {} event{} of {}{}\n", out.bold(), printable(asked.channel), out.plain(),
               places, places == 1 ? "" : "s", file.path(),
               file.generation() == ravo_file_generation::older ? "  (older generation)" : "");
  for (std::size_t i = 0; i < shown; ++i) {
    const channel_headers headers = read_channel_headers(file, file.place(channel, i));
    if (asked.json)
      print_json(file, asked.channel, headers, out);
    else
      print_text(headers, out);
  }
}

}  // namespace

verb headers_verb(CLI::App& tool) {
  CLI::App* command = tool.add_subcommand("headers", "Show the headers of a channel's data in a raw file");
  const auto asked = std::make_shared<options>();
  command->add_option("FILE", asked->file, "Raw file, of either generation")->required()->type_name("");
  command->add_option("CHANNEL", asked->channel, "Name of a channel")->required()->type_name("");
  command->add_option("--limit", asked->limit, "Not more events than this")
      ->type_name("N")
      ->check(not_negative());
  command->add_flag("--json", asked->json, "One JSON object an event");
  command->footer(R"(Examples:
  ravo headers demo/linac_main_run1_file1_20250301T080000Z.raw LINAC/BPM/001 --limit 3
  ravo headers FILE CHANNEL --json | jq 'select(.channel_block.error != 0)'

For every event that holds the channel: the header of the event, of the server block that the channel came
in, and of the channel's own block, each with its offset in the file. Headers are shown as they are stored:
the data are not touched, so that it works for damaged data too.)");
  return {command, [asked](output& out) { run(*asked, out); }};
}

}  // namespace ravo::tool
