#include "common/dataset_session.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <cmath>

#include "common/channel_facts.h"
#include "common/failure.h"
#include "common/file_answer.h"
#include "common/ledger_printing.h"
#include "common/raw_file.h"
#include "common/times.h"
#include "format/time.h"
#include "ravo_dataset/find_files.h"
#include "shared/escaping.h"
#include "shared/whole_file.h"

namespace ravo::tool {
namespace {

// The files that a selection names and that exist.
std::vector<std::string> files_there(const selection& wanted) {
  try {
    return find_files(wanted).files;
  } catch (const selection_error&) {
    return {};  // the dataset says what is wrong
  }
}

std::vector<std::string> paths_of(const dataset& data) {
  std::vector<std::string> paths;
  for (const dataset_file& file : data.files())
    if (file.refusal == file_refusal::none) paths.push_back(file.path);
  return paths;
}

// A named file that does not exist is a typing mistake: no policy makes that good.
void check_that_files_are_there(const selection& wanted) {
  for (const auto* const paths : {&wanted.files, &wanted.context})
    for (const std::string& path : *paths)
      if (!is_there(path)) throw data_failure(path + ": " + why_not_readable(path).value_or("it is gone"));
}

// "; the files have events ... of ...", or "" if there are too many files to open for that.
std::string events_there(const std::vector<std::string>& files) {
  constexpr std::size_t most_files = 100;
  std::optional<ravo_time_id> first, last;
  std::uint32_t lowest = 0, highest = 0;
  if (files.size() > most_files) return "";
  for (const std::string& path : files) try {
      for (const event_summary& events : raw_file(path).events()) {
        if (!first || microseconds(events.first.time) < microseconds(first->time)) first = events.first;
        if (!last || microseconds(events.last.time) > microseconds(last->time)) last = events.last;
        if (events.first.event_number != 0 && (lowest == 0 || events.first.event_number < lowest))
          lowest = events.first.event_number;
        highest = std::max(highest, events.last.event_number);
      }
    } catch (const data_failure&) {
      // The ledger reports it.
    }
  if (!first) return "";
  return fmt::format("; the files have events {} to {}, of {} to {}", lowest, highest,
                     time_text(first->time), time_text(last->time));
}

// By time, a tolerance that reaches the next event would make one of two: half the
// distance of events in the first sound file, if that is less than the usual tolerance.
time_stamp suitable_tolerance(const std::vector<std::string>& files, const time_stamp& usual) {
  for (const std::string& path : files) {
    double spacing = 0;
    try {
      for (const event_summary& events : raw_file(path).events())
        if (events.spacing > 0 && (spacing == 0 || events.spacing < spacing)) spacing = events.spacing;
    } catch (const data_failure&) {
      continue;
    }
    const double half = std::floor(spacing / 2);
    if (spacing <= 0 || half >= microseconds(usual)) return usual;
    return {0, static_cast<std::uint32_t>(half)};  // below the usual one, which is below a second
  }
  return usual;
}

}  // namespace

std::string in_our_words(const std::exception& error) {
  std::string text = error.what();
  text.erase(std::min(text.find('\n'), text.size()));
  constexpr std::string_view before_ledger = "more than the policy allows";
  if (const auto place = text.find(before_ledger); place != std::string::npos)
    text.erase(place + before_ledger.size());
  for (const std::string_view remedy :
       {std::string_view("; raise the limit or select less"),
        std::string_view(": raise the limit, or select less"),
        std::string_view(": raise the limit, or leave the file out"),
        std::string_view("; let go of events and columns, or raise the limit")})
    if (text.ends_with(remedy))
      text.replace(text.size() - remedy.size(), remedy.size(), "; give more with --memory, or select less");
  if (text.ends_with("none of a name like it")) text += "; `ravo channels FILE` lists them";
  if (text.size() > 1 && std::islower(static_cast<unsigned char>(text[1])) != 0)
    text[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(text[0])));
  else if (text.starts_with("A "))
    text[0] = 'a';
  return text;
}

void add_dataset_options(CLI::App& command, dataset_arguments& arguments, const char* json_help) {
  add_selection_options(command, arguments.what);
  command.add_flag("--json", arguments.json, json_help);
  add_limit_options(command, arguments.limits);
}

dataset_session::dataset_session(const asked_selection& asked, const dataset_arguments& arguments,
                                 std::string doing, output& out)
    : wanted_(asked.wanted),
      opened_(with_usual_catalogue(asked.wanted)),
      form_(arguments.form()),
      out_(out),
      bar_(std::move(doing)) {
  const limit_arguments& limits = arguments.limits;
  if (wanted_.max_age && wanted_.slow == slow_policy::none)
    throw usage_failure("--max-age says how old a held value may be: it needs --slow hold or nearest");
  if (limits.is_strict) options_.damage = damage_policy::strict();
  if (limits.largest_missing_share)
    options_.damage.largest_missing_share = share_option("--max-missing", *limits.largest_missing_share);
  if (limits.memory) options_.memory_limit = size_option("--memory", *limits.memory);
  if (limits.largest_block) options_.largest_block = size_option("--max-block", *limits.largest_block);
  options_.threads = limits.threads;
  options_.stop = stop_.token();
  check_that_files_are_there(wanted_);
  if (wanted_.synch == synch_mode::by_time && !asked.has_tolerance)
    wanted_.tolerance = opened_.tolerance = suitable_tolerance(files_there(opened_), wanted_.tolerance);
}

