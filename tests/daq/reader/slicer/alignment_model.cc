// The model of alignment_model.h, rule by rule.
#include "alignment_model.h"

#include <cstdlib>

namespace ravo::test {
namespace {

constexpr int first_one = -2, previous = -1, present = 0, next = 1, last_one = 2;
constexpr int ok = 0, no_data = -1, out_of_window = -3, not_init = -4, not_found_status = -5,
              intern_error = -6, inv_param = -7;

}  // namespace

// ---- one channel in one file

model_reader::model_reader(const model_settings& settings, const std::vector<model_event>& events,
                           std::size_t of_file)
    : file(of_file), settings_(settings), events_(events) {
  for (std::size_t i = 0; i < events_.size(); ++i) {
    if (i == 0 || events_[i].time < first.time) first = events_[i];
    if (i == 0 || events_[i].time > last.time) last = events_[i];
  }
}

// -1, 0, 1: a before, within the tolerance of, after b.
int model_reader::distance(std::int64_t a, std::int64_t b) const {
  if (std::llabs(a - b) <= settings_.tolerance) return 0;
  return a < b ? -1 : 1;
}

model_reader::answer model_reader::ask(const std::optional<model_event>& id, int type) {
  if (events_.empty()) return {not_init, -1};
  model_event reference{};
  if (id)
    reference = *id;
  else if (type == first_one)
    reference = first;
  else if (type == last_one)
    reference = last;
  else if (current_ >= 0)
    reference = event(current_);
  if (reference.number == 0 && !reference.has_seconds()) return {inv_param, -1};

  answer got{};
  if (reference.number != 0) {
    got = by_number(reference.number, type);
  } else {
    got = by_time(reference.time, type);
    if (settings_.by_time_fix && got.index >= 0 && (type == previous || type == next)) {
      const std::int64_t away =
          type * (std::int64_t{event(got.index).number} - std::int64_t{returned_.number});
      if (away >= 2) {
        const answer checked = by_number(returned_.number, type);
        got.status = checked.status;
        if (checked.index >= 0) got.index = checked.index;
      }
    }
  }
  if (got.index >= 0) returned_ = event(got.index);
  return got;
}

model_reader::answer model_reader::by_number(std::int64_t number, int type) {
  if (type == previous || type == next) number += type * std::int64_t{settings_.number_step};
  if ((type == previous || type == present) && number < std::int64_t{first.number})
    return {out_of_window, -1};
  if ((type == next || type == present) && number > std::int64_t{last.number}) return {out_of_window, -1};
  if (number == 0) return {inv_param, -1};
  const int index = find_number(static_cast<std::uint32_t>(number), type);
  if (index < 0) return {no_data, -1};
  current_ = index;
  return {ok, index};
}

model_reader::answer model_reader::by_time(std::int64_t time, int type) {
  if (type == previous || type == next) time += type * settings_.time_step;
  if ((type == previous || type == present) && distance(time, first.time) < 0) return {out_of_window, -1};
  if ((type == next || type == present) && distance(last.time, time) < 0) return {out_of_window, -1};
  const int index = find_time(time, type);
  if (index < 0) return {no_data, -1};
  current_ = index;
  return {ok, index};
}

int model_reader::find_number(std::uint32_t number, int type) {
  int nearest = -1;
  std::int64_t best = 0;
  for (std::size_t i = 0; i < events_.size(); ++i) {
    const std::int64_t away = std::int64_t{events_[i].number} - std::int64_t{number};
    if (away == 0) return static_cast<int>(i);
    if ((type != next || away < 0) && (type != previous || away > 0)) continue;
    if (nearest >= 0 && std::llabs(away) >= best) continue;
    nearest = static_cast<int>(i);
    best = std::llabs(away);
  }
  return nearest;
}

int model_reader::find_time(std::int64_t time, int type) {
  if (const int found = search_time(time); found >= 0) return found;
  for (std::size_t i = 0; i < events_.size(); ++i)
    if (distance(time, events_[i].time) == 0) return static_cast<int>(i);
  if (type != previous && type != next) return -1;
  int nearest = -1;
  for (std::size_t i = 0; i < events_.size(); ++i) {
    if (distance(time, events_[i].time) != -type) continue;
    if (nearest >= 0 && std::llabs(events_[i].time - time) >= std::llabs(event(nearest).time - time))
      continue;
    nearest = static_cast<int>(i);
  }
  return nearest;
}

// Of several entries within the tolerance, the one that halving the list meets first.
int model_reader::search_time(std::int64_t time) const {
  int low = 0;
  int high = static_cast<int>(events_.size()) - 1;
  while (low <= high) {
    const int middle = (low + high) / 2;
    const int order = distance(time, event(middle).time);
    if (order == 0) return middle;
    if (order > 0)
      low = middle + 1;
    else
      high = middle - 1;
  }
  return -1;
}

// ---- the slicer

alignment_model::alignment_model(const model_stream& stream, const model_settings& settings)
    : stream_(stream),
      settings_(settings),
      readers_(stream.updates.size()),
      available_(stream.events.size(), true),
      departures_(stream.events.size(), 0) {
  // The first file that cannot be loaded ends the loading. A file without any of the channels is such
  // a file.
  bool ended = false;
  for (std::size_t file = 0; file < available_.size(); ++file) {
    bool any = false;
    for (const bool known : stream.declared[file]) any = any || known;
    ended = ended || stream.broken[file] || !any;
    available_[file] = !ended;
  }
}

int alignment_model::compare(const model_event& a, const model_event& b) const {
  if (a.number != 0 && b.number != 0) return a.number < b.number ? -1 : a.number > b.number ? 1 : 0;
  if (std::llabs(a.time - b.time) <= settings_.tolerance) return 0;
  return a.time < b.time ? -1 : 1;
}

model_event alignment_model::own(model_event event) const {
  if (settings_.by_time) event.number = 0;
  return event;
}

int alignment_model::start() {
  if (!available_[0]) return intern_error;
  for (std::size_t channel = 0; channel < readers_.size(); ++channel) {
    readers_[channel].emplace(settings_, stream_.events[0][channel], 0);
    int status = start_channel(channel, first_one);
    while ((status == no_data || status == out_of_window) && change_file(channel, next) == ok)
      status = start_channel(channel, first_one);
    if (status != ok) {
      not_found.push_back(channel);
      readers_[channel].reset();
    }
  }
  for (auto& reader : readers_) {
    if (!reader) continue;
    const auto got = reader->ask(std::nullopt, present);
    if (got.status != ok) continue;
    const model_event& event = reader->event(got.index);
    const bool none = current.number == 0 && !current.has_seconds();
    const bool earlier = current.number != 0 ? event.number < current.number
                                             : current.time - event.time > settings_.tolerance;
    if (none || earlier) current = own(event);
  }
  return ok;
}

int alignment_model::start_channel(std::size_t channel, int direction) {
  if (!readers_[channel]) return no_data;
  model_reader& reader = *readers_[channel];
  if (!stream_.declared[reader.file][channel]) return not_found_status;
  if (reader.is_empty()) return no_data;
  return reader.ask(std::nullopt, direction == previous || direction == last_one ? last_one : first_one)
      .status;
}

bool alignment_model::shares(std::size_t channel, std::size_t file) const {
  for (std::size_t other = 0; other < readers_.size(); ++other)
    if (other != channel && readers_[other] && readers_[other]->file == file) return true;
  return false;
}

int alignment_model::change_file(std::size_t channel, int direction) {
  if (!readers_[channel]) return no_data;
  const std::size_t left = readers_[channel]->file;
  ++departures_[left];
  const bool freed = !shares(channel, left) && departures_[left] >= readers_.size();
  if (freed) available_[left] = false;

  const auto files = static_cast<int>(available_.size());
  const int entered = direction == first_one  ? 0
                      : direction == last_one ? files - 1
                                              : static_cast<int>(left) + direction;
  if (entered < 0 || entered >= files) {
    readers_[channel].reset();
    return no_data;
  }
  const auto file = static_cast<std::size_t>(entered);
  if (!shares(channel, file) && !available_[file]) {
    if (freed) readers_[channel].reset();
    return no_data;
  }
  readers_[channel].emplace(settings_, stream_.events[file][channel], file);
  return ok;
}

bool alignment_model::move(std::size_t channel, int direction, std::size_t& moves) {
  while (moves-- > 0) {
    if (change_file(channel, direction) != ok) return false;
    const int status = start_channel(channel, direction);
    if (status == ok) return true;
    if (status != no_data && status != out_of_window) {
      readers_[channel].reset();
      return false;
    }
  }
  return false;
}

int alignment_model::align_channel(std::size_t channel, model_event& target, int direction,
                                   model_event& chosen) {
  std::size_t moves = available_.size() + 1;
  while (readers_[channel]) {
    model_reader& reader = *readers_[channel];
    target = own(target);
    if (direction <= 0 && compare(target, reader.first) < 0) return ok;
    if (direction >= 0 && compare(reader.last, target) < 0) return ok;
    const auto got = reader.ask(target, direction);
    if (got.status == inv_param || got.status == not_init) return intern_error;
    if (got.status == out_of_window && move(channel, direction, moves)) continue;
    if (got.status == ok) choose(channel, reader.event(got.index), target, direction, chosen);
    return ok;
  }
  return ok;
}

void alignment_model::choose(std::size_t channel, const model_event& event, const model_event& target,
                             int direction, model_event& chosen) const {
  if (chosen.number == 0 && !chosen.has_seconds()) {
    chosen = own(event);
    return;
  }
  const int order = compare(target, event);
  const int chosen_to_event = compare(chosen, event);
  switch (direction) {
    case present:
      if (order == 0) chosen = event;
      break;
    case next:
    case last_one: {
      if (order >= 0) break;
      const bool may_win_tie =
          !(settings_.update_blocks_lose_ties && direction == last_one && stream_.updates[channel]);
      const bool tie = chosen_to_event == 0 && settings_.by_time && may_win_tie && chosen.time > event.time;
      if (chosen_to_event > 0 || tie) chosen = own(event);
      break;
    }
    case previous:
      if (order > 0 && chosen_to_event < 0) chosen = own(event);
      break;
    default:
      if (order > 0 && chosen_to_event > 0) chosen = own(event);
  }
}

alignment_model::result alignment_model::get(const std::optional<model_event>& id, int direction) {
  if (direction < first_one || direction > last_one) return {inv_param, {}};
  current = own(current);
  if (first_call_) direction = present;
  model_event target = id ? *id : current;
  model_event chosen{};
  for (std::size_t channel = 0; channel < readers_.size(); ++channel)
    if (const int failure = align_channel(channel, target, direction, chosen); failure != ok)
      return {failure, {}};
  current = own(chosen);

  result got{out_of_window, {}};
  for (std::size_t channel = 0; channel < readers_.size(); ++channel) {
    if (!readers_[channel]) continue;
    got.status = ok;
    const auto now = readers_[channel]->ask(std::nullopt, present);
    if (now.status != ok) continue;
    const model_event& event = readers_[channel]->event(now.index);
    if (compare(current, event) == 0) got.entries.push_back({channel, event});
  }
  first_call_ = false;
  return got;
}

}  // namespace ravo::test
