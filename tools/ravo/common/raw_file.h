// One raw file of either generation, opened for inspection: its tables through the table-access library,
// and if it is refused, a sentence that says which file, which table and why. A file may claim tables of
// gigabytes: their size is known before they are loaded, and tables that take too much are refused.
#ifndef RAVO_TOOL_RAW_FILE_H
#define RAVO_TOOL_RAW_FILE_H

#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "common/failure.h"
#include "format/malloc_owner.h"
#include "format/opened_file.h"
#include "ravo_file_generation.h"
#include "ravo_raw_format.h"

namespace ravo::tool {

/// The events of one type in a file.
struct event_summary {
  int type;
  int count;
  ravo_time_id first;
  ravo_time_id last;
  double spacing;  ///< median time between neighbours, microseconds; 0 for a single event
};

/// How the blocks of a channel are stored, according to its first block.
enum class stored_as { nothing, plain, zlib, lzo1x, unknown };
const char* name_of(stored_as form);

/// A channel in the file's dictionary.
struct listed_channel {
  const char* chan_name;  ///< in the dictionary
  std::uint32_t key;
  std::uint32_t ev_mask;
  std::uint32_t dtype_mask;
  int count;
};

/// "current" or "older".
const char* name_of(ravo_file_generation generation);

/// The tables of a file take more memory than the limit;
/// nothing else is known to be wrong with the file.
struct tables_too_large : data_failure {
  using data_failure::data_failure;
};

class raw_file {
 public:
  /// The default limit for the tables and descriptions of a file together, in
  /// bytes: far above what an acquisition writes, and little for a machine.
  static constexpr std::uint64_t usual_memory = std::uint64_t{88} << 20;
  static constexpr std::uint64_t any_memory = std::numeric_limits<std::uint64_t>::max();

  /// Loads the tables except the channels' pointers; throws data_failure if the file is
  /// missing, unreadable or refused, tables_too_large if its tables take more than
  /// `memory`. Leaves out descriptions that take too much, like those that are damaged.
  explicit raw_file(const std::string& path, std::uint64_t memory = usual_memory);
  ~raw_file();
  raw_file(const raw_file&) = delete;
  raw_file& operator=(const raw_file&) = delete;

  const std::string& path() const { return path_; }
  std::uint64_t size() const { return size_; }
  ravo_file_generation generation() const { return generation_; }
  const ravo_file_reference_table_2010& reference() const { return *reference_; }
  std::span<const listed_channel> channels() const { return channels_; }
  std::vector<event_summary> events() const;
  const ravo_event_index_table_2010& event_index() const { return *index_; }
  /// The length word of a table or basket at an offset of the reference table; 0 for offset 0.
  std::uint32_t length_at(std::uint32_t offset) const;
  stored_as form_of(std::size_t channel) const;
  /// The data type of a channel's first block; `nullopt` if it has none.
  std::optional<RAVO_SUBBLOCK_TYPE> dtype_of(std::size_t channel) const;
  /// How many members its blocks have: by their type, or for a generic spectrum by its first block.
  int members_of(std::size_t channel) const;
  /// How many events the channel has.
  std::size_t places(std::size_t channel) const;
  /// The place of one of the channel's events, read from the file. Throws data_failure.
  ravo_event_chan_ptr_entry place(std::size_t channel, std::size_t event) const;
  /// The places of the channel's events, in their order. The first
  /// call loads the pointers of all channels, whatever their number.
  std::span<const ravo_event_chan_ptr_entry> places_of(std::size_t channel) const;
  /// Reads bytes at the offset; returns false if the file does not have
  /// so many. Throws data_failure if the system refuses to read them.
  bool read_at(std::uint32_t offset, std::span<unsigned char> bytes) const;
  /// The environment dictionary.
  std::span<const ravo_env_dictionary_entry_2010> environment() const { return environment_; }
  /// Everything that the file says about its channels.
  const std::vector<chan_descr_2010*>& descriptions() { return descriptions_; }
  /// What the file says about a channel; null if it says nothing.
  const chan_descr_2010* description(const char* name);
  /// Empty, or why the descriptions are not available although everything else is.
  const std::string& description_problem() const { return description_problem_; }

 private:
  // Facts from a channel's first block.
  struct first_block {
    std::optional<std::int32_t> dtype = {};
    std::int32_t length = 0;
    stored_as form = stored_as::unknown;
  };

  void load(std::uint64_t memory);
  template <class G>
  int load_tables(std::uint64_t memory);
  template <class G>
  void load_pointers() const;
  template <class G>
  int load_descriptions(std::uint64_t memory);
  template <class G>
  std::uint64_t memory_of_tables() const;
  void check_pointers();
  bool is_basket(std::uint32_t offset) const;
  std::vector<unsigned char> first_bytes(std::size_t channel, std::size_t most) const;
  template <class G>
  first_block read_first_block(std::size_t channel) const;
  first_block read_first_block(std::size_t channel) const;
  template <class G>
  std::optional<int> count_members_of(std::size_t channel) const;

  std::string path_;
  std::string description_problem_;
  opened_file descriptor_;
  ravo_file_generation generation_ = ravo_file_generation::current;
  std::uint64_t size_ = 0;
  // Both generations share the types of all tables but the dictionary.
  malloc_owner<ravo_file_reference_table_2010> reference_;
  malloc_owner<ravo_event_index_table_2010> index_;
  malloc_owner<void> dictionary_;
  malloc_owner<ravo_env_dictionary_table_2010> environment_table_;
  mutable malloc_owner<ravo_event_chan_pointers_table> pointers_;  ///< null until the first use
  std::uint32_t row_length_ = 0;                                   ///< of a channel's pointers
  std::vector<chan_descr_2010*> descriptions_;
  std::vector<const chan_descr_2010*> by_name_;  ///< the same, sorted; empty until the first search
  std::span<const ravo_env_dictionary_entry_2010> environment_;
  std::vector<listed_channel> channels_;
};

/// Prints to standard error that the file's descriptions are not available, if so.
void report_description_problem(const raw_file& file);

/// Why a path cannot be a raw file at all: missing, a folder, unreadable, empty. `nullopt` if it can be.
std::optional<std::string> why_not_readable(const std::string& path);

}  // namespace ravo::tool

#endif
