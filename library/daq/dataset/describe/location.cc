#include "describe/location.h"

#include <algorithm>
#include <functional>
#include <memory>
#include <numeric>
#include <string>
#include <utility>

#include "ravo_dataset/errors.h"
#include "read/block_scan.h"
#include "read/segment_walk.h"

namespace ravo::detail {
namespace {

/// Finds rows of a channel, in their order, by one walk over the segments.
class row_search {
 public:
  /// Takes the entry of the i-th row; `nullopt` if it has none.
  using taker = std::function<void(std::size_t i, const std::optional<placed_entry>& found)>;

  row_search(dataset_state& state, std::size_t channel, const std::vector<std::uint64_t>& rows,
             column_rows kind, taker take)
      : state_(state),
        channel_(channel),
        wanted_(rows),
        of_events_(kind == column_rows::events),
        take_(std::move(take)),
        order_(rows.size()) {
    std::iota(order_.begin(), order_.end(), std::size_t{0});
    std::sort(order_.begin(), order_.end(),
              [&rows](std::size_t a, std::size_t b) { return rows[a] < rows[b]; });
  }

  void run() {
    if (wanted_.empty()) return;
    visit_segments(state_, [this](std::size_t number, const std::shared_ptr<const segment>& part) {
      const std::vector<std::uint32_t> events = take_events(state_, *part, ordinal_);
      if (of_events_)
        search_events(number, part, events);
      else
        search_recorded(number, part, events);
      return !is_over() && ordinal_ < state_.end_of_events();
    });
    if (!is_over())
      throw access_error(state_.channels[channel_].label + " has " + std::to_string(rows_) + " rows; row " +
                         std::to_string(next()) + " was asked for");
  }

 private:
  bool is_over() const { return done_ == order_.size(); }
  std::uint64_t next() const { return wanted_[order_[done_]]; }

  /// A row may be asked for more than once.
  void take_row(const std::optional<placed_entry>& found) {
    state_.check_stop();
    const std::uint64_t row = next();
    while (!is_over() && next() == row) take_(order_[done_++], found);
  }

  void search_events(std::size_t number, const std::shared_ptr<const segment>& part,
                     const std::vector<std::uint32_t>& events) {
    while (!is_over() && next() - rows_ < events.size())
      take_row(state_.timeline.value_at(number, part, events[next() - rows_], channel_, on_full::wait));
    rows_ += events.size();
  }

  void search_recorded(std::size_t number, const std::shared_ptr<const segment>& part,
                       const std::vector<std::uint32_t>& events) {
    visit_own(part->channels[channel_], events, [&](std::uint32_t, std::size_t index) {
      if (rows_++ == next()) take_row(placed_entry{number, part, index});
      return !is_over();
    });
  }

  dataset_state& state_;
  const std::size_t channel_;
  const std::vector<std::uint64_t>& wanted_;
  const bool of_events_;
  const taker take_;
  std::vector<std::size_t> order_;  ///< of the wanted rows
  std::size_t done_ = 0;            ///< of these
  std::size_t ordinal_ = 0;
  std::uint64_t rows_ = 0;  ///< of the segments so far
};

/// What the head of a block adds to its place.
void add_head(const located_block& block, block_place& place) {
  if (!is_located(block)) {
    place.status = static_cast<index_status>(block.status);
    return;
  }
  place.data_offset = block.data_at;
  place.stored_bytes = block.stored;
  place.decoded_bytes = block.decoded;
  place.data_type = block.type & 0xffff;
  if (block.status == value_status::cannot_inflate)
    place.compression = block_compression::unknown;
  else if (block.form == stored_form::compressed)
    place.compression = block.by == unzipper::zlib ? block_compression::zlib : block_compression::lzo1x;
}

block_place place_of(dataset_state& state, const placed_entry& placed, std::size_t channel) {
  const entry& where = placed.in(channel);
  const dataset_file& file = state.files.readable[where.file];
  block_place place;
  place.path = file.path;
  place.generation = file.generation;
  place.recorded_with = {where.number, where.time};
  place.offset = where.chhd;
  if (placed.status != value_status::ok) place.status = static_cast<index_status>(placed.status);
  if (where.status == value_status::ok)
    add_head(read_head_of(state, *placed.part, channel, where), place);
  else if (state.opened.get(where.file) == nullptr)
    place.status = index_status::file_missing;
  else
    place.status = static_cast<index_status>(where.status);
  return place;
}

}  // namespace

located_block read_head_of(dataset_state& state, const segment& part, std::size_t channel,
                           const entry& where) {
  constexpr std::uint32_t most = 512;  // the heads of either generation
  std::shared_ptr<const open_file> opened;
  const block_source_file source = source_of(state, part, channel, where.file, opened);
  unsigned char bytes[most];
  const auto got = opened ? opened->read(where.chhd, bytes, std::min(where.stored, most)) : std::nullopt;
  if (got) return locate_block(source, file_part(bytes, *got, where.chhd), where);
  located_block missing;
  missing.status = value_status::file_missing;
  return missing;
}

bool is_located(const located_block& block) {
  return !is_missing(block.status) || block.status == value_status::cannot_inflate;
}

std::vector<std::optional<block_place>> locate(dataset_state& state, std::size_t channel,
                                               const std::vector<std::uint64_t>& rows, column_rows kind) {
  std::vector<std::optional<block_place>> places(rows.size());
  row_search(state, channel, rows, kind, [&](std::size_t i, const std::optional<placed_entry>& found) {
    if (found && found->part != nullptr) places[i] = place_of(state, *found, channel);
  }).run();
  return places;
}

}  // namespace ravo::detail

namespace ravo {

const char* block_compression_name(block_compression compression) {
  switch (compression) {
    case block_compression::none:
      return "none";
    case block_compression::zlib:
      return "zlib";
    case block_compression::lzo1x:
      return "lzo1x";
    case block_compression::unknown:
      return "unknown";
  }
  return "unknown";
}

}  // namespace ravo
