#include "common/ledger_printing.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <set>

#include "common/escaping.h"
#include "common/failure.h"
#include "common/raw_file.h"
#include "common/times.h"

namespace ravo::tool {
namespace {

// "3 bad checksum, 1 truncated".
std::string causes_of(const channel_ledger& channel) {
  std::string text;
  for (std::size_t i = 0; i < missing_cause_count; ++i)
    if (channel.missing[i] != 0)
      text += fmt::format("{}{} {}", text.empty() ? "" : ", ", channel.missing[i],
                          missing_cause_text(static_cast<missing_cause>(i)));
  return text;
}

void print_channels(const read_ledger& ledger) {
  constexpr std::size_t most = 20;
  std::size_t printed = 0, left = 0;
  for (const channel_ledger& one : ledger.channels) {
    if (one.missing_total() == 0) continue;
    if (++printed > most) {
      ++left;
      continue;
    }
    tell("  {}: {} of {} missing: {}\n", one.channel, one.missing_total(), one.expected, causes_of(one));
  }
  if (left > 0) tell("  and {} more channel{}\n", left, left == 1 ? "" : "s");
}

void print_values(const read_ledger& ledger) {
  constexpr std::size_t most = 5;
  const std::size_t shown = std::min(most, ledger.values.size());
  for (std::size_t i = 0; i < shown; ++i) {
    const missing_value& one = ledger.values[i];
    tell("    {} event {}: {}, {} at {}\n", one.channel, one.event.event_number,
         missing_cause_text(one.cause), one.file, one.offset);
  }
  if (ledger.missing() > shown && shown > 0) tell("    and {} more\n", ledger.missing() - shown);
}

// The files that were left out when they were opened, and those of which tables turned out to be damaged
// when they were read; each with a sentence that names it.
std::vector<refused_file> refused_files(const read_ledger& ledger) {
  std::vector<refused_file> all;
  for (const refused_file& file : ledger.files) {
    // Of a file that is not there the dataset knows more: who said that it should be.
    std::error_code error;
    const bool is_damaged =
        std::filesystem::exists(file.path, error) && !is_error_of_the_machine(file.problem);
    const auto reason = is_damaged ? why_refused(file.path) : std::nullopt;
    all.push_back({file.path, reason.value_or(file.path + ": " + file.problem)});
  }
  std::set<std::string> looked_into;
  for (const missing_value& one : ledger.values)
    if (one.cause == missing_cause::file_missing && looked_into.insert(one.file).second)
      if (const auto reason = why_refused(one.file)) all.push_back({one.file, *reason});
  return all;
}

}  // namespace

std::string key_of(const char* words) {
  std::string key = words;
  std::replace(key.begin(), key.end(), ' ', '_');
  return key;
}

bool is_error_of_the_machine(std::string_view problem) {
  return problem.find("it cannot be read: ") != problem.npos ||
         problem.find("it cannot be opened: ") != problem.npos;
}

std::optional<std::string> why_refused(const std::string& path) {
  try {
    const raw_file file(path);
  } catch (const data_failure& failure) {
    return failure.what();
  }
  return std::nullopt;
}

void print_ledger(const read_ledger& ledger) {
  if (!ledger.channels.empty())  // else nothing was read
    tell("ledger: {} value{} expected = {} delivered + {} missing\n", ledger.expected(),
         ledger.expected() == 1 ? "" : "s", ledger.delivered(), ledger.missing());
  print_channels(ledger);
  print_values(ledger);
  for (const refused_file& file : refused_files(ledger)) tell("  left out: {}\n", file.problem);
}

json ledger_json(const read_ledger& ledger) {
  json object = {{"expected", ledger.expected()}, {"delivered", ledger.delivered()},
                 {"missing", ledger.missing()},   {"channels", json::array()},
                 {"values", json::array()},       {"files", json::array()},
                 {"problems", ledger.problems}};
  for (const channel_ledger& one : ledger.channels) {
    json missing = json::object();
    for (std::size_t i = 0; i < missing_cause_count; ++i)
      if (one.missing[i] != 0)
        missing[key_of(missing_cause_text(static_cast<missing_cause>(i)))] = one.missing[i];
    object["channels"].push_back({{"channel", one.channel},
                                  {"expected", one.expected},
                                  {"delivered", one.delivered},
                                  {"missing", std::move(missing)}});
  }
  for (const missing_value& one : ledger.values)
    object["values"].push_back({{"channel", one.channel},
                                {"event", one.event.event_number},
                                {"time", format_time(one.event.time)},
                                {"cause", key_of(missing_cause_text(one.cause))},
                                {"file", one.file},
                                {"offset", one.offset}});
  for (const refused_file& file : refused_files(ledger))
    object["files"].push_back({{"file", file.path}, {"problem", file.problem}});
  return object;
}

}  // namespace ravo::tool
