// Prints an event for people: headings, plots, pictures, tables.
#include <fmt/format.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "common/type_names.h"
#include "drawing/line_plot.h"
#include "format/time.h"
#include "shared/escaping.h"
#include "show/showing.h"

namespace ravo::tool {
namespace {

constexpr int plot_rows = 10;
constexpr int picture_rows = 40;

template <class... Kinds>
struct by_kind : Kinds... {
  using Kinds::operator()...;
};
template <class... Kinds>
by_kind(Kinds...) -> by_kind<Kinds...>;

std::string types_text(const shown_event& event) {
  std::string text;
  for (const int type : event.types) text += (text.empty() ? "" : ", ") + event_type_name(type);
  return text;
}

std::string name_of(const ravo_time_id& event) {
  return event.event_number == 0 ? "an event without a number"
                                 : fmt::format("event {}", event.event_number);
}

void print_heading(const shown_event& event, output& out) {
  out.format("{}{}  {}  {}{}  of {}{}\n", out.bold(), name_of(event.id), time_text(event.id.time),
             types_text(event), out.plain(), event.file,
             event.generation == ravo_file_generation::older ? "  (older generation)" : "");
}

std::string with_unit(const std::string& text, const std::string& unit) {
  return unit.empty() ? text : text + " " + printable(unit);
}

struct finite_values {
  std::size_t count = 0;
  double sum = 0, low = INFINITY, high = -INFINITY;
};

finite_values finite_of(const shown_member& member) {
  finite_values found;
  for (const float value : member.values) {
    if (!std::isfinite(value)) continue;
    const double number = double{value};
    ++found.count;
    found.sum += number;
    found.low = std::min(found.low, number);
    found.high = std::max(found.high, number);
  }
  return found;
}

std::string not_finite_text(const shown_member& member, const finite_values& found) {
  const std::size_t others = member.values.size() - found.count;
  return others == 0 ? "" : fmt::format("  ({} not finite)", others);
}

std::string range_text(const shown_member& member) {
  const finite_values found = finite_of(member);
  if (member.values.empty()) return "no values";
  if (found.count == 0) return "no value is finite";
  return with_unit(fmt::format("{:.5g} to {:.5g}", found.low, found.high), member.unit) +
         not_finite_text(member, found);
}

bool is_scalar(const shown_member& member) { return member.values.size() == 1; }

std::string scalar_text(const shown_member& member) {
  return with_unit(fmt::format("{:.7g}", member.values[0]), member.unit);
}

std::string image_text(const shown_image& image) {
  const drawing::interval brightness = brightness_of(image.picture);
  return fmt::format("{} x {} pixels of {} byte{}, {:.0f} (black) to {:.0f} (white), frame {}",
                     image.picture.width, image.picture.height, image.bytes_per_pixel,
                     image.bytes_per_pixel == 1 ? "" : "s", brightness.low, brightness.high, image.frame);
}

std::string slow_text(const shown_slow_value& slow, const shown_channel& channel) {
  std::string text = with_unit(fmt::format("{:.7g}", slow.value), channel.units);
  text += fmt::format("  {}  at {}", printable(slow.property), time_text(slow.time));
  if (slow.status != 0) text += fmt::format("  status {:#x}", static_cast<unsigned>(slow.status));
  return text;
}

std::size_t name_width_of(const shown_pairs& pairs) {
  std::size_t width = 0;
  for (const auto& [name, value] : pairs.records) width = std::max(width, printable(name).size());
  return width;
}

// Notes after a channel's text: that it is from an earlier event, and the errors of its front end.
std::string notes_of(const shown_channel& channel) {
  std::string notes;
  if (channel.is_held) notes += "  (held, of " + name_of(channel.recorded_with) + ")";
  if (channel.error != 0) notes += fmt::format("  error {:#x}", static_cast<unsigned>(channel.error));
  return notes;
}

std::string unknown_text(const shown_channel& channel) {
  if (channel.bytes == 0) return fmt::format("{}: no data", data_type_name(channel.dtype));
  if (!channel.problem.empty())
    return fmt::format("{}: {}", data_type_name(channel.dtype), channel.problem);
  return fmt::format("{}: {} bytes that cannot be interpreted", data_type_name(channel.dtype),
                     channel.bytes);
}

// Prints the lines of the overview: the channel, the member, and a text.
class overview {
 public:
  overview(const shown_event& event, const terminal_layout& layout, output& out)
      : layout_(layout), out_(out) {
    for (const shown_channel& channel : event.channels) {
      name_width_ = std::max(name_width_, printable(channel.name).size());
      if (const auto* spectrum = std::get_if<shown_spectrum>(&channel.data))
        for (const shown_member& member : spectrum->members)
          member_width_ = std::max(member_width_, member.name.size());
    }
    // After the bars come the number of values, their range and their unit.
    constexpr int other_columns = 46;
    const int rest = layout.columns - static_cast<int>(name_width_ + member_width_) - other_columns;
    bar_columns_ = std::clamp(rest, 12, 32);
  }

  void print(const shown_channel& channel) {
    name_ = printable(channel.name);
    notes_ = notes_of(channel);
    std::visit(by_kind{[&](const shown_bytes&) { line("", unknown_text(channel)); },
                       [&](const shown_spectrum& spectrum) { print_members(spectrum); },
                       [&](const shown_image& image) { line("", image_text(image)); },
                       [&](const shown_slow_value& slow) { line("", slow_text(slow, channel)); },
                       [&](const shown_pairs& pairs) { print_pairs(pairs); },
                       [&](const shown_text& text) { line("", "\"" + printable(text.text) + "\""); }},
               channel.data);
  }

