#include "read/column_reader.h"

#include <optional>
#include <utility>
#include <vector>

#include "read/column_access.h"
#include "read/column_plan.h"
#include "read/column_scan.h"
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

/// One reading of a column, from its rows to its values.
class column_reading {
 public:
  column_reading(const std::shared_ptr<dataset_state>& state, std::size_t channel,
                 const column_options& options)
      : state_(*state),
        options_(options),
        ledger_(state_, channel),
        plan_(make_plan(state, channel, options.rows, ledger_.get())),
        progress_(options_.progress, nullptr),
        scan_(state_, plan_, ledger_.get(), progress_),
        first_(state_, plan_) {}

  column_data read() {
    first_.find_with_all_threads();
    const std::optional<item>& first = first_.value();
    const bool has_records = first && first->kind == value_kind::name_value;
    column_records records;
    if (has_records) {
      records = find_records(state_, plan_, first_, scan_);
      plan_.memory->tables.push_back(std::move(records.reserved));
    }
    set_layout(std::move(records.names));
    row_extras extras(plan_.column, first.value_or(item{}));
    extras.reserve(plan_.memory->tables, first_);
    if (has_records)
      read_records(extras, records.is_incomplete);
    else if (first && first->kind == value_kind::text)
      read_ragged(extras);
    else if (!read_dense(extras))
      read_ragged(extras);
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

  /// False: rows differ in size.
  bool read_dense(row_extras& extras) {
    dense_sink sink(state_, plan_, first_, extras, options_.into);
    sink.store_first(first_, scan_);
    return read_into(sink);
  }

  void read_ragged(row_extras& extras) {
    if (!options_.into.empty())
      throw selection_error("The texts of " + plan_.column.channel +
                            " have no fixed size: read the column into its own memory");
    first_.release();
    ragged_sink sink(state_, plan_, *first_.value(), extras, scan_.chunks());
    read_into(sink);
  }

  void read_records(row_extras& extras, bool is_incomplete) {
    column_data& column = plan_.column;
    const std::size_t records = column.layout.rows * column.layout.item_elements;
    plan_.memory->tables.push_back(first_.reserve(records, "The rows of the column " + column.channel));
    column.record_status.assign(records, value_status::not_recorded);
    record_sink sink(state_, plan_, first_, extras, options_.into, is_incomplete);
    read_into(sink);
  }

  bool read_into(value_sink& sink) {
    digest_sink digest(plan_);
    std::vector<column_sink*> sinks;
    if (options_.with_digest) sinks.push_back(&digest);
    sinks.push_back(&sink);
    std::vector<value_status> statuses;
    scan_.read(sinks, statuses);
    if (sink.has_given_up()) return false;
    if (options_.with_digest) plan_.column.digest = digest.digest();
    plan_.column.status.swap(statuses);
    if (options_.rows == column_rows::events) column_access::set_planned(plan_.column, std::move(statuses));
    sink.finish();
    return true;
  }

  dataset_state& state_;
  const column_options options_;
  column_ledger ledger_;
  column_plan plan_;
  column_progress progress_;
  column_scan scan_;
  first_blocks first_;
};

}  // namespace

column_layout layout_of_column(const std::shared_ptr<dataset_state>& state, std::size_t channel,
                               const column_options& options) {
  read_ledger ledger = state->ledgers.open();  // nothing is read, so it is dropped
  ledger.channels.emplace_back().channel = state->channels[channel].label;
  const column_plan plan = make_plan(state, channel, options.rows, ledger);
  first_blocks first(*state, plan);
  first.find();
  std::vector<std::string> names;
  if (first.value() && first.value()->kind == value_kind::name_value) {
    column_progress progress(options.progress, nullptr);
    column_scan scan(*state, plan, ledger, progress);
    names = find_records(*state, plan, first, scan).names;
  }
  return layout_from(first.value(), names, plan.column.layout.rows);
}

column_data read_column(const std::shared_ptr<dataset_state>& state, std::size_t channel,
                        const column_options& options) {
  return column_reading(state, channel, options).read();
}

channel_digest read_digest(const std::shared_ptr<dataset_state>& state, std::size_t channel,
                           const progress_function& report, read_progress& of_all) {
  column_ledger ledger(*state, channel);
  const column_plan plan = make_plan(state, channel, column_rows::recorded, ledger.get());
  column_progress progress(report, &of_all);
  column_scan scan(*state, plan, ledger.get(), progress);
  digest_sink sink(plan);
  column_sink* const sinks[] = {&sink};
  std::vector<value_status> statuses;
  scan.read(sinks, statuses);
  ledger.close();
  progress.close(scan.done_bytes());
  return sink.digest();
}

}  // namespace ravo::detail
