#include "read/column_reader.h"

#include <deque>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "read/column_access.h"
#include "read/column_plan.h"
#include "read/column_scan.h"
#include "read/column_workers.h"
#include "read/digest_sink.h"
#include "read/first_blocks.h"
#include "read/value_sink.h"

namespace ravo::detail {
namespace {

/// The ledger of a reading of one channel. However the reading ends, what was read gets into the dataset's
/// ledger.
class column_ledger {
 public:
  column_ledger(dataset_state& state, std::size_t channel)
      : keeper_(state.ledgers), ledger_(keeper_.open()) {
    ledger_.channels.emplace_back().channel = state.channels[channel].label;
  }
  ~column_ledger() {
    if (!is_closed_) try_add();
  }
  column_ledger(const column_ledger&) = delete;
  column_ledger& operator=(const column_ledger&) = delete;

  read_ledger& get() { return ledger_; }
  /// The reading is tried again: nothing of it counts.
  void drop() { is_closed_ = true; }
  /// Throws missing_data when too much is missing.
  read_ledger close() {
    is_closed_ = true;
    keeper_.close(ledger_);
    return std::move(ledger_);
  }

 private:
  void try_add() noexcept {
    try {
      keeper_.add(ledger_);
    } catch (...) {
      // The reading ends with an exception already, which says more.
    }
  }
  ledger_keeper& keeper_;
  read_ledger ledger_;
  bool is_closed_ = false;
};

column_layout layout_from(const std::optional<item>& first, const std::vector<std::string>& records,
                          std::size_t rows) {
  column_layout layout;
  layout.rows = rows;
  if (!first) {
    layout.kind = value_kind::none;
    return layout;
  }
  layout.kind = first->kind;
  layout.element = first->element;
  layout.item_elements = first->elements;
  layout.shape = first->shape;
  if (first->kind == value_kind::name_value) {
    layout.item_elements = records.size();
    layout.shape[0] = static_cast<std::uint32_t>(records.size());
  }
  layout.dimensions = dimensions_of(layout.kind, layout.shape);
  if (first->kind == value_kind::text) {
    layout.dimensions.clear();
    layout.item_elements = 0;
  }
  return layout;
}

/// What the values of a part of a column are is what those of the whole column are.
void find_first_of_part(const std::shared_ptr<dataset_state>& state, const column_plan& plan,
                        const column_options& options, first_blocks& first) {
  std::optional<item> value = first_value_of(state, plan.channel, options);
  if (value) cut_item(*value, plan.part);
  first.set(std::move(value));
}

/// The reading of one column, from its first blocks to its values. It takes up to three passes over the
/// blocks: for the names of records, for rows of one size, and again if rows turn out to differ in size.
class column_reading {
 public:
  column_reading(const std::shared_ptr<dataset_state>& state, const column_options& options,
                 column_ledger& ledger, column_plan plan)
      : shared_(state),
        state_(*state),
        options_(options),
        ledger_(ledger),
        plan_(std::move(plan)),
        scan_(state_, plan_, ledger_.get()),
        first_(state_, plan_) {}

  std::uint64_t stored_bytes() const { return scan_.stored_bytes(); }

  /// Finds what the values are. Of one of several columns nothing is kept that is decoded on the way.
  void find_first(bool is_whole, bool is_alone) {
    if (!is_whole)
      find_first_of_part(shared_, plan_, options_, first_);
    else if (is_alone)
      first_.find_with_all_threads();
    else
      first_.find();
    if (!is_alone) first_.release();
    if (first_.value()) check_part(*first_.value(), plan_.part, plan_.column.channel);
  }

  bool has_records() const { return first_.value() && first_.value()->kind == value_kind::name_value; }
  column_pass begin_records() {
    search_.emplace(state_, plan_, first_);
    return scan_.looking(
        [this](const column_block& block, block_memory& memory) { search_->look_at(block, memory); });
  }

  /// Sets the layout and takes the memory of the values.
  column_pass begin(column_workers& workers) {
    column_records records;
    if (search_) records = search_->result();
    search_.reset();
    plan_.memory->tables.push_back(std::move(records.reserved));
    set_layout(std::move(records.names));
    extras_.emplace(plan_.column, first_.value().value_or(item{}));
    extras_->reserve(plan_.memory->tables, first_);
    if (has_records()) return begin_lists(records.is_incomplete);
    if (first_.value() && first_.value()->kind == value_kind::text) return begin_ragged();
    auto sink = std::make_unique<dense_sink>(state_, plan_, first_, *extras_, options_.into);
    sink->store_first(first_, workers);
    return pass_to(std::move(sink));
  }
  /// Whether rows turned out to differ in size.
  bool has_to_begin_again() const { return sink_->has_given_up(); }
  column_pass begin_ragged() {
    if (!options_.into.empty())
      throw selection_error("The texts of " + plan_.column.channel +
                            " have no fixed size: read the column into its own memory");
    first_.release();
    sink_.reset();  // its memory is needed
    return pass_to(std::make_unique<ragged_sink>(state_, plan_, *first_.value(), *extras_, scan_.chunks()));
  }

  column_data finish() {
    if (digest_sink_) plan_.column.digest = digest_;
    plan_.column.status.swap(statuses_);
    if (options_.rows == column_rows::events)
      column_access::set_planned(plan_.column, std::move(statuses_));
    sink_->finish();
    plan_.column.ledger = ledger_.close();
    return std::move(plan_.column);
  }

 private:
  void set_layout(std::vector<std::string> record_names) {
    column_data& column = plan_.column;
    column.layout = layout_from(first_.value(), record_names, column.layout.rows);
    column.record_names = std::move(record_names);
    const item values = first_.value().value_or(item{});
    column.start = values.start;
    column.increment = values.increment;
    column.groups_increment = values.groups_increment;
    column.y_start = values.y_start;
  }

