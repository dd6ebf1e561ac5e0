#include "events.h"

#include <algorithm>
#include <cstring>

#include "payload.h"

namespace ravo::simulator {
namespace {

// The event types of the machine, in the order in which a pulse has them, and their times
// within the pulse: late enough to be distinct, early enough to be one event by time.
struct type_row {
  RAVO_EVTYPE type;
  double part_of_period;
};
constexpr type_row types[] = {
    {RAVO_EV_BOR, 0.0},  {RAVO_EV_NORMAL, 0.0}, {RAVO_EV_IMAGE, 0.06},
    {RAVO_EV_UPD, 0.12}, {RAVO_EV_ENV, 0.15},   {RAVO_EV_EOR, 0.0},
};

server_block& block_of_server(event& to, const char* server) {
  const auto found =
      std::find_if(to.servers.begin(), to.servers.end(),
                   [server](const server_block& block) { return std::strcmp(block.server, server) == 0; });
  if (found != to.servers.end()) return *found;
  // Each server stamps its contribution a little later than the one before.
  time_stamp time = to.time;
  time.timelow += static_cast<std::uint32_t>(17 * (to.servers.size() + 1));
  if (time.timelow > 999'999) {
    time.timelow -= 1'000'000;
    ++time.timeup;
  }
  return to.servers.emplace_back(server_block{server, time, static_cast<std::int32_t>(to.number), {}});
}

}  // namespace

event_stream::event_stream(const settings& what, const std::vector<channel>& channels)
    : settings_(what), channels_(channels) {}

std::uint32_t event_stream::first_pulse(int run, int file) const {
  const int pulses_of_run = settings_.files * settings_.events + 2;
  const int start = run * (pulses_of_run + pulses_between_runs);
  return static_cast<std::uint32_t>(start + (file == 0 ? 0 : 1 + file * settings_.events));
}

std::uint32_t event_stream::end_pulse(int run, int file) const {
  return first_pulse(run, file + 1) + (file + 1 == settings_.files ? 1 : 0);
}

bool event_stream::has_data(const channel& what, int file, std::uint32_t pulse,
                            std::uint32_t pulse_of_run) const {
  const auto place = static_cast<std::uint32_t>(what.place);
  switch (what.kind) {
    case channel_kind::slow:
      if (pulse_of_run != 1 && (pulse + 3 * place) % (20 + place % 7) != 0) return false;
      break;
    case channel_kind::environment:
      if (pulse % 10 != 0) return false;
      break;
    case channel_kind::status:
      if (pulse % 5 != 0) return false;
      break;
    case channel_kind::message:
      if (pulse % 20 != 0) return false;
      break;
    default:
      break;
  }
  switch (what.when) {
    case presence::always:
      return true;
    case presence::every_second:
      return pulse % 2 == 0;
    case presence::gaps:
      return !(pulse % 100 >= 30 && pulse % 100 < 50) && pulse % 11 != 0;
    case presence::from_second_file:
      return file > 0;
    case presence::never:
      return false;
  }
  return false;
}

std::vector<event> event_stream::events_of(int run, int file, std::uint32_t pulse) const {
  if (settings_.pulses_without_events.contains(pulse)) return {};
  const std::uint32_t pulse_of_run = pulse - first_pulse(run, 0);
  const bool begins = pulse_of_run == 0;
  const bool ends = file + 1 == settings_.files && pulse + 1 == end_pulse(run, file);
  occasion when{state_of_machine(settings_.clock, settings_.seed, pulse),
                settings_.clock.first_event + pulse,
                {},
                settings_.first_run + run};
  std::vector<event> events;
  for (const type_row& row : types) {
    if (begins != (row.type == RAVO_EV_BOR) || ends != (row.type == RAVO_EV_EOR)) continue;
    event made{when.event_number,
               row.type,
               time_of_pulse(settings_.clock, settings_.seed, pulse, row.part_of_period),
               {}};
    when.time = made.time;
    for (std::size_t index = 0; index < channels_.size(); ++index) {
      const channel& what = channels_[index];
      if (what.event_type() != row.type || !has_data(what, file, pulse, pulse_of_run)) continue;
      block_of_server(made, what.server())
          .blocks.push_back({static_cast<int>(index), make_payload(what, when)});
    }
    if (!made.servers.empty()) events.push_back(std::move(made));
  }
  return events;
}

}  // namespace ravo::simulator
