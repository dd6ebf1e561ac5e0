// The dataset: raw files of either generation opened by a selection, planned before anything is decoded,
// and read event by event or channel by channel with all cores in bounded memory.
#ifndef RAVO_DATASET_DATASET_H
#define RAVO_DATASET_DATASET_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

#include "ravo_dataset/availability.h"
#include "ravo_dataset/block_place.h"
#include "ravo_dataset/column.h"
#include "ravo_dataset/column_chunks.h"
#include "ravo_dataset/describe.h"
#include "ravo_dataset/digest.h"
#include "ravo_dataset/envelope.h"
#include "ravo_dataset/errors.h"
#include "ravo_dataset/event.h"
#include "ravo_dataset/histogram.h"
#include "ravo_dataset/index.h"
#include "ravo_dataset/ledger.h"
#include "ravo_dataset/partition.h"
#include "ravo_dataset/plan.h"
#include "ravo_dataset/progress.h"
#include "ravo_dataset/selection.h"
#include "ravo_dataset/statistics.h"
#include "ravo_dataset/value_digest.h"
#include "ravo_export.h"
#include "ravo_file_generation.h"

namespace ravo {

namespace detail {
class dataset_state;
}

/// How much may be missing.
struct damage_policy {
  /// The largest share of a reading's expected values that may be missing, 0 to 1. 1, lenient: missing
  /// values have a status, and nothing is thrown. 0, strict: the first missing value throws missing_data.
  /// In between, a column throws when it is read, events when they end. Below 1, opening throws for a file
  /// that cannot be read or was left out, since it is not known how many values it holds.
  double largest_missing_share = 1;

  static damage_policy lenient() { return {1}; }
  static damage_policy strict() { return {0}; }
};

struct dataset_options {
  /// Threads that read and decode, with the one that calls: 1 starts none. 0: as many as the machine has.
  std::size_t threads = 0;
  /// Bytes that the dataset may own: tables of events, windows of files, decoded blocks, columns that are
  /// not in the caller's memory, and events that the caller holds. Work waits rather than exceed it; what
  /// cannot be done within it throws memory_exceeded.
  std::size_t memory_limit = std::size_t{1} << 30;
  /// Blocks of more decoded bytes than this are not decoded: their values are block_too_large. What counts
  /// is the size that a block states and that its stored bytes can become, whatever member of it is asked
  /// for. The default is more than any camera's frame, and keeps a few damaged bytes from taking the memory
  /// of all other blocks.
  std::uint64_t largest_block = std::uint64_t{256} << 20;
  std::size_t open_files = 64;  ///< at a time
  damage_policy damage;
  /// Ends opening with read_cancelled. Each reading has a token of its own, in its options.
  std::stop_token stop;
};

/// One channel of a dataset.
struct dataset_channel {
  std::string label;  ///< "NAME" or "NAME:member"
  std::string name;
  int member = -1;            ///< -1: the whole channel
  bool is_slow = false;       ///< it occurs in slow events only
  std::uint64_t entries = 0;  ///< in all files, whatever the limits of the selection
  std::uint32_t files = 0;    ///< that have entries of it
  /// What the files' dictionaries say of it, together: bit n for a RAVO_SUBBLOCK_TYPE n below 32, and for a
  /// RAVO_EVTYPE n. 0: nothing.
  std::uint32_t data_types = 0;
  std::uint32_t event_types = 0;
};

/// One file of a dataset.
struct dataset_file {
  std::string path;
  ravo_file_generation generation = ravo_file_generation::current;
  file_refusal refusal = file_refusal::none;  ///< why it was left out
  std::string problem;                        ///< the same in words; empty when it was not
  bool is_context = false;                    ///< it is read for slow values alone
};

/// A dataset may be used by several threads at once. Events and columns may outlive it.
class dataset {
 public:
  /// Opens what a selection names: reads the dictionaries and event indexes of the files, and no data.
  /// Throws selection_error; missing_data if a file cannot be read and the policy allows no such file, or
  /// if no file can be read.
  RAVO_EXPORT static dataset open(const selection& wanted, dataset_options options = {});
  /// The same for a selection's text.
  RAVO_EXPORT static dataset open(std::string_view text, dataset_options options = {});

  RAVO_EXPORT const selection& get_selection() const;
  RAVO_EXPORT const std::vector<dataset_channel>& channels() const;
  RAVO_EXPORT const std::vector<dataset_file>& files() const;
  /// The position of a channel by its label, or by its name if only one channel has that name.
  RAVO_EXPORT std::optional<std::size_t> find_channel(std::string_view label) const;

  // Every reading ends with read_cancelled, as soon as its workers have left, once its `stop` is requested.
  // The dataset reads on after that.

  /// The number of events of the selection. Aligns all that is not aligned yet; inflates nothing.
  RAVO_EXPORT std::size_t size(std::stop_token stop = {}) const;
  /// Their numbers and times, in order: a slice of `events` from i on begins with event i. Aligns all that
  /// is not aligned yet; inflates nothing. The list is the caller's, outside memory_limit.
  RAVO_EXPORT std::vector<ravo_time_id> event_ids(std::stop_token stop = {}) const;
  /// What a reading of everything would take.
  RAVO_EXPORT read_plan plan(std::stop_token stop = {}) const;
  /// Parts of the selection that can be read one by one, in any order, by several processes or machines:
  /// what they deliver, their ledgers and their digests add up to those of the whole. Aligns all that is
  /// not aligned yet; inflates nothing. The list is the caller's, outside memory_limit. Throws
  /// selection_error unless the options say how to cut.
  RAVO_EXPORT std::vector<partition> partitions(const partition_options& options) const;

