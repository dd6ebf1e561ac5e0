// ravo show: one event of a raw file, as a person wants to see it.
#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <map>

#include "channel_names.h"
#include "failure.h"
#include "help_format.h"
#include "names.h"
#include "show/showing.h"
#include "units.h"
#include "verb.h"

namespace ravo::tool {
namespace {

struct options {
  std::string file;
  std::string event = "first";
  std::vector<std::string> channels;
  std::string png;
  std::string zone = "UTC";
  std::optional<int> width;
  bool ascii = false;
  bool json = false;
};

// The wanted channels in the order in which they were asked for, and of which of them single members only.
struct wanted_channels {
  std::vector<std::size_t> indices;
  std::map<std::size_t, std::vector<int>> members;

  void add(std::size_t index, std::optional<int> member) {
    const bool is_known = std::find(indices.begin(), indices.end(), index) != indices.end();
    const bool was_whole = is_known && !members.contains(index);
    if (!is_known) indices.push_back(index);
    if (!member)
      members.erase(index);
    else if (!was_whole)
      members[index].push_back(*member);
  }
};

// "NAME:2" is member 2 of NAME, unless a channel is called so.
std::optional<int> cut_member(const raw_file& file, std::string& name) {
  const auto channels = file.channels();
  const auto is_called_so = [&name](const listed_channel& channel) { return name == channel.chan_name; };
  const auto colon = name.rfind(':');
  if (colon == std::string::npos || std::any_of(channels.begin(), channels.end(), is_called_so))
    return std::nullopt;
  int member = -1;
  const char* end = name.data() + name.size();
  const auto [stop, error] = std::from_chars(name.data() + colon + 1, end, member);
  if (error != std::errc() || stop != end || member < 0)
    throw usage_failure(
        fmt::format("--channel: '{}': behind the ':' stands the number of a member, from 0", name));
  name.erase(colon);
  return member;
}

wanted_channels resolve(const raw_file& file, const std::vector<std::string>& asked) {
  wanted_channels wanted;
  const auto channels = file.channels();
  if (asked.empty())
    for (std::size_t i = 0; i < channels.size(); ++i) wanted.add(i, std::nullopt);
  for (std::string name : asked) {
    const std::optional<int> member = cut_member(file, name);
    if (!is_pattern(name)) {
      wanted.add(find_channel(file, name), member);
      continue;
    }
    bool has_match = false;
    for (std::size_t i = 0; i < channels.size(); ++i)
      if (matches(name, channels[i].chan_name)) {
        wanted.add(i, member);
        has_match = true;
      }
    if (!has_match) throw data_failure(fmt::format("{}: no channel matches {}", file.path(), name));
  }
  return wanted;
}

std::string members_text(const shown_spectrum& spectrum) {
  std::string text;
  for (const shown_member& member : spectrum.members)
    text += fmt::format("{}{} {}", text.empty() ? "" : ", ", member.index, member.name);
  return text;
}

// Leaves the wanted members of a spectrum.
void keep_members(shown_channel& channel, const std::vector<int>& wanted) {
  auto* spectrum = std::get_if<shown_spectrum>(&channel.data);
  if (!spectrum)
    throw data_failure(
        fmt::format("{} has no members: ask for it without ':{}'", channel.name, wanted.front()));
  for (const int member : wanted)
    if (static_cast<std::size_t>(member) >= spectrum->members.size())
      throw data_failure(
          fmt::format("{} has no member {}; it has {}", channel.name, member, members_text(*spectrum)));
  std::erase_if(spectrum->members, [&wanted](const shown_member& member) {
    return std::find(wanted.begin(), wanted.end(), member.index) == wanted.end();
  });
}

void complete(shown_event& event, const raw_file& file, const wanted_channels& wanted) {
  for (shown_channel& channel : event.channels) {
    if (auto* spectrum = std::get_if<shown_spectrum>(&channel.data))
      for (std::size_t i = 0; i < spectrum->members.size(); ++i)
        spectrum->members[i].unit = unit_of(channel.units, i, spectrum->members.size());
    const auto members = wanted.members.find(find_channel(file, channel.name));
    if (members != wanted.members.end()) keep_members(channel, members->second);
  }
}

void check_options(const options& asked) {
  if (asked.png.empty()) return;
  if (asked.channels.empty())
    throw usage_failure("--png needs --channel: it writes the picture of one channel");
  if (asked.json) throw usage_failure("--png and --json do not go together");
}

void print(const shown_event& event, const options& asked, output& out) {
  if (asked.json) return print_json(event, asked.channels.empty() ? pixels::left_out : pixels::listed, out);
  terminal_look look = look_of(out);
  if (asked.width) look.columns = *asked.width;
  if (asked.ascii) look.letters = drawing::letters::ascii;
  if (asked.channels.empty())
    print_overview(event, look, out);
  else
    print_channels(event, look, out);
}

void run(const options& asked, output& out) {
  check_options(asked);
  const wanted_event wanted = wanted_event_of(asked.event, asked.zone);
  raw_file file(asked.file);
  const wanted_channels channels = resolve(file, asked.channels);
  if (!asked.png.empty() && channels.indices.size() != 1)
    throw usage_failure(fmt::format("--png writes the picture of one channel, and {} are asked for",
                                    channels.indices.size()));
  shown_event event = read_event(file, channels.indices, choose_event(file, channels.indices, wanted), out);
  complete(event, file, channels);
  if (asked.png.empty())
    print(event, asked, out);
  else if (!event.channels.empty())
    out.print(write_png(event, event.channels.front(), asked.png) + "\n");
  tell_description_problem(file);
  if (event.unread.empty()) return;
  std::string text =
      fmt::format("{}: event {}: not all data could be read:", file.path(), event.id.event_number);
  for (const std::string& name : event.unread) text += "\n  " + name;
  if (!event.library_words.empty()) text += "\nthe library said:\n" + event.library_words;
  throw data_failure(text);
}

}  // namespace

verb show_verb(CLI::App& tool) {
  CLI::App* command = tool.add_subcommand("show", "Show one event of a raw file: values, plots, pictures");
  const auto asked = std::make_shared<options>();
  command->add_option("FILE", asked->file, "Raw file, of either generation")->required()->type_name("");
  command
      ->add_option("--event,-n", asked->event,
                   "Its number, first, last, or a time: the event nearest to it")
      ->type_name("EVENT")
      ->capture_default_str();
  command
      ->add_option("--channel,-c", asked->channels,
                   "A channel to draw: NAME, NAME:MEMBER (a number from 0), or a pattern with * ? []. May "
                   "be repeated")
      ->allow_extra_args(false)
      ->type_name("NAME");
  command
      ->add_option("--png", asked->png, "Write the picture of one channel, an image or a spectrum, instead")
      ->type_name("FILE");
  command->add_option("--tz", asked->zone, "Time zone of a time of day")
      ->type_name("ZONE")
      ->capture_default_str();
  command
      ->add_option("--width", asked->width, "Columns of plots and pictures  [those of the terminal, or 80]")
      ->type_name("N")
      ->check(in_range(40, 1000));
  command->add_flag("--ascii", asked->ascii, "Draw with ASCII letters only");
  command->add_flag("--json", asked->json, "One JSON object, with all values");
  command->footer(R"(Examples:
  ravo show FILE                                     the first event, a line for each value
  ravo show FILE --event 1000042 -c LINAC/BPM/001    a plot for each member
  ravo show FILE -n 2025-03-01T08:00:04.2 -c LINAC/CAMERA/001
  ravo show FILE -n 1000042 -c LINAC/RF/001:1 --png phase.png
  ravo show FILE -n last -c LINAC/SPECTRUM/001 --json | jq '.channels[0].members[0].values'

Without --channel you see every channel that has data of the event: bars for spectra, the values of the rest.
With it, spectra are drawn over their axis and images as pictures: in colour where the terminal has it, else in
letters, a denser one for a brighter pixel. A slow channel shows the last that it told, up to this event: "held"
names the event that it is from. First and last are those of the channels that you ask for.
A PNG file of an image has the pixels as they are, in 8 or 16 bits; one of a spectrum has a plot for each member.)");
  return {command, [asked](output& out) { run(*asked, out); }};
}

}  // namespace ravo::tool
