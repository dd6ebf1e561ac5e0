// ravo show: one event of a raw file, as a person wants to see it.
#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <map>

#include "common/failure.h"
#include "common/help_format.h"
#include "common/names.h"
#include "common/selection_options.h"
#include "ravo_dataset/describe.h"
#include "ravo_dataset/member_names.h"
#include "show/showing.h"
#include "verbs/verb.h"

namespace ravo::tool {
namespace {

struct options {
  std::string file;
  std::string event = "first";
  std::vector<std::string> channels;
  picture_wishes picture;
  std::string zone = "UTC";
  std::optional<int> width;
  std::optional<std::string> memory;
  bool ascii = false;
  bool json = false;
  bool is_coloured = false;  // --stretch or --colour-map was given
};

// The wanted channels in the order in which they were asked for, and single members of some of them.
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

struct asked_member {
  std::optional<int> number;
  std::string name;  // if it was asked for by name

  // Its number in a channel.
  std::optional<int> of(const raw_file& file, std::size_t channel) const {
    if (name.empty()) return number;
    const auto type = file.dtype_of(channel);
    if (const auto found = type ? member_number(static_cast<std::int32_t>(*type), name) : std::nullopt)
      return found;
    const std::string members = type ? member_list(static_cast<std::int32_t>(*type)) : "";
    throw data_failure(
        fmt::format("\"{}\" has no member \"{}\"; {}", file.channels()[channel].chan_name, name,
                    members.empty() ? "its members go by their numbers, from 0" : "it has " + members));
  }
};

// "NAME:2" is member 2 of NAME, "NAME:CHARGE" the member of this name, unless a channel has this whole
// name.
asked_member cut_member(const raw_file& file, std::string& name) {
  const auto channels = file.channels();
  const auto is_called_so = [&name](const listed_channel& channel) { return name == channel.chan_name; };
  const auto colon = name.rfind(':');
  if (colon == std::string::npos || std::any_of(channels.begin(), channels.end(), is_called_so)) return {};
  int member = -1;
  const char* end = name.data() + name.size();
  const auto [stop, error] = std::from_chars(name.data() + colon + 1, end, member);
  const bool is_number = error == std::errc() && stop == end && member >= 0;
  asked_member asked;
  if (is_number)
    asked.number = member;
  else
    asked.name = name.substr(colon + 1);
  name.erase(colon);
  return asked;
}

wanted_channels resolve(const raw_file& file, const std::vector<std::string>& asked) {
  wanted_channels wanted;
  const auto channels = file.channels();
  if (asked.empty())
    for (std::size_t i = 0; i < channels.size(); ++i) wanted.add(i, std::nullopt);
  for (std::string name : asked) {
    const asked_member member = cut_member(file, name);
    if (!is_pattern(name)) {
      const std::size_t channel = find_channel(file, name);
      wanted.add(channel, member.of(file, channel));
      continue;
    }
    bool has_match = false;
    for (std::size_t i = 0; i < channels.size(); ++i)
      if (matches(name, channels[i].chan_name)) {
        has_match = true;
        const bool is_typeless = channels[i].count == 0;  // its blocks would say which members it has
        if (member.name.empty() || !is_typeless) wanted.add(i, member.of(file, i));
      }
    if (!has_match) {
      std::vector<std::string> names;
      for (const auto& one : channels) names.emplace_back(one.chan_name);
      throw data_failure(fmt::format("{}: no channel matches {}; {}", file.path(), name,
                                     suggestion(name, names, "`ravo channels FILE` lists them")));
    }
  }
  return wanted;
}

std::string members_text(const shown_spectrum& spectrum) {
  std::string text;
  for (const shown_member& member : spectrum.members)
    text += fmt::format("{}{} {}", text.empty() ? "" : ", ", member.index, member.name);
  return text;
}

// Keeps the wanted records of a name-value list, once each and in its order.
void keep_records(shown_channel& channel, shown_pairs& pairs, const std::vector<int>& wanted) {
  std::vector<std::pair<std::string, float>> kept;
  for (std::size_t i = 0; i < pairs.records.size(); ++i)
    if (std::find(wanted.begin(), wanted.end(), static_cast<int>(i)) != wanted.end())
      kept.push_back(pairs.records[i]);
  for (const int record : wanted)
    if (static_cast<std::size_t>(record) >= pairs.records.size())
      throw data_failure(fmt::format("{} has no record {}; its list has {} of them", channel.name, record,
                                     pairs.records.size()));
  pairs.records = std::move(kept);
}

// Keeps the wanted members of a spectrum, or records of a list.
void keep_members(shown_channel& channel, const std::vector<int>& wanted) {
  if (auto* pairs = std::get_if<shown_pairs>(&channel.data)) return keep_records(channel, *pairs, wanted);
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
        spectrum->members[i].unit = unit_of_member(channel.units, i, spectrum->members.size());
    const auto members = wanted.members.find(find_channel(file, channel.name));
    if (members != wanted.members.end()) keep_members(channel, members->second);
  }
}

void check_options(const options& asked) {
  const figure_wishes& drawn = asked.picture.drawn;
  if (asked.picture.path.empty()) {
    if (asked.picture.is_exact || drawn.together == curves::overlaid || asked.is_coloured)
      throw usage_failure(
          "--pixels, --overlay, --stretch and --colour-map say how a --picture is drawn; name one");
    return;
  }
  check_ending(asked.picture);
  if (asked.channels.empty())
    throw usage_failure("--picture needs --channel: it draws the channels that you ask for");
  if (asked.json) throw usage_failure("--picture and --json do not go together");
  if (asked.picture.is_exact && (drawn.together == curves::overlaid || asked.is_coloured))
    throw usage_failure("--pixels writes pixels as they are, without --overlay, --stretch or --colour-map");
}

void print(const shown_event& event, const options& asked, output& out) {
  if (asked.json) return print_json(event, asked.channels.empty() ? pixels::left_out : pixels::listed, out);
  terminal_layout layout = layout_of(out);
  if (asked.width) layout.columns = *asked.width;
  if (asked.ascii) layout.letters = drawing::letters::ascii;
  if (asked.channels.empty())
    print_overview(event, layout, out);
  else
    print_channels(event, layout, out);
}

void run(const options& asked, output& out) {
  check_options(asked);
  const wanted_event wanted = wanted_event_of(asked.event, asked.zone);
  const std::size_t memory =
      asked.memory ? size_option("--memory", *asked.memory) : dataset_options().memory_limit;
  raw_file file(asked.file);
  const wanted_channels channels = resolve(file, asked.channels);
  const shown_values as = asked.json ? shown_values::listed : shown_values::drawn;
  shown_event event = read_event(file, {wanted, channels.indices, memory, as});
  complete(event, file, channels);
  if (asked.picture.path.empty())
    print(event, asked, out);
  else if (!event.channels.empty())
    out.print_line(write_picture(event, asked.picture));
  report_description_problem(file);
  if (event.unread.empty()) return;
  std::string text = shown("{}: event {}: not all data could be read:", file.path(), event.id.event_number);
  for (const unread_channel& channel : event.unread)
    text += shown("\n  {}\n    {}", channel.name, channel.reason);
  throw data_failure(several_lines{text});
}

void add_picture_options(CLI::App& command, const std::shared_ptr<options>& asked) {
  command
      .add_option("--picture,--png", asked->picture.path,
                  "Draw the channels into a file instead, a .png or a .svg by its name")
      ->type_name("FILE");
  command.add_flag_callback(
      "--overlay", [asked] { asked->picture.drawn.together = curves::overlaid; },
      "Curves of one unit over one axis in one plot");
  const std::map<std::string, drawing::stretch> stretches{{"none", drawing::stretch::none},
                                                          {"minmax", drawing::stretch::minmax},
                                                          {"percentile", drawing::stretch::percentile}};
  const std::map<std::string, drawing::colour_map> maps{{"aurora", drawing::colour_map::aurora},
                                                        {"ember", drawing::colour_map::ember},
                                                        {"grey", drawing::colour_map::grey}};
  command
      .add_option_function<std::string>(
          "--stretch",
          [asked, stretches](const std::string& name) {
            asked->picture.drawn.brightness = stretches.at(name);
            asked->is_coloured = true;
          },
          "What the colours of a frame reach over: minmax (its pixels), percentile (without the hundredth "
          "part "
          "at each end) or none (all that the sensor counts)  [minmax]")
      ->type_name("WAY")
      ->check(one_of({"none", "minmax", "percentile"}));
  command
      .add_option_function<std::string>(
          "--colour-map",
          [asked, maps](const std::string& name) {
            asked->picture.drawn.map = maps.at(name);
            asked->is_coloured = true;
          },
          "Colours of a frame: aurora (violet to yellow), ember (black to white by red) or grey  [aurora]")
      ->type_name("NAME")
      ->check(one_of({"aurora", "ember", "grey"}));
  command.add_flag("--pixels", asked->picture.is_exact,
                   "The pixels of a frame as they are, in 8 or 16 bits of grey, without axes (PNG)");
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
  add_picture_options(*command, asked);
  command->add_option("--tz", asked->zone, "Time zone of a time of day")
      ->type_name("ZONE")
      ->capture_default_str();
  command
      ->add_option("--width", asked->width, "Columns of plots and pictures  [those of the terminal, or 80]")
      ->type_name("N")
      ->check(in_range(40, 1000));
  command
      ->add_option("--memory", asked->memory,
                   "Memory that reading and showing may take, such as 512M  [1G]")
      ->type_name("SIZE");
  command->add_flag("--ascii", asked->ascii, "Draw with ASCII letters only");
  command->add_flag("--json", asked->json, "One JSON object, with all values");
  command->footer(R"(Examples:
  ravo show FILE                                     the first event, a line for each value
  ravo show FILE --event 1000042 -c LINAC/BPM/001    a plot for each member
  ravo show FILE -n 2025-03-01T08:00:04.2 -c LINAC/CAMERA/001
  ravo show FILE -n 1000042 -c LINAC/RF/001:1 --picture phase.png
  ravo show FILE -n 1000042 -c 'LINAC/BPM/00[12]' --overlay --picture orbit.svg
  ravo show FILE -n 1000042 -c LINAC/CAMERA/001 --picture pixels.png --pixels
  ravo show FILE -n last -c LINAC/SPECTRUM/001 --json | jq '.channels[0].members[0].values'

Without --channel you see every channel that has data of the event: bars for spectra, the values of the rest.
With it, spectra are drawn over their axis and images as pictures: in colour where the terminal has it, else in
letters, a denser one for a brighter pixel. A slow channel shows its last value, up to this event: "held"
names the event that it is from. First and last are those of the channels that you ask for.
A picture has a panel for each member, each frame and each table, with the units and axes that the file describes;
values that are not finite leave gaps and are counted. Frames have the axes of their sensor and a scale in counts.
With --pixels a PNG has a frame's values as they were measured; of 12 bits in 16 it looks nearly black.)");
  return {command, [asked](output& out) { run(*asked, out); }};
}

}  // namespace ravo::tool
