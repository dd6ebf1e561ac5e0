#include "common/reading.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <type_traits>
#include <utility>

#include "common/dataset_session.h"
#include "common/failure.h"
#include "common/file_answer.h"
#include "common/interrupt.h"
#include "common/progress.h"
#include "common/read_plan.h"
#include "common/times.h"
#include "ravo_daq_reader.h"
#include "ravo_daq_reader_2010.h"
#include "ravo_dataset/errors.h"
#include "ravo_evutl.h"

namespace ravo::tool {
namespace {

// What the library printed, as the end of a message.
std::string library_words(output& out) {
  const std::string words = out.take_library_output();
  return words.empty() ? "" : "\nthe library said:\n" + words;
}

// A text that leaves out the tolerance does not ask for the usual one.
bool is_tolerance_asked_for(const asked_selection& asked) {
  return microseconds(asked.wanted.tolerance) != microseconds(selection().tolerance) ||
         (asked.has_tolerance && !asked.has_text);
}

// Reads the plan's files with the reader of their generation.
template <class Reader>
class event_reading {
 public:
  event_reading(const asked_selection& asked, const read_plan& plan, int debug, output& out)
      : wanted_(asked.wanted),
        has_tolerance_(is_tolerance_asked_for(asked)),
        out_(out),
        plan_(plan),
        blocks_read_(plan.channels.size()) {
    reader_.set_debug(debug);
  }

  std::uint64_t run(const std::function<void(const read_event&)>& take) {
    progress_bar bar("reading");
    if (!start()) return 0;
    std::uint64_t events = 0;
    bool to_the_end = true;
    read_event event{};
    event.generation = plan_.generation;
    while (next(event)) {
      check_for_interrupt();
      if (is_after(event.id)) {
        to_the_end = false;
        break;
      }
      if (!is_inside(event.id)) continue;
      take(event);
      if (!out_.is_terminal()) bar.show(part_done(event.id.time));
      if (++events == wanted_.limit.value_or(0)) {
        to_the_end = false;
        break;
      }
      out_.bound_library_output();
    }
    bar.hide();
    const bool whole =
        to_the_end && !wanted_.first_event && !wanted_.last_event && !wanted_.from && !wanted_.to;
    if (whole) check_completeness();
    return events;
  }

 private:
  using result_entry = std::remove_pointer_t<typename decltype(Reader::results)::value_type>;
  using subhead = std::remove_pointer_t<decltype(result_entry::data)>;

  // Sets the reader up and starts it; returns false if no file overlaps the window.
  bool start() {
    std::vector<std::string> keys;
    for (const read_channel& channel : plan_.channels) keys.push_back(channel.key());
    std::vector<daq_channel_entry> entries(keys.size());
    std::vector<daq_channel_entry*> channels;
    for (std::size_t i = 0; i < keys.size(); ++i) {
      entries[i].name = keys[i].data();
      channels.push_back(&entries[i]);
    }
    enter_files();
    check("the reader refuses the channels", reader_.set_channels(&channels));
    check("the reader refuses the synch mode",
          reader_.set_synch_mode(by_time() ? RAVO_DAQ_SLICER_SYNCH_MODE_TIME
                                           : RAVO_DAQ_SLICER_SYNCH_MODE_EVID));
    set_step_and_tolerance();
    set_window();
    const int status = reader_.start();
    if (reader_.get_number_of_files() == 0) return false;
    check("reading cannot start", status);
    return true;
  }

  void enter_files() {
    // find_files() has already decided which files may still be growing.
    setenv("RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME", "1", 1);
    std::vector<std::string> paths = plan_.files;
    std::vector<char*> files;
    for (std::string& path : paths) files.push_back(path.data());
    check("the reader refuses the files", reader_.init(&files, nullptr));
  }

  // A request of runs means everything in their files, but the
  // reader's own window ends where it expects the last file to end.
  void set_window() {
    const ravo_time_id from{wanted_.first_event.value_or(0), wanted_.from.value_or(time_stamp{})};
    const ravo_time_id to{wanted_.last_event.value_or(0), wanted_.to.value_or(end_of_data(from.time))};
    check("the reader refuses the start of the window", reader_.set_start_point(&from));
    check("the reader refuses the end of the window", reader_.set_stop_point(&to));
  }

