#include "common/ledger_printing.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <set>

#include "common/failure.h"
#include "common/raw_file.h"
#include "format/time.h"
#include "shared/escaping.h"

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
    print_message("  {}: {} of {} missing: {}\n", one.channel, one.missing_total(), one.expected,
                  causes_of(one));
  }
  if (left > 0) print_message("  and {} more channel{}\n", left, left == 1 ? "" : "s");
}

void print_values(const read_ledger& ledger) {
  constexpr std::size_t most = 5;
  const std::size_t shown = std::min(most, ledger.values.size());
  for (std::size_t i = 0; i < shown; ++i) {
    const missing_value& one = ledger.values[i];
    print_message("    {} event {}: {}, {} at {}\n", one.channel, one.event.event_number,
                  missing_cause_text(one.cause), one.file, one.offset);
  }
  if (ledger.missing() > shown && shown > 0) print_message("    and {} more\n", ledger.missing() - shown);
}

// Whether opening the file may explain more than the dataset layer says.
bool is_of_the_content(file_refusal reason) {
  switch (reason) {
    case file_refusal::none:
    case file_refusal::machine_error:  // nothing is known of the file itself
    case file_refusal::missing:        // the dataset layer knows what named it
      return false;
    case file_refusal::still_written:
    case file_refusal::not_regular:
    case file_refusal::not_a_raw_file:
    case file_refusal::damaged_tables:
    case file_refusal::lost_while_open:
      return true;
  }
  return false;
}

bool is_on_disk(const std::string& path) {
  std::error_code error;
  return std::filesystem::exists(path, error);
}

// The tool's own reason for refusing a file, with its name.
std::optional<std::string> find_fault_with(const std::string& path) {
  try {
    const raw_file opened(path);
  } catch (const tables_too_large&) {
    // Too large for this attempt only: the dataset layer has a limit of its own.
  } catch (const data_failure& failure) {
    return failure.what();
  }
  return std::nullopt;
}

// Files that were good when the dataset was opened and are not now: values of them are missing.
void add_lost_files(const read_ledger& ledger, std::vector<refused_file>& all) {
  std::set<std::string> unreadable, seen;
  for (const reading_problem& problem : ledger.problems)
    if (problem.reason == problem_reason::machine_error) unreadable.insert(problem.path);
  const auto reason_of = [&](const std::string& path) {
    if (!is_on_disk(path)) return file_refusal::missing;
    return unreadable.contains(path) ? file_refusal::machine_error : file_refusal::lost_while_open;
  };
  for (const missing_value& one : ledger.values) {
    if (one.cause != missing_cause::file_missing || !seen.insert(one.file).second) continue;
    if (const auto fault = find_fault_with(one.file))
      all.push_back({one.file, reason_of(one.file), *fault});
  }
}

// All files that could not be used, each with a sentence that names it.
std::vector<refused_file> refused_files(const read_ledger& ledger) {
  std::vector<refused_file> all;
  for (const refused_file& file : ledger.files)
    all.push_back({file.path, file.reason, why_refused(file).value_or(file.path + ": " + file.problem)});
  add_lost_files(ledger, all);
  return all;
}

}  // namespace

std::string key_of(const char* words) {
  std::string key = words;
  std::replace(key.begin(), key.end(), ' ', '_');
  return key;
}

std::optional<std::string> why_refused(const refused_file& file) {
  if (!is_of_the_content(file.reason) || !is_on_disk(file.path)) return std::nullopt;
  return find_fault_with(file.path);
}

void print_ledger(const read_ledger& ledger) {
  if (!ledger.channels.empty())  // else nothing was read
    print_message("ledger: {} value{} expected = {} delivered + {} missing\n", ledger.expected(),
                  ledger.expected() == 1 ? "" : "s", ledger.delivered(), ledger.missing());
  print_channels(ledger);
  print_values(ledger);
  for (const refused_file& file : refused_files(ledger)) print_message("  left out: {}\n", file.problem);
}

json ledger_json(const read_ledger& ledger) {
  json object = {{"expected", ledger.expected()}, {"delivered", ledger.delivered()},
                 {"missing", ledger.missing()},   {"channels", json::array()},
                 {"values", json::array()},       {"files", json::array()},
                 {"problems", json::array()}};
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
                                {"time", time_text(one.event.time)},
                                {"cause", key_of(missing_cause_text(one.cause))},
                                {"file", one.file},
                                {"offset", one.offset}});
  for (const refused_file& file : refused_files(ledger))
    object["files"].push_back({{"file", file.path},
                               {"reason", key_of(file_refusal_text(file.reason))},
                               {"problem", file.problem}});
  for (const reading_problem& problem : ledger.problems) object["problems"].push_back(problem.text);
  return object;
}

}  // namespace ravo::tool
