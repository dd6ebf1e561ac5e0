#include "common/reading.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <type_traits>
#include <utility>
#include <variant>

#include "common/failure.h"
#include "common/interrupt.h"
#include "common/progress.h"
#include "common/read_plan.h"
#include "common/times.h"
#include "ravo_evutl.h"

namespace ravo::tool {
namespace {

// What the library printed, as the end of a message.
std::string library_words(output& out) {
  const std::string words = out.take_library_output();
  return words.empty() ? "" : "\nthe library said:\n" + words;
}

// A reading of the plan's files with the reader of their generation. Of a request without file names the
// reader holds the files already.
template <class Reader>
class event_reading {
 public:
  event_reading(const read_request& request, const read_plan& plan, Reader& reader, output& out)
      : request_(request), out_(out), plan_(plan), blocks_read_(plan.channels.size()), reader_(reader) {}

  std::uint64_t run(const std::function<void(const read_event&)>& take) {
    progress_bar bar("reading");
    if (!start()) return 0;
    std::uint64_t events = 0;
    bool to_the_end = true;
    read_event event{};
    event.generation = plan_.generation;
    while (next(event)) {
      check_for_interrupt();
      if (is_behind(event.id)) {
        to_the_end = false;
        break;
      }
      if (!is_inside(event.id)) continue;
      take(event);
      if (!out_.is_terminal()) bar.show(part_done(event.id.time));
      if (++events == request_.limit) {
        to_the_end = false;
        break;
      }
      out_.bound_library_output();
    }
    bar.hide();
    const bool whole =
        to_the_end && !request_.first_event && !request_.last_event && !request_.from && !request_.to;
    if (whole) check_completeness();
    return events;
  }

 private:
  using result_entry = std::remove_pointer_t<typename decltype(Reader::results)::value_type>;
  using subhead = std::remove_pointer_t<decltype(result_entry::data)>;

  // Sets the reader up and starts it; false when no file overlaps the window.
  bool start() {
    std::vector<std::string> keys;
    for (const read_channel& channel : plan_.channels) keys.push_back(channel.key());
    std::vector<daq_channel_entry> entries(keys.size());
    std::vector<daq_channel_entry*> channels;
    for (std::size_t i = 0; i < keys.size(); ++i) {
      entries[i].name = keys[i].data();
      channels.push_back(&entries[i]);
    }
    if (!request_.wanted) enter_named_files();
    check("the reader refuses the channels", reader_.set_channels(&channels));
    check("the reader refuses the synch mode", reader_.set_synch_mode(request_.mode));
    set_step_and_tolerance();
    set_window();
    const int status = reader_.start();
    if (reader_.get_number_of_files() == 0) return false;
    check("reading cannot start", status);
    return true;
  }

  void enter_named_files() {
    // The rule that a young file may still be growing is for files that are found; these were named by
    // a person, and each was looked into already.
    setenv("RAVO_DAQ_READER_IGNORE_FILE_CLOSE_TIME", "1", 1);
    std::vector<std::string> paths = plan_.files;
    std::vector<char*> files;
    for (std::string& path : paths) files.push_back(path.data());
    check("the reader refuses the files", reader_.init(&files, nullptr));
  }

  // Of runs, all that their files hold is wanted: the reader's own window ends where the last file is
  // thought to end.
  void set_window() {
    const ravo_time_id from{request_.first_event.value_or(0), request_.from.value_or(time_stamp{})};
    const ravo_time_id to{request_.last_event.value_or(0), request_.to.value_or(end_of_data(from.time))};
    check("the reader refuses the start of the window", reader_.set_start_point(&from));
    check("the reader refuses the end of the window", reader_.set_stop_point(&to));
  }

