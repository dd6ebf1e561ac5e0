#include "read/record_names.h"

#include <algorithm>
#include <cstring>

#include "format/payload_view.h"
#include "ravo_evutl.h"

namespace ravo::detail {
namespace {

name_value_parts records_of(const item& list) { return {.records = list.at}; }

/// How often each name of a list was seen so far.
class occurrence_counter {
 public:
  std::size_t next(std::string_view name) { return counts_[name]++; }

 private:
  std::unordered_map<std::string_view, std::size_t> counts_;
};

}  // namespace

std::string_view record_name(const item& list, const byte_view& payload, std::size_t record) {
  const std::size_t at = records_of(list).name(list.first_record + record);
  const auto* name = reinterpret_cast<const char*>(payload.data() + at);
  return {name, strnlen(name, name_value_parts::name_size)};
}

bool has_names(const item& list, const byte_view& payload, const std::vector<std::string>& names) {
  if (names.size() != list.elements) return false;
  for (std::size_t i = 0; i < names.size(); ++i)
    if (record_name(list, payload, i) != names[i]) return false;
  return true;
}

void record_union::add(const item& list, const byte_view& payload, std::uint64_t ordinal,
                       const std::function<void(std::size_t)>& take_memory) {
  // The name here, in the column and in the list that is returned, and what a map stores with it.
  constexpr std::size_t bytes_of_name = 512;
  occurrence_counter seen;
  for (std::size_t i = 0; i < list.elements; ++i) {
    const std::string_view name = record_name(list, payload, i);
    const std::size_t occurrence = seen.next(name);
    const auto known = mentions_.find(std::string(name));
    const bool is_known = known != mentions_.end() && occurrence < known->second.size();
    if (is_known) {
      mention& first = known->second[occurrence];
      first = std::min(first, mention{ordinal, i});
      continue;
    }
    take_memory(bytes_of_name);
    mentions_[std::string(name)].emplace_back(ordinal, i);
  }
}

std::vector<std::string> record_union::in_order() const {
  std::vector<std::pair<mention, const std::string*>> all;
  for (const auto& [name, firsts] : mentions_)
    for (const mention& first : firsts) all.emplace_back(first, &name);
  std::sort(all.begin(), all.end());
  std::vector<std::string> names;
  names.reserve(all.size());
  for (const auto& [first, name] : all) names.push_back(*name);
  return names;
}

record_places::record_places(const std::vector<std::string>& names) : names_(names) {
  for (std::size_t i = 0; i < names.size(); ++i) places_[names[i]].push_back(static_cast<std::uint32_t>(i));
}

// Most lists have their records in the order of the column: then the place of a record follows that of the
// record before it.
std::optional<std::vector<std::uint32_t>> record_places::of(const item& list,
                                                            const byte_view& payload) const {
  std::vector<std::uint32_t> found;
  found.reserve(list.elements);
  const bool has_doubles = places_.size() != names_.size();
  occurrence_counter seen;
  std::size_t guess = 0;
  for (std::size_t i = 0; i < list.elements; ++i) {
    const std::string_view name = record_name(list, payload, i);
    const std::size_t occurrence = has_doubles ? seen.next(name) : 0;
    const bool is_next = !has_doubles && guess < names_.size() && names_[guess] == name;
    std::size_t place = guess;
    if (!is_next) {
      const auto known = places_.find(name);
      if (known == places_.end() || occurrence >= known->second.size()) return std::nullopt;
      place = known->second[occurrence];
    }
    found.push_back(static_cast<std::uint32_t>(place));
    guess = place + 1;
  }
  return found;
}

void store_records(const item& list, const byte_view& payload, const std::vector<std::uint32_t>& places,
                   float* row) {
  const name_value_parts records = records_of(list);
  for (std::size_t i = 0; i < places.size(); ++i)
    ravo_swap4(payload.data() + records.value(list.first_record + i), row + places[i], 1);
}

}  // namespace ravo::detail
