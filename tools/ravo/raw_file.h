// One raw file, opened for looking at: its tables through the loader, and when it is refused, a sentence
// that says which file, which table and why.
#ifndef RAVO_TOOL_RAW_FILE_H
#define RAVO_TOOL_RAW_FILE_H

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "ravo_daq_read_chan_2010.h"

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

class raw_file {
 public:
  /// Loads the tables; throws data_failure when the file is missing, unreadable or refused.
  explicit raw_file(const std::string& path);
  ~raw_file();
  raw_file(const raw_file&) = delete;
  raw_file& operator=(const raw_file&) = delete;

  const std::string& path() const { return path_; }
  std::uint64_t size() const;
  const ravo_file_reference_table_2010& reference() const { return *tables_.get_ref_tbl(); }
  std::span<const ravo_chan_dictionary_entry_2010> channels() const;
  std::vector<event_summary> events() const;
  const ravo_event_index_table_2010& event_index() const { return *tables_.get_eit_table(); }
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
  /// All that the file says about its channels.
  const std::vector<chan_descr_2010*>& descriptions() { return *tables_.get_descr_list(); }
  /// What the file says about a channel; null when it says nothing.
  const chan_descr_2010* description(const char* name);
  /// Empty, or why the descriptions are not to be had although all else is.
  const std::string& description_problem() const { return description_problem_; }

 private:
  std::size_t read_first_block(std::size_t channel, std::span<unsigned char> head) const;
  std::vector<unsigned char> first_block_data(std::size_t channel) const;

  std::string path_;
  std::string description_problem_;
  mutable ravo_file_get_tables_2010 tables_;
};

/// Says on standard error that the file's descriptions are not to be had, if so.
void tell_description_problem(const raw_file& file);

/// Why a path cannot be a raw file at all: missing, a folder, unreadable, empty. Nothing when it can be.
std::optional<std::string> why_not_readable(const std::string& path);

}  // namespace ravo::tool

#endif
