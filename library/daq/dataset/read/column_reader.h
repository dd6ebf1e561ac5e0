// Reads one column: which rows it has, what their values look like, and then all of them by all threads,
// each block straight to its place.
#ifndef RAVO_DATASET_COLUMN_READER_H
#define RAVO_DATASET_COLUMN_READER_H

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "align/record_names.h"
#include "dataset_state.h"
#include "ravo_dataset/column.h"
#include "read/block_scan.h"
#include "read/item.h"
#include "work/memory_turn.h"

namespace ravo {

class column_reader {
 public:
  column_reader(const std::shared_ptr<dataset_state>& state, std::size_t channel,
                const column_options& options);

  column_layout layout();
  column_data read();
  /// Reads all blocks for their digest only, as a part of a reading whose progress goes on.
  channel_digest read_digest(read_progress& of_all);

 private:
  /// Blocks of one segment and the rows that they are for.
  struct block_list {
    std::size_t segment = 0;
    std::vector<std::uint32_t> index;  ///< among the channel's entries
    std::vector<std::uint64_t> row;
  };
  struct chunk {
    std::size_t list = 0;
    std::size_t first = 0;
    std::size_t last = 0;
    std::uint64_t stored = 0;
  };
  /// What one worker needs for a chunk.
  struct scratch {
    datasets::read_buffers read;
    datasets::pooled_buffer inflated;
    datasets::pooled_buffer decoded;  ///< for the digest
    datasets::on_full how = datasets::on_full::refuse;
  };
  /// What the blocks are read for.
  enum class pass { record_names, values, digest };
  /// One of the first blocks, decoded for what it tells of all: it need not be decoded again.
  struct first_block {
    std::unique_ptr<scratch> work;  ///< holds the payload
    byte_view payload{nullptr, 0, word_order::file};
    std::optional<datasets::item> looks;  ///< nothing: it cannot be read
    std::uint64_t row = 0;
  };
  struct row_copy {
    std::uint64_t row;
    std::uint64_t from;
  };
  /// Values of different shapes, before they are put together.
  struct ragged_part {
    std::vector<std::byte> bytes;
    std::vector<std::uint64_t> rows;
    std::vector<std::uint32_t> lengths;  ///< elements
    std::vector<std::array<std::uint32_t, 3>> shapes;
    datasets::reservation reserved;
  };

  void make_rows();
  void reserve_rows(std::size_t rows);
  void add_rows(std::size_t segment, const datasets::segment& part, std::size_t& ordinal);
  void add_held_row(std::size_t segment, const std::shared_ptr<const datasets::segment>& part,
                    std::uint32_t event);
  void read_for(std::uint64_t own_row);
  void account_others(const datasets::segment& part, std::uint32_t event);
  void count_beside_rows(const std::function<void()>& count);
  void reserve_extras(const datasets::segment& part);
  void find_first_item();
  void decode_first_blocks();
  first_block decode_first_block(const block_list& list, std::size_t at, datasets::on_full how);
  void take_layout();
  bool has_records() const { return first_ && first_->kind == value_kind::name_value; }
  void find_record_names();
  void note_records(const datasets::item& list, const byte_view& payload, std::uint64_t ordinal);
  value_status store_record_values(const datasets::item& list, const byte_view& payload, std::uint64_t row);
  void copy_records(const row_copy& copy);
  void settle_record_status();
  std::shared_ptr<const datasets::segment> segment_of(const block_list& list);
  void make_chunks();
  datasets::reservation reserve(std::size_t bytes, const std::string& what);
  void allocate();
  void store_first();
  bool is_stored(std::uint64_t row) const;
  void run_chunks();
  void tell_progress() const;
  void read_chunk(std::size_t number);
  void read_chunk(std::size_t number, datasets::on_full how);
  void read_chunk_with(std::size_t number, const datasets::segment& part, scratch& work);
  void read_blocks(const chunk& one, const datasets::segment& part, scratch& work, ragged_part& ragged,
                   read_ledger& ledger, channel_digest& digest);
  void read_all();
  value_status take(const datasets::found_block& found, std::uint64_t row, scratch& work,
                    ragged_part& ragged);
  void take_record_names(const datasets::found_block& found, std::uint64_t ordinal, scratch& work);
  void note_axis(const datasets::item& one, std::uint64_t row);
  value_status store(const datasets::item& one, const byte_view& payload, std::uint64_t row,
                     ragged_part& ragged);
  value_status add_to_digest(const datasets::block_source_file& source, const datasets::found_block& found,
                             const datasets::entry& where, scratch& work, channel_digest& digest);
  unsigned char* fit(scratch& work, datasets::pooled_buffer& buffer, std::size_t size);
  void read_window(const datasets::block_source_file& source, const std::vector<datasets::entry>& blocks,
                   std::size_t first, const datasets::block_window& window, scratch& work,
                   const std::function<void(std::size_t, const datasets::found_block&)>& take);
  std::optional<byte_view> inflate(const datasets::found_block& found, scratch& work, value_status& status);
  void make_room(ragged_part& part, std::size_t more);
  void grow(datasets::reservation& reserved, std::size_t bytes, const char* what);
  std::unique_ptr<scratch> take_scratch();
  void put_back(std::unique_ptr<scratch> work);
  void put_ragged_together();
  void copy_held_rows();
  void fill_missing_rows();
  std::size_t row_bytes() const;

  std::shared_ptr<dataset_state> state_;
  std::size_t channel_;
  column_options options_;
  std::shared_ptr<kept_memory> kept_;  ///< the column's memory; it is kept with data_
  column_data data_;
  std::vector<block_list> lists_;
  std::vector<row_copy> copies_;
  std::vector<chunk> chunks_;
  std::uint64_t stored_ = 0;
  std::optional<datasets::item> first_;
  std::vector<first_block> first_blocks_;
  std::vector<std::uint64_t> stored_rows_;  ///< their values are there before the chunks are read
  std::byte* out_ = nullptr;
  bool is_ragged_ = false;
  pass pass_ = pass::values;
  std::vector<value_status> planned_status_;  ///< before anything was read
  read_ledger planned_ledger_;
  std::vector<ragged_part> parts_;
  std::optional<std::pair<std::pair<std::size_t, std::uint32_t>, std::uint64_t>>
      held_;  ///< last held entry, its row

  std::optional<datasets::record_places> places_;  ///< of name-value lists
  std::atomic<bool> has_unseen_names_{false};      ///< those of lists that could not be read at first

  std::atomic<bool> is_irregular_{false};
  std::atomic<std::uint64_t> done_{0};
  mutable std::uint64_t told_ = 0;   ///< as done: never less than before, also when rows are read again
  read_progress* of_all_ = nullptr;  ///< of the reading that this one is a part of, without it
  datasets::memory_turn turn_;       ///< of the workers to wait for memory
  std::mutex
      mutex_;  ///< guards what follows, and data_.ledger, data_.digest and data_.axes while workers run
  std::vector<std::unique_ptr<scratch>> free_;
  datasets::record_union records_;
  datasets::reservation names_memory_;
};

}  // namespace ravo

#endif
