// Collects the events of one raw file and assembles the file. Blocks and headers go to the spool; what
// the tables need from them stays in memory: 12 bytes per block and 16 bytes per event. It does not
// decide when a file ends or what its name is.
#ifndef RAVO_WRITER_FILE_BUILDER_H
#define RAVO_WRITER_FILE_BUILDER_H

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "channel.h"
#include "event_parts.h"
#include "file_layout.h"
#include "folder.h"
#include "outcome.h"
#include "record_set.h"
#include "spool.h"
#include "target_file.h"

namespace ravo::writer {

class file_builder {
 public:
  /// `channels` must outlive the builder and not change; `descriptions` is the XML text.
  file_builder(const record_set& records, const folder& place, const std::vector<channel>& channels,
               std::string descriptions, std::size_t buffer_bytes);

  std::uint64_t events() const { return contents_.events; }
  /// The contents of the file without events.
  const file_contents& empty() const { return empty_; }
  /// The time of the first event that has a time; meaningful if there are events.
  const time_stamp& first_time() const { return first_time_; }
  /// The contents that the file would have with one more event.
  file_contents with(const event_parts& event) const;

  /// Adds an event that fits. After a refusal the builder is unchanged.
  outcome add(const event_parts& event);
  /// Writes the file under its name. After a refusal nothing is lost: the call may be repeated.
  outcome write(const std::string& name);
  /// Forgets the events, for the next file.
  void clear();

 private:
  struct row_entry {  // one block, as the pointer table will need it
    std::uint32_t event;
    std::uint32_t server_block;
    std::uint32_t position;  // of the block in its channel's stream
  };
  struct row {
    std::vector<row_entry> entries;
    std::uint32_t event_types = 0;
    std::uint32_t data_types = 0;
  };
  struct index_entry {  // one event of one type
    time_stamp time;
    std::uint32_t event_number;
    std::uint32_t event;
  };

  file_layout layout() const { return {contents_, records_}; }
  outcome prepare(const event_parts& event);
  outcome assemble(target_file& target);
  outcome append_baskets(target_file& target);
  outcome append_dictionary(target_file& target) const;
  outcome append_event_index(target_file& target);
  outcome append_pointer_table(target_file& target) const;
  outcome append_environment_dictionary(target_file& target) const;
  outcome append_descriptions(target_file& target) const;
  outcome append_reference_table(target_file& target) const;

  const record_set& records_;
  const folder& folder_;
  const std::vector<channel>& channels_;
  std::string descriptions_;
  file_contents empty_;  // of a file without events
  file_contents contents_;
  time_stamp first_time_{};
  spool spool_;
  std::vector<row> rows_;  // one per channel
  std::array<std::vector<index_entry>, RAVO_EV_EVMAX> index_;

  // Filled by assemble(), for the tables that follow the baskets.
  std::uint64_t event_headers_ = 0;
  std::uint64_t server_blocks_ = 0;
  std::vector<std::uint64_t> baskets_;
  std::array<std::uint64_t, RAVO_EV_EVMAX> index_offsets_{};
};

/// The bit of a data type in the dictionary's mask, which ends at bit 31; 0 for types beyond it.
inline std::uint32_t type_bit(RAVO_SUBBLOCK_TYPE dtype) {
  return dtype < 32 ? std::uint32_t{1} << dtype : 0;
}

/// The contents of a file with these channels that has no events yet.
file_contents empty_contents(const std::vector<channel>& channels, std::uint64_t description_bytes);

}  // namespace ravo::writer

#endif