 private:
  void print_members(const shown_spectrum& spectrum) {
    for (const shown_member& member : spectrum.members) {
      if (is_scalar(member)) {
        line(member.name, scalar_text(member));
        continue;
      }
      const int used =
          static_cast<int>(std::min(member.values.size(), static_cast<std::size_t>(bar_columns_)));
      line(member.name, fmt::format("{}{:{}}  {:>5} values  {}",
                                    one_line_plot(member.values, bar_columns_, layout_.letters), "",
                                    bar_columns_ - used, member.values.size(), range_text(member)));
    }
  }

  void print_pairs(const shown_pairs& pairs) {
    if (!pairs.comment.empty() || pairs.records.empty())
      line("", fmt::format("{} values  {}", pairs.records.size(), printable(pairs.comment)));
    const std::size_t width = name_width_of(pairs);
    for (const auto& [name, value] : pairs.records)
      line("", fmt::format("{:<{}} {:.7g}", printable(name), width, value));
  }

  void line(const std::string& member, const std::string& text) {
    out_.print_line(
        fmt::format("  {:<{}}  {:<{}}  {}{}", name_, name_width_, member, member_width_, text, notes_));
    name_.clear();
    notes_.clear();
  }

  const terminal_layout& layout_;
  output& out_;
  std::size_t name_width_ = 0, member_width_ = 0;
  int bar_columns_;
  std::string name_, notes_;
};

void print_lines(const std::vector<std::string>& lines, output& out) {
  for (const std::string& line : lines) out.print_drawn_line("  " + line);
}

void print_member(const shown_spectrum& spectrum, const shown_member& member, const terminal_layout& layout,
                  output& out) {
  if (is_scalar(member)) return out.print_line(fmt::format("  {}  {}", member.name, scalar_text(member)));
  const finite_values found = finite_of(member);
  std::string text = fmt::format("  {}  {} values", member.name, member.values.size());
  if (member.groups() > 1) text += fmt::format(" in {} groups", member.groups());
  text += "  " + range_text(member);
  if (found.count > 0) text += fmt::format("  mean {:.5g}", found.sum / static_cast<double>(found.count));
  out.print_line(text);
  print_lines(line_plot(member.curve(), {layout.columns - 2, plot_rows}, layout.letters), out);
  std::string axis =
      fmt::format("    {}from {:g} by {:g}", spectrum.axis.empty() ? "" : printable(spectrum.axis) + ": ",
                  member.start, member.step);
  if (member.groups() > 1) axis += fmt::format(", groups by {:g}", member.group_step);
  out.print_line(axis);
}

void print_table(const shown_pairs& pairs, output& out) {
  if (!pairs.comment.empty()) out.print_line("  " + printable(pairs.comment));
  const std::size_t width = name_width_of(pairs);
  for (const auto& [name, value] : pairs.records)
    out.print_line(fmt::format("  {:<{}}  {:>12.7g}", printable(name), width, value));
  if (pairs.records.empty()) out.print_line("  no values");
}

void print_whole(const shown_channel& channel, const terminal_layout& layout, output& out) {
  out.format("\n{}{}{}  {}{}", out.bold(), printable(channel.name), out.plain(),
             data_type_name(channel.dtype), notes_of(channel));
  if (!channel.description.empty()) out.format("  {}", printable(channel.description));
  out.print("\n");
  std::visit(
      by_kind{[&](const shown_bytes&) { out.print_line("  " + unknown_text(channel)); },
              [&](const shown_spectrum& spectrum) {
                for (const shown_member& member : spectrum.members)
                  print_member(spectrum, member, layout, out);
              },
              [&](const shown_image& image) {
                out.print_line("  " + image_text(image));
                print_lines(
                    terminal_picture(image.picture, layout.columns - 2, picture_rows, layout.colours), out);
              },
              [&](const shown_slow_value& slow) { out.print_line("  " + slow_text(slow, channel)); },
              [&](const shown_pairs& pairs) { print_table(pairs, out); },
              [&](const shown_text& text) { out.print_line("  \"" + printable(text.text) + "\""); }},
      channel.data);
}

drawing::colours colours_of(const output& out) {
  if (out.plain().text.empty()) return drawing::colours::none;  // no terminal, or not wanted
  const char* depth = std::getenv("COLORTERM");
  if (depth && (std::strcmp(depth, "truecolor") == 0 || std::strcmp(depth, "24bit") == 0))
    return drawing::colours::of_24_bits;
  const char* name = std::getenv("TERM");
  return name && std::strstr(name, "256color") ? drawing::colours::of_256 : drawing::colours::none;
}

}  // namespace

terminal_layout layout_of(output& out) {
  terminal_layout layout{80, drawing::letters::braille, colours_of(out)};
  winsize size{};
  constexpr int least = 40;
  if (out.is_terminal() && ioctl(out.descriptor(), TIOCGWINSZ, &size) == 0 && size.ws_col > 0)
    layout.columns = std::max<int>(size.ws_col, least);
  return layout;
}

void print_overview(const shown_event& event, const terminal_layout& layout, output& out) {
  print_heading(event, out);
  overview lines(event, layout, out);
  for (const shown_channel& channel : event.channels) lines.print(channel);
}

void print_channels(const shown_event& event, const terminal_layout& layout, output& out) {
  print_heading(event, out);
  for (const shown_channel& channel : event.channels) print_whole(channel, layout, out);
}

}  // namespace ravo::tool
