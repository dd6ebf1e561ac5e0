#include "read/event_batch.h"

#include <algorithm>

#include "read/block_scan.h"
#include "read/value_access.h"

namespace ravo::detail {

unsigned char* block_arena::allocate(memory_budget& memory, std::size_t size) {
  const std::size_t rounded = (size + 15) & ~std::size_t{15};
  if (buffers_.empty() || rounded > buffers_.back().size() - used_) {
    // Small batches stay small, and large ones have few buffers.
    const std::size_t wanted =
        std::max(rounded, std::clamp<std::size_t>(total_, 4096, std::size_t{1} << 20));
    const std::size_t bytes = (wanted + 4095) & ~std::size_t{4095};
    buffers_.push_back(memory.take_buffer(bytes, "Decoding a block", on_full::refuse));
    used_ = 0;
    total_ += buffers_.back().size();
  }
  unsigned char* const at = buffers_.back().data() + used_;
  used_ += rounded;
  return at;
}

value event_batch::at(std::size_t event, std::size_t channel) const {
  const cell& here = cell_at(event, channel);
  if (here.block == cell::none) {
    const value nothing = value_access::make(here.status, ids_[event]);
    return here.status == value_status::not_recorded ? nothing : value_access::held(nothing);
  }
  const block& from = blocks_[here.block];
  const ravo_time_id id{from.where.number, from.where.time};
  const bool is_held = here.status != value_status::ok;
  const std::int64_t age =
      is_held ? in_microseconds(ids_[event].time) - in_microseconds(from.where.time) : 0;
  const value seen =
      from.status != value_status::ok
          ? value_access::make(from.status, id, age)
          : value_access::make(is_held ? here.status : value_status::ok, id, age, from.type, from.error,
                               {reinterpret_cast<const std::byte*>(from.bytes), from.length});
  return is_held ? value_access::held(seen) : seen;
}

/// The making of one batch.
class batch_decoder {
 public:
  batch_decoder(const std::shared_ptr<dataset_state>& state, const batch_plan& plan)
      : state_(*state),
        plan_(plan),
        batch_(std::make_shared<event_batch>(state)),
        memory_(state->memory, "Decoding a block", on_full::refuse) {}

  std::shared_ptr<event_batch> decode() {
    part_ = state_.timeline.get(plan_.segment, on_full::refuse);
    const std::size_t channels = state_.channels.size();
    const std::size_t cells = plan_.events.size() * channels;
    const std::size_t tables = cells * (sizeof(event_batch::cell) + sizeof(event_batch::block)) +
                               plan_.events.size() * sizeof(ravo_time_id);
    batch_->tables_ = state_.memory.reserve(tables, "A batch of events", on_full::refuse);
    batch_->cells_.resize(cells);
    for (const std::uint32_t event : plan_.events) batch_->ids_.push_back(part_->events[event]);
    for (std::size_t channel = 0; channel < channels; ++channel) {
      decode_channel(channel);
      note_duplicates(channel);
    }
    batch_->tables_.shrink(cells * sizeof(event_batch::cell) +
                           batch_->duplicates_.capacity() * sizeof(event_batch::duplicate) +
                           batch_->blocks_.capacity() * sizeof(event_batch::block) +
                           plan_.events.size() * sizeof(ravo_time_id));
    return batch_;
  }

 private:
  /// Blocks of one segment that the channel needs: first those of its own events, then held ones.
  struct wanted_blocks {
    std::shared_ptr<const segment> part;
    std::vector<entry> entries;
    std::uint32_t first_block = 0;
  };

  event_batch::cell& cell(std::size_t event, std::size_t channel) {
    return batch_->cells_[event * state_.channels.size() + channel];
  }

