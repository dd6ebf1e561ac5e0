#include "read/column_reader.h"

#include <algorithm>
#include <cstring>

#include "ravo_evutl.h"
#include "read/segment_walk.h"

namespace ravo {

using datasets::block_window;
using datasets::entry;
using datasets::found_block;
using datasets::item;
using datasets::memory_refused;
using datasets::on_full;
using datasets::segment;

column_reader::column_reader(const std::shared_ptr<dataset_state>& state, std::size_t channel,
                             const column_options& options)
    : state_(state), channel_(channel), options_(options), kept_(std::make_shared<kept_memory>(state)) {
  data_.share_ = kept_;
  data_.channel = state->channels[channel].label;
  data_.ledger = state->ledgers.open();
  data_.ledger.channels.emplace_back().channel = data_.channel;
  if (options.with_digest) data_.digest.emplace();
}

column_layout column_reader::layout() {
  make_rows();
  find_first_item();
  if (has_records()) {
    make_chunks();
    find_record_names();
  }
  take_layout();
  return data_.layout;
}

column_data column_reader::read() {
  try {
    read_all();
  } catch (...) {
    state_->ledgers.add(data_.ledger);  // of what was read until then
    throw;
  }
  state_->ledgers.close(data_.ledger);
  if (options_.rows == column_rows::events) data_.planned_ = std::move(planned_status_);
  return std::move(data_);
}

void column_reader::read_all() {
  make_rows();
  decode_first_blocks();
  if (!first_) find_first_item();
  make_chunks();
  if (has_records()) find_record_names();
  take_layout();
  if (first_ && first_->kind == value_kind::text) is_ragged_ = true;
  if (is_ragged_ && !options_.into.empty())
    throw selection_error("The texts of " + data_.channel +
                          " have no fixed size: read the column into its own memory");
  if (!is_ragged_) {
    allocate();
    store_first();
    run_chunks();
    is_ragged_ = is_irregular_;
  }
  if (is_ragged_) {
    first_blocks_.clear();
    data_.status = planned_status_;
    data_.ledger = planned_ledger_;
    if (data_.digest) data_.digest.emplace();
    run_chunks();
    put_ragged_together();
  }
  copy_held_rows();
  fill_missing_rows();
  settle_record_status();
}

channel_digest column_reader::read_digest(read_progress& of_all) {
  of_all_ = &of_all;
  options_ = {};
  options_.with_digest = true;
  pass_ = pass::digest;
  data_.digest.emplace();
  try {
    make_rows();
    make_chunks();
    run_chunks();
  } catch (...) {
    state_->ledgers.add(data_.ledger);
    throw;
  }
  state_->ledgers.close(data_.ledger);
  of_all.done_bytes += done_;
  return *data_.digest;
}

std::size_t column_reader::row_bytes() const {
  return data_.layout.item_elements * element_size(data_.layout.element);
}

/// Before workers run: then only the first blocks hold memory, and nobody would give it back.
datasets::reservation column_reader::reserve(std::size_t bytes, const std::string& what) {
  datasets::reservation reserved;
  if (state_->memory.try_grow(reserved, bytes)) return reserved;
  first_blocks_.clear();
  return state_->reserve(bytes, what);
}

void column_reader::store_first() {
  std::vector<value_status> stored(first_blocks_.size(), value_status::not_recorded);
  const auto store_one = [&](std::size_t i) {
    const first_block& one = first_blocks_[i];
    ragged_part none;
    if (one.looks) stored[i] = store(*one.looks, one.payload, one.row, none);
  };
  if (first_blocks_.size() == 1)
    store_one(0);
  else
    state_->pool.run(first_blocks_.size(), first_blocks_.size(), store_one,
                     [this] { state_->check_stop(); });
  for (std::size_t i = 0; i < first_blocks_.size(); ++i) {
    if (stored[i] == value_status::ok) stored_rows_.push_back(first_blocks_[i].row);
    if (first_blocks_[i].work == nullptr) continue;
    first_blocks_[i].work->how = on_full::refuse;
    put_back(std::move(first_blocks_[i].work));
  }
  first_blocks_.clear();
}

bool column_reader::is_stored(std::uint64_t row) const {
  return !is_ragged_ && std::find(stored_rows_.begin(), stored_rows_.end(), row) != stored_rows_.end();
}

// ---- reading

void column_reader::run_chunks() {
  done_ = 0;
  parts_.clear();
  if (is_ragged_) parts_.resize(chunks_.size());
  const auto look = [this] {
    state_->check_stop();
    tell_progress();
  };
  state_->pool.run(
      chunks_.size(), state_->pool.size(), [this](std::size_t number) { read_chunk(number); }, look);
  free_.clear();
  state_->check_stop();  // who saw it among the last chunks left blocks unread, and nobody looked again
  if (!is_ragged_ && is_irregular_) return;
  tell_progress();
}

void column_reader::tell_progress() const {
  if (!state_->options.progress) return;
  if (pass_ != pass::record_names) told_ = std::max<std::uint64_t>(told_, done_);
  if (of_all_ != nullptr)
    state_->options.progress({of_all_->done_bytes + told_, of_all_->total_bytes});
  else
    state_->options.progress({told_, stored_});
}

std::unique_ptr<column_reader::scratch> column_reader::take_scratch() {
  const std::lock_guard lock(mutex_);
  if (free_.empty()) return std::make_unique<scratch>();
  auto work = std::move(free_.back());
  free_.pop_back();
  return work;
}

void column_reader::put_back(std::unique_ptr<scratch> work) {
  const std::lock_guard lock(mutex_);  // who waits has counted itself before it clears the list
  if (!turn_.is_waited_for()) free_.push_back(std::move(work));
}

/// One of the buffers, large enough.
unsigned char* column_reader::fit(scratch& work, datasets::pooled_buffer& buffer, std::size_t size) {
  if (buffer.data() != nullptr && buffer.size() >= size) return buffer.data();
  const std::string what = "Decoding a block of " + data_.channel;
  try {
    state_->memory.fit(buffer, size, what, on_full::refuse);
  } catch (const memory_refused&) {
    if (work.how == on_full::refuse) throw;
    work.inflated.release();
    work.decoded.release();
    state_->memory.fit(buffer, size, what, on_full::wait);
  }
  return buffer.data();
}

void column_reader::read_window(const datasets::block_source_file& source, const std::vector<entry>& blocks,
                                std::size_t first, const block_window& window, scratch& work,
                                const std::function<void(std::size_t, const found_block&)>& take) {
  fit(work, work.read.window, window.bytes);
  const auto fit_block = [&](std::size_t size) { fit(work, work.read.block, size); };
  datasets::read_window(source, blocks, first, window, work.read, fit_block, take);
}

/// The payload of a block as it lies in the file, once it is inflated; nothing, and why.
std::optional<byte_view> column_reader::inflate(const found_block& found, scratch& work,
                                                value_status& status) {
  status = found.status;
  if (status != value_status::ok) return std::nullopt;
  if (found.payload.form != stored_form::compressed)
    return byte_view(found.payload.bytes, found.payload.size, word_order::file);
  unsigned char* into = fit(work, work.inflated, found.payload.room);
  status = datasets::inflate(found, into);
  if (status != value_status::ok) return std::nullopt;
  return byte_view(into, found.payload.room, word_order::file);
}

/// More memory for what workers keep until the column is done: nobody would give it back while others wait.
void column_reader::grow(datasets::reservation& reserved, std::size_t bytes, const char* what) {
  while (!state_->memory.try_grow(reserved, bytes))
    if (!state_->timeline.drop_oldest())
      throw memory_exceeded(
          "The " + std::string(what) + " of " + data_.channel + " do not fit into the memory limit of " +
          std::to_string(state_->memory.limit()) + " bytes; raise the limit or select less");
}

void column_reader::make_room(ragged_part& part, std::size_t more) {
  const std::size_t needed = part.bytes.size() + more, had = part.bytes.capacity();
  if (needed <= had) return;
  const std::size_t wanted = std::max({needed, 2 * had, std::size_t{4096}});
  grow(part.reserved, wanted, "rows of different shapes");  // while it grows there are both
  part.bytes.reserve(wanted);
  part.reserved.shrink(part.reserved.bytes() - had);
}

void column_reader::read_chunk(std::size_t number) {
  if (!is_ragged_ && is_irregular_) return;
  state_->check_stop();
  const datasets::memory_budget::at_work at_work(state_->memory);
  turn_.run([&](on_full how) { read_chunk(number, how); });
}

void column_reader::read_chunk(std::size_t number, on_full how) {
  if (is_ragged_) parts_[number] = {};
  const std::size_t of_segment = lists_[chunks_[number].list].segment;
  if (how == on_full::wait) {
    state_->check_stop();
    {
      const std::lock_guard guard(mutex_);
      free_.clear();
    }
    const auto part = state_->timeline.get(of_segment, how);
    scratch work;
    work.how = how;
    return read_chunk_with(number, *part, work);
  }
  // Before the buffers, which whoever aligns it may need.
  const auto part = state_->timeline.get(of_segment, how);
  auto work = take_scratch();
  read_chunk_with(number, *part, *work);
  put_back(std::move(work));
}

void column_reader::read_chunk_with(std::size_t number, const segment& part, scratch& work) {
  const chunk& one = chunks_[number];
  ragged_part none;
  ragged_part& ragged = is_ragged_ ? parts_[number] : none;
  if (is_ragged_) {
    ragged = {};
    constexpr std::size_t of_row =
        sizeof(ragged.rows[0]) + sizeof(ragged.lengths[0]) + sizeof(ragged.shapes[0]);
    const std::size_t rows = 2 * (one.last - one.first) * of_row;
    ragged.reserved = state_->memory.reserve(rows, "The rows of " + data_.channel, work.how);
  }
  read_ledger ledger;
  ledger.of(data_.channel);
  channel_digest digest;
  try {
    read_blocks(one, part, work, ragged, ledger, digest);
  } catch (const memory_refused&) {
    throw;  // it is read again from its beginning
  } catch (...) {
    const std::lock_guard lock(mutex_);
    data_.ledger.add(ledger);
    throw;
  }
  done_ += one.stored;
  if (!is_ragged_ && is_irregular_) return;
  const std::lock_guard lock(mutex_);
  data_.ledger.add(ledger);
  if (data_.digest) data_.digest->add(digest);
}

void column_reader::read_blocks(const chunk& one, const segment& part, scratch& work, ragged_part& ragged,
                                read_ledger& ledger, channel_digest& digest) {
  const block_list& list = lists_[one.list];
  std::vector<entry> blocks;
  blocks.reserve(one.last - one.first);
  for (std::size_t i = one.first; i < one.last; ++i)
    blocks.push_back(part.channels[channel_].entries[list.index[i]]);
  const auto settle = [&](std::size_t i, value_status status) {
    const std::uint64_t row = list.row[one.first + i];
    const bool is_held = planned_status_[row] != value_status::ok;
    if (status != value_status::ok || !is_held) data_.status[row] = status;
    if (is_held) return;
    const std::size_t listed = ledger.values.size();
    state_->ledgers.record(ledger, 0, channel_, blocks[i], status);
    if (ledger.values.size() > listed) ledger.values.back().row = row;
  };
  for (std::size_t first = 0; first < blocks.size();) {
    if (state_->is_stopped() || (!is_ragged_ && is_irregular_)) break;
    const block_window window = datasets::next_window(blocks, first, datasets::window_bytes(state_->memory),
                                                      state_->options.largest_block);
    if (window.blocks == 1 && !options_.with_digest && is_stored(list.row[one.first + first])) {
      settle(first++, value_status::ok);
      continue;
    }
    std::shared_ptr<const datasets::open_file> opened;
    const auto source = datasets::source_of(*state_, part, channel_, blocks[first].file, opened);
    read_window(source, blocks, first, window, work, [&](std::size_t i, const found_block& found) {
      if (pass_ == pass::record_names)
        return take_record_names(found, std::uint64_t{one.list} << 32 | (one.first + i), work);
      const std::uint64_t row = list.row[one.first + i];
      const bool is_held = planned_status_[row] != value_status::ok;
      value_status status = value_status::ok;
      if (options_.with_digest && !is_held) status = add_to_digest(source, found, blocks[i], work, digest);
      if (pass_ == pass::values) status = take(found, row, work, ragged);
      settle(i, status);
    });
    first += window.blocks;
  }
}

value_status column_reader::take(const found_block& found, std::uint64_t row, scratch& work,
                                 ragged_part& ragged) {
  if (found.status == value_status::ok && is_stored(row)) return value_status::ok;
  value_status status = value_status::ok;
  const auto payload = inflate(found, work, status);
  if (!payload) return status;
  const auto one = datasets::find_item(found.stored_type, *payload, state_->channels[channel_].member);
  if (!one) return value_status::cannot_convert;
  return store(*one, *payload, row, ragged);
}

/// Axes seldom change: they are put down from the first one on that is another one than the first row's.
void column_reader::note_axis(const item& one, std::uint64_t row) {
  const bool has_axis = one.kind == value_kind::spectrum || one.kind == value_kind::roi;
  const spectrum_axis first{first_->start, first_->increment, first_->groups_increment, first_->y_start};
  const spectrum_axis its{one.start, one.increment, one.groups_increment, one.y_start};
  if (!has_axis || std::memcmp(&first, &its, sizeof first) == 0) return;
  const std::lock_guard lock(mutex_);
  if (data_.axes.empty()) data_.axes.assign(data_.layout.rows, first);
  data_.axes[row] = its;
}

value_status column_reader::store(const item& one, const byte_view& payload, std::uint64_t row,
                                  ragged_part& ragged) {
  if (one.kind != first_->kind || one.element != first_->element ||
      one.is_as_sent() != first_->is_as_sent())
    return value_status::type_changed;
  if (one.kind == value_kind::name_value) return store_record_values(one, payload, row);
  if (one.kind == value_kind::update) {
    const std::size_t status_at = one.at - 12;
    data_.update_status[row] = *payload.at<std::int32_t>(status_at);
    data_.update_times[row] = {*payload.at<std::uint32_t>(status_at + 4),
                               *payload.at<std::uint32_t>(status_at + 8)};
  }
  note_axis(one, row);
  if (is_ragged_) {
    const std::size_t at = ragged.bytes.size(), size = one.elements * element_size(one.element);
    make_room(ragged, size);
    ragged.bytes.resize(at + size);
    datasets::store_item(one, payload, ragged.bytes.data() + at);
    ragged.rows.push_back(row);
    ragged.lengths.push_back(static_cast<std::uint32_t>(one.elements));
    ragged.shapes.push_back(one.shape);
    return value_status::ok;
  }
  if (one.elements != first_->elements || one.shape != first_->shape) {
    // The caller's memory has no room for rows of other shapes.
    if (!options_.into.empty()) return value_status::type_changed;
    is_irregular_ = true;
    return value_status::ok;
  }
  datasets::store_item(one, payload, out_ + row * row_bytes());
  return value_status::ok;
}

// The digest is of the block as events have it, whatever the column makes of it.
value_status column_reader::add_to_digest(const datasets::block_source_file& source,
                                          const found_block& found, const entry& where, scratch& work,
                                          channel_digest& digest) {
  const ravo_time_id id{where.number, where.time};
  if (found.status != value_status::ok) {
    digest.add(id, found.status, {});
    return found.status;
  }
  const std::size_t room = found.payload.room + datasets::cut_excess;
  unsigned char* into = fit(work, work.decoded, room);
  std::size_t length = 0;
  std::int32_t type = found.type;
  value_status status = datasets::decode(source, found, into, length);
  if (status == value_status::ok &&
      !datasets::cut_member(source, state_->channels[channel_].member, into, room, length, type))
    status = value_status::cannot_convert;
  digest.add(id, status, {reinterpret_cast<const std::byte*>(into), length});
  return status;
}

}  // namespace ravo
