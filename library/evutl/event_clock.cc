// Turns a time into an event number by the site's event clock, if the site has set it.
#include <cmath>
#include <cstdlib>
#include <mutex>
#include <optional>

#include "ravo_evutl.h"

namespace {

struct event_clock {
  double epoch;  // seconds since the Unix epoch at which event number 0 would have been
  double rate;   // events per second
};

std::mutex clock_mutex;  // guards site_clock
std::optional<event_clock> site_clock;

bool is_clock(const event_clock& clock) {
  return std::isfinite(clock.epoch) && std::isfinite(clock.rate) && clock.rate > 0;
}

// The number in the variable; `nullopt` if the variable holds anything else.
std::optional<double> number_from_environment(const char* name) {
  const char* text = std::getenv(name);
  if (!text || !*text) return std::nullopt;
  char* end = nullptr;
  const double value = std::strtod(text, &end);
  if (*end != '\0') return std::nullopt;
  return value;
}

std::optional<event_clock> current_clock() {
  const std::lock_guard lock(clock_mutex);
  if (site_clock) return site_clock;
  const auto epoch = number_from_environment("RAVO_EVENT_CLOCK_EPOCH");
  const auto rate = number_from_environment("RAVO_EVENT_CLOCK_RATE");
  if (!epoch || !rate || !is_clock({*epoch, *rate})) return std::nullopt;
  return event_clock{*epoch, *rate};
}

}  // namespace

void ravo_set_event_clock(double epoch, double rate) {
  const std::lock_guard lock(clock_mutex);
  site_clock.reset();
  if (is_clock({epoch, rate})) site_clock = event_clock{epoch, rate};
}

unsigned ravo_get_event_id(const time_stamp* time) {
  if (!time) return 0;
  const auto clock = current_clock();
  if (!clock) return 0;
  // Events jitter around their nominal times: the nearest event is meant, not the preceding one.
  const double seconds = (time->timeup - clock->epoch) + time->timelow * 1e-6;
  const double number = std::round(seconds * clock->rate);
  if (!(number >= 1) || number >= static_cast<double>(RAVO_EVENT_NUMBER_UNDECODED)) return 0;
  return static_cast<unsigned>(number);
}
