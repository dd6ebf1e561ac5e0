// One raw file of either generation, opened for looking at: its tables through the loader of its generation,
// and when it is refused, a sentence that says which file, which table and why.
#ifndef RAVO_TOOL_RAW_FILE_H
#define RAVO_TOOL_RAW_FILE_H

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <variant>
#include <vector>

#include "ravo_daq_read_chan.h"
#include "ravo_daq_read_chan_2010.h"
#include "ravo_file_generation.h"

namespace ravo::tool {

/// The events of one type in a file.
struct event_summary {
  int type;
  int count;
  ravo_time_id first;
  ravo_time_id last;
  double spacing;  ///< median time between neighbours, microseconds; 0 for a single event
};

/// How the blocks of a channel are stored, as its first block has it.
enum class stored_as { nothing, plain, zlib, lzo1x, unknown };
const char* name_of(stored_as form);

/// A channel as the file's dictionary has it.
struct listed_channel {
  const char* chan_name;  ///< the loader's
  std::uint32_t key;
  std::uint32_t ev_mask;
  std::uint32_t dtype_mask;
  int count;
};

/// "current" or "older".
const char* name_of(ravo_file_generation generation);

class raw_file {
 public:
  /// Loads the tables; throws data_failure when the file is missing, unreadable or refused.
  explicit raw_file(const std::string& path);
  raw_file(const raw_file&) = delete;
  raw_file& operator=(const raw_file&) = delete;

  const std::string& path() const { return path_; }
  std::uint64_t size() const { return size_; }
  ravo_file_generation generation() const {
    return tables_.index() == 0 ? ravo_file_generation::current : ravo_file_generation::older;
  }
  const ravo_file_reference_table_2010& reference() const { return *reference_; }
  std::span<const listed_channel> channels() const { return channels_; }
  std::vector<event_summary> events() const;
  const ravo_event_index_table_2010& event_index() const { return *index_; }
  /// The length word of a table or basket at an offset of the reference table; 0 for offset 0.
  std::uint32_t length_at(std::uint32_t offset) const;
  stored_as form_of(std::size_t channel) const;
  /// The data type of a channel's first block; nothing when it has none.
  std::optional<RAVO_SUBBLOCK_TYPE> dtype_of(std::size_t channel) const;
  /// How many members its blocks have: by their type, or, of a generic spectrum, as its first block says.
  int members_of(std::size_t channel) const;
  /// Where the channel's events lie, in their order.
  std::span<const ravo_event_chan_ptr_entry> places_of(std::size_t channel) const;
  /// Whether the file has so many bytes at the offset; they are read then.
  bool read_at(std::uint32_t offset, std::span<unsigned char> bytes) const;
  /// The environment dictionary.
  std::span<const ravo_env_dictionary_entry_2010> environment() const { return environment_; }
  /// All that the file says about its channels.
  const std::vector<chan_descr_2010*>& descriptions() { return *descriptions_; }
  /// What the file says about a channel; null when it says nothing.
  const chan_descr_2010* description(const char* name);
  /// Empty, or why the descriptions are not to be had although all else is.
  const std::string& description_problem() const { return description_problem_; }

 private:
  // What a block's subheader says; `zip_flags` is 0 without a zip header.
  struct first_block {
    std::int32_t dtype;
    std::int32_t error;
    std::uint32_t ldata;
    std::uint32_t zip_flags;
    std::uint32_t head_size;
  };

  void load();
  template <class Tables>
  void take(Tables& tables);
  std::optional<first_block> read_first_block(std::size_t channel) const;
  std::vector<unsigned char> first_block_data(std::size_t channel) const;

  std::string path_;
  std::string description_problem_;
  // The loader of the file's generation, and what it loaded: of all tables but the dictionary both have the same.
  std::variant<ravo_file_get_tables_2010, ravo_file_get_tables> tables_;
  int descriptor_ = -1;
  std::uint64_t size_ = 0;
  const ravo_file_reference_table_2010* reference_ = nullptr;
  const ravo_event_index_table_2010* index_ = nullptr;
  const ravo_event_chan_pointers_table* pointers_ = nullptr;
  const std::vector<chan_descr_2010*>* descriptions_ = nullptr;
  std::span<const ravo_env_dictionary_entry_2010> environment_;
  std::vector<listed_channel> channels_;
};

/// Says on standard error that the file's descriptions are not to be had, if so.
void tell_description_problem(const raw_file& file);

/// Why a path cannot be a raw file at all: missing, a folder, unreadable, empty. Nothing when it can be.
std::optional<std::string> why_not_readable(const std::string& path);

}  // namespace ravo::tool

#endif
