#include "common/dataset_events.h"

namespace ravo::tool {
std::optional<ravo_file_generation> generation_of(const dataset& data) {
  std::optional<ravo_file_generation> found;
  for (const dataset_file& file : data.files()) {
    if (file.refusal != file_refusal::none) continue;
    if (found && *found != file.generation) return std::nullopt;
    found = file.generation;
  }
  return found;
}

dataset_events::dataset_events(const dataset& data) : facts_(facts_of(data)) {
  for (const channel_facts& one : facts_) channels_.push_back({one.name, one.member, one.units, 0});
  event_.generation = generation_of(data);
}

const read_event& dataset_events::printable(const event& one) {
  event_.id = one.id();
  event_.entries.clear();
  for (std::size_t i = 0; i < channels_.size(); ++i) {
    const value its = one[i];
    if (its.status() == value_status::not_recorded) continue;
    read_entry entry{&channels_[i], its.recorded_with(), std::nullopt,
                     its.is_held(), its.status(),        its.age()};
    if (its.has_value()) entry.block = block_of(its, facts_[i]);
    event_.entries.push_back(entry);
  }
  return event_;
}

}  // namespace ravo::tool