  /// What a channel is. Decodes its first readable block, reads the head of one block and the descriptions
  /// of each file, and decodes the block by describe_options::shapes. The answer is the caller's, outside
  /// memory_limit.
  RAVO_EXPORT channel_description describe(std::string_view channel,
                                           const describe_options& options = {}) const;
  /// The same of all channels, in the dataset's order and by one walk over the files.
  RAVO_EXPORT std::vector<channel_description> describe(const describe_options& options = {}) const;

  /// The rows of several channels, with what the tables say of each value: inflates nothing and reads no
  /// block. Aligns all that is not aligned yet. Throws selection_error for a channel that the dataset does
  /// not have, read_cancelled once `stop` is requested.
  RAVO_EXPORT dataset_index index(const std::vector<std::string>& channels,
                                  const index_options& options = {}, std::stop_token stop = {}) const;
  /// The same of all channels.
  RAVO_EXPORT dataset_index index(const index_options& options = {}, std::stop_token stop = {}) const;

  /// Where the block of a row of a column lies; `nullopt` if the row has none. Reads the head of that
  /// block. Throws access_error for a row that the column lacks.
  RAVO_EXPORT std::optional<block_place> locate(std::string_view channel, std::uint64_t row,
                                                column_rows rows = column_rows::recorded) const;
  /// The same of many rows, in any order, by one walk over the files. The answer is the caller's, outside
  /// memory_limit.
  RAVO_EXPORT std::vector<std::optional<block_place>> locate(std::string_view channel,
                                                             const std::vector<std::uint64_t>& row_list,
                                                             column_rows rows = column_rows::recorded,
                                                             std::stop_token stop = {}) const;

  /// The events of the selection, in order or backward.
  RAVO_EXPORT event_range events(event_options options = {}) const;
  /// The event with a number, or at a time: the nearest within the selection's tolerance. The step does not
  /// count.
  RAVO_EXPORT std::optional<event> at(std::uint32_t number, std::stop_token stop = {}) const;
  RAVO_EXPORT std::optional<event> at(const time_stamp& time, std::stop_token stop = {}) const;

  /// What a column would be. Decodes its first readable block.
  RAVO_EXPORT column_layout layout(std::string_view channel, const column_options& options = {}) const;
  /// All values of a channel. Throws selection_error for a channel that the dataset does not have.
  RAVO_EXPORT column_data column(std::string_view channel, const column_options& options = {}) const;
  /// Several channels, in one pass over the files, which share the memory limit. The columns are those that
  /// column() returns, in the order of the list; with column_rows::events they are a table: row i of each
  /// is of the same event. `into` has to be empty.
  RAVO_EXPORT std::vector<column_data> columns(const std::vector<std::string>& channels,
                                               const column_options& options = {}) const;
  /// A column in chunks that take about so many bytes each, one row at least, and no more than a quarter of
  /// memory_limit. `into` has to be empty, and `progress` is that of each chunk.
  RAVO_EXPORT column_chunk_range column_chunks(std::string_view channel, std::size_t bytes,
                                               column_options options = {}) const;

  /// The digest of each channel over the selection: reads everything, in one pass over the files.
  RAVO_EXPORT std::vector<named_digest> digest(const digest_options& options = {}) const;

  /// The digest of each channel's values over the selection: reads everything, in one pass over the files.
  RAVO_EXPORT std::vector<named_value_digest> value_digests(const digest_options& options = {}) const;

  // What follows is computed while blocks are decoded, with all threads, in memory that does not grow with
  // the number of values; the result does not depend on the number of threads.

  /// Count, mean, deviation and extremes of a channel's numbers; how many values, how often, which gaps.
  RAVO_EXPORT channel_statistics statistics(std::string_view channel,
                                            const statistics_options& options = {}) const;
  /// The same of all channels, in one pass over the files.
  RAVO_EXPORT std::vector<channel_statistics> statistics(const statistics_options& options = {}) const;
  /// Least, mean, greatest and worst status of a channel in bins of events or of time.
  RAVO_EXPORT channel_envelope envelope(std::string_view channel,
                                        const envelope_options& options = {}) const;
  /// How often a channel has which numbers.
  RAVO_EXPORT channel_histogram histogram(std::string_view channel,
                                          const histogram_options& options = {}) const;

  /// How many values each channel has when, and where files are missing, by the tables of the files alone.
  RAVO_EXPORT availability_map availability(const availability_options& options = {}) const;

  /// The ledger of all readings so far.
  RAVO_EXPORT read_ledger ledger() const;
  /// The peak of the memory that memory_limit limits.
  RAVO_EXPORT std::size_t peak_memory() const;

 private:
  explicit dataset(std::shared_ptr<detail::dataset_state> state);
  std::shared_ptr<detail::dataset_state> state_;
};

}  // namespace ravo

#endif