  column_pass begin_lists(bool is_incomplete) {
    column_data& column = plan_.column;
    const std::size_t records = column.layout.rows * column.layout.item_elements;
    plan_.memory->tables.push_back(first_.reserve(records, "The rows of the column " + column.channel));
    column.record_status.assign(records, value_status::not_recorded);
    return pass_to(
        std::make_unique<record_sink>(state_, plan_, first_, *extras_, options_.into, is_incomplete));
  }

  column_pass pass_to(std::unique_ptr<value_sink> sink) {
    sink_ = std::move(sink);
    sinks_.clear();
    digest_ = {};
    if (options_.with_digest) sinks_.push_back(&digest_sink_.emplace(plan_, digest_));
    sinks_.push_back(sink_.get());
    return scan_.reading(sinks_, statuses_);
  }

  const std::shared_ptr<dataset_state>& shared_;
  dataset_state& state_;
  const column_options& options_;
  column_ledger& ledger_;
  column_plan plan_;
  column_scan scan_;
  first_blocks first_;
  std::optional<record_search> search_;
  std::optional<row_extras> extras_;
  channel_digest digest_;
  std::optional<digest_sink> digest_sink_;
  std::unique_ptr<value_sink> sink_;
  std::vector<column_sink*> sinks_;
  std::vector<value_status> statuses_;
};

using column_readings = std::deque<column_reading>;

/// Reads columns whose plans are made, all of them in the same passes.
std::vector<column_data> read_together(column_readings& columns, bool is_whole, column_workers& workers) {
  const bool is_alone = columns.size() == 1;
  for (column_reading& column : columns) column.find_first(is_whole, is_alone);
  std::vector<column_pass> passes;
  for (column_reading& column : columns)
    if (column.has_records()) passes.push_back(column.begin_records());
  if (!passes.empty()) workers.look(passes);
  passes.clear();
  for (column_reading& column : columns) passes.push_back(column.begin(workers));
  workers.read(passes);
  passes.clear();
  for (column_reading& column : columns)
    if (column.has_to_begin_again()) passes.push_back(column.begin_ragged());
  if (!passes.empty()) workers.read(passes);
  std::vector<column_data> read;
  for (column_reading& column : columns) read.push_back(column.finish());
  return read;
}

}  // namespace

column_layout layout_of_column(const std::shared_ptr<dataset_state>& state, std::size_t channel,
                               const column_options& options) {
  const plan_request request = plan_request::of(options);
  const column_plan plan = make_plan(state, channel, request, nullptr);
  first_blocks first(*state, plan);
  if (request.wanted.is_all())
    first.find();
  else
    find_first_of_part(state, plan, options, first);
  if (first.value()) check_part(*first.value(), plan.part, plan.column.channel);
  std::vector<std::string> names;
  if (first.value() && first.value()->kind == value_kind::name_value) {
    read_ledger ignored;
    column_progress progress(options.progress, nullptr);
    column_scan scan(*state, plan, ignored);
    column_workers workers(*state, progress, "Decoding a block of " + plan.column.channel);
    record_search search(*state, plan, first);
    workers.look({scan.looking(
        [&](const column_block& block, block_memory& memory) { search.look_at(block, memory); })});
    names = search.result().names;
  }
  return layout_from(first.value(), names, plan.column.layout.rows);
}

std::vector<column_data> read_columns(const std::shared_ptr<dataset_state>& state,
                                      const std::vector<std::size_t>& channels,
                                      const column_options& options) {
  if (channels.empty()) return {};
  if (channels.size() > 1 && !options.into.empty())
    throw selection_error("The memory given is for one column, and several are asked for");
  const plan_request request = plan_request::of(options);
  std::deque<column_ledger> ledgers;
  std::vector<read_ledger*> of_plans;
  for (const std::size_t channel : channels)
    of_plans.push_back(&ledgers.emplace_back(*state, channel).get());
  std::vector<column_plan> plans = make_plans(state, channels, request, of_plans);
  column_readings columns;
  column_progress progress(options.progress, nullptr);
  for (std::size_t i = 0; i < channels.size(); ++i) {
    columns.emplace_back(state, options, ledgers[i], std::move(plans[i]));
    progress.add_total(columns.back().stored_bytes());
  }
  column_workers workers(
      *state, progress,
      "Decoding a block" + (channels.size() == 1 ? " of " + state->channels[channels[0]].label : ""));
  return read_together(columns, request.wanted.is_all(), workers);
}

column_data read_column(const std::shared_ptr<dataset_state>& state, std::size_t channel,
                        const column_options& options) {
  return std::move(read_columns(state, {channel}, options).front());
}

column_data read_chunk_of_column(const std::shared_ptr<dataset_state>& state, std::size_t channel,
                                 const column_options& options, reading_extent extent, walk_place& place,
                                 bool may_repeat) {
  plan_request request = plan_request::of(options);
  request.extent = extent;
  request.from = place;
  column_ledger ledger(*state, channel);
  try {
    column_plan plan = make_plan(state, channel, request, &ledger.get());
    const walk_place last = plan.last;
    column_progress progress(options.progress, nullptr);
    column_readings columns;
    columns.emplace_back(state, options, ledger, std::move(plan));
    progress.add_total(columns.back().stored_bytes());
    column_workers workers(*state, progress, "Decoding a block of " + state->channels[channel].label);
    column_data read = std::move(read_together(columns, false, workers).front());
    place = last;
    return read;
  } catch (const memory_exceeded&) {
    if (may_repeat) ledger.drop();
    throw;
  }
}

}  // namespace ravo::detail
