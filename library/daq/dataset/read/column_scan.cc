#include "read/column_scan.h"

#include <algorithm>
#include <bit>
#include <utility>

namespace ravo::detail {

column_scan::column_scan(dataset_state& state, const column_plan& plan, read_ledger& ledger)
    : state_(state), plan_(plan), ledger_(ledger), planned_ledger_(ledger) {
  cut_into_chunks();
}

// ---- chunks

/// Every chunk is a fixed part of what is left. So chunks become small towards the end, where all workers
/// would have to wait for one that has just begun a large chunk.
void column_scan::cut_into_chunks() {
  constexpr std::size_t most_rows = 8192;
  constexpr std::uint64_t least = 32 * 1024;
  const std::uint64_t most = std::max<std::uint64_t>(window_bytes(state_.memory), least);
  const std::uint64_t pieces = 4 * state_.pool.size();
  for (const block_list& list : plan_.lists)
    for (const std::uint32_t bytes : list.stored) stored_ += bytes;
  // Chunks go from `most` bytes down to `least`, with no more than `pieces` of each size until half as much
  // is left; the list grows meanwhile.
  const std::uint64_t sizes = std::bit_width(most / least) + 1;
  const std::uint64_t count =
      plan_.lists.size() + stored_ / most + pieces * sizes + plan_.column.layout.rows / most_rows;
  plan_.memory->tables.push_back(
      state_.reserve(count * 3 * sizeof(column_chunk), "The pieces of the column " + plan_.column.channel));
  std::uint64_t left = stored_;
  for (std::size_t i = 0; i < plan_.lists.size(); ++i) {
    const std::size_t segment = plan_.lists[i].segment;
    column_chunk piece{segment, i, 0, 0, 0};
    const auto close = [&] {
      chunks_.push_back(piece);
      left -= piece.stored;
      piece = {segment, i, piece.last, piece.last, 0};
    };
    for (const std::uint32_t bytes : plan_.lists[i].stored) {
      ++piece.last;
      piece.stored += bytes;
      const bool is_full = piece.stored >= std::clamp(left / pieces, least, most);
      if (is_full || piece.last - piece.first == most_rows) close();
    }
    if (piece.first != piece.last) close();
  }
}

std::vector<entry> column_scan::blocks_of(const column_chunk& piece, const segment& part) const {
  std::vector<entry> blocks;
  blocks.reserve(piece.last - piece.first);
  for (std::size_t i = piece.first; i < piece.last; ++i)
    blocks.push_back(part.channels[plan_.channel].entries[plan_.lists[piece.list].index[i]]);
  return blocks;
}

column_block column_scan::block_of(const column_chunk& piece, std::size_t place, const entry& where,
                                   const block_source_file& source, const found_block& found) const {
  const std::size_t in_list = piece.first + place;
  const std::uint64_t row = plan_.lists[piece.list].row[in_list];
  return {row, std::uint64_t{piece.list} << 32 | in_list, is_held(row), where, source, found};
}

// ---- blocks

column_pass column_scan::reading(std::span<column_sink* const> sinks, std::vector<value_status>& statuses) {
  statuses = plan_.column.status;
  ledger_ = planned_ledger_;
  return {&chunks_,
          [this, sinks, &statuses](std::size_t number, const segment& part, block_memory& memory) {
            read_chunk(number, part, memory, sinks, statuses);
          },
          [sinks] { return sinks.back()->has_given_up(); }};
}

/// The reading of one chunk: what the sinks make of it, and the statuses of its rows.
class column_scan::chunk_reading {
 public:
  chunk_reading(column_scan& scan, std::size_t number, const segment& part, block_memory& memory,
                std::span<column_sink* const> sinks, std::vector<value_status>& statuses)
      : scan_(scan),
        piece_(scan.chunks_[number]),
        part_(part),
        memory_(memory),
        sinks_(sinks),
        statuses_(statuses),
        blocks_(scan.blocks_of(piece_, part)) {
    ledger_.of(scan.plan_.column.channel);
    for (column_sink* const sink : sinks) made_.push_back(sink->begin(number, blocks_.size(), memory));
  }