  // By time, the next event is searched for one step ahead, within the tolerance:
  // a tolerance as wide as the step would find the same event again, for ever.
  void set_step_and_tolerance() {
    constexpr double usual_step = 100'000.0, usual_tolerance = 50'000.0;
    const double step = plan_.spacing > 0 ? std::round(plan_.spacing) : usual_step;
    const double tolerance =
        has_tolerance_ ? microseconds(wanted_.tolerance) : std::min(usual_tolerance, std::floor(step / 2));
    if (by_time() && tolerance >= step)
      throw usage_failure(
          fmt::format("--tolerance: {:.15g} ms is not smaller than the distance of events, {:.1f} ms",
                      tolerance / 1000, step / 1000));
    const time_stamp difference = span(tolerance);
    reader_.set_time_diff(&difference);
    const ravo_time_id period{1, span(step)};
    check("the reader refuses the event step", reader_.set_period(&period));
  }

  static time_stamp span(double microseconds) {
    const auto whole = static_cast<std::uint64_t>(microseconds);
    return {static_cast<std::uint32_t>(whole / 1'000'000), static_cast<std::uint32_t>(whole % 1'000'000)};
  }

  // The end of the window if none is asked for: after all data, and not before the window's start.
  // (By default the reader takes the present time, and files may be ahead of this machine's clock.)
  time_stamp end_of_data(time_stamp from) const {
    const std::uint32_t last = std::max(plan_.last.timeup, from.timeup);
    return {last == 0xFFFFFFFFu ? last : last + 1, 999'999};
  }

  void check(const char* what, int status) {
    if (status == RAVO_DAQ_READER_OK) return;
    const std::string error = reader_.get_last_error();
    throw data_failure(
        several_lines{shown("{}: {} (status {})", what, error, status) + library_words(out_)});
  }

  // Reads the reader's next event; returns false at the end of the data.
  bool next(read_event& event) {
    std::vector<ravo_channel_entry_long*> entries;
    const int status = reader_.get_data(nullptr, &entries, RAVO_DAQ_READ_CHAN_EVENT_NEXT);
    if (status == RAVO_DAQ_READER_OUT_OF_WINDOW) return false;
    if (status != RAVO_DAQ_READER_OK)
      throw data_failure(
          several_lines{shown("reading stopped after event {}: {} (status {})",
                              reader_.current_event_id.event_number, reader_.error_i2a(status), status) +
                        library_words(out_)});
    const ravo_time_id before = std::exchange(event.id, reader_.current_event_id);
    event.entries.clear();
    bool has_id = false;
    for (std::size_t i = 0; i < reader_.results.size() && i < plan_.channels.size(); ++i) {
      const result_entry& result = *reader_.results[i];
      if (!result.updated && !result.slow) continue;
      event.entries.push_back({&plan_.channels[i],
                               result.res.event_id,
                               block_of<subhead>(result.res),
                               result.updated == 0,
                               {}});
      if (!result.updated) continue;
      ++blocks_read_[i];
      // The first channel that is not slow determines which event it is.
      if (!has_id && (!result.slow || event.id.event_number == 0)) {
        event.id = result.res.event_id;
        has_id = !result.slow;
      }
    }
    if (event.id.event_number == before.event_number && ravo_time_stamp_eq(&event.id.time, &before.time))
      throw data_failure(several_lines{
          fmt::format("reading stands still at event {}{}", event.id.event_number, library_words(out_))});
    return true;
  }

  // The reader knows one kind of window at a time, by the synch mode; here all limits apply together.
  bool is_inside(const ravo_time_id& id) const {
    if (wanted_.first_event && id.event_number != 0 && id.event_number < *wanted_.first_event) return false;
    if (wanted_.from && microseconds(id.time) < microseconds(*wanted_.from)) return false;
    return true;
  }
  bool is_after(const ravo_time_id& id) const {
    if (wanted_.last_event && id.event_number != 0 && id.event_number > *wanted_.last_event) return true;
    return wanted_.to && microseconds(id.time) > microseconds(*wanted_.to);
  }

  double part_done(time_stamp now) const {
    const double first = microseconds(wanted_.from.value_or(plan_.first));
    const double last = microseconds(wanted_.to.value_or(plan_.last));
    return last > first ? (microseconds(now) - first) / (last - first) : 0.0;
  }

  // A block that cannot be decoded is simply not delivered: compares what was delivered with what is there.
  void check_completeness() {
    std::string missing;
    for (std::size_t i = 0; i < plan_.channels.size(); ++i)
      if (blocks_read_[i] < plan_.channels[i].blocks)
        missing += shown("\n  {}: {} of {} blocks read", plan_.channels[i].key(), blocks_read_[i],
                         plan_.channels[i].blocks);
    if (missing.empty()) return;
    if (by_time())
      missing +=
          "\nby time, events that are closer than the tolerance become one: a smaller --tolerance may help";
    throw data_failure(
        several_lines{"not all data of the files could be read:" + missing + library_words(out_)});
  }

  bool by_time() const { return wanted_.synch == synch_mode::by_time; }

  const selection& wanted_;
  const bool has_tolerance_;
  output& out_;
  const read_plan& plan_;
  std::vector<std::uint64_t> blocks_read_;
  Reader reader_;
};

// The files of the selection, as the dataset layer finds them.
std::vector<std::string> files_of(const selection& asked) try {
  const selection wanted = with_usual_catalogue(asked);
  const found_files found = find_files(wanted);
  for (const reading_problem& problem : found.problems) print_message("ravo: {}\n", problem.text);
  for (const refused_file& file : found.left_out)
    print_message("ravo: {} is left out: {}\n", file.path, file.problem);
  if (wanted.files.empty()) report_other_streams(found.files, wanted.stream);
  return found.files;
} catch (const files_not_found& error) {
  if (asked.files.empty()) refuse_without_files(asked);
  throw data_failure(in_our_words(error));
} catch (const selection_error& error) {
  throw data_failure(in_our_words(error));
}

}  // namespace

void check_that_the_reader_can(const selection& wanted, const selection_arguments& arguments,
                               const limit_arguments& limits) {
  const auto refuse_if = [](bool is_asked, const char* what) {
    if (is_asked) throw usage_failure(fmt::format("{} is not for --classic", what));
  };
  refuse_if(wanted.step != 1, "a step of events");
  refuse_if(!wanted.context.empty(), "context=");
  refuse_if(!wanted.exact.empty(), "exact=");
  refuse_if(!wanted.manifests.empty(), "a manifest");
  refuse_if(wanted.join != join_policy::any, "a join of channels");
  refuse_if(wanted.max_age.has_value(), "an age of held values");
  refuse_if(arguments.slow.has_value(), "--slow");
  refuse_if(limits.is_strict, "--strict");
  refuse_if(limits.largest_missing_share.has_value(), "--max-missing");
  refuse_if(limits.memory.has_value(), "--memory");
  refuse_if(limits.largest_block.has_value(), "--max-block");
  refuse_if(limits.threads != 0, "--threads");
  refuse_if(std::any_of(wanted.channels.begin(), wanted.channels.end(),
                        [](const std::string& pattern) { return pattern.starts_with('~'); }),
            "a regular expression for channels");
}

std::uint64_t read_events(const asked_selection& asked, int debug, output& out,
                          const std::function<void(const read_event&)>& take) {
  if (debug != 0) out.show_library_output();
  const read_plan plan = make_plan(files_of(asked.wanted), asked.wanted.channels);
  return plan.generation == ravo_file_generation::older
             ? event_reading<ravo_daq_reader>(asked, plan, debug, out).run(take)
             : event_reading<ravo_daq_reader_2010>(asked, plan, debug, out).run(take);
}

}  // namespace ravo::tool
