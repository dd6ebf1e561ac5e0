#include "ravo_dataset/dataset.h"

#include <algorithm>
#include <numeric>
#include <utility>

#include "dataset_state.h"
#include "describe/availability.h"
#include "describe/description.h"
#include "describe/index.h"
#include "describe/location.h"
#include "describe/partitioning.h"
#include "describe/planning.h"
#include "read/chunk_reader.h"
#include "read/column_reader.h"
#include "read/computed.h"
#include "read/event_reader.h"
#include "read/segment_walk.h"

namespace ravo {
namespace {

std::vector<std::size_t> all_channels(const detail::dataset_state& state) {
  std::vector<std::size_t> all(state.channels.size());
  std::iota(all.begin(), all.end(), std::size_t{0});
  return all;
}

}  // namespace

dataset::dataset(std::shared_ptr<detail::dataset_state> state) : state_(std::move(state)) {}

dataset dataset::open(const selection& wanted, dataset_options options) {
  auto state = std::make_shared<detail::dataset_state>(wanted, std::move(options));
  state->open();
  return dataset(std::move(state));
}

dataset dataset::open(std::string_view text, dataset_options options) {
  return open(selection::parse(text), std::move(options));
}

const selection& dataset::get_selection() const { return state_->asked; }
const std::vector<dataset_channel>& dataset::channels() const { return state_->channels.all(); }
const std::vector<dataset_file>& dataset::files() const { return state_->files.all; }
std::optional<std::size_t> dataset::find_channel(std::string_view label) const {
  return state_->channels.find(label);
}

std::size_t dataset::size(std::stop_token stop) const {
  const detail::stop_scope scope(std::move(stop));
  return state_->taken_of(std::min(detail::count_events(*state_), state_->end_of_events()));
}

std::vector<ravo_time_id> dataset::event_ids(std::stop_token stop) const {
  const detail::stop_scope scope(std::move(stop));
  return list_events(*state_);
}

read_plan dataset::plan(std::stop_token stop) const {
  const detail::stop_scope scope(std::move(stop));
  return detail::make_plan(*state_);
}

dataset_index dataset::index(const std::vector<std::string>& channels, const index_options& options,
                             std::stop_token stop) const {
  std::vector<std::size_t> positions;
  for (const std::string& channel : channels) positions.push_back(state_->channels.find_or_throw(channel));
  return detail::make_index(state_, positions, options, stop);
}

dataset_index dataset::index(const index_options& options, std::stop_token stop) const {
  return detail::make_index(state_, all_channels(*state_), options, stop);
}

channel_description dataset::describe(std::string_view channel, const describe_options& options) const {
  return std::move(detail::describe(*state_, {state_->channels.find_or_throw(channel)}, options).front());
}

std::vector<channel_description> dataset::describe(const describe_options& options) const {
  return detail::describe(*state_, all_channels(*state_), options);
}

std::optional<block_place> dataset::locate(std::string_view channel, std::uint64_t row,
                                           column_rows rows) const {
  return std::move(detail::locate(*state_, state_->channels.find_or_throw(channel), {row}, rows).front());
}

std::vector<std::optional<block_place>> dataset::locate(std::string_view channel,
                                                        const std::vector<std::uint64_t>& row_list,
                                                        column_rows rows, std::stop_token stop) const {
  const detail::stop_scope scope(std::move(stop));
  return detail::locate(*state_, state_->channels.find_or_throw(channel), row_list, rows);
}

std::vector<partition> dataset::partitions(const partition_options& options) const {
  const detail::stop_scope scope(options.stop);
  return detail::cut(*state_, options);
}

event_range dataset::events(event_options options) const {
  return event_range(std::make_unique<detail::event_reader>(state_, std::move(options)));
}

std::optional<event> dataset::at(std::uint32_t number, std::stop_token stop) const {
  const detail::stop_scope scope(std::move(stop));
  return detail::event_reader(state_, {}).at(number);
}
std::optional<event> dataset::at(const time_stamp& time, std::stop_token stop) const {
  const detail::stop_scope scope(std::move(stop));
  return detail::event_reader(state_, {}).at(time);
}

column_layout dataset::layout(std::string_view channel, const column_options& options) const {
  const detail::stop_scope scope(options.stop);
  return detail::layout_of_column(state_, state_->channels.find_or_throw(channel), options);
}

column_data dataset::column(std::string_view channel, const column_options& options) const {
  const detail::stop_scope scope(options.stop);
  return detail::read_column(state_, state_->channels.find_or_throw(channel), options);
}

std::vector<column_data> dataset::columns(const std::vector<std::string>& channels,
                                          const column_options& options) const {
  const detail::stop_scope scope(options.stop);
  std::vector<std::size_t> positions;
  for (const std::string& channel : channels) positions.push_back(state_->channels.find_or_throw(channel));
  return detail::read_columns(state_, positions, options);
}

column_chunk_range dataset::column_chunks(std::string_view channel, std::size_t bytes,
                                          column_options options) const {
  return column_chunk_range(std::make_unique<detail::chunk_reader>(
      state_, state_->channels.find_or_throw(channel), bytes, std::move(options)));
}

std::vector<named_digest> dataset::digest(const digest_options& options) const {
  const detail::stop_scope scope(options.stop);
  return detail::read_digests(state_, options);
}

std::vector<named_value_digest> dataset::value_digests(const digest_options& options) const {
  const detail::stop_scope scope(options.stop);
  return detail::read_value_digests(state_, options);
}

channel_statistics dataset::statistics(std::string_view channel, const statistics_options& options) const {
  const detail::stop_scope scope(options.stop);
  return std::move(
      detail::read_statistics(state_, {state_->channels.find_or_throw(channel)}, options).front());
}

std::vector<channel_statistics> dataset::statistics(const statistics_options& options) const {
  const detail::stop_scope scope(options.stop);
  return detail::read_statistics(state_, all_channels(*state_), options);
}

channel_envelope dataset::envelope(std::string_view channel, const envelope_options& options) const {
  const detail::stop_scope scope(options.stop);
  return detail::read_envelope(state_, state_->channels.find_or_throw(channel), options);
}

channel_histogram dataset::histogram(std::string_view channel, const histogram_options& options) const {
  const detail::stop_scope scope(options.stop);
  return detail::read_histogram(state_, state_->channels.find_or_throw(channel), options);
}

availability_map dataset::availability(const availability_options& options) const {
  const detail::stop_scope scope(options.stop);
  return detail::make_availability(*state_, options);
}

read_ledger dataset::ledger() const { return state_->ledgers.of_all_readings(); }
std::size_t dataset::peak_memory() const { return state_->memory.peak(); }

}  // namespace ravo
