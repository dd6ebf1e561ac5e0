#include "sequence.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <map>
#include <utility>

#include "instants.h"
#include "ravo_evutl.h"

namespace ravo::checks {
namespace {

std::string name_of(int type) { return event_name_itoa(type); }

std::uint64_t offset_of(const type_entry& type, std::size_t i) {
  return type.offset + sizeof type.head + i * sizeof(listed_event);
}

void check_limits(const type_entry& type, finding_list& findings) {
  if (type.events.empty()) return;
  const listed_event &first = type.events.front(), &last = type.events.back();
  const bool is_right = type.head.event_number_first == first.event_number &&
                        type.head.event_number_last == last.event_number &&
                        is_same(type.head.event_time_first, first.time) &&
                        is_same(type.head.event_time_last, last.time);
  if (!is_right) findings.add(finding_kind::index_limits, {{}, {}, type.offset}, name_of(type.type));
}

// The difference of nearly all neighbours; 0 if there is none.
std::uint32_t usual_step(const std::vector<std::uint32_t>& numbers) {
  constexpr std::size_t fewest = 4;
  if (numbers.size() <= fewest) return 0;
  std::map<std::uint32_t, std::size_t> counts;
  constexpr std::size_t most_different = 1000;  // more irregular numbers have no step
  for (std::size_t i = 1; i < numbers.size() && counts.size() < most_different; ++i)
    ++counts[numbers[i] - numbers[i - 1]];
  const auto usual = std::max_element(counts.begin(), counts.end(),
                                      [](const auto& a, const auto& b) { return a.second < b.second; });
  return 4 * usual->second >= 3 * (numbers.size() - 1) ? usual->first : 0;
}

std::uint64_t missing_between(std::uint32_t before, std::uint32_t after, std::uint32_t step) {
  return step == 0 || after - before <= step ? 0 : (after - before - 1) / step;
}

// Number and place in the index.
using numbered = std::pair<std::uint32_t, std::size_t>;

std::vector<numbered> sort_by_number(const type_entry& type) {
  std::vector<numbered> sorted;
  sorted.reserve(type.events.size());
  for (std::size_t i = 0; i < type.events.size(); ++i)
    if (type.events[i].event_number != 0) sorted.emplace_back(type.events[i].event_number, i);
  std::sort(sorted.begin(), sorted.end());
  return sorted;
}

bool is_twice(const std::vector<numbered>& sorted, std::uint32_t number) {
  const auto found = std::lower_bound(sorted.begin(), sorted.end(), numbered(number, 0));
  return found != sorted.end() && std::next(found) != sorted.end() && std::next(found)->first == number;
}

// Whether the numbers go back.
bool check_order(const type_entry& type, const std::vector<numbered>& sorted, finding_list& findings) {
  bool goes_back = false;
  for (std::size_t i = 1; i < type.events.size(); ++i) {
    const listed_event &before = type.events[i - 1], &here = type.events[i];
    const place where{{}, here.event_number, offset_of(type, i)};
    if (is_before(here.time, before.time))
      findings.add(finding_kind::event_time_back, where, [&] { return name_of(type.type); });
    else if (here.event_number != 0 && here.event_number < before.event_number &&
             !is_twice(sorted, here.event_number) && !is_twice(sorted, before.event_number)) {
      goes_back = true;
      findings.add(finding_kind::event_number_back, where,
                   [&] { return fmt::format("{}, after {}", name_of(type.type), before.event_number); });
    }
  }
  return goes_back;
}

}  // namespace

type_sequence check_sequence(const type_entry& type, finding_list& findings) {
  type_sequence sequence{type.type, offset_of(type, 0), 0, {}, {}, {}};
  check_limits(type, findings);
  if (type.events.empty()) return sequence;
  sequence.first_number = type.events.front().event_number;
  // Events without a time stand first.
  const auto timed = std::find_if(type.events.begin(), type.events.end(),
                                  [](const listed_event& one) { return has_time(one.time); });
  sequence.first = timed == type.events.end() ? time_stamp{} : timed->time;
  sequence.last = type.events.back().time;
  const std::vector<numbered> sorted = sort_by_number(type);
  sequence.goes_back = check_order(type, sorted, findings);
  for (std::size_t i = 0; i < sorted.size(); ++i) {
    const auto [number, at] = sorted[i];
    if (i == 0 || number != sorted[i - 1].first)
      sequence.numbers.push_back(number);
    else
      findings.add(finding_kind::event_duplicate, {{}, number, offset_of(type, at)},
                   [&] { return name_of(type.type); });
  }
  if (is_slow_event(type.type) || sequence.goes_back) return sequence;
  sequence.step = usual_step(sequence.numbers);
  for (std::size_t i = 1; i < sorted.size(); ++i)
    if (const auto count = missing_between(sorted[i - 1].first, sorted[i].first, sequence.step); count > 0)
      findings.add(
          finding_kind::event_missing,
          {{}, sorted[i - 1].first + sequence.step, offset_of(type, sorted[i].second)},
          [&] { return name_of(type.type); }, count);
  return sequence;
}

void check_succession(const type_sequence& before, const type_sequence& here, finding_list& findings) {
  std::vector<std::uint32_t> both;
  std::set_intersection(before.numbers.begin(), before.numbers.end(), here.numbers.begin(),
                        here.numbers.end(), std::back_inserter(both));
  if (!both.empty())
    findings.add(finding_kind::event_duplicate, {{}, both.front(), here.first_offset},
                 fmt::format("{}, also in the file before", name_of(here.type)), both.size());
  if (has_time(here.first) && is_before(here.first, before.last))
    findings.add(finding_kind::event_time_back, {{}, here.first_number, here.first_offset},
                 fmt::format("{}, against the file before", name_of(here.type)));
  if (before.numbers.empty() || here.first_number == 0 || !both.empty() || before.goes_back) return;
  const std::uint32_t last = before.numbers.back(), first = here.first_number;
  const std::uint32_t step = before.step == 0 || before.step == here.step ? here.step : before.step;
  if (first < last) {
    if (!has_time(here.first) || !is_before(here.first, before.last))
      findings.add(finding_kind::event_number_back, {{}, first, here.first_offset},
                   fmt::format("{}, after {} of the file before", name_of(here.type), last));
  } else if (const auto count = missing_between(last, first, step); count > 0) {
    findings.add(finding_kind::event_missing, {{}, last + step, here.first_offset},
                 fmt::format("{}, after the file before", name_of(here.type)), count);
  }
}

}  // namespace ravo::checks
