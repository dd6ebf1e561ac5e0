// The numbers of values as series that go on from value to value: one for each member of a spectrum, each
// profile of a region of interest and each name of a record; a picture's pixels and an update's value are
// one series. Statistics, envelopes and histograms have a row for each of them.
#ifndef RAVO_DATASET_NUMBER_SERIES_H
#define RAVO_DATASET_NUMBER_SERIES_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "read/block_scan.h"
#include "read/item.h"
#include "read/number_totals.h"

namespace ravo::detail {

/// The numbers of one series in one value.
struct series_run {
  bool is_record = false;
  std::size_t place = 0;    ///< of the member, or of the record in its list
  std::string_view record;  ///< its name
  number_run numbers;
};

/// Whether a value consists of numbers: texts, frames that are no pictures and other data do not.
bool has_numbers(const item& value);
/// Visits the series of a value that has numbers; valid during the visit. Series without a number are
/// passed over.
void visit_series(const item& value, const byte_view& payload, block_memory& memory,
                  const std::function<void(const series_run&)>& visit);
/// The name of a series: of a value of type `stored_type`, of which `asked_member` was asked for (-1: all).
std::string series_name(const series_run& run, const item& value, std::int32_t stored_type,
                        int asked_member);

/// Where a series is met first: the event's ordinal, and the place in its value.
using series_mention = std::pair<std::uint64_t, std::size_t>;

/// What is computed of each series of a channel. Not for several threads at once.
template <class Numbers>
class series_table {
 public:
  struct series {
    series_mention first;
    bool is_record = false;
    std::size_t place = 0;  ///< of a member
    std::string name;
    Numbers numbers;
  };
  /// What a series takes, beside what its numbers own.
  static constexpr std::size_t bytes_of_series = sizeof(series) + 256;

  /// The series of a run; null if it was not met yet.
  series* find(const series_run& run) {
    return run.is_record ? find_record(run.record) : find_member(run.place);
  }
  const series* find(const series_run& run) const { return const_cast<series_table*>(this)->find(run); }
  /// Adds a series that find() does not find.
  series& add(const series_run& run, series made) {
    if (run.is_record) return records_.emplace(std::string(run.record), std::move(made)).first->second;
    return members_.emplace(run.place, std::move(made)).first->second;
  }

  /// The same for a series of another table. If it was met there before it was met here, its name counts.
  series* find_like(series_mention first, bool is_record, std::size_t place, const std::string& name) {
    series* const found = is_record ? find_record(name) : find_member(place);
    if (found != nullptr && first < found->first) {
      found->first = first;
      found->name = name;
    }
    return found;
  }
  series& add_like(series_mention first, bool is_record, std::size_t place, const std::string& name,
                   Numbers numbers) {
    series made{first, is_record, place, name, std::move(numbers)};
    if (is_record) return records_.emplace(name, std::move(made)).first->second;
    return members_.emplace(place, std::move(made)).first->second;
  }

  /// Members by their place, and after them records by their first mention.
  std::vector<series*> in_order() {
    std::vector<series*> all;
    for (auto& [place, one] : members_) all.push_back(&one);
    const auto members = static_cast<std::ptrdiff_t>(all.size());
    for (auto& [name, one] : records_) all.push_back(&one);
    std::sort(all.begin() + members, all.end(),
              [](const series* a, const series* b) { return a->first < b->first; });
    return all;
  }

 private:
  series* find_member(std::size_t place) {
    const auto found = members_.find(place);
    return found == members_.end() ? nullptr : &found->second;
  }
  series* find_record(std::string_view name) {
    const auto found = records_.find(name);
    return found == records_.end() ? nullptr : &found->second;
  }

  std::map<std::size_t, series> members_;
  std::map<std::string, series, std::less<>> records_;
};

}  // namespace ravo::detail

#endif
