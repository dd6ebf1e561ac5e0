#include "show/event_figure.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <filesystem>

#include "common/failure.h"
#include "common/type_names.h"
#include "format/time.h"
#include "shared/escaping.h"

namespace ravo::tool {
namespace {

using drawing::as_in_print;

// More of them would help nobody.
constexpr std::size_t most_panels = 32, most_curves = 64;

const std::string separator = std::string(drawing::figure::separator) + " ";

std::string joined(const std::vector<std::string>& parts, const std::string& between) {
  std::string text;
  for (const std::string& part : parts)
    if (!part.empty()) text += (text.empty() ? std::string() : between) + part;
  return text;
}

std::string readable_time(time_stamp time) {
  std::string text = time_text(time);
  if (const std::size_t t = text.find('T'); t != std::string::npos) text[t] = ' ';
  if (text.ends_with('Z')) text.replace(text.size() - 1, 1, " UTC");
  return text;
}

std::string event_text(const ravo_time_id& id) {
  return id.event_number == 0 ? "an event without a number" : fmt::format("event {}", id.event_number);
}

std::string with_unit(const std::string& text, const std::string& unit) {
  return joined({text, printable(unit)}, " ");
}

std::string value_text(float value, const std::string& unit) {
  return with_unit(as_in_print(fmt::format("{:.7g}", value)), unit);
}

std::string notes_of(const shown_channel& channel) {
  return joined(
      {channel.is_held ? "held, of " + event_text(channel.recorded_with) : "",
       channel.error == 0 ? "" : fmt::format("error {:#x}", static_cast<unsigned>(channel.error))},
      ", ");
}

// Makes the panels of an event, channel by channel.
class figure_maker {
 public:
  figure_maker(const shown_event& event, const figure_wishes& wished) : event_(event), wished_(wished) {}

  drawing::figure make() {
    for (const shown_channel& channel : event_.channels) add(channel);
    if (made_.panels.size() > most_panels)
      throw data_failure(
          fmt::format("--picture: {} panels are more than a picture can hold, which is {}; ask for fewer "
                      "channels, or for "
                      "single members as {}:0",
                      made_.panels.size(), most_panels, event_.channels.front().name));
    write_heading();
    return std::move(made_);
  }

 private:
  bool is_alone() const { return event_.channels.size() == 1; }

  // The title above a channel's first panel, if the picture has several channels.
  std::string title_of(const shown_channel& channel) const {
    if (is_alone()) return {};
    return joined({printable(channel.name), printable(channel.description)}, separator);
  }

  void write_heading() {
    const std::string file = printable(std::filesystem::path(event_.file).filename().string());
    const std::string event = event_text(event_.id), time = readable_time(event_.id.time);
    if (is_alone()) {
      const shown_channel& channel = event_.channels.front();
      made_.title = printable(channel.name);
      made_.about = joined({printable(channel.description), event, time, file}, separator);
    } else {
      made_.title = event;
      made_.about = joined({time, file}, separator);
    }
  }

  void add(const shown_channel& channel) {
    if (const auto* spectrum = std::get_if<shown_spectrum>(&channel.data))
      add_members(channel, *spectrum);
    else if (const auto* image = std::get_if<shown_image>(&channel.data))
      add_frame(channel, *image);
    else
      add_table(channel);
  }

  // Scalars as numbers, one below the other; the others as curves.
  void add_members(const shown_channel& channel, const shown_spectrum& spectrum) {
    std::string title = title_of(channel);
    drawing::table_panel numbers{title, {}, notes_of(channel)};
    for (const shown_member& member : spectrum.members)
      if (member.values.size() == 1)
        numbers.rows.emplace_back(printable(member.name), value_text(member.values.front(), member.unit));
    if (!numbers.rows.empty()) {
      made_.panels.emplace_back(std::move(numbers));
      title.clear();
    }
    for (const shown_member& member : spectrum.members)
      if (member.values.size() != 1) add_curve(channel, spectrum, member, std::exchange(title, {}));
  }