  void read() {
    block_scan scan(scan_.state_, scan_.plan_.channel, memory_);
    for (std::size_t first = 0; first < blocks_.size();) {
      if (scan_.state_.is_stopped() || sinks_.back()->has_given_up()) break;
      const block_window window = scan.window_at(blocks_, first);
      if (window.blocks == 1 && is_there(row_of(first)))
        settle(first, value_status::ok);
      else
        scan.read(part_, blocks_, first, window,
                  [this](std::size_t place, const block_source_file& source, const found_block& found) {
                    put(place, source, found);
                  });
      first += window.blocks;
    }
  }

  const read_ledger& ledger() const { return ledger_; }
  void commit() {
    for (const auto& made : made_) made->commit();
  }

 private:
  std::uint64_t row_of(std::size_t place) const {
    return scan_.plan_.lists[piece_.list].row[piece_.first + place];
  }

  /// Whether no sink needs the block.
  bool is_there(std::uint64_t row) const {
    return std::all_of(sinks_.begin(), sinks_.end(),
                       [row](const column_sink* sink) { return sink->has(row); });
  }

  void put(std::size_t place, const block_source_file& source, const found_block& found) {
    const column_block block = scan_.block_of(piece_, place, blocks_[place], source, found);
    value_status status = value_status::ok;
    for (const auto& made : made_) status = made->put(block, memory_);
    settle(place, status);
  }

  void settle(std::size_t place, value_status status) {
    const std::uint64_t row = row_of(place);
    const bool is_held = scan_.is_held(row);
    if (status != value_status::ok || !is_held) statuses_[row] = status;
    if (is_held) return;
    const std::size_t listed = ledger_.values.size();
    scan_.state_.ledgers.record(ledger_, 0, scan_.plan_.channel, blocks_[place], status);
    if (ledger_.values.size() > listed) ledger_.values.back().row = row;
  }

  column_scan& scan_;
  const column_chunk& piece_;
  const segment& part_;
  block_memory& memory_;
  const std::span<column_sink* const> sinks_;
  std::vector<value_status>& statuses_;
  const std::vector<entry> blocks_;
  read_ledger ledger_;
  std::vector<std::unique_ptr<column_sink::chunk_part>> made_;
};

void column_scan::read_chunk(std::size_t number, const segment& part, block_memory& memory,
                             std::span<column_sink* const> sinks, std::vector<value_status>& statuses) {
  chunk_reading reading(*this, number, part, memory, sinks, statuses);
  try {
    reading.read();
  } catch (const memory_refused&) {
    throw;  // it is read again from its beginning
  } catch (...) {
    const std::lock_guard lock(mutex_);
    ledger_.add(reading.ledger());
    throw;
  }
  if (sinks.back()->has_given_up()) return;
  const std::lock_guard lock(mutex_);
  ledger_.add(reading.ledger());
  reading.commit();
}

column_pass column_scan::looking(std::function<void(const column_block&, block_memory&)> visit) {
  const auto look = [this, visit = std::move(visit)](std::size_t number, const segment& part,
                                                     block_memory& memory) {
    const column_chunk& piece = chunks_[number];
    const std::vector<entry> blocks = blocks_of(piece, part);
    block_scan scan(state_, plan_.channel, memory);
    for (std::size_t first = 0; first < blocks.size() && !state_.is_stopped();) {
      const block_window window = scan.window_at(blocks, first);
      scan.read(part, blocks, first, window,
                [&](std::size_t i, const block_source_file& source, const found_block& found) {
                  visit(block_of(piece, i, blocks[i], source, found), memory);
                });
      first += window.blocks;
    }
  };
  return {&chunks_, look, [] { return false; }};
}

}  // namespace ravo::detail
