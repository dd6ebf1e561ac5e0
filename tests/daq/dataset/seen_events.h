// What a reading shows of events, as plain values that can be compared, and the ledgers of two readings.
#ifndef RAVO_TEST_DATASET_SEEN_EVENTS_H
#define RAVO_TEST_DATASET_SEEN_EVENTS_H

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <map>
#include <ostream>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "ravo_dataset.h"

namespace ravo::test {

inline std::int64_t microseconds(const time_stamp& time) {
  return std::int64_t{time.timeup} * 1000000 + time.timelow;
}

/// Status, age and bytes of the values that an event has: all but those that are not recorded.
struct seen_event {
  std::uint32_t number = 0;
  std::int64_t time = 0;
  std::map<std::string, std::tuple<value_status, std::int64_t, std::vector<std::byte>>> values;
  bool operator==(const seen_event&) const = default;
  friend std::ostream& operator<<(std::ostream& out, const seen_event& one) {
    out << one.number << " at " << one.time << ":";
    for (const auto& [channel, seen] : one.values)
      out << " " << channel << " " << value_status_text(std::get<0>(seen)) << " " << std::get<1>(seen);
    return out;
  }
};

inline seen_event see(const event& one, const std::vector<std::string>& labels) {
  seen_event seen{one.number(), microseconds(one.time()), {}};
  for (std::size_t i = 0; i < labels.size(); ++i) {
    const value read = one[i];
    if (read.status() == value_status::not_recorded) continue;
    const auto bytes = read.bytes();
    seen.values[labels[i]] = {read.status(), read.age(), {bytes.begin(), bytes.end()}};
  }
  return seen;
}

inline std::vector<seen_event> events_of(const dataset& data) {
  std::vector<std::string> labels;
  for (const dataset_channel& channel : data.channels()) labels.push_back(channel.label);
  std::vector<seen_event> all;
  for (event_range events = data.events(); const event& one : events) all.push_back(see(one, labels));
  return all;
}

using missing_case = std::tuple<std::string, std::string, std::uint64_t, std::uint32_t, std::int64_t, int>;
inline std::vector<missing_case> cases_of(const read_ledger& ledger) {
  std::vector<missing_case> cases;
  for (const missing_value& one : ledger.values)
    cases.emplace_back(one.channel, one.file, one.offset, one.event.event_number,
                       microseconds(one.event.time), static_cast<int>(one.cause));
  std::sort(cases.begin(), cases.end());
  return cases;
}

inline void expect_equal_ledgers(const read_ledger& seen, const read_ledger& expected) {
  std::map<std::string, const channel_ledger*> by_name;
  for (const channel_ledger& channel : seen.channels) by_name[channel.channel] = &channel;
  EXPECT_EQ(by_name.size(), expected.channels.size());
  for (const channel_ledger& channel : expected.channels) {
    ASSERT_TRUE(by_name.contains(channel.channel)) << channel.channel;
    EXPECT_EQ(by_name[channel.channel]->expected, channel.expected) << channel.channel;
    EXPECT_EQ(by_name[channel.channel]->delivered, channel.delivered) << channel.channel;
    EXPECT_EQ(by_name[channel.channel]->missing, channel.missing) << channel.channel;
  }
  EXPECT_TRUE(seen.is_balanced());
  EXPECT_EQ(cases_of(seen), cases_of(expected));
  std::set<std::pair<std::string, file_refusal>> left_out, expected_left_out;
  for (const refused_file& file : seen.files) left_out.emplace(file.path, file.reason);
  for (const refused_file& file : expected.files) expected_left_out.emplace(file.path, file.reason);
  EXPECT_EQ(left_out, expected_left_out);
}

}  // namespace ravo::test

#endif