  void decode_channel(std::size_t channel) {
    state_.check_stop();
    wanted_.clear();
    last_held_.reset();
    const aligned_channel& aligned = part_->channels[channel];
    const bool may_hold = state_.wanted.slow != slow_policy::none && state_.timeline.is_slow(channel);
    auto place = std::lower_bound(aligned.event.begin(), aligned.event.end(), plan_.events.front()) -
                 aligned.event.begin();
    for (std::size_t i = 0; i < plan_.events.size(); ++i) {
      const std::uint32_t event = plan_.events[i];
      while (static_cast<std::size_t>(place) < aligned.event.size() &&
             aligned.event[static_cast<std::size_t>(place)] < event)
        ++place;
      const auto index = static_cast<std::size_t>(place);
      if (index < aligned.event.size() && aligned.event[index] == event)
        want(cell(i, channel), {plan_.segment, part_, index}, channel);
      else if (may_hold)
        want_held(cell(i, channel), event, channel);
    }
    for (const wanted_blocks& blocks : wanted_) read_blocks(channel, blocks);
  }

  void note_duplicates(std::size_t channel) {
    const aligned_channel& aligned = part_->channels[channel];
    for (std::size_t i = 0; i < aligned.duplicates.size(); ++i) {
      const auto found =
          std::lower_bound(plan_.events.begin(), plan_.events.end(), aligned.duplicate_event[i]);
      if (found == plan_.events.end() || *found != aligned.duplicate_event[i]) continue;
      if (!state_.memory.try_grow(batch_->tables_, while_it_grows * sizeof(event_batch::duplicate)))
        throw memory_refused();
      batch_->duplicates_.push_back(
          {static_cast<std::size_t>(found - plan_.events.begin()), channel, aligned.duplicates[i]});
    }
  }

  /// Notes which block a cell needs; neighbours often hold the same one.
  void want(event_batch::cell& cell, const placed_entry& from, std::size_t channel) {
    const std::pair<std::size_t, std::size_t> key{from.segment_index, from.index};
    cell.status = from.status;
    if (from.part == nullptr) return;
    if (last_held_ && *last_held_ == key) {
      cell.block = static_cast<std::uint32_t>(batch_->blocks_.size() - 1);
      return;
    }
    last_held_ = key;
    if (wanted_.empty() || wanted_.back().part != from.part) {
      wanted_.push_back({from.part, {}, static_cast<std::uint32_t>(batch_->blocks_.size())});
    }
    wanted_.back().entries.push_back(from.in(channel));
    cell.block = static_cast<std::uint32_t>(batch_->blocks_.size());
    batch_->blocks_.emplace_back().where = from.in(channel);
  }

  void want_held(event_batch::cell& cell, std::uint32_t event, std::size_t channel) {
    const auto held = state_.timeline.value_at(plan_.segment, part_, event, channel, on_full::refuse);
    if (held) want(cell, *held, channel);
  }

  void read_blocks(std::size_t channel, const wanted_blocks& blocks) {
    block_scan scan(state_, channel, memory_);
    scan.read_all(*blocks.part, blocks.entries,
                  [&](std::size_t i, const block_source_file& source, const found_block& found) {
                    decode_block(channel, source, found, batch_->blocks_[blocks.first_block + i]);
                  });
  }

  void decode_block(std::size_t channel, const block_source_file& source, const found_block& found,
                    event_batch::block& into) {
    into.status = found.status;
    if (found.status != value_status::ok) return;
    const int member = state_.channels[channel].member;
    unsigned char* const bytes = batch_->arena_.allocate(state_.memory, decoded_room(found, member));
    const decoded_value value = decode_member(source, found, member, bytes);
    into.status = value.status;
    into.length = value.length;
    into.type = value.type;
    into.error = found.error;
    into.bytes = bytes;
  }

  dataset_state& state_;
  const batch_plan& plan_;
  std::shared_ptr<event_batch> batch_;
  std::shared_ptr<const segment> part_;
  std::vector<wanted_blocks> wanted_;
  std::optional<std::pair<std::size_t, std::size_t>> last_held_;
  block_memory memory_;
};

std::shared_ptr<event_batch> decode_batch(const std::shared_ptr<dataset_state>& state,
                                          const batch_plan& plan) {
  return batch_decoder(state, plan).decode();
}

}  // namespace ravo::detail