  void add_curve(const shown_channel& channel, const shown_spectrum& spectrum, const shown_member& member,
                 const std::string& title) {
    const std::string axis = printable(spectrum.axis), unit = printable(member.unit);
    const std::string name = printable(member.name);
    if (wished_.together == curves::overlaid) {
      const std::string curve = is_alone() ? name : joined({printable(channel.name), name}, " ");
      if (drawing::plot_panel* panel = overlay_of(axis, unit)) {
        if (panel->curves.size() == most_curves)
          throw data_failure(fmt::format(
              "--overlay: more than {} curves of one unit; ask for fewer channels", most_curves));
        panel->curves.push_back({curve, member.curve()});
        // Units that they have in common are named once.
        if (panel->value_axis != joined({name, unit}, ", ")) panel->value_axis = unit;
        panel->title.clear();
        return;
      }
      overlays_.push_back({made_.panels.size(), axis, unit});
      made_.panels.emplace_back(drawing::plot_panel{
          title, joined({name, unit}, ", "), axis, {{curve, member.curve()}}, notes_of(channel)});
      return;
    }
    made_.panels.emplace_back(drawing::plot_panel{
        title, joined({name, unit}, ", "), axis, {{name, member.curve()}}, notes_of(channel)});
  }

  // The existing panel with curves of this unit over this axis.
  drawing::plot_panel* overlay_of(const std::string& axis, const std::string& unit) {
    for (const overlay& one : overlays_)
      if (one.axis == axis && one.unit == unit)
        return &std::get<drawing::plot_panel>(made_.panels[one.panel]);
    return nullptr;
  }

  void add_frame(const shown_channel& channel, const shown_image& image) {
    constexpr int most_bytes = 4;
    if (image.bytes_per_pixel > most_bytes)
      throw data_failure(fmt::format("{}: its pixels have {} bytes; pixels of up to {} bytes can be drawn",
                                     channel.name, image.bytes_per_pixel, most_bytes));
    const int bits = 8 * image.bytes_per_pixel;
    const bool is_known = image.effective_bits > 0 && image.effective_bits <= bits;
    const double most = std::ldexp(1.0, is_known ? image.effective_bits : bits) - 1;
    drawing::frame_panel panel;
    panel.title = title_of(channel);
    panel.frame = image.picture;
    panel.x = {static_cast<double>(image.x_start), static_cast<double>(std::max(image.x_step, 1))};
    panel.y = {static_cast<double>(image.y_start), static_cast<double>(std::max(image.y_step, 1))};
    panel.brightness = drawing::stretched(image.picture, wished_.brightness, most);
    panel.map = wished_.map;
    panel.scale = channel.units.empty() ? "counts" : printable(channel.units);
    panel.note = joined({fmt::format("{} × {} pixels", image.picture.width, image.picture.height),
                         fmt::format("frame {}", static_cast<unsigned>(image.frame)), notes_of(channel)},
                        ", ");
    made_.panels.emplace_back(std::move(panel));
  }

  void add_table(const shown_channel& channel) {
    drawing::table_panel panel{title_of(channel), {}, notes_of(channel)};
    if (const auto* slow = std::get_if<shown_slow_value>(&channel.data)) {
      panel.rows.emplace_back(printable(slow->property), value_text(slow->value, channel.units));
      const std::string status =
          slow->status == 0 ? "" : fmt::format("status {:#x}", static_cast<unsigned>(slow->status));
      panel.note = joined({"at " + readable_time(slow->time), status, panel.note}, ", ");
    } else if (const auto* pairs = std::get_if<shown_pairs>(&channel.data)) {
      for (const auto& [name, value] : pairs->records)
        panel.rows.emplace_back(printable(name), value_text(value, ""));
      panel.note = joined({printable(pairs->comment), panel.note}, ", ");
    } else if (const auto* text = std::get_if<shown_text>(&channel.data)) {
      panel.rows.emplace_back("", printable(text->text));
    } else if (!channel.problem.empty()) {
      throw data_failure(fmt::format("{}: {}", channel.name, channel.problem));
    } else {
      panel.rows.emplace_back("", channel.bytes == 0
                                      ? "no data"
                                      : fmt::format("{} bytes that cannot be interpreted", channel.bytes));
    }
    made_.panels.emplace_back(std::move(panel));
  }

  struct overlay {
    std::size_t panel;
    std::string axis, unit;
  };

  const shown_event& event_;
  const figure_wishes& wished_;
  drawing::figure made_;
  std::vector<overlay> overlays_;
};

}  // namespace

drawing::figure figure_of(const shown_event& event, const figure_wishes& wished) {
  return figure_maker(event, wished).make();
}

}  // namespace ravo::tool
