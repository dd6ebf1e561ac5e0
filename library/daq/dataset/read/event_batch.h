// Some events that were decoded together, and the memory of their values. Constant once it is made.
#ifndef RAVO_DATASET_EVENT_BATCH_H
#define RAVO_DATASET_EVENT_BATCH_H

#include <cstdint>
#include <memory>
#include <vector>

#include "dataset_state.h"

namespace ravo::detail {

/// The stored bytes of events that are decoded together, at most.
inline constexpr std::uint64_t largest_batch = 1024 * 1024;

/// Memory for decoded blocks, which never moves; all of it is taken from the memory limit.
class block_arena {
 public:
  /// Bytes for a block, aligned for its words. Throws memory_refused.
  unsigned char* allocate(memory_budget& memory, std::size_t size);
  std::size_t bytes() const { return total_; }

 private:
  std::vector<pooled_buffer> buffers_;
  std::size_t used_ = 0;   ///< of the last buffer
  std::size_t total_ = 0;  ///< of all buffers
};

class event_batch {
 public:
  struct block {
    entry where{};
    value_status status = value_status::truncated;
    const unsigned char* bytes = nullptr;
    std::size_t length = 0;
    std::int32_t type = 0;
    std::int32_t error = 0;
  };
  struct cell {
    static constexpr std::uint32_t none = 0xffffffffu;
    std::uint32_t block = none;
    value_status status = value_status::not_recorded;  ///< ok: the block's own counts
  };

  explicit event_batch(std::shared_ptr<dataset_state> state) : state_(std::move(state)) {}

  std::size_t size() const { return ids_.size(); }
  const ravo_time_id& id(std::size_t event) const { return ids_[event]; }
  const dataset_state& state() const { return *state_; }
  value at(std::size_t event, std::size_t channel) const;
  const cell& cell_at(std::size_t event, std::size_t channel) const {
    return cells_[event * state_->channels.size() + channel];
  }
  const block& block_at(std::uint32_t index) const { return blocks_[index]; }

  /// A further entry that a channel has of an event, beside the one that is delivered.
  struct duplicate {
    std::size_t event;
    std::size_t channel;
    entry where;
  };
  const std::vector<duplicate>& duplicates() const { return duplicates_; }
  std::size_t decoded_bytes() const { return arena_.bytes(); }

 private:
  friend class batch_decoder;
  std::shared_ptr<dataset_state> state_;  ///< first: the memory below belongs to its budget
  reservation tables_;                    ///< for what follows, except for the values
  std::vector<ravo_time_id> ids_;
  std::vector<cell> cells_;
  std::vector<block> blocks_;
  std::vector<duplicate> duplicates_;
  block_arena arena_;
};

/// Events of one segment, by ascending position.
struct batch_plan {
  std::size_t segment = 0;
  std::vector<std::uint32_t> events;
  std::uint64_t stored_bytes = 0;  ///< of the events' own values
};

/// Decodes a batch. Throws memory_refused: it waits for no memory, since it holds some.
std::shared_ptr<event_batch> decode_batch(const std::shared_ptr<dataset_state>& state,
                                          const batch_plan& plan);

}  // namespace ravo::detail

#endif
