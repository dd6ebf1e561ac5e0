// Columns of name-value lists: their rows go by the names of the records. Which names there are is found by
// a first pass over all blocks, since lists may grow, shrink and change their order from one event to the
// next.
#include <algorithm>
#include <atomic>
#include <limits>
#include <utility>

#include "read/value_sink.h"

namespace ravo::detail {

record_search::record_search(dataset_state& state, const column_plan& plan, first_blocks& first)
    : state_(state), plan_(plan) {
  if (const auto* const block = first.first_readable()) {  // null: there was no room to keep it
    for (std::size_t i = 0; i < block->value->elements; ++i)
      of_first_list_.emplace_back(record_name(*block->value, block->payload, i));
    add(*block->value, block->payload, 0);
  }
  first.release();  // workers may wait for its memory
}

void record_search::add(const item& list, const byte_view& payload, std::uint64_t ordinal) {
  const std::lock_guard lock(mutex_);
  all_.add(list, payload, ordinal, [&](std::size_t bytes) {
    grow(state_, reserved_, bytes, "The names of records of " + plan_.column.channel);
  });
}

void record_search::look_at(const column_block& block, block_memory& memory) {
  value_status status = value_status::ok;
  const auto payload = inflate(block.found, memory, status);
  if (status == value_status::file_missing) is_incomplete_ = true;
  if (!payload) return;
  const auto list = find_item(block.found.stored_type, *payload, plan_.part);
  if (!list || list->kind != value_kind::name_value) return;
  // Most lists have the records of the first one, which need not be added again.
  if (!has_names(*list, *payload, of_first_list_)) add(*list, *payload, block.ordinal);
}

column_records record_search::result() { return {all_.in_order(), is_incomplete_, std::move(reserved_)}; }

record_sink::record_sink(dataset_state& state, column_plan& plan, first_blocks& first, row_extras& extras,
                         std::span<std::byte> into, bool is_incomplete)
    : dense_sink(state, plan, first, extras, into),
      places_(column_.record_names),
      is_incomplete_(is_incomplete) {}

/// A list with a name that the first pass over the blocks did not see does not fit the column: the file has
/// changed, or the machine could not read the list then, which is not the file's fault.
value_status record_sink::store(const item& list, const byte_view& payload, std::uint64_t row_of_list) {
  const std::size_t names = column_.record_names.size();
  auto* const values = reinterpret_cast<float*>(row(row_of_list));
  value_status* const status = column_.record_status.data() + row_of_list * names;
  const std::optional<std::vector<std::uint32_t>> places = places_.of(list, payload);
  if (!places) return is_incomplete_ ? value_status::file_missing : value_status::type_changed;
  std::fill_n(values, names, std::numeric_limits<float>::quiet_NaN());
  store_records(list, payload, *places, values);
  for (const std::uint32_t place : *places) status[place] = value_status::ok;
  return value_status::ok;
}

/// A held row has the records of the row that it holds.
void record_sink::copy_values(const row_copy& copy) {
  dense_sink::copy_values(copy);
  const auto names = static_cast<std::ptrdiff_t>(column_.record_names.size());
  const auto begin = column_.record_status.begin();
  std::copy_n(begin + static_cast<std::ptrdiff_t>(copy.from) * names, names,
              begin + static_cast<std::ptrdiff_t>(copy.row) * names);
}

void record_sink::finish() {
  dense_sink::finish();
  // So far the statuses say which records the lists have.
  const std::size_t names = column_.record_names.size();
  for (std::size_t i = 0; i < column_.record_status.size(); ++i) {
    const value_status of_row = column_.status[i / names];
    if (!has_value(of_row) || column_.record_status[i] == value_status::ok)
      column_.record_status[i] = of_row;
  }
}

}  // namespace ravo::detail
