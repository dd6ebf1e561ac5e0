#include "describe/planning.h"

#include <algorithm>
#include <cstdio>

#include "describe/plan_sums.h"
#include "read/segment_walk.h"

namespace ravo::detail {

std::vector<std::string> problems_of_opening(const dataset_state& state) {
  std::vector<std::string> problems;
  for (const refused_file& file : state.files.refused) problems.push_back(file.path + ": " + file.problem);
  for (const reading_problem& problem : state.files.problems) problems.push_back(problem.text);
  return problems;
}

read_plan make_plan(dataset_state& state) {
  plan_sums sums;
  sums.problems = problems_of_opening(state);
  std::size_t ordinal = 0;
  visit_segments(state, [&](std::size_t, const auto& part) {
    sums.add(count_values(state, *part, take_events(state, *part, ordinal)));
    return ordinal < state.end_of_events();
  });
  read_plan plan = plan_of(state, sums);
  plan.files =
      static_cast<std::uint64_t>(std::count_if(state.files.readable.begin(), state.files.readable.end(),
                                               [](const dataset_file& file) { return !file.is_context; }));
  return plan;
}

}  // namespace ravo::detail

namespace ravo {

std::string read_plan::to_text() const {
  std::string text = std::to_string(files) + " files, " + std::to_string(events) + " events, " +
                     std::to_string(stored_bytes) + " bytes stored, " + std::to_string(decoded_bytes) +
                     " decoded; memory up to " +
                     std::to_string(std::max(peak_bytes_of_events, peak_bytes_of_columns)) +
                     " bytes; about ";
  char number[32];
  std::snprintf(number, sizeof number, "%.2f s\n", seconds);
  text += number;
  for (const channel_plan& one : channels)
    text += one.channel + ": " + std::to_string(one.values) + " values, " +
            std::to_string(one.stored_bytes) + " bytes stored, " + std::to_string(one.decoded_bytes) +
            " decoded\n";
  for (const std::string& problem : problems) text += problem + "\n";
  return text;
}

}  // namespace ravo