  // By time, the next event is looked for one step ahead, within the tolerance: a tolerance as wide as the
  // step would find the same event again, for ever.
  void set_step_and_tolerance() {
    constexpr double usual_step = 100'000.0, usual_tolerance = 50'000.0;
    const double step = plan_.spacing > 0 ? std::round(plan_.spacing) : usual_step;
    const double tolerance = request_.tolerance.value_or(std::min(usual_tolerance, std::floor(step / 2)));
    if (request_.mode == RAVO_DAQ_SLICER_SYNCH_MODE_TIME && tolerance >= step)
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

  // The end of the window when none is asked for: behind all data, and not before the window's start.
  // (Without any the reader would take now for it, and files may be ahead of this machine's clock.)
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

  // The reader's next event; false at the end of the data.
  bool next(read_event& event) {
    std::vector<ravo_channel_entry_long*> entries;
    const int status = reader_.get_data(nullptr, &entries, RAVO_DAQ_READ_CHAN_EVENT_NEXT);
    if (status == RAVO_DAQ_READER_OUT_OF_WINDOW) return false;
    if (status != RAVO_DAQ_READER_OK)
      throw data_failure(
          several_lines{shown("reading stopped behind event {}: {} (status {})",
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
      // The first channel that is not slow says which event it is.
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

  // The reader knows one kind of window at a time, by the synch mode; here all limits hold together.
  bool is_inside(const ravo_time_id& id) const {
    if (request_.first_event && id.event_number != 0 && id.event_number < *request_.first_event)
      return false;
    if (request_.from && microseconds(id.time) < microseconds(*request_.from)) return false;
    return true;
  }
  bool is_behind(const ravo_time_id& id) const {
    if (request_.last_event && id.event_number != 0 && id.event_number > *request_.last_event) return true;
    return request_.to && microseconds(id.time) > microseconds(*request_.to);
  }

  double part_done(time_stamp now) const {
    const double first = microseconds(request_.from.value_or(plan_.first));
    const double last = microseconds(request_.to.value_or(plan_.last));
    return last > first ? (microseconds(now) - first) / (last - first) : 0.0;
  }

  // A block that cannot be decoded is simply not delivered: hold what came against what is there.
  void check_completeness() {
    std::string missing;
    for (std::size_t i = 0; i < plan_.channels.size(); ++i)
      if (blocks_read_[i] < plan_.channels[i].blocks)
        missing += shown("\n  {}: {} of {} blocks read", plan_.channels[i].key(), blocks_read_[i],
                         plan_.channels[i].blocks);
    if (missing.empty()) return;
    if (request_.mode == RAVO_DAQ_SLICER_SYNCH_MODE_TIME)
      missing +=
          "\nby time, events that are closer than the tolerance become one: a smaller --tolerance may help";
    throw data_failure(
        several_lines{"not all data of the files could be read:" + missing + library_words(out_)});
  }

  const read_request& request_;
  output& out_;
  const read_plan& plan_;
  std::vector<std::uint64_t> blocks_read_;
  Reader& reader_;
};

// Has a reader find the files of the request.
std::vector<std::string> find_files(any_reader& reader, const read_request& request, output& out) {
  file_decisions decisions;
  choose_files(reader, *request.wanted, request.debug, decisions, out);
  const std::vector<std::string> files = files_of(reader);
  tell_other_streams(files, request.wanted->stream);
  return files;
}

}  // namespace

std::uint64_t read_events(const read_request& request, output& out,
                          const std::function<void(const read_event&)>& take) {
  if (request.debug != 0) out.show_library_output();
  any_reader reader;
  const read_plan plan =
      make_plan(request.wanted ? find_files(reader, request, out) : request.files, request.channels);
  if (!request.wanted) {
    if (plan.generation == ravo_file_generation::older) reader.emplace<ravo_daq_reader>();
    std::visit([&](auto& one) { one.set_debug(request.debug); }, reader);
  }
  return std::visit([&](auto& one) { return event_reading(request, plan, one, out).run(take); }, reader);
}

}  // namespace ravo::tool
