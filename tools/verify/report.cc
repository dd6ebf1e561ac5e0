#include "verify/report.h"

#include <fmt/format.h>

#include "common/escaping.h"

namespace ravo::verify {
namespace {

// A line is about one channel, or about several, the first of which is named as the place.
bool is_of_channels(const finding& what) {
  return what.count > 1 && row_of(what.kind).repeats == grouping::by_file && !what.first.channel.empty();
}

std::string place_text(const finding& what) {
  std::string text;
  if (is_of_channels(what)) text = "channel " + tool::printable(what.first.channel) + ", ";
  if (what.first.event) text += fmt::format("event {}, ", *what.first.event);
  if (what.first.offset) text += fmt::format("offset {}, ", *what.first.offset);
  return text.substr(0, text.empty() ? 0 : text.size() - 2);
}

}  // namespace

std::string with_commas(std::uint64_t number) {
  std::string digits = std::to_string(number);
  for (std::size_t i = digits.size(); i > 3;) digits.insert(i -= 3, ",");
  return digits;
}

std::string text_of(const finding& what) {
  const kind_row& row = row_of(what.kind);
  std::string text = what.file.empty() ? "" : tool::printable(what.file) + ": ";
  if (!what.first.channel.empty() && !is_of_channels(what))
    text += tool::printable(what.first.channel) + ": ";
  text += row.what;
  if (!what.detail.empty()) text += fmt::format(" ({})", tool::printable(what.detail));
  if (what.count > 1) text += ", x " + with_commas(what.count);
  const std::string where = place_text(what);
  if (!where.empty()) text += fmt::format(", {}at {}", what.count > 1 ? "first " : "", where);
  return text + fmt::format("; {} [{}]", row.remedy, row.code);
}

tool::json json_of(const finding& what) {
  const kind_row& row = row_of(what.kind);
  const auto or_null = [](const auto& value) { return value ? tool::json(*value) : tool::json(); };
  const auto text_or_null = [](const std::string& text) {
    return text.empty() ? tool::json() : tool::json(text);
  };
  return {{"file", text_or_null(what.file)},
          {"kind", row.code},
          {"severity", name_of(row.how_bad)},
          {"channel", text_or_null(what.first.channel)},
          {"event", or_null(what.first.event)},
          {"offset", or_null(what.first.offset)},
          {"count", what.count},
          {"text", row.what},
          {"detail", text_or_null(what.detail)},
          {"remedy", row.remedy}};
}

}  // namespace ravo::verify
