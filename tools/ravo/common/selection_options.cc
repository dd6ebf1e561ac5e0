#include "common/selection_options.h"

#include <fmt/format.h>

#include <charconv>
#include <cmath>

#include "common/failure.h"
#include "common/help_format.h"
#include "common/request_options.h"
#include "common/times.h"
#include "format/time.h"
#include "ravo_dataset/errors.h"
#include "ravo_dataset/manifest.h"
#include "shared/whole_file.h"

namespace ravo::tool {
namespace {

// "EXPERIMENT/STREAM", which may also be a path.
bool may_be_stream(const std::string& word) {
  const auto slash = word.find('/');
  return slash != std::string::npos && slash > 0 && slash + 1 < word.size() &&
         word.find('/', slash + 1) == std::string::npos && !word.ends_with(".raw");
}

struct sorted_words {
  std::vector<std::string> files;
  std::string text;  // of a selection
};

// An existing path is a file or a folder, and a word with a "=" belongs to a selection; so does
// EXPERIMENT/STREAM if nothing else says where files are. The rest are files, which later turn out to be
// missing.
sorted_words sort_words(const selection_arguments& arguments) {
  sorted_words sorted;
  std::vector<std::string> undecided;
  const auto add_text = [&sorted](const std::string& word) {
    sorted.text += (sorted.text.empty() ? "" : " ") + word;
  };
  for (const std::string& word : arguments.words) {
    if (is_there(word))
      sorted.files.push_back(word);
    else if (word.find('=') != std::string::npos)
      add_text(word);
    else
      undecided.push_back(word);
  }
  const bool has_other_files = !sorted.text.empty() || arguments.runs || arguments.from;
  for (const std::string& word : undecided)
    if (has_other_files && may_be_stream(word))
      add_text(word);
    else
      sorted.files.push_back(word);
  return sorted;
}

time_stamp stamp_of(double microseconds) {
  const auto whole = static_cast<std::uint64_t>(std::round(microseconds));
  return {static_cast<std::uint32_t>(whole / 1'000'000), static_cast<std::uint32_t>(whole % 1'000'000)};
}

// Requests of the readers, and so the catalogues made for them, have no room for longer names.
void check_name(const char* option, const std::string& name) {
  constexpr std::size_t most = 31;
  if (name.size() > most)
    throw usage_failure(
        fmt::format("{}: longer than the {} letters that a request can hold", option, most));
}

void take_request(const selection_arguments& arguments, selection& to) {
  if (arguments.experiment) check_name("--experiment", to.experiment = *arguments.experiment);
  if (arguments.stream) check_name("--stream", to.stream = *arguments.stream);
  if (arguments.catalogue) to.catalogue = *arguments.catalogue;
  if (arguments.data) to.data = *arguments.data;
  if (!arguments.runs) return;
  const run_range runs = runs_option(*arguments.runs);
  // In the readers' requests run 0 stands for no run.
  if (runs.first == 0)
    throw usage_failure(
        fmt::format("--run: '{}': runs that can be asked for count from 1", *arguments.runs));
  to.runs = run_numbers{runs.first, runs.last};
}

void take_window(const selection_arguments& arguments, selection& to) {
  time_context context{current_time(), zone_option(arguments.zone), to.from, "--from"};
  if (arguments.from) to.from = context.from = time_option("--from", *arguments.from, context);
  if (arguments.to) to.to = time_option("--to", *arguments.to, context);
  if (arguments.first_event) to.first_event = arguments.first_event;
  if (arguments.last_event) to.last_event = arguments.last_event;
  if (arguments.step) to.step = *arguments.step;
  if (arguments.limit) to.limit = *arguments.limit == 0 ? std::nullopt : arguments.limit;
  if (to.first_event && to.last_event && *to.first_event > *to.last_event)
    throw usage_failure(
        fmt::format("--first-event {} is after --last-event {}", *to.first_event, *to.last_event));
  const bool ends_now = to.files.empty() && !to.runs && to.from && !to.to;
  if (ends_now) to.to = context.now;
  if (to.from && to.to && microseconds(*to.from) > microseconds(*to.to))
    throw usage_failure(fmt::format("--from {} is after --to {}",
                                    arguments.from.value_or(time_text(*to.from)),
                                    ends_now ? "now" : arguments.to.value_or(time_text(*to.to))));
}

// Sets the options that are words of the text as well, by parsing them as text.
void take_rules(const selection_arguments& arguments, selection& to) {
  if (arguments.mode) to.synch = *arguments.mode == "time" ? synch_mode::by_time : synch_mode::by_number;
  if (arguments.tolerance_ms) to.tolerance = stamp_of(*arguments.tolerance_ms * 1000.0);
  if (arguments.slow) to.slow = selection::parse("slow=" + *arguments.slow).slow;
  if (arguments.max_age) to.max_age = selection::parse("max_age=" + *arguments.max_age).max_age;
  if (!arguments.join) return;
  const selection joined = selection::parse("join=\"" + *arguments.join + "\"");
  to.join = joined.join;
  to.join_channel = joined.join_channel;
}

// Each run costs an access to the disk, wherever the number is written.
void check_number_of_runs(const selection& wanted) {
  constexpr int most = 1'000'000;
  if (wanted.runs && wanted.runs->last - wanted.runs->first >= most)
    throw usage_failure(
        fmt::format("run={}-{} are more than {} runs", wanted.runs->first, wanted.runs->last, most));
}

asked_selection make_selection(const selection_arguments& arguments) {
  for (const std::string& name : arguments.channels)
    if (name.empty()) throw usage_failure("--channel: '' is no name of a channel");
  const sorted_words words = sort_words(arguments);
  asked_selection asked{selection::parse(words.text), !words.text.empty(), false};
  asked.has_tolerance = asked.has_text || arguments.tolerance_ms.has_value();
  selection& wanted = asked.wanted;
  wanted.files.insert(wanted.files.end(), words.files.begin(), words.files.end());
  wanted.channels.insert(wanted.channels.end(), arguments.channels.begin(), arguments.channels.end());
  if (!wanted.files.empty() && arguments.request_option)
    throw usage_failure(fmt::format("{} is for requests without FILES", *arguments.request_option));
  if (!wanted.files.empty() && wanted.runs) throw usage_failure("run= is for requests without FILES");
  take_request(arguments, wanted);
  check_number_of_runs(wanted);
  if (wanted.files.empty() && wanted.manifests.empty() && !wanted.runs && !wanted.from && !arguments.from)
    throw usage_failure("say what to read: FILES, or --run N[-M], or --from TIME and --to TIME");
  take_window(arguments, wanted);
  take_rules(arguments, wanted);
  asked.has_exact_channels = !with_manifests(wanted).exact.empty();
  return asked;
}

}  // namespace

void add_selection_options(CLI::App& command, selection_arguments& arguments) {
  command
      .add_option("SELECTION", arguments.words,
                  "Raw files, folders of raw files, or words of a selection such as run=7 chan=LINAC/BPM/*")
      ->type_name("");
  const auto for_requests = [&](const char* name, std::optional<std::string>& value, const char* text,
                                const char* type) {
    CLI::Option* option = command.add_option(name, value, text);
    option->type_name(type)
        ->group("Files by run or period")
        ->each([&arguments, option](const std::string&) {
          if (!arguments.request_option) arguments.request_option = option->get_name();
        });
  };
  for_requests("--run", arguments.runs, "The files of a run, or of runs N to M", "N[-M]");
  for_requests("--experiment,-e", arguments.experiment, "Of this experiment  [linac]", "NAME");
  for_requests("--stream,-s", arguments.stream, "Of this stream  [main]", "NAME");
  for_requests("--catalog", arguments.catalogue,
               "Run catalogue, which is asked first  [/daq/ravo/admtemp/]", "DIR");
  for_requests("--data", arguments.data,
               "Where the files are; by their names there when the catalogue has no answer", "DIR");
  command
      .add_option("--channel,-c", arguments.channels,
                  "A channel: NAME, NAME:MEMBER (a name, or a number from 0), a pattern with * ? [], or "
                  "~EXPRESSION. "
                  "May be repeated")
      ->allow_extra_args(false)  // one name after each --channel: what follows is a file
      ->type_name("NAME");
  const auto window = [&](const char* name, auto& value, const char* text, const char* type) {
    return command.add_option(name, value, text)->type_name(type)->group("Window");
  };
  window("--first-event", arguments.first_event, "Not before this event number", "N")
      ->check(in_range(1.0, 4294967294.0));
  window("--last-event", arguments.last_event, "Not after this event number", "N")
      ->check(in_range(1.0, 4294967294.0));
  window("--from", arguments.from, "Not before this time", "TIME");
  window("--to", arguments.to, "Not after this time", "TIME");
  window("--tz", arguments.zone, "Time zone of times of day", "ZONE")->capture_default_str();
  window("--step", arguments.step, "Every N-th of the events that are left", "N")
      ->check(in_range(1.0, 4294967295.0));
  window("--limit", arguments.limit, "The first N of them; 0: no limit", "N")
      ->check(not_negative())
      ->check(in_range(0.0, 4294967295.0));
  const auto rule = [&](const char* name, auto& value, const char* text, const char* type) {
    return command.add_option(name, value, text)->type_name(type)->group("Alignment");
  };
  rule("--mode", arguments.mode, "Align by event number (evid) or by time  [evid]", "TEXT")
      ->check(one_of({"evid", "time"}));
  rule("--tolerance", arguments.tolerance_ms,
       "How far apart times of one event may lie, in ms  [50, or half the distance of events]", "MS")
      ->check(in_range(0.0, 3600000.0));
  rule("--join", arguments.join, "Events of any channel, of all, or with:CHANNEL  [any]", "JOIN");
  rule("--slow", arguments.slow, "Slow channels at other channels' events: none, hold or nearest", "HOW")
      ->check(one_of({"none", "hold", "nearest"}));
  rule("--max-age", arguments.max_age, "A held value that is older is stale, such as 30s", "SPAN");
}

asked_selection selection_of(const selection_arguments& arguments) {
  try {
    return make_selection(arguments);
  } catch (const selection_error& error) {
    throw usage_failure(error.what());
  }
}

const char* const selection_help =
    R"(SELECTION is raw files, folders of raw files (*.raw), or a text of words that can be mailed:
  linac/main run=1207 chan=LINAC/BPM/*,LINAC/CAMERA/001 from=2025-03-01T08:00:00Z step=10
  EXPERIMENT/STREAM  run=N or N-M  file=PATH,...  chan=PATTERN,...  from=TIME  to=TIME  event=N-M
  step=N  phase=N  limit=N  synch=number|time  tolerance=SPAN  join=any|all|with:CHANNEL
  slow=none|hold|nearest  max_age=SPAN  catalog=DIR  data=DIR
and in parts of a larger selection
  context=PATH,...  exact=KIND:NAME,...  left_out=REASON:PATH,...  gap=FROM/TO,...
  manifest=PATH,sha256:DIGEST
Options take precedence over words of the text. What was read is printed back as such a text at the end.
)";

void add_limit_options(CLI::App& command, limit_arguments& arguments) {
  const auto limit = [](CLI::Option* option) { return option->group("Limits"); };
  CLI::Option* strict = limit(command.add_flag("--strict", arguments.is_strict,
                                               "End with exit code 1 at the first value that is missing"));
  limit(command.add_option("--max-missing", arguments.largest_missing_share,
                           "End with exit code 1 when more than this share is missing: 0.01 or 1%"))
      ->type_name("SHARE")
      ->excludes(strict);
  limit(
      command.add_option("--memory", arguments.memory, "Memory that reading may take, such as 512M  [1G]"))
      ->type_name("SIZE");
  limit(command.add_option("--max-block", arguments.largest_block,
                           "Leave out blocks that decode to more than this, such as 64M  [256M]"))
      ->type_name("SIZE");
  limit(command.add_option("--threads", arguments.threads,
                           "Threads that decode  [as many as the machine has]"))
      ->type_name("N")
      ->check(in_range(1.0, 1024.0));
}

double share_option(const char* option, const std::string& text) {
  double share = -1;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, share);
  const bool is_percent = stop != end && *stop == '%';
  const bool is_read = error == std::errc() && stop + (is_percent ? 1 : 0) == end;
  if (is_read && is_percent) share /= 100;
  if (!is_read || !(share >= 0 && share <= 1))
    throw usage_failure(fmt::format("{}: '{}' is no share; write 0.01, or 1%", option, text));
  return share;
}

std::size_t size_option(const char* option, const std::string& text) {
  const auto refuse = [&] {
    throw usage_failure(fmt::format("{}: '{}' is no amount of memory; write 512M, or 2G", option, text));
  };
  std::size_t number = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || number == 0) refuse();
  const std::string unit(stop, end);
  int shift = 0;
  if (unit == "k" || unit == "K" || unit == "KiB")
    shift = 10;
  else if (unit == "M" || unit == "MiB")
    shift = 20;
  else if (unit == "G" || unit == "GiB")
    shift = 30;
  else if (!unit.empty())
    refuse();
  if (number > (std::size_t{1} << 62 >> shift)) refuse();
  return number << shift;
}

}  // namespace ravo::tool
