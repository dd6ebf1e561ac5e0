// Columns of name-value lists: their rows go by the names of the records. Which names there are is found by
// a first pass over all blocks, since lists may grow, shrink and change their order from one event to the
// next.
#include <algorithm>
#include <limits>

#include "read/column_reader.h"

namespace ravo {

using datasets::found_block;
using datasets::item;

/// Counts nothing, and its progress is none: the pass for the values counts.
void column_reader::find_record_names() {
  const auto first = std::find_if(first_blocks_.begin(), first_blocks_.end(),
                                  [](const first_block& block) { return block.looks.has_value(); });
  if (first != first_blocks_.end()) {  // else there was no room to keep it
    for (std::size_t i = 0; i < first_->elements; ++i)
      data_.record_names.emplace_back(datasets::record_name(*first_, first->payload, i));
    note_records(*first_, first->payload, 0);
  }
  first_blocks_.clear();  // workers may wait for their memory
  const pass next = std::exchange(pass_, pass::record_names);
  run_chunks();
  pass_ = next;
  data_.record_names = records_.in_order();
  places_.emplace(data_.record_names);
  records_ = {};
  kept_->tables.push_back(std::move(names_memory_));
}

void column_reader::take_record_names(const found_block& found, std::uint64_t ordinal, scratch& work) {
  value_status status = value_status::ok;
  const auto payload = inflate(found, work, status);
  if (status == value_status::file_missing) has_unseen_names_ = true;
  if (!payload) return;
  const auto list = datasets::find_item(found.stored_type, *payload, state_->channels[channel_].member);
  if (!list || list->kind != value_kind::name_value) return;
  // Most lists are as the first one, which nobody has to say again.
  if (!datasets::has_names(*list, *payload, data_.record_names)) note_records(*list, *payload, ordinal);
}

void column_reader::note_records(const item& list, const byte_view& payload, std::uint64_t ordinal) {
  const std::lock_guard lock(mutex_);
  records_.add(list, payload, ordinal,
               [this](std::size_t bytes) { grow(names_memory_, bytes, "names of records"); });
}

/// A list with a name that the first pass over the blocks did not see does not fit the column: the file has
/// changed, or the machine could not read the list then, which is no fault of the file's.
value_status column_reader::store_record_values(const item& list, const byte_view& payload,
                                                std::uint64_t row) {
  const std::size_t names = data_.record_names.size();
  auto* const values = reinterpret_cast<float*>(out_) + row * names;
  value_status* const status = data_.record_status.data() + row * names;
  const std::optional<std::vector<std::uint32_t>> places = places_->of(list, payload);
  if (!places) return has_unseen_names_ ? value_status::file_missing : value_status::type_changed;
  std::fill_n(values, names, std::numeric_limits<float>::quiet_NaN());
  datasets::store_records(list, payload, *places, values);
  for (const std::uint32_t place : *places) status[place] = value_status::ok;
  return value_status::ok;
}

/// A held row has the records of the row that it holds.
void column_reader::copy_records(const row_copy& copy) {
  const std::size_t names = data_.record_names.size();
  if (data_.record_status.empty()) return;
  std::copy_n(data_.record_status.begin() + static_cast<std::ptrdiff_t>(copy.from * names), names,
              data_.record_status.begin() + static_cast<std::ptrdiff_t>(copy.row * names));
}

/// So far the statuses say which records the lists have.
void column_reader::settle_record_status() {
  const std::size_t names = data_.record_names.size();
  for (std::size_t i = 0; i < data_.record_status.size(); ++i) {
    const value_status of_row = data_.status[i / names];
    if (!has_value(of_row) || data_.record_status[i] == value_status::ok) data_.record_status[i] = of_row;
  }
}

}  // namespace ravo
