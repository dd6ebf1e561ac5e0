// Computes something of every series of a channel's numbers: each chunk by itself, then all together. What
// is computed must not depend on the order in which chunks are completed.
#ifndef RAVO_DATASET_SERIES_COLLECTOR_H
#define RAVO_DATASET_SERIES_COLLECTOR_H

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "read/number_series.h"
#include "read/value_sink.h"
#include "read/value_walk.h"

namespace ravo::detail {

/// Memory for what a chunk computes, reserved a piece at a time and given back with the chunk.
class chunk_room {
 public:
  /// Throws memory_refused, or waits, as the buffers of the chunk's thread do.
  void take(std::size_t bytes, const std::string& what, const block_memory& memory) {
    if (bytes > left_) {
      const std::size_t more = std::max<std::size_t>(bytes, 4096);
      reserved_.push_back(memory.budget().reserve(more, what, memory.how()));
      left_ = more;
    }
    left_ -= bytes;
  }

 private:
  std::vector<reservation> reserved_;
  std::size_t left_ = 0;
};

/// What is counted of the values that can be read, but for stored_bytes, which is of all.
struct value_counts {
  std::uint64_t stored_bytes = 0;
  std::uint64_t without_numbers = 0;
  std::uint64_t texts = 0;
  std::uint64_t decoded_bytes = 0;

  void add(const value_counts& other) {
    stored_bytes += other.stored_bytes;
    without_numbers += other.without_numbers;
    texts += other.texts;
    decoded_bytes += other.decoded_bytes;
  }
};

/// What is computed of each recorded value, in the order of the events.
using row_visitor = std::function<void(const walked_rows& rows, std::size_t row, value_status status)>;

/// `InChunk`: what is computed of a series in one chunk; `Whole`: of all of them. An account says how:
///   InChunk begin(const series_run&, room)     nothing so far; `room(bytes)` reserves memory
///   void add(InChunk&, const walked_value&, const number_run&, room)
///   Whole begin_whole(const InChunk&)
///   std::size_t bytes_of_whole() const          what each `Whole` owns
///   void add(Whole&, const InChunk&)
template <class InChunk, class Whole, class Account>
class series_collector : public value_taker {
 public:
  series_collector(dataset_state& state, std::size_t channel, Account account, row_visitor visit_row)
      : state_(state),
        member_(state.channels[channel].member),
        what_("What is computed of " + state.channels[channel].label),
        account_(std::move(account)),
        visit_row_(std::move(visit_row)) {}

  std::unique_ptr<chunk> begin() override { return std::make_unique<part>(*this); }

  void end(const walked_rows& rows, std::span<const value_status> statuses) override {
    counts_.stored_bytes += rows.stored_bytes;
    for (std::size_t row = 0; row < statuses.size(); ++row) visit_row_(rows, row, statuses[row]);
  }

  series_table<Whole>& series() { return whole_; }
  const value_counts& counts() const { return counts_; }

 private:
  class part : public chunk {
   public:
    explicit part(series_collector& whole) : whole_(whole) {}

    void take(const walked_value& value, block_memory& memory) override {
      counts_.decoded_bytes += value.decoded_bytes;
      if (!has_numbers(value.found)) {
        ++counts_.without_numbers;
        counts_.texts += value.found.kind == value_kind::text;
        return;
      }
      const auto room = [&](std::size_t bytes) { room_.take(bytes, whole_.what_, memory); };
      visit_series(value.found, value.payload, memory, [&](const series_run& run) {
        auto* series = table_.find(run);
        if (series == nullptr) {
          room(series_table<InChunk>::bytes_of_series);
          series = &table_.add(run, {{value.ordinal(), run.place},
                                     run.is_record,
                                     run.is_record ? 0 : run.place,
                                     series_name(run, value.found, value.stored_type, whole_.member_),
                                     whole_.account_.begin(run, room)});
        }
        whole_.account_.add(series->numbers, value, run.numbers, room);
      });
    }
    void commit() override { whole_.add(table_, counts_); }

   private:
    series_collector& whole_;
    chunk_room room_;
    series_table<InChunk> table_;
    value_counts counts_;
  };

  void add(series_table<InChunk>& table, const value_counts& counts) {
    counts_.add(counts);
    for (const auto* const made : table.in_order()) {
      auto* series = whole_.find_like(made->first, made->is_record, made->place, made->name);
      if (series == nullptr) {
        grow(state_, reserved_, series_table<Whole>::bytes_of_series + account_.bytes_of_whole(), what_);
        series = &whole_.add_like(made->first, made->is_record, made->place, made->name,
                                  account_.begin_whole(made->numbers));
      }
      account_.add(series->numbers, made->numbers);
    }
  }

  dataset_state& state_;
  const int member_;
  const std::string what_;
  const Account account_;
  const row_visitor visit_row_;
  // What follows is added to by one thread at a time.
  reservation reserved_;
  series_table<Whole> whole_;
  value_counts counts_;
};

}  // namespace ravo::detail

#endif
