#include "common/column_printing.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <variant>

#include "common/channel_facts.h"
#include "common/interrupt.h"
#include "common/ledger_printing.h"
#include "common/number_summary.h"
#include "format/time.h"
#include "ravo_data_types.h"
#include "ravo_dataset/describe.h"

namespace ravo::tool {
namespace {

json number(double value) { return std::isfinite(value) ? json(value) : json(); }

const char* name_of(value_kind kind) {
  constexpr const char* names[] = {"none",       "spectrum", "roi",    "image",
                                   "name_value", "text",     "update", "other"};
  return names[static_cast<std::size_t>(kind)];
}

// The values of a row, member by member.
class column_rows_summary {
 public:
  column_rows_summary(const column_data& column, const channel_facts& channel)
      : column_(column), channel_(channel) {}

  /// The number of members of a spectrum or region of interest, or of records of a list; 1 for anything
  /// else.
  std::size_t parts(std::size_t row) const {
    switch (column_.layout.kind) {
      case value_kind::name_value:
      case value_kind::spectrum:
      case value_kind::roi:
        return column_.shape_of_row(row)[0];
      default:
        return 1;
    }
  }

  /// Calls `take` with all numbers of a part, as a span of their type, and returns its result.
  template <class Take>
  auto with_numbers(std::size_t row, std::size_t index, Take take) const {
    const auto [first, count] = numbers_of_part(row, index);
    const auto take_as = [&](auto element) {
      return take(column_.row<decltype(element)>(row).subspan(first, count));
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

  /// Whether the row has the part: a list may lack a record that other lists have.
  bool has_part(std::size_t row, std::size_t index) const {
    return column_.layout.kind != value_kind::name_value || has_value(column_.status_of(row, index));
  }

  number_summary part(std::size_t row, std::size_t index) const {
    number_summary summary = with_numbers(row, index, [](auto values) {
      return summarise_numbers(values.size(), [values](std::size_t i) { return values[i]; });
    });
    summary.name = name_of_part(row, index);
    return summary;
  }

 private:
  struct number_range {
    std::size_t first;
    std::size_t count;
  };

  // The two members of a region differ in length.
  number_range numbers_of_part(std::size_t row, std::size_t index) const {
    const row_shape& shape = column_.shape_of_row(row);
    if (column_.layout.kind == value_kind::roi)
      return index == 0 ? number_range{0, shape[1]} : number_range{shape[1], shape[2]};
    const std::size_t all = dimensions_product(row);
    const std::size_t each = parts(row) == 0 ? 0 : all / parts(row);
    return {index * each, each};
  }

  std::size_t dimensions_product(std::size_t row) const {
    std::size_t product = 1;
    for (const dimension_size& one : column_.dimensions_of_row(row)) product *= one.size;
    return product;
  }

  std::string name_of_part(std::size_t row, std::size_t index) const {
    if (column_.layout.kind == value_kind::name_value) return column_.record_names[index];
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
    out_.format("{}{:>10}  {:<27}  {:<14}  {}{}\n", out_.dim(), "event", "time", "status", column_.channel,
                out_.plain());
  }

  void print(std::size_t row) {
    std::string head = fmt::format("{:>10}  {:<27}  {:<14}  ", column_.numbers[row],
                                   time_text(column_.times[row]), value_status_text(column_.status[row]));
    if (!has_value(column_.status[row])) return out_.print_line(head + "-");
    if (column_.layout.kind == value_kind::text)
      return out_.print_line(head + fmt::format("\"{}\"", column_.text(row)));
    const std::size_t parts = summary_.parts(row);
    for (std::size_t i = 0; i < parts; ++i) {
      const number_summary numbers = summary_.part(row, i);
      const std::string name = parts > 1 ? fmt::format("{:<9} ", numbers.name) : "";
      const std::size_t member = channel_.member >= 0 ? static_cast<std::size_t>(channel_.member) : i;
      std::string text =
          !summary_.has_part(row, i) ? value_status_text(column_.status_of(row, i))
          : contents_ == row_contents::numbers
              ? all_numbers(row, i)
              : text_of(numbers, unit_of_member(channel_.units, member, channel_.member >= 0 ? 0 : parts));
      if (!column_.update_times.empty()) text += "  at " + time_text(column_.update_times[row]);
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

/// Adds the dimensions by name, with their sizes.
void add_dimensions(const std::vector<dimension_size>& dimensions, json& to) {
  to["dimensions"] = json::array();
  to["shape"] = json::array();
  for (const dimension_size& one : dimensions) {
    to["dimensions"].push_back(dimension_name(one.dimension));
    to["shape"].push_back(one.size);
  }
}

json axis_object(value_kind kind, const spectrum_axis& axis) {
  json object = {{"start", number(axis.start)}, {"increment", number(axis.increment)}};
  if (kind == value_kind::roi) object["y_start"] = number(axis.y_start);
  return object;
}

json row_object(const column_data& column, const column_rows_summary& summary, row_contents contents,
                std::size_t row) {
  json object = {{"event", column.numbers[row]},
                 {"time", time_text(column.times[row])},
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
      if (summary.has_part(row, i))
        add_part(summary, row, i, contents, member);
      else
        member["value_status"] = key_of(value_status_text(column.status_of(row, i)));
      object["members"].push_back(std::move(member));
    }
  }
  if (contents == row_contents::numbers && column.is_ragged())
    add_dimensions(column.dimensions_of_row(row), object);
  if (!column.axes.empty()) object["axis"] = axis_object(column.layout.kind, column.axes[row]);
  if (!column.update_times.empty()) object["value_time"] = time_text(column.update_times[row]);
  if (!column.update_status.empty()) object["status"] = column.update_status[row];
  return object;
}

channel_facts facts_of_channel(const dataset& data, const column_data& column) {
  for (channel_facts& one : facts_of(data))
    if (one.label == column.channel) return std::move(one);
  return {column.channel, column.channel, -1, "", "", "", 0};
}

json closing_of(const column_data& column, const channel_facts& facts, std::size_t printed) {
  json closing = {{"channel", column.channel},
                  {"kind", name_of(column.layout.kind)},
                  {"element", element_name(column.layout.element)},
                  {"units", facts.units},
                  {"ragged", column.is_ragged()},
                  {"rows", column.size()},
                  {"printed", printed}};
  if (!column.is_ragged()) add_dimensions(column.layout.dimensions, closing);
  if (column.layout.kind == value_kind::spectrum || column.layout.kind == value_kind::roi) {
    closing["axis"] = axis_object(
        column.layout.kind, {column.start, column.increment, column.groups_increment, column.y_start});
    closing["axis"]["changes"] = !column.axes.empty();
    closing["axis"]["label"] = facts.axis_label;
    closing["axis"]["units"] = facts.axis_unit;
  }
  return closing;
}

}  // namespace

void print_column(dataset_session& session, const dataset& data, const column_request& asked) {
  column_options options;
  options.rows = asked.rows;
  session.set_controls(options);
  const column_data column = [&] {
    try {
      return data.column(asked.channel, options);
    } catch (...) {
      session.set_ledger_of_nothing_printed(data.ledger());
      throw;
    }
  }();
  session.hide_progress();
  std::size_t printed = 0;
  const channel_facts facts = facts_of_channel(data, column);
  const auto close = [&] {
    session.set_ledger(column.ledger_of_rows(printed));
    session.add_to_closing("column", closing_of(column, facts, printed));
  };
  const column_rows_summary summary(column, facts);
  table_printer table(column, facts, asked.contents, session.out());
  if (session.form() == print_form::table) table.print_heading();
  try {
    for (; printed < column.size(); check_for_interrupt()) {
      if (session.form() == print_form::table)
        table.print(printed);
      else
        session.out().print(json_line(row_object(column, summary, asked.contents, printed)));
      ++printed;
    }
  } catch (...) {
    close();
    throw;
  }
  close();
}

}  // namespace ravo::tool
