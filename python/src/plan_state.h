// Plans as tuples, in which they are pickled.
#ifndef RAVO_PYTHON_PLAN_STATE_H
#define RAVO_PYTHON_PLAN_STATE_H

#include "binding.h"
#include "ravo_dataset/plan.h"

namespace ravo::python {

using channel_plan_state = std::tuple<std::string, std::uint64_t, std::uint64_t, std::uint64_t>;
using plan_state =
    std::tuple<std::uint64_t, std::uint64_t, std::vector<channel_plan_state>, std::uint64_t, std::uint64_t,
               std::uint64_t, std::uint64_t, double, std::vector<std::string>>;

inline channel_plan_state state_of(const channel_plan& plan) {
  return {plan.channel, plan.values, plan.stored_bytes, plan.decoded_bytes};
}

inline channel_plan plan_from(const channel_plan_state& state) {
  const auto& [channel, values, stored_bytes, decoded_bytes] = state;
  return {channel, values, stored_bytes, decoded_bytes};
}

inline plan_state state_of(const read_plan& plan) {
  std::vector<channel_plan_state> channels;
  for (const channel_plan& one : plan.channels) channels.push_back(state_of(one));
  return {plan.files,
          plan.events,
          channels,
          plan.stored_bytes,
          plan.decoded_bytes,
          plan.peak_bytes_of_events,
          plan.peak_bytes_of_columns,
          plan.seconds,
          plan.problems};
}

inline read_plan plan_from(const plan_state& state) {
  const auto& [files, events, channels, stored, decoded, peak_of_events, peak_of_columns, seconds,
               problems] = state;
  read_plan plan;
  plan.files = files;
  plan.events = events;
  for (const channel_plan_state& one : channels) plan.channels.push_back(plan_from(one));
  plan.stored_bytes = stored;
  plan.decoded_bytes = decoded;
  plan.peak_bytes_of_events = peak_of_events;
  plan.peak_bytes_of_columns = peak_of_columns;
  plan.seconds = seconds;
  plan.problems = problems;
  return plan;
}

}  // namespace ravo::python

#endif
