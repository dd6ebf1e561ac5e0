#include "column_printing.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <variant>

#include "channel_facts.h"
#include "interrupt.h"
#include "ledger_printing.h"
#include "number_summary.h"
#include "ravo_data_types.h"
#include "times.h"
#include "units.h"

namespace ravo::tool {
namespace {

json number(double value) { return std::isfinite(value) ? json(value) : json(); }

const char* name_of(value_kind kind) {
  constexpr const char* names[] = {"none",       "spectrum", "roi",    "image",
                                   "name_value", "text",     "update", "other"};
  return names[static_cast<std::size_t>(kind)];
}

const char* name_of(element_type element) {
  constexpr const char* names[] = {"float32", "uint8", "uint16", "uint32"};
  return names[static_cast<std::size_t>(element)];
}

// What a row says, cut into its members.
class column_rows_summary {
 public:
  column_rows_summary(const column_data& column, const channel_facts& channel)
      : column_(column), channel_(channel) {}

  std::size_t parts(std::size_t row) const {
    switch (column_.layout.kind) {
      case value_kind::name_value:
        return std::max<std::size_t>(elements(row), 1);
      case value_kind::spectrum:
      case value_kind::roi:
        return std::max<std::size_t>(members(row), 1);
      default:
        return 1;
    }
  }

  /// What `take` makes of all numbers of a part, a span of their type.
  template <class Take>
  auto with_numbers(std::size_t row, std::size_t index, Take take) const {
    const std::size_t each = elements(row) / parts(row);
    const auto take_as = [&](auto element) {
      return take(column_.row<decltype(element)>(row).subspan(index * each, each));
    };
    switch (column_.layout.element) {
      case element_type::uint8:
        return take_as(std::uint8_t{});
      case element_type::uint16:
        return take_as(std::uint16_t{});
      case element_type::uint32:
        return take_as(std::uint32_t{});
      case element_type::float32:
        break;
    }
    return take_as(float{});
  }

  number_summary part(std::size_t row, std::size_t index) const {
    number_summary summary = with_numbers(row, index, [](auto values) {
      return summarise_numbers(values.size(), [values](std::size_t i) { return values[i]; });
    });
    summary.name = name_of_part(row, index);
    return summary;
  }

  std::size_t elements(std::size_t row) const {
    return column_.is_ragged() ? column_.offsets[row + 1] - column_.offsets[row]
                               : column_.layout.item_elements;
  }

 private:
  std::size_t members(std::size_t row) const {
    if (column_.is_ragged()) return column_.shapes[row][0];
    return column_.layout.item_shape.size() > 1 ? column_.layout.item_shape.front() : 1;
  }

  std::string name_of_part(std::size_t row, std::size_t index) const {
    if (column_.layout.kind == value_kind::name_value)
      return index < column_.record_names.size() ? column_.record_names[index] : std::to_string(index);
    const data_type* type = find_data_type(static_cast<int>(channel_.stored));
    const std::size_t member = channel_.member >= 0 ? static_cast<std::size_t>(channel_.member) : index;
    const bool is_named = type && type->code != RAVO_BLOCK_GENERIC_SPECT &&
                          member < static_cast<std::size_t>(type->members) &&
                          (channel_.member >= 0 || parts(row) == static_cast<std::size_t>(type->members));
    return is_named ? std::string(type->member_names[member]) : "CH" + std::to_string(member);
  }

  const column_data& column_;
  const channel_facts& channel_;
};

// ---- for people

std::string text_of(const number_summary& numbers, const std::string& unit) {
  if (numbers.count == 1 && numbers.not_finite == 0) return fmt::format("{:>12.7g} {}", numbers.mean, unit);
  if (!numbers.has_any()) return fmt::format("{} values, none finite", numbers.count);
  std::string text = fmt::format("{:>6} values  mean {:>11.6g}  min {:>11.6g}  max {:>11.6g}  {}",
                                 numbers.count, numbers.mean, numbers.min, numbers.max, unit);
  if (numbers.not_finite > 0) text += fmt::format("  ({} not finite)", numbers.not_finite);
  return text;
}

class table_printer {
 public:
  table_printer(const column_data& column, const channel_facts& channel, row_contents contents, output& out)
      : column_(column), channel_(channel), summary_(column, channel), contents_(contents), out_(out) {}

  void print_heading() {
    fmt::print(out_.file(), "{}{:>10}  {:<27}  {:<14}  {}{}\n", out_.dim(), "event", "time", "status",
               column_.channel, out_.plain());
  }

  void print(std::size_t row) {
    std::string head = fmt::format("{:>10}  {:<27}  {:<14}  ", column_.numbers[row],
                                   format_time(column_.times[row]), value_status_text(column_.status[row]));
    if (!has_value(column_.status[row])) return out_.print_line(head + "-");
    if (column_.layout.kind == value_kind::text)
      return out_.print_line(head + fmt::format("\"{}\"", column_.text(row)));
    const std::size_t parts = summary_.parts(row);
    for (std::size_t i = 0; i < parts; ++i) {
      const number_summary numbers = summary_.part(row, i);
      const std::string name = parts > 1 ? fmt::format("{:<9} ", numbers.name) : "";
      const std::size_t member = channel_.member >= 0 ? static_cast<std::size_t>(channel_.member) : i;
      std::string text =
          contents_ == row_contents::numbers
              ? all_numbers(row, i)
              : text_of(numbers, unit_of(channel_.units, member, channel_.member >= 0 ? 0 : parts));
      if (!column_.update_times.empty()) text += "  at " + format_time(column_.update_times[row]);
      if (!column_.update_status.empty() && column_.update_status[row] != 0)
        text += fmt::format("  status {:#x}", static_cast<std::uint32_t>(column_.update_status[row]));
      out_.print_line(head + name + text);
      head.assign(head.size(), ' ');
    }
  }

