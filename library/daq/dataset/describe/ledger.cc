#include "ravo_dataset/ledger.h"

#include <algorithm>
#include <functional>
#include <numeric>
#include <set>
#include <string_view>
#include <tuple>
#include <utility>

#include "format/time.h"

namespace ravo {

const char* value_status_text(value_status status) {
  constexpr const char* texts[value_status_count] = {
      "ok",          "not recorded",   "held",           "stale",          "file missing",
      "truncated",   "bad checksum",   "cannot inflate", "cannot convert", "type changed",
      "misdirected", "event disputed", "block too large"};
  const auto index = static_cast<std::size_t>(status);
  return index < value_status_count ? texts[index] : "unknown";
}

const char* missing_cause_text(missing_cause cause) {
  constexpr const char* texts[missing_cause_count] = {
      "file missing",    "truncated",       "bad checksum",      "cannot inflate",
      "cannot convert",  "type changed",    "misdirected",       "event disputed",
      "block too large", "no event header", "second of an event"};
  const auto index = static_cast<std::size_t>(cause);
  return index < missing_cause_count ? texts[index] : "unknown";
}

const char* file_refusal_text(file_refusal reason) {
  constexpr const char* texts[file_refusal_count] = {"none",           "machine error",  "missing",
                                                     "still written",  "not regular",    "not a raw file",
                                                     "damaged tables", "lost while open"};
  const auto index = static_cast<std::size_t>(reason);
  return index < file_refusal_count ? texts[index] : "unknown";
}

std::uint64_t channel_ledger::missing_total() const {
  return std::accumulate(missing.begin(), missing.end(), std::uint64_t{0});
}

namespace {

template <class Count>
std::uint64_t sum(const std::vector<channel_ledger>& channels, Count count) {
  std::uint64_t all = 0;
  for (const channel_ledger& one : channels) all += count(one);
  return all;
}

}  // namespace

std::uint64_t read_ledger::expected() const {
  return sum(channels, [](const channel_ledger& one) { return one.expected; });
}
std::uint64_t read_ledger::delivered() const {
  return sum(channels, [](const channel_ledger& one) { return one.delivered; });
}
std::uint64_t read_ledger::missing() const {
  return sum(channels, [](const channel_ledger& one) { return one.missing_total(); });
}

bool read_ledger::is_balanced() const {
  return std::all_of(channels.begin(), channels.end(),
                     [](const channel_ledger& one) { return one.is_balanced(); });
}

channel_ledger& read_ledger::of(const std::string& channel) {
  const auto found = std::find_if(channels.begin(), channels.end(),
                                  [&](const channel_ledger& one) { return one.channel == channel; });
  if (found != channels.end()) return *found;
  channels.emplace_back().channel = channel;
  return channels.back();
}

namespace {

/// Adds the elements that a list does not have yet.
template <class Element, class Same>
void add_new_ones(std::vector<Element>& list, const std::vector<Element>& others, Same is_the_same) {
  for (const Element& other : others)
    if (std::none_of(list.begin(), list.end(),
                     [&](const Element& listed) { return is_the_same(listed, other); }))
      list.push_back(other);
}

/// Cases by their events, those of no event last: in an order that all lists of the same cases have.
auto place_of(const missing_value& one) {
  const std::int64_t time = in_microseconds(one.event.time);
  const bool is_of_no_event = time == 0 && one.event.event_number == 0;
  return std::tuple(is_of_no_event, time, one.event.event_number, std::string_view(one.channel),
                    std::string_view(one.file), one.offset, one.cause, one.row);
}

/// Sorts the cases, of which the first ones may be in order already, and keeps as many as a ledger lists.
void keep_first_cases(std::vector<missing_value>& values, std::size_t sorted) {
  const auto comes_before = [](const missing_value& a, const missing_value& b) {
    return place_of(a) < place_of(b);
  };
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(sorted);
  if (!std::is_sorted(values.begin(), middle, comes_before))
    std::sort(values.begin(), middle, comes_before);
  std::sort(middle, values.end(), comes_before);
  std::inplace_merge(values.begin(), middle, values.end(), comes_before);
  if (values.size() <= read_ledger::most_listed) return;
  std::vector<bool> is_kept(values.size());  // all of it is known before the first one moves
  std::set<std::pair<std::string_view, missing_cause>> seen;
  for (std::size_t i = 0; i < values.size(); ++i)
    is_kept[i] = seen.emplace(values[i].channel, values[i].cause).second || i < read_ledger::most_listed;
  std::size_t kept = 0;
  for (std::size_t i = 0; i < values.size(); ++i)
    if (is_kept[i]) std::swap(values[kept++], values[i]);
  values.resize(kept);
}

}  // namespace

void read_ledger::add(const read_ledger& other) {
  for (std::size_t place = 0; place < other.channels.size(); ++place) {
    const channel_ledger& from = other.channels[place];
    // Ledgers of one dataset have its channels in the same order: a search for each would be quadratic.
    const bool is_in_place = place < channels.size() && channels[place].channel == from.channel;
    channel_ledger& to = is_in_place ? channels[place] : of(from.channel);
    // Nothing below can fail, so that no channel is left unbalanced when memory runs out.
    to.expected += from.expected;
    to.delivered += from.delivered;
    for (std::size_t i = 0; i < missing_cause_count; ++i) to.missing[i] += from.missing[i];
  }
  if (!other.values.empty()) {
    const std::size_t before = values.size();
    values.insert(values.end(), other.values.begin(), other.values.end());
    keep_first_cases(values, before);
  }
  const auto have_one_path = [](const refused_file& a, const refused_file& b) { return a.path == b.path; };
  add_new_ones(files, other.files, have_one_path);
  add_new_ones(problems, other.problems, std::equal_to<>());
}

std::string read_ledger::to_text() const {
  std::string text;
  for (const channel_ledger& one : channels) {
    text += one.channel + ": expected " + std::to_string(one.expected) + ", delivered " +
            std::to_string(one.delivered);
    for (std::size_t i = 0; i < missing_cause_count; ++i)
      if (one.missing[i] != 0)
        text +=
            ", " + std::to_string(one.missing[i]) + " " + missing_cause_text(static_cast<missing_cause>(i));
    text += "\n";
  }
  for (const missing_value& one : values)
    text += one.channel + " event " + std::to_string(one.event.event_number) + ": " +
            missing_cause_text(one.cause) + " in " + one.file + " at offset " + std::to_string(one.offset) +
            "\n";
  for (const refused_file& file : files) text += file.path + ": " + file.problem + "\n";
  for (const reading_problem& problem : problems) text += problem.text + "\n";
  return text;
}

}  // namespace ravo
