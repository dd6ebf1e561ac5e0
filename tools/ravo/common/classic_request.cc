#include "common/classic_request.h"

#include <fmt/format.h>

#include <algorithm>

#include "common/failure.h"

namespace ravo::tool {
namespace {

void check_that_the_reader_can(const selection& wanted, const selection_arguments& arguments,
                               const limit_arguments& limits) {
  const auto refuse_if = [](bool is_asked, const char* what) {
    if (is_asked) throw usage_failure(fmt::format("{} is not for --classic", what));
  };
  refuse_if(wanted.step != 1, "a step of events");
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

}  // namespace

file_request file_request_of(const selection& wanted) {
  file_request request{wanted.experiment, wanted.stream, wanted.catalogue, {}, {}, wanted.from, wanted.to};
  if (request.catalogue.empty()) request.catalogue = default_catalogue;
  if (!wanted.data.empty()) request.data = wanted.data;
  if (wanted.runs) request.runs = run_range{wanted.runs->first, wanted.runs->last};
  return request;
}

read_request classic_request(const selection& wanted, const selection_arguments& arguments,
                             const limit_arguments& limits, int debug) {
  check_that_the_reader_can(wanted, arguments, limits);
  read_request request;
  request.files = wanted.files;
  if (wanted.files.empty()) request.wanted = file_request_of(wanted);
  request.channels = wanted.channels;
  request.first_event = wanted.first_event;
  request.last_event = wanted.last_event;
  request.from = wanted.from;
  request.to = wanted.to;
  request.mode = wanted.synch == synch_mode::by_time ? RAVO_DAQ_SLICER_SYNCH_MODE_TIME
                                                     : RAVO_DAQ_SLICER_SYNCH_MODE_EVID;
  const time_stamp usual = selection().tolerance;
  if (arguments.tolerance_ms || wanted.tolerance.timeup != usual.timeup ||
      wanted.tolerance.timelow != usual.timelow)
    request.tolerance = wanted.tolerance.timeup * 1e6 + wanted.tolerance.timelow;
  request.limit = wanted.limit.value_or(0);
  request.debug = debug;
  return request;
}

void explain_files(const selection& wanted, int debug, print_form form, output& out) {
  if (debug != 0) out.show_library_output();
  const file_request request = file_request_of(wanted);
  const file_decisions decisions = decide_files(request, debug, out);
  if (form == print_form::lines)
    print_decisions_json(decisions, out);
  else
    print_decisions(request, decisions, out);
  check_generation(decisions);
}

}  // namespace ravo::tool
