#include "read/first_blocks.h"

#include <algorithm>
#include <utility>

namespace ravo::detail {

first_blocks::block first_blocks::read(const place& where, on_full how) const {
  const auto& [list, at] = where;
  block first;
  first.row = list->row[at];
  const auto part = state_.timeline.get(list->segment, how);
  first.memory =
      std::make_unique<block_memory>(state_.memory, "Decoding a block of " + plan_.column.channel, how);
  const std::vector<entry> blocks{part->channels[plan_.channel].entries[list->index[at]]};
  block_scan scan(state_, plan_.channel, *first.memory);
  scan.read_all(*part, blocks, [&](std::size_t, const block_source_file&, const found_block& found) {
    const auto payload = inflate(found, *first.memory, first.status);
    if (!payload) return;
    first.payload = *payload;
    first.value = find_item(found.stored_type, first.payload, plan_.part);
  });
  return first;
}

void first_blocks::find() {
  for (const block_list& list : plan_.lists)
    for (std::size_t at = 0; at < list.index.size() && !value_; ++at) {
      block first = read({&list, at}, on_full::wait);
      state_.check_stop();
      may_differ_later_ = may_differ_later_ || first.status == value_status::file_missing;
      if (!first.value) continue;
      value_ = first.value;
      blocks_.push_back(std::move(first));
    }
}

/// The first blocks, one for each thread, if all of them are large; else none.
std::vector<first_blocks::place> first_blocks::large_ones() const {
  constexpr std::uint64_t large = std::uint64_t{64} << 10;
  std::vector<place> places;
  for (const block_list& list : plan_.lists) {
    const auto part = state_.timeline.get(list.segment, on_full::wait);
    for (std::size_t at = 0; at < list.index.size(); ++at) {
      if (places.size() == state_.pool.size()) return places;
      if (part->channels[plan_.channel].entries[list.index[at]].stored < large) return {};
      places.emplace_back(&list, at);
    }
  }
  return places;
}

// A large block takes long enough that the other workers should not be idle: they decode the next ones
// meanwhile. Blocks for which there is no room are left to find(), which may wait for it.
void first_blocks::find_with_all_threads() {
  const std::vector<place> places = large_ones();
  if (places.size() < 2) return find();
  blocks_.resize(places.size());
  const auto read_one = [&](std::size_t i) {
    try {
      blocks_[i] = read(places[i], on_full::refuse);
    } catch (const memory_refused&) {
      blocks_[i] = {};
    }
  };
  state_.pool.run(places.size(), places.size(), read_one, [this] { state_.check_stop(); });
  state_.check_stop();
  for (const block& first : blocks_) {
    if (first.memory == nullptr) break;  // it was not read, and may be the first readable one
    if (!first.value) continue;
    value_ = first.value;
    return;
  }
  release();
  find();
}

const first_blocks::block* first_blocks::first_readable() const {
  const auto first = std::find_if(blocks_.begin(), blocks_.end(),
                                  [](const block& candidate) { return candidate.value.has_value(); });
  return first == blocks_.end() ? nullptr : &*first;
}

// The column is planned in parts that grow, since most have their first value in the first block.
std::optional<item> first_value_of(const std::shared_ptr<dataset_state>& state, std::size_t channel,
                                   const column_options& options) {
  const first_value_cache::place where{channel, options.rows, options.member};
  if (const auto known = state->first_values.find(where))
    return *known ? std::optional(**known) : std::nullopt;
  std::optional<item> first;
  bool may_differ_later = false, is_over = false;
  column_options part;
  part.rows = options.rows;
  part.member = options.member;
  plan_request request;
  for (std::size_t count = 16; !first && !is_over; count *= 4) {
    part.count = count;
    const walk_place from = request.from;
    request = plan_request::of(part);
    request.from = from;
    const column_plan plan = make_plan(state, channel, request, nullptr);
    first_blocks blocks(*state, plan);
    blocks.find();
    first = blocks.value();
    may_differ_later = may_differ_later || blocks.may_differ_later();
    is_over = plan.column.layout.rows < count;
    request.from = plan.last;
    part.first += count;
  }
  if (!may_differ_later)
    state->first_values.keep(where, first ? std::make_shared<const item>(*first) : nullptr);
  return first;
}

reservation first_blocks::reserve(std::size_t bytes, const std::string& what) {
  reservation reserved;
  if (state_.memory.try_grow(reserved, bytes)) return reserved;
  release();
  return state_.reserve(bytes, what);
}

}  // namespace ravo::detail