 private:
  std::string all_numbers(std::size_t row, std::size_t part) const {
    return summary_.with_numbers(row, part, [](auto values) {
      std::string text;
      for (const auto value : values) text += (text.empty() ? "" : " ") + fmt::format("{}", value);
      return text;
    });
  }

  const column_data& column_;
  const channel_facts& channel_;
  column_rows_summary summary_;
  row_contents contents_;
  output& out_;
};

// ---- for machines

void add_numbers(const number_summary& numbers, json& to) {
  if (numbers.count == 1) {
    to["value"] = numbers.has_any() ? number(numbers.mean) : json();
    return;
  }
  to["count"] = numbers.count;
  to["mean"] = numbers.has_any() ? number(numbers.mean) : json();
  to["min"] = numbers.has_any() ? number(numbers.min) : json();
  to["max"] = numbers.has_any() ? number(numbers.max) : json();
  if (numbers.not_finite > 0) to["not_finite"] = numbers.not_finite;
}

json all_numbers(const column_rows_summary& summary, std::size_t row, std::size_t part) {
  return summary.with_numbers(row, part, [](auto values) {
    json list = json::array();
    for (const auto value : values) list.push_back(number(static_cast<double>(value)));
    return list;
  });
}

void add_part(const column_rows_summary& summary, std::size_t row, std::size_t part, row_contents contents,
              json& to) {
  if (contents == row_contents::numbers)
    to["values"] = all_numbers(summary, row, part);
  else
    add_numbers(summary.part(row, part), to);
}

json row_object(const column_data& column, const column_rows_summary& summary, row_contents contents,
                std::size_t row) {
  json object = {{"event", column.numbers[row]},
                 {"time", format_time(column.times[row])},
                 {"value_status", key_of(value_status_text(column.status[row]))}};
  if (!has_value(column.status[row])) return object;
  if (column.status[row] != value_status::ok && !column.ages.empty()) object["age_us"] = column.ages[row];
  if (column.layout.kind == value_kind::text) {
    object["text"] = column.text(row);
    return object;
  }
  const std::size_t parts = summary.parts(row);
  if (parts == 1 && column.layout.kind != value_kind::name_value) {
    add_part(summary, row, 0, contents, object);
  } else {
    object["members"] = json::array();
    for (std::size_t i = 0; i < parts; ++i) {
      json member = {{"name", summary.part(row, i).name}};
      add_part(summary, row, i, contents, member);
      object["members"].push_back(std::move(member));
    }
  }
  if (contents == row_contents::numbers && column.is_ragged()) object["shape"] = column.shapes[row];
  if (!column.axes.empty())
    object["axis"] = {{"start", number(column.axes[row].start)},
                      {"increment", number(column.axes[row].increment)}};
  if (!column.update_times.empty()) object["value_time"] = format_time(column.update_times[row]);
  if (!column.update_status.empty()) object["status"] = column.update_status[row];
  return object;
}

channel_facts facts_of_channel(const dataset& data, const column_data& column) {
  for (channel_facts& one : facts_of(data))
    if (one.label == column.channel) return std::move(one);
  return {column.channel, column.channel, -1, "", 0};
}

}  // namespace

void print_column(dataset_session& session, const dataset& data, const column_request& asked) {
  column_options options;
  options.rows = asked.rows;
  const column_data column = [&] {
    try {
      return data.column(asked.channel, options);
    } catch (...) {
      session.set_ledger(data.ledger());
      throw;
    }
  }();
  session.set_ledger(column.ledger);
  const std::size_t printed = std::min(column.size(), asked.most_rows.value_or(column.size()));
  json closing = {{"channel", column.channel},
                  {"kind", name_of(column.layout.kind)},
                  {"element", name_of(column.layout.element)},
                  {"shape", column.layout.item_shape},
                  {"ragged", column.is_ragged()},
                  {"rows", column.size()},
                  {"printed", printed}};
  if (column.layout.kind == value_kind::spectrum)
    closing["axis"] = {{"start", number(column.start)},
                       {"increment", number(column.increment)},
                       {"changes", !column.axes.empty()}};
  session.add_to_closing("column", std::move(closing));
  session.hide_progress();
  const channel_facts facts = facts_of_channel(data, column);
  const column_rows_summary summary(column, facts);
  table_printer table(column, facts, asked.contents, session.out());
  if (session.form() == print_form::table) table.print_heading();
  for (std::size_t row = 0; row < printed; ++row) {
    if (session.form() == print_form::table)
      table.print(row);
    else
      session.out().print(json_line(row_object(column, summary, asked.contents, row)));
    check_for_interrupt();
  }
}

}  // namespace ravo::tool
