// The dataset layer over a small set of simulated files that the input damages: events forward and
// backward, single events, columns, digests, tables, parts, and what is computed while decoding. Whatever
// is delivered is read to its end, and the ledgers balance.
#include "ravo_dataset.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "damaged_set.h"
#include "expect.h"
#include "input.h"
#include "quiet.h"

namespace ravo::fuzz {
namespace {

constexpr std::size_t most_edits = 12;
constexpr std::size_t most_memory = std::size_t{64} << 20;
constexpr std::uint32_t first_number = 1'000'000;  // of the simulated events

selection make_selection(input& from, const damaged_set& set) {
  const std::uint8_t kind = from.byte(), limits = from.byte();
  selection wanted;
  wanted.files = set.files();
  wanted.synch = static_cast<synch_mode>(kind & 1);
  wanted.join = (kind >> 1 & 3) == 1 ? join_policy::all : join_policy::any;
  wanted.slow = static_cast<slow_policy>((kind >> 3) % 3);
  wanted.step = 1 + (limits & 3);
  if ((limits & 4) != 0) wanted.first_event = first_number + (limits >> 4);
  if ((limits & 8) != 0) wanted.last_event = first_number + (limits >> 4);
  return wanted;
}

void look_at(const value& seen) {
  touch(seen.bytes().data(), seen.bytes().size());
  const spectrum_view spectrum = seen.spectrum();
  touch(spectrum.values.data(), spectrum.values.size_bytes());
  touch(spectrum.means.data(), spectrum.means.size_bytes());
  touch(spectrum.statistics.data(), spectrum.statistics.size_bytes());
  for (std::size_t member = 0; member <= std::min<std::size_t>(spectrum.members, 16); ++member)
    touch(spectrum.member(member).data(), spectrum.member(member).size_bytes());
  const image_view image = seen.image();
  touch(image.pixels.data(), image.pixels.size());
  if (image.is_complete() && image.width > 0 && image.height > 0)
    static_cast<void>(image.pixel(image.width - 1, image.height - 1));
  touch(seen.name_values().records.data(), seen.name_values().records.size_bytes());
  touch(seen.name_values().comment.data(), seen.name_values().comment.size());
  touch(seen.update().property.data(), seen.update().property.size());
  touch(seen.text().data(), seen.text().size());
  static_cast<void>(seen.scalar());
}

void look_at(const event& seen) {
  for (std::size_t channel = 0; channel < seen.channels(); ++channel) look_at(seen[channel]);
}

using digests = std::vector<channel_digest>;

/// What reading by event reports of one value.
struct event_value {
  ravo_time_id event;
  value_status status;
  bool is_own;  ///< the channel has an entry of the event
  std::int64_t age;
};
/// The same for all values, by channel, their digests, and how many of them the ledger expects.
struct event_values {
  std::vector<std::vector<event_value>> values;
  std::vector<value_digest> digests;
  read_ledger ledger;
};

digests read_events(const dataset& data, event_order order, event_values* from_events = nullptr) {
  digests all(data.channels().size());
  const std::size_t size = data.size();
  std::size_t events = 0;
  event_options options;
  options.order = order;
  event_range range = data.events(options);
  for (const event& seen : range) {
    look_at(seen);
    for (std::size_t channel = 0; channel < all.size(); ++channel) {
      const value one = seen[channel];
      all[channel].add(one);
      const bool is_own = !one.is_held() && one.status() != value_status::not_recorded;
      if (from_events == nullptr) continue;
      from_events->values[channel].push_back({seen.id(), one.status(), is_own, one.age()});
      from_events->digests[channel].add(seen.id(), one);
    }
    expect(++events <= size, "there are as many events as the dataset says");
  }
  expect(events == size, "all events of the dataset come");
  expect(range.ledger().is_balanced(), "the account of events balances");
  if (from_events != nullptr) from_events->ledger = range.ledger();
  return all;
}

/// A column reports for every value what reading by event reports; but only the column knows which values
/// are of another kind than its other values.
void expect_same_rows(const column_data& column, column_rows rows,
                      const std::vector<event_value>& from_events) {
  std::size_t row = 0;
  for (const event_value& expected : from_events) {
    if (rows == column_rows::recorded && !expected.is_own) continue;
    expect(row < column.size() && column.numbers[row] == expected.event.event_number &&
               column.times[row].timeup == expected.event.time.timeup &&
               column.times[row].timelow == expected.event.time.timelow,
           "a column has a row for every value, in the order of events");
    const bool is_changed = column.status[row] == value_status::type_changed && has_value(expected.status);
    expect(is_changed || column.status[row] == expected.status, "a value has one status");
    if (rows == column_rows::events) expect(column.ages[row] == expected.age, "a value has one age");
    ++row;
  }
  expect(row == column.size(), "a column has no other rows");
}

/// A column lacks the values that are of another kind than its other ones.
void expect_same_values(const column_data& column, const value_digest& expected) {
  if (std::count(column.status.begin(), column.status.end(), value_status::type_changed) != 0) return;
  value_digest of_column;
  of_column.add(column);
  expect(of_column == expected, "a column has the values of its events");
}

void read_columns(const dataset& data, const event_values& from_events, const digests& by_event) {
  for (std::size_t i = 0; i < by_event.size(); ++i) {
    const dataset_channel& channel = data.channels()[i];
    static_cast<void>(data.layout(channel.label));
    for (const column_rows rows : {column_rows::recorded, column_rows::events}) {
      column_options options;
      options.rows = rows;
      options.with_digest = rows == column_rows::events;
      const column_data column = data.column(channel.label, options);
      touch(column.bytes().data(), column.bytes().size());
      expect(column.status.size() == column.size() && column.times.size() == column.size(),
             "every row of a column has a status and a time");
      expect(column.ledger.is_balanced(), "the account of a column balances");
      if (column.is_ragged()) expect(column.offsets.size() == column.size() + 1, "every row has its place");
      expect_same_rows(column, rows, from_events.values[i]);
      expect(column.ledger.expected() == from_events.ledger.channels[i].expected,
             "as many values are expected");
      expect_same_values(column, from_events.digests[i]);
      if (column.digest) expect(*column.digest == by_event[i], "a column has the digest of its events");
    }
  }
}

/// Whether decoding may report `found` of a value of which the tables say `said`.
bool may_become(index_status said, value_status found) {
  const bool is_the_same = static_cast<int>(said) == static_cast<int>(found);
  if (said == index_status::recorded) return found == value_status::ok || is_missing(found);
  if (said == index_status::held || said == index_status::stale) return is_the_same || is_missing(found);
  return is_the_same;
}

/// Places that are asked for together are those that are asked for one by one.
void locate_together(const dataset& data, const channel_index& index, column_rows rows) {
  if (index.size() == 0) return;
  const std::vector<std::uint64_t> wanted{index.size() - 1, 0, index.size() / 2, 0};
  const std::vector<std::optional<block_place>> places = data.locate(index.channel, wanted, rows);
  expect(places.size() == wanted.size(), "there is a place for each row");
  for (std::size_t i = 0; i < wanted.size(); ++i) {
    const auto alone = data.locate(index.channel, wanted[i], rows);
    expect(places[i].has_value() == alone.has_value(), "a row has one place");
    expect(!alone || (places[i]->path == alone->path && places[i]->offset == alone->offset &&
                      places[i]->status == alone->status && places[i]->stored_bytes == alone->stored_bytes),
           "the place of a row is the same alone and among others");
  }
}

/// The index says of every value of a column what decoding it may report, and locates its block.
void ask_the_tables(const dataset& data) {
  constexpr std::size_t most_places = 8;
  for (const column_rows rows : {column_rows::recorded, column_rows::events}) {
    index_options options;
    options.rows = rows;
    for (const channel_index& index : data.index(options).channels) {
      column_options how;
      how.rows = rows;
      const column_data column = data.column(index.channel, how);
      expect(index.size() == column.size() && index.times_us().size() == column.size(),
             "an index has the rows of a column");
      for (std::size_t row = 0; row < index.size(); ++row)
        expect(index.numbers()[row] == column.numbers[row] &&
                   index.times_us()[row] == microseconds_of(column.times[row]) &&
                   may_become(index.status[row], column.status[row]),
               "an index contradicts no column");
      locate_together(data, index, rows);
      for (std::size_t row = 0; row < std::min(index.size(), most_places); ++row) {
        const auto place = data.locate(index.channel, row, rows);
        const bool has_value = column.status[row] == value_status::ok;
        expect(!has_value || (place && place->status == index_status::recorded && place->stored_bytes != 0),
               "what can be decoded has a place");
      }
    }
  }
  for (const channel_description& one : data.describe())
    expect(one.kind == data.layout(one.label).kind, "a description has the kind of the column");
}

/// Bins have each value once, and each number.
void expect_bins(const dataset& data, const channel_statistics& counted, bin_axis axis) {
  envelope_options options;
  options.axis = axis;
  options.bins = 7;
  const channel_envelope envelope = data.envelope(counted.channel, options);
  std::uint64_t values = 0, missing = 0;
  for (const envelope_bin& bin : envelope.bins) {
    values += bin.values;
    missing += bin.missing;
  }
  const std::uint64_t read = counted.by_status[static_cast<std::size_t>(value_status::ok)];
  expect(values == counted.values && missing == values - read, "bins have each value once");
  expect(envelope.ledger.is_balanced(), "the account of an envelope balances");
  expect(envelope.series.size() == counted.series.size(), "an envelope has the series of the statistics");
  for (std::size_t i = 0; i < envelope.series.size(); ++i) {
    std::uint64_t numbers = 0;
    for (const envelope_numbers& bin : envelope.series[i].bins) numbers += bin.count;
    expect(numbers == counted.series[i].numbers.count, "bins have each number once");
  }
}

void expect_histogram(const dataset& data, const channel_statistics& counted) {
  const channel_histogram histogram = data.histogram(counted.channel);
  expect(histogram.ledger.is_balanced(), "the account of a histogram balances");
  expect(histogram.series.size() == counted.series.size(), "a histogram has the series of the statistics");
  for (std::size_t i = 0; i < histogram.series.size(); ++i) {
    const number_histogram& one = histogram.series[i];
    std::uint64_t numbers = one.below + one.above + one.nan;
    for (const std::uint64_t count : one.counts) numbers += count;
    expect(numbers == counted.series[i].numbers.count, "a histogram has each number once");
  }
}

/// What is computed while decoding is of the values that reading by event reports.
void compute(const dataset& data, const event_values& from_events) {
  availability_options bins;
  bins.bins = 5;
  const availability_map available = data.availability(bins);
  const std::vector<named_value_digest> at_once = data.value_digests();
  for (std::size_t i = 0; i < from_events.values.size(); ++i) {
    const channel_statistics seen = data.statistics(data.channels()[i].label);
    decltype(seen.by_status) by_status{};
    for (const event_value& one : from_events.values[i])
      if (one.is_own) ++by_status[static_cast<std::size_t>(one.status)];
    expect(seen.by_status == by_status, "statistics are of the values of the events");
    expect(seen.ledger.is_balanced(), "the account of statistics balances");
    for (const bin_axis axis : {bin_axis::events, bin_axis::time}) expect_bins(data, seen, axis);
    expect_histogram(data, seen);
    std::uint64_t values = 0;
    for (const availability_bin& bin : available.channels[i].bins) values += bin.recorded + bin.damaged;
    expect(values == seen.values, "what is available is what is read");
    expect(at_once[i].digest == from_events.digests[i], "values have the digest of the events' values");
  }
}

/// A part of a column reports what the whole column reports of its rows; and its chunks add up to it.
void read_parts(const dataset& data) {
  std::vector<std::string> labels;
  for (const dataset_channel& channel : data.channels()) labels.push_back(channel.label);
  column_options options;
  options.rows = column_rows::events;
  const std::vector<column_data> columns = data.columns(labels, options);
  expect(columns.size() == labels.size(), "there is a column for each channel");
  for (const column_data& whole : columns) {
    expect(whole.size() == columns.front().size(), "columns of events have equal length");
    column_options part = options;
    part.first = 1;
    part.step = 2;
    const column_data odd = data.column(whole.channel, part);
    expect(odd.size() == whole.size() / 2, "every second row is half of the rows");
    for (std::size_t row = 0; row < odd.size(); ++row)
      expect(odd.status[row] == whole.status[2 * row + 1], "a row of a part has the status of its row");
    read_ledger of_chunks;
    std::size_t rows = 0;
    column_chunk_range chunks = data.column_chunks(whole.channel, 4096, options);
    for (const column_data& chunk : chunks) {
      touch(chunk.bytes().data(), chunk.bytes().size());
      rows += chunk.size();
      of_chunks.add(chunk.ledger);
    }
    expect(rows == whole.size(), "the chunks of a column have all of its rows");
    expect(of_chunks.expected() == whole.ledger.expected() && of_chunks.missing() == whole.ledger.missing(),
           "the accounts of chunks add up");
  }
}

/// The parts of a selection, each opened by its text, have the events and the digests of the whole.
void read_partitions(const dataset& whole, const digests& of_whole) {
  partition_options cut;
  cut.count = 2;
  dataset_options options;
  options.threads = 2;
  options.memory_limit = most_memory;
  std::size_t events = 0;
  digests sum(of_whole.size());
  for (const partition& part : whole.partitions(cut)) {
    const dataset data = dataset::open(part.text(), options);
    events += data.size();
    const digests of_part = read_events(data, event_order::forward);
    expect(of_part.size() == sum.size(), "a part has the channels of the whole");
    for (std::size_t i = 0; i < sum.size(); ++i) sum[i].add(of_part[i]);
  }
  expect(events == whole.size(), "parts have all events");
  expect(sum == of_whole, "the digests of parts add up");
}

void use(const selection& wanted) {
  dataset_options options;
  options.threads = 2;
  options.memory_limit = most_memory;
  const dataset data = dataset::open(wanted, options);
  static_cast<void>(data.plan().to_text());
  event_values from_events;
  from_events.values.resize(data.channels().size());
  from_events.digests.resize(data.channels().size());
  const digests by_event = read_events(data, event_order::forward, &from_events);
  expect(read_events(data, event_order::backward) == by_event, "events are the same in both orders");
  if (const auto found = data.at(first_number + 2)) look_at(*found);
  read_columns(data, from_events, by_event);
  ask_the_tables(data);
  compute(data, from_events);
  read_parts(data);
  const std::vector<named_digest> at_once = data.digest();
  for (std::size_t channel = 0; channel < by_event.size(); ++channel)
    expect(at_once[channel].digest == by_event[channel], "every way of reading has the same digest");
  read_partitions(data, by_event);
  expect(data.ledger().is_balanced(), "the account of all readings balances");
  expect(data.peak_memory() <= most_memory, "the memory limit holds");
  static_cast<void>(data.ledger().to_text());
}

}  // namespace
}  // namespace ravo::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace ravo::fuzz;
  be_quiet();
  static damaged_set current(ravo_file_generation::current), older(ravo_file_generation::older);
  input from(data, size);
  damaged_set& set = from.flag() ? current : older;
  const ravo::selection wanted = make_selection(from, set);
  set.restore();
  for (std::size_t i = 0; i < most_edits && !from.empty(); ++i) set.damage(from);
  set.write();
  try {
    use(wanted);
  } catch (const ravo::dataset_error& refused) {
    expect(*refused.what() != '\0', "what is refused has a reason");
  }
  return 0;
}
