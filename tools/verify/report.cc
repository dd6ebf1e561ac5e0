// Findings in the forms for people and for programs.
#include <fmt/format.h>

#include "ravo_verify.h"
#include "shared/escaping.h"
#include "shared/json_lines.h"
#include "shared/with_commas.h"

namespace ravo {
namespace {

// A line is about one channel, or about several, the first of which is named as the place.
bool is_of_channels(const finding& what) {
  return what.count > 1 && what.counts == finding_count::channels && !what.channel.empty();
}

std::string place_text(const finding& what) {
  std::string text;
  if (is_of_channels(what)) text = "channel " + printable(what.channel) + ", ";
  if (what.event) text += fmt::format("event {}, ", *what.event);
  if (what.offset) text += fmt::format("offset {}, ", *what.offset);
  return text.substr(0, text.empty() ? 0 : text.size() - 2);
}

}  // namespace

const char* name_of(severity how_bad) { return how_bad == severity::odd ? "odd" : "damaged"; }

std::string to_text(const finding& what) {
  std::string text = what.file.empty() ? "" : printable(what.file) + ": ";
  if (!what.channel.empty() && !is_of_channels(what)) text += printable(what.channel) + ": ";
  text += what.text;
  if (!what.detail.empty()) text += fmt::format(" ({})", printable(what.detail));
  if (what.count > 1) text += ", x " + with_commas(what.count);
  const std::string where = place_text(what);
  if (!where.empty()) text += fmt::format(", {}at {}", what.count > 1 ? "first " : "", where);
  return text + fmt::format("; {} [{}]", what.remedy, what.kind);
}

std::string to_json(const finding& what) {
  const auto or_null = [](const auto& value) { return value ? json(*value) : json(); };
  const auto text_or_null = [](const std::string& text) { return text.empty() ? json() : json(text); };
  std::string line = json_line({{"file", text_or_null(what.file)},
                                {"kind", what.kind},
                                {"severity", name_of(what.how_bad)},
                                {"channel", text_or_null(what.channel)},
                                {"event", or_null(what.event)},
                                {"offset", or_null(what.offset)},
                                {"count", what.count},
                                {"text", what.text},
                                {"detail", text_or_null(what.detail)},
                                {"remedy", what.remedy}});
  line.pop_back();
  return line;
}

}  // namespace ravo