// A reading of events that is followed has all of them counted before the first one comes.
progress_function dataset_session::progress() {
  if (!bar_.is_on_terminal() || out_.is_terminal()) return {};
  return [this](const read_progress& now) {
    if (now.total_bytes != 0)
      bar_.show(static_cast<double>(now.done_bytes) / static_cast<double>(now.total_bytes));
  };
}

// Prints each problem once: those of the selection before reading, those of reading after it.
void dataset_session::report_problems(const read_ledger& ledger) {
  for (const reading_problem& problem : ledger.problems)
    if (reported_.insert(problem.text).second) print_message("ravo: {}\n", problem.text);
}

dataset dataset_session::open() {
  try {
    dataset data = dataset::open(opened_, options_);
    report_problems(data.ledger());
    if (wanted_.files.empty()) report_other_streams(paths_of(data), wanted_.stream);
    return data;
  } catch (const files_not_found& error) {
    if (wanted_.files.empty()) refuse_without_files(wanted_);
    throw data_failure(in_our_words(error));
  } catch (const pattern_error& error) {
    throw usage_failure(in_our_words(error));
  } catch (const selection_error& error) {
    throw data_failure(in_our_words(error));
  } catch (const file_left_out& error) {
    throw data_failure(why_refused(error.file).value_or(in_our_words(error)));
  }
}

namespace {

// If the machine could read none of the wanted values, the window
// is not empty. `left_out` files were excluded from the start.
std::optional<std::string> why_nothing_was_read(const read_ledger& ledger, std::size_t left_out) {
  if (ledger.delivered() > 0) return std::nullopt;
  std::uint64_t unread = 0;
  for (const channel_ledger& one : ledger.channels)
    unread += one.missing[static_cast<std::size_t>(missing_cause::file_missing)];
  if (unread == 0 && ledger.files.size() == left_out) return std::nullopt;
  for (const reading_problem& problem : ledger.problems)
    if (problem.reason == problem_reason::machine_error)
      return "not one of the values could be read: " + problem.text;
  return std::nullopt;  // damage is in the ledger
}

}  // namespace

// A mistyped time or number is easily corrected once the range of the files is known.
void dataset_session::report_empty_window(const dataset& data) {
  const bool is_nothing_read = ledger_.expected() == 0;
  if (!is_nothing_read || data.size(stop()) != 0) return;
  out_.flush();
  const bool has_window = wanted_.from || wanted_.to || wanted_.first_event || wanted_.last_event;
  if (!has_window) return print_message("ravo: there is no event of these channels\n");
  print_message("ravo: no event of these channels lies in the window{}\n", events_there(paths_of(data)));
}

void dataset_session::run(const std::function<void(dataset&)>& work) {
  const char* end = "complete";
  std::optional<std::string> failure;
  bool is_interrupted = false;
  try {
    dataset data = open();
    check_members(data);
    ledger_ = data.ledger();
    const std::size_t left_out = ledger_.files.size();
    work(data);
    failure = why_nothing_was_read(ledger_, left_out);
    if (failure)
      end = "missing_data";
    else
      report_empty_window(data);
  } catch (const read_cancelled&) {
    is_interrupted = true;
  } catch (const interrupted&) {
    is_interrupted = true;
  } catch (const missing_data& error) {
    end = "missing_data";
    failure = in_our_words(error);
  } catch (const memory_exceeded& error) {
    end = "memory_exceeded";
    failure = in_our_words(error);
  } catch (const selection_error& error) {
    throw data_failure(in_our_words(error));
  }
  bar_.hide();
  close(is_interrupted ? "interrupted" : end);
  if (is_interrupted) throw interrupted{};
  if (failure) throw data_failure(*failure);
}

void dataset_session::set_ledger_of_nothing_printed(read_ledger ledger) {
  for (channel_ledger& channel : ledger.channels) {
    channel.delivered = 0;
    channel.expected = channel.missing_total();
  }
  ledger_ = std::move(ledger);
}

void dataset_session::read_events(dataset& data, event_options options,
                                  const std::function<void(const event&)>& take) {
  set_controls(options);
  event_range range = data.events(options);
  try {
    while (const auto one = range.next()) {
      take(*one);
      check_for_interrupt();
    }
  } catch (...) {
    ledger_ = range.ledger();
    throw;
  }
  ledger_ = range.ledger();
}

void dataset_session::close(const char* end) {
  const std::string text = with_absolute_paths(wanted_).to_text();
  out_.flush();
  report_problems(ledger_);
  if (form_ == print_form::table) {
    out_.flush();
    print_message("selection: {}\n", text);
    print_ledger(ledger_);
    return;
  }
  json last = {{"selection", text}, {"end", end}};
  last.update(closing_);
  last["ledger"] = ledger_json(ledger_);
  out_.print(json_line(last));
}

}  // namespace ravo::tool
