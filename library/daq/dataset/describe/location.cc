#include "describe/location.h"

#include <algorithm>
#include <string>
#include <utility>

#include "ravo_dataset/errors.h"
#include "read/block_scan.h"
#include "read/segment_walk.h"

namespace ravo::detail {
namespace {

/// Searches the segments for a row.
class row_search {
 public:
  row_search(dataset_state& state, std::size_t channel, std::uint64_t row, column_rows rows)
      : state_(state), channel_(channel), row_(row), of_events_(rows == column_rows::events) {}

  /// The entry of the row; `nullopt` if it has none.
  std::optional<placed_entry> run() {
    visit_segments(state_, [this](std::size_t number, const std::shared_ptr<const segment>& part) {
      const std::vector<std::uint32_t> events = take_events(state_, *part, ordinal_);
      if (of_events_)
        search_events(number, part, events);
      else
        search_recorded(number, part, events);
      return !is_found_ && ordinal_ < state_.end_of_events();
    });
    if (is_found_) return found_;
    throw access_error(state_.channels[channel_].label + " has " + std::to_string(rows_) + " rows; row " +
                       std::to_string(row_) + " was asked for");
  }

 private:
  void search_events(std::size_t number, const std::shared_ptr<const segment>& part,
                     const std::vector<std::uint32_t>& events) {
    is_found_ = row_ - rows_ < events.size();
    if (is_found_)
      found_ = state_.timeline.value_at(number, part, events[row_ - rows_], channel_, on_full::wait);
    rows_ += events.size();
  }

  void search_recorded(std::size_t number, const std::shared_ptr<const segment>& part,
                       const std::vector<std::uint32_t>& events) {
    visit_own(part->channels[channel_], events, [&](std::uint32_t, std::size_t index) {
      if (rows_++ != row_) return true;
      found_ = placed_entry{number, part, index};
      is_found_ = true;
      return false;
    });
  }

  dataset_state& state_;
  const std::size_t channel_;
  const std::uint64_t row_;
  const bool of_events_;
  std::size_t ordinal_ = 0;
  std::uint64_t rows_ = 0;  ///< of the segments so far
  bool is_found_ = false;
  std::optional<placed_entry> found_;
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

std::optional<block_place> locate(dataset_state& state, std::size_t channel, std::uint64_t row,
                                  column_rows rows) {
  const auto placed = row_search(state, channel, row, rows).run();
  if (!placed || placed->part == nullptr) return std::nullopt;
  const entry& where = placed->in(channel);
  const dataset_file& file = state.files.readable[where.file];
  block_place place;
  place.path = file.path;
  place.generation = file.generation;
  place.recorded_with = {where.number, where.time};
  place.offset = where.chhd;
  if (placed->status != value_status::ok) place.status = static_cast<index_status>(placed->status);
  if (where.status != value_status::ok)
    place.status = static_cast<index_status>(where.status);
  else
    add_head(read_head_of(state, *placed->part, channel, where), place);
  return place;
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
